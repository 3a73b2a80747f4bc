#include "orvy/Support/Interpreter.h"

#include "Base/ListingGuard.h"
#include "CommandLine/Characters.h"
#include "CommandLine/CommandUse.h"
#include "CommandLine/PropertyAssignment.h"
#include "CommandLine/ScriptUnwinding.h"
#include "orvy/Support/Expression.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Parser.h"
#include "orvy/Support/Paths.h"
#include "orvy/Support/Scripting.h"
#include "orvy/Support/TerminalReader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

std::vector<std::string> Interpreter::s_SearchPaths;

namespace {

// Counts nested loops. One that is nested too deeply ends all of them up to the terminal's. A
// failed script does not fail the command that ran it, so a script that runs itself twice would
// otherwise run for exponential time.
class Nesting {
public:
  Nesting() {
    if (++Depth > MaxDepth)
      Unwinds = true;
  }
  ~Nesting() {
    if (--Depth == 0)
      endUnwinding();
  }
  Nesting(const Nesting &) = delete;
  Nesting &operator=(const Nesting &) = delete;

  static bool isTooDeep() { return Depth > MaxDepth; }
  static bool unwinds() { return Unwinds; }
  static void endUnwinding() { Unwinds = IsInterrupted = false; }
  static void interrupt() { IsInterrupted = true; }
  static bool isInterrupted() { return IsInterrupted; }

private:
  static constexpr int MaxDepth = 64;
  static inline int Depth = 0;
  static inline bool Unwinds = false;
  static inline bool IsInterrupted = false; // by the user
};

bool wantsExpressions() {
  return std::getenv("ORVY_NEW_CLI_PARSER") != nullptr;
}

std::unique_ptr<LineReader> makeTerminalReader(bool UseExpressionPath) {
  if (UseExpressionPath)
    return std::make_unique<LibEditWithParserLineReader>("orvy");
  return std::make_unique<LibEditLineReader>("orvy");
}

// The result of a step; -1 if it throws.
template <typename Step> int attempt(Step Run) {
  try {
    return Run();
  } catch (const std::exception &Error) {
    errs() << Error.what() << "\n";
    return -1;
  }
}

} // namespace

void orvy::cl::unwindScripts() {
  Nesting::interrupt();
}

Interpreter::Interpreter(std::unique_ptr<LineReader> Reader, bool Interactive, std::string FileName,
                         bool UseExpressionPath)
    : Scopes(1), Reader(std::move(Reader)), Interactive(Interactive), FileName(std::move(FileName)),
      UseExpressionPath(UseExpressionPath) {
  Diagnostics.addClient(DiagnosticsClient::createStderrClient());
  Diagnostics.setFileName(this->FileName);
}

Interpreter::Interpreter()
    : Interpreter(makeTerminalReader(wantsExpressions()), true, "", wantsExpressions()) {}

Interpreter::Interpreter(const char *Path)
    : Interpreter(std::make_unique<BufferLineReader>(Path), false, Path, false) {}

Interpreter::Interpreter(size_t Length, const char *Text)
    : Interpreter(std::make_unique<BufferLineReader>(Length, Text), false, "", false) {}

Interpreter::Interpreter(std::unique_ptr<LineReader> Script, std::string FileName)
    : Interpreter(std::move(Script), false, std::move(FileName), false) {}

Interpreter::~Interpreter() = default;

// The loop.

int Interpreter::readEvalLoop() {
  const Nesting Level;
  if (Level.isTooDeep()) {
    Diagnostics.error(Line, "scripts run each other too deeply");
    return -1;
  }
  while (!Done && Reader->good() && !Reader->eof()) {
    const bool Succeeds = evaluateNext();
    if (!Succeeds && !Interactive)
      return -1;
  }
  return 0;
}

static void writeResult(const ExprValue &Result) {
  OutStream &Stream = errs() << "result: ";
  switch (Result.Kind) {
  case EV_Void:
    Stream << "void";
    break;
  case EV_LVal:
    Stream << "lval";
    break;
  case EV_String:
    Stream << Result.Text;
    break;
  case EV_UInt:
    Stream << Result.Value.UInt;
    break;
  case EV_Int:
    Stream << Result.Value.Int;
    break;
  case EV_Bool:
    Stream << (Result.Value.Bool ? 1 : 0);
    break;
  case EV_Real:
    Stream << Result.Value.Real;
    break;
  }
  Stream << "\n";
}

// Reports nothing on a bad expression: the parser has done so.
static void evaluateExpression(const std::string &Text) {
  Parser Input(Text);
  Input.consumeToken();
  const OwnedNode Tree = Input.parseCommand();
  if (!Tree) {
    errs() << "no ast\n";
    return;
  }
  ExprEvaluator Evaluator;
  Tree->accept(&Evaluator);
  if (Evaluator.hasResult())
    writeResult(Evaluator.getResult());
  else
    errs() << "no result\n";
}

bool Interpreter::evaluateNext() {
  Line = Reader->getLine();
  const Words Read = Reader->readLine();
  switch (Reader->getEnding()) {
  case LineReader::Ending::Command:
    if (Read.empty())
      return true;
    if (!UseExpressionPath)
      return evaluate(Read);
    evaluateExpression(Read[0]);
    return true;
  case LineReader::Ending::OpenQuote:
    return fail("quote left open");
  case LineReader::Ending::Input:
    Done = true;
  }
  return true;
}

static std::string join(const std::vector<std::string> &Words, size_t First) {
  std::string Text;
  for (size_t Index = First; Index < Words.size(); ++Index) {
    Text += Index == First ? "" : " ";
    Text += Words[Index];
  }
  return Text;
}

bool Interpreter::evaluate(const Words &Read) {
  const std::string &First = Read[0];
  if (First == "!") { // the result of the Python text is ignored
    scripting::run(scripting::SL_Python, join(Read, 1));
    return true;
  }
  const size_t Dot = First.find('.');
  const size_t Name = Dot == First.npos ? 0 : Dot + 1;
  Command *Cmd = Command::findCommand(std::string_view(First).substr(Name));
  if (!Cmd)
    return assign(First);
  const std::string Self(First, 0, Name ? Dot : 0);
  const CommandUse Arguments(*Cmd);
  return execute(*Cmd, Read, Self.empty() ? nullptr : &Self);
}

bool Interpreter::execute(Command &Cmd, const Words &Read, const std::string *Self) {
  if (attempt([&] { return Cmd.parseOptions(Read, Self); }) != 0 || !Cmd.checkGiven())
    return fail("command argument error for '%s'", join(Read, 0).c_str());
  bool Succeeds = false, WasCut = false;
  {
    const ListingGuard Listing;
    Succeeds = attempt([&] { return Cmd.run(nullptr); }) == 0;
    WasCut = ListingGuard::isInterrupted();
  }
  if (WasCut)
    unwindScripts();
  else if (!Succeeds || Nesting::unwinds())
    return fail("command '%s' failed", Read[0].c_str());
  if (!Nesting::isInterrupted())
    return true;
  if (!Interactive)
    return fail("interrupted in '%s'", Read[0].c_str());
  Nesting::endUnwinding();
  return true;
}

// Handles "name=value" and "@object.property=value".
bool Interpreter::assign(const std::string &Text) {
  const size_t Equals = Text.find('=');
  if (Equals == 0 || Equals == Text.npos)
    return fail("unknown command '%s'", Text.c_str());
  const std::string_view Target = std::string_view(Text).substr(0, Equals);
  const std::string Value(Text, Equals + 1);
  if (Target[0] == '@')
    attempt([&] { return assignToProperty(Target, Value); });
  else if (isLetter(Target[0]))
    Var::setVariable(Target, Value);
  return true;
}

// An error is reported but does not end the script.
int Interpreter::assignToProperty(std::string_view Target, const std::string &Value) {
  const std::string Why = assignProperty(Target, Value);
  if (!Why.empty())
    fail("%s", (std::string(Target) + "=" + Value + ": " + Why).c_str());
  return 0;
}

// Flushes the output first, so that it precedes the report if both go to one file.
bool Interpreter::fail(const char *Fmt, const char *Text) {
  outs().flush();
  Diagnostics.error(Line, Fmt, Text);
  if (Interactive)
    Nesting::endUnwinding();
  return false;
}

// Search paths of scripts.

static bool isListed(const char *Path) {
  const std::vector<std::string> &Paths = Interpreter::getPaths();
  return std::find(Paths.begin(), Paths.end(), Path) != Paths.end();
}

void Interpreter::appendPath(const char *Path) {
  if (!isListed(Path))
    s_SearchPaths.emplace_back(Path);
}

void Interpreter::prependPath(const char *Path) {
  if (!isListed(Path))
    s_SearchPaths.emplace(s_SearchPaths.begin(), Path);
}

const char *Interpreter::getPath(const char *Name) {
  static thread_local std::string Found;
  Found = Name;
  if (fs::isFile(Found))
    return Found.c_str();
  for (const std::string &Path : s_SearchPaths) {
    Found = Path + "/" + Name;
    if (fs::isFile(Found))
      return Found.c_str();
  }
  return nullptr;
}

// Variables of scopes.

void Interpreter::pushScope() {
  Scopes.emplace_back();
}

void Interpreter::popScope() {
  if (Scopes.size() > 1)
    Scopes.pop_back();
}

void Interpreter::addScopedVar(const char *Name, const char *Value) {
  Scopes.back().try_emplace(Name, NewVariable{Name, Value, ""});
}

void Interpreter::addGlobalVar(const char *Name, const char *Value) {
  Scopes.front().try_emplace(Name, NewVariable{Name, Value, ""});
}

static NewVariable *findIn(std::map<std::string, NewVariable, std::less<>> &Scope,
                           const char *Name) {
  auto Found = Scope.find(Name);
  return Found == Scope.end() ? nullptr : &Found->second;
}

NewVariable *Interpreter::getVar(const char *Name) {
  for (auto Scope = Scopes.rbegin(); Scope != Scopes.rend(); ++Scope)
    if (NewVariable *Found = findIn(*Scope, Name))
      return Found;
  return nullptr;
}

NewVariable *Interpreter::getGlobal(const char *Name) {
  return findIn(Scopes.front(), Name);
}

// Entry points.

// Lets scripts of the installation be found by name.
static void addSystemPath() {
  if (const std::string Dir = os::path::findResourceDir("sysconfig"); !Dir.empty())
    getGlobalInterpreter().appendPath(Dir.c_str());
}

ScriptResult orvy::cl::runScript(const char *Path) {
  const char *Resolved = Path ? getGlobalInterpreter().getPath(Path) : nullptr;
  if (!Resolved)
    return ScriptResult::NotFound;
  Interpreter Script(Resolved);
  addSystemPath();
  if (Script.bad() && fs::size(Resolved) != 0) { // an empty script is not an error
    orvy_logError(nullptr, "cannot read script '%s'", Resolved);
    return ScriptResult::Failed;
  }
  return Script.readEvalLoop() == 0 ? ScriptResult::Succeeded : ScriptResult::Failed;
}

int orvy::cl::RunFile(const char *Path) {
  return runScript(Path) == ScriptResult::NotFound ? -1 : 0;
}

static void runStartScript(Interpreter &Script, const std::string &Path) {
  if (Script.good())
    Script.readEvalLoop();
  else
    orvy_logInfo(nullptr, "no such file: '%s'", Path.c_str());
}

void orvy::cl::Repl(const char *) {
  addSystemPath();
  const std::string UserPath = os::path::getConfDir() + "init.orvy";
  Interpreter UserScript(UserPath.c_str());
  runStartScript(UserScript, UserPath);
  const std::string LocalPath = "./orvy-init.orvy";
  Interpreter LocalScript(LocalPath.c_str());
  runStartScript(LocalScript, LocalPath);
  getGlobalInterpreter().readEvalLoop();
}

// The flat interface.

int orvy_execCommand(const char *Text) {
  if (!Text)
    return -1;
  Interpreter Script(std::strlen(Text), Text);
  addSystemPath();
  return Script.readEvalLoop();
}

int orvy_execCommandFile(const char *Path) {
  return RunFile(Path);
}
