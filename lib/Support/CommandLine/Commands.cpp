#include "orvy/Support/Commands.h"

#include "Base/InternalError.h"
#include "CommandLine/Characters.h"
#include "CommandLine/CommandUse.h"
#include "CommandLine/NumberText.h"
#include "CommandLine/ProgramNames.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

CommandBase::CommandBase(std::string Name, std::vector<std::string> Aliases,
                         std::vector<Option> Options)
    : Name(std::move(Name)), Aliases(std::move(Aliases)), Options(std::move(Options)) {}

CommandBase::~CommandBase() = default;

Command::Command(const char *Name, std::initializer_list<Option> Options, Handler Func,
                 const char *Help, std::initializer_list<std::string> Aliases,
                 std::initializer_list<OptionKind> PositionalKinds)
    : CommandBase(Name, Aliases, Options), Func(std::move(Func)), Help(Help),
      PositionalKinds(PositionalKinds) {
  const auto Self =
      std::find_if(Options.begin(), Options.end(), [](auto &Opt) { return Opt.Self; });
  if (Self != Options.end())
    SelfName = Self->Name;
  CommandRegistry &Registry = getGlobalCmdRegistry();
  Registry.registerCommand(Name, this);
  for (const std::string &Alias : Aliases)
    Registry.registerCommand(Alias.c_str(), this);
}

Command::Command(const char *Name, Handler Func, const char *Help,
                 std::initializer_list<std::string> Aliases,
                 std::initializer_list<OptionKind> PositionalKinds)
    : Command(Name, std::initializer_list<Option>{}, std::move(Func), Help, Aliases,
              PositionalKinds) {}

Command::~Command() = default;

int Command::run(Interpreter *Interp) {
  return Func(*this, Interp);
}

Command *Command::findCommand(std::string_view Name) {
  return getGlobalCmdRegistry().findCommand(Name);
}

// Options.

void Command::addOption(Option Added) {
  if (Added.Self && SelfName.empty())
    SelfName = Added.Name;
  Options.push_back(std::move(Added));
}

Option *Command::findOption(std::string_view OptName) {
  const auto Found = std::find_if(Options.begin(), Options.end(),
                                  [&](const Option &Opt) { return Opt.Name == OptName; });
  return Found == Options.end() ? nullptr : &*Found;
}

Option &Command::getOption(const char *OptName) {
  Option *Found = OptName ? findOption(OptName) : nullptr;
  if (!Found)
    ORVY_INTERNAL_ERROR("an option that the command does not declare");
  return *Found;
}

void Command::clearOptions() {
  for (Option &Opt : Options) {
    Opt.Valid = Opt.Given = false;
    Opt.Replaced.clear();
  }
  Positionals.clear();
}

CommandUse::CommandUse(Command &Cmd) : Cmd(Cmd) {
  if (++Cmd.Uses == 1)
    return;
  OuterOptions = Cmd.Options;
  swapArguments();
  Cmd.clearOptions();
}

CommandUse::~CommandUse() {
  Cmd.clearOptions();
  if (--Cmd.Uses != 0)
    swapArguments();
}

// Swapping moves no elements, so that pointers into the arguments of the outer use stay valid.
void CommandUse::swapArguments() {
  Cmd.Options.swap(OuterOptions);
  Cmd.Positionals.swap(OuterPositionals);
}

// Parsing.

int Command::parseOptions(const std::vector<std::string> &Words, const std::string *Self) {
  if (TakesText) {
    std::string Text;
    for (size_t Index = 1; Index < Words.size(); ++Index)
      Text += (Index > 1 ? " " : "") + Words[Index];
    return takeTypedText(Text) == WordResult::Fails ? -1
                                                    : finishParsing(Self ? Self->c_str() : nullptr);
  }
  for (size_t Index = 1; Index < Words.size(); ++Index) {
    const WordResult Result = takeWord(Words[Index], true);
    if (Result == WordResult::Fails)
      return -1;
    if (Result == WordResult::EndsWords)
      break;
  }
  return finishParsing(Self ? Self->c_str() : nullptr);
}

int Command::parseOptions(int argc, const char **argv, const char *Self) {
  for (int Index = 1; Index < argc; ++Index) {
    const WordResult Result = takeWord(argv[Index], false);
    if (Result == WordResult::Fails)
      return -1;
    if (Result == WordResult::EndsWords)
      break;
  }
  return finishParsing(Self);
}

Command::WordResult Command::takeWord(std::string_view Word, bool HasComments) {
  if (Word.empty())
    return WordResult::Taken;
  size_t End = 1;
  while (End < Word.size() && isLetterOrDigit(Word[End]))
    ++End;
  if (End == Word.size() || Word[End] != '=')
    return takePositional(Word, HasComments);
  const std::string_view Key = Word.substr(0, End);
  if (isLetter(Key[0]))
    return takeValue(Key, Word.substr(End + 1));
  if (!HasComments)
    errs() << "invalid key '" << Key << "'\n";
  return WordResult::EndsWords;
}

Command::WordResult Command::takePositional(std::string_view Word, bool HasComments) {
  const size_t Hash = HasComments ? Word.find('#') : Word.npos;
  if (Hash == 0)
    return WordResult::EndsWords;
  const bool HasComment = Hash != Word.npos && Word[Hash - 1] != '\\';
  std::string &Taken = Positionals.emplace_back(HasComment ? Word.substr(0, Hash) : Word);
  if (requiredAddress())
    keepRegisters(Taken);
  escapeAndExpand(Taken); // a reference that cannot be expanded is left unchanged
  return HasComment ? WordResult::EndsWords : WordResult::Taken;
}

// Takes the words that give an option out of a text and keeps the rest.
Command::WordResult Command::takeTypedText(std::string_view Text) {
  std::string Rest;
  while (!Text.empty()) {
    const size_t Blanks = std::min(Text.find_first_not_of(" \t\r\n"), Text.size());
    const size_t End = std::min(Text.find_first_of(" \t\r\n", Blanks), Text.size());
    const std::string_view Word = Text.substr(Blanks, End - Blanks);
    const size_t Equals = Word.find('=');
    const bool IsOption = Equals != Word.npos && findOption(Word.substr(0, Equals));
    if (IsOption && takeWord(Word, false) == WordResult::Fails)
      return WordResult::Fails;
    if (!IsOption)
      Rest += Text.substr(0, End);
    Text.remove_prefix(End);
  }
  const size_t First = Rest.find_first_not_of(" \t\r\n");
  if (First != Rest.npos)
    Positionals.push_back(Rest.substr(First, Rest.find_last_not_of(" \t\r\n") + 1 - First));
  return WordResult::Taken;
}

Command::WordResult Command::takeValue(std::string_view Key, std::string_view Text) {
  std::string Value(Text);
  Option *Opt = findOption(Key);
  if (Opt && isAddress(Opt->Unit))
    keepRegisters(Value);
  if (!escapeAndExpand(Value))
    return WordResult::Fails;
  if (!Opt) {
    errs() << "cannot find option with key '" << Key << "'\n";
    return WordResult::Fails;
  }
  Opt->setVal(Value);
  Opt->Given = true;
  return WordResult::Taken;
}

int Command::finishParsing(const char *Self) {
  if (Self)
    if (const int Result = applySelf(Self))
      return Result;
  completeAddress();
  return checkRequired();
}

Option *Command::requiredAddress() {
  const auto Found = std::find_if(Options.begin(), Options.end(), [](const Option &Opt) {
    return Opt.Required && isAddress(Opt.Unit);
  });
  return Found == Options.end() ? nullptr : &*Found;
}

// Takes the first word for a required address that was not given by its key, and what was selected
// for the memory or processor that it belongs to.
void Command::completeAddress() {
  Option *Address = requiredAddress();
  if (!Address)
    return;
  if (!Address->Given && !Positionals.empty()) {
    Address->setVal(Positionals.front());
    Address->Given = true;
    Positionals.erase(Positionals.begin());
  }
  for (Option &Opt : Options) {
    if (!Address->Given || Opt.Kind != OK_Object || !Opt.Required || Opt.Given ||
        Var::findVariable(Opt.Default))
      continue;
    const bool IsMemory = Address->Unit == ovOU_PhysicalAddress && Opt.Name != "cpu";
    if (const std::string Name = IsMemory ? programNames().memory() : programNames().processor();
        !Name.empty())
      Opt.setVal(Name);
  }
}

int Command::applySelf(const char *Self) {
  Option *Opt = SelfName.empty() ? nullptr : findOption(SelfName);
  if (!Opt)
    return 0;
  if (Opt->Valid) {
    errs() << "cannot use self argument when explicitly setting it\n";
    return 1;
  }
  Opt->setVal(Self);
  Opt->Given = true;
  return 0;
}

static void takeDefault(Option &Opt, const Var &Default) {
  if (Opt.Given)
    Opt.Replaced = Opt.Value;
  Opt.setVal(Default.getValue());
}

static std::string whyInvalid(const Option &Opt) {
  std::string Why;
  switch (Opt.Kind) {
  case OK_Object:
    return "there is no such object";
  case OK_Int:
    if (isAddress(Opt.Unit))
      programNames().addressOf(Opt.Value, Opt.Unit == ovOU_PhysicalAddress, Why);
    return Why.empty() ? "not an integer of 64 bits" : Why;
  case OK_Double:
    return "not a number";
  case OK_Prop:
    return "there is no such property, as 'object.property'";
  case OK_Iface:
    return "there is no such interface, as 'object:interface'";
  case OK_Reg:
    return "there is no such register, as 'object.register'";
  case OK_Class:
    return "there is no such class";
  case OK_String:
  case OK_Path:
  case OK_Unchecked:
    break;
  }
  return "an option of an unknown kind";
}

int Command::checkRequired() {
  for (Option &Opt : Options) {
    if (!Opt.Required || Opt.Valid)
      continue;
    if (const Var *Default = Var::findVariable(Opt.Default))
      takeDefault(Opt, *Default);
    if (Opt.Valid)
      continue;
    errs() << "required option '" << Opt.Name << "' is not valid (= '" << Opt.Value << "')\n";
    if (Opt.Given && isAddress(Opt.Unit))
      errs() << "'" << Opt.Value << "': " << whyInvalid(Opt) << "\n";
    return -1;
  }
  return 0;
}

// Warns if a default replaces an invalid value. Rejects it for an object, because the command would
// work on the wrong one.
static bool checkReplaced(const Option &Opt) {
  if (Opt.Replaced.empty())
    return true;
  const bool IsError = Opt.Kind == OK_Object;
  errs() << (IsError ? "option '" : "warning: option '") << Opt.Name << "' is not valid (= '"
         << Opt.Replaced << "')" << (IsError ? "; without it '" : ", using '") << Opt.Default
         << "' = '" << Opt.Value << (IsError ? "' is used\n" : "'\n");
  return !IsError;
}

// A negative count converted to unsigned would run almost forever.
static bool isNegativeCount(const Option &Opt) {
  return Opt.Unit == ovOU_Count && Opt.Kind == OK_Int && Opt.getValue<long>() < 0;
}

static void warnOfTime(const Option &Opt) {
  if (Opt.Unit == ovOU_Seconds && !(Opt.getValue<double>() >= 0))
    errs() << "warning: '" << Opt.Name << "=" << Opt.Value << "' is not a length of time\n";
}

bool Command::checkGiven() const {
  for (const Option &Opt : Options) {
    if (!Opt.Given)
      continue;
    if (!checkReplaced(Opt))
      return false;
    if (!Opt.Valid) {
      errs() << "option '" << Opt.Name << "' is not valid (= '" << Opt.Value
             << "'): " << whyInvalid(Opt) << "\n";
      return false;
    }
    if (isNegativeCount(Opt)) {
      errs() << "option '" << Opt.Name << "' is not valid (= '" << Opt.Value
             << "'): it must not be negative\n";
      return false;
    }
    if (Opt.Kind == OK_Int)
      warnOfRest(Opt, readInteger(Opt.Value, Opt.Unit));
    else if (Opt.Kind == OK_Double) {
      warnOfRest(Opt, readReal(Opt.Value, Opt.Unit));
      warnOfTime(Opt);
    }
  }
  return true;
}

void Command::help() const {
  outs().changeStyle(OutStream::Bold) << "Command";
  outs().changeStyle(OutStream::Normal) << " '";
  outs().changeColor(OutStream::Red, false) << Name;
  outs().changeStyle(OutStream::Normal) << "'\n";
  if (!Help.empty())
    outs() << "\t" << Help << "\n";
  outs().changeStyle(OutStream::Bold) << "Options:";
  outs().changeStyle(OutStream::Normal) << "\n";
  if (Options.empty())
    outs() << "\tNONE\n";
  for (const Option &Opt : Options)
    Opt.help();
  outs() << "\033[1mAliases:\033[0m\n\t" << Name << "\n";
  for (const std::string &Alias : Aliases)
    outs() << "\t" << Alias << "\n";
}

// The flat interface.

namespace {

struct CommandContext {
  PlainCCommand *Cmd;
  Interpreter *Interp;
};

CommandContext &context(void *Ctxt) {
  ORVY_REQUIRE(Ctxt);
  return *static_cast<CommandContext *>(Ctxt);
}

Option &optionOf(void *Ctxt, const char *OptName) {
  return context(Ctxt).Cmd->getOption(OptName);
}

bool isReserved(std::string_view Name) {
  return Name == "if" || Name == "else" || Name == "while" || Name == "for";
}

std::string_view trim(std::string_view Text) {
  constexpr const char *Blanks = " \n\t\r";
  const size_t First = Text.find_first_not_of(Blanks);
  return First == Text.npos ? std::string_view()
                            : Text.substr(First, Text.find_last_not_of(Blanks) + 1 - First);
}

// Keeps a command reachable. The list is never destroyed, so that commands stay valid at exit.
void keepForever(PlainCCommand *Cmd) {
  static auto &Commands = *new std::vector<PlainCCommand *>;
  Commands.push_back(Cmd);
}

} // namespace

PlainCCommand::PlainCCommand(const char *Name, orvy_CmdFunc Func, const char *Help, void *Data)
    : Command(Name, Handler(), Help), Func(Func), Data(Data) {}

PlainCCommand::~PlainCCommand() = default;

int PlainCCommand::run(Interpreter *Interp) {
  CommandContext Ctxt{this, Interp};
  return Func(&Ctxt);
}

void *orvy_createCmd(const char *Name, orvy_CmdFunc Func, const char *Help, void *Data) {
  ORVY_REQUIRE_FUNCTION(Func);
  if (!Name || isReserved(trim(Name)))
    return nullptr;
  auto *Cmd = new PlainCCommand(std::string(trim(Name)).c_str(), Func, Help ? Help : "", Data);
  keepForever(Cmd);
  return Cmd;
}

void orvy_cmdAddOption(void *Cmd, const char *OptName, int Kind, int Required, const char *Doc,
                       const char *Default) {
  ORVY_REQUIRE(Cmd && OptName);
  static_cast<PlainCCommand *>(Cmd)->addOption(Option(OptName, static_cast<OptionKind>(Kind),
                                                      Required != 0, Doc ? Doc : "",
                                                      Default ? Default : ""));
}

void orvy_cmdSetOptionUnit(void *Cmd, const char *OptName, orvy_OptionUnit Unit) {
  ORVY_REQUIRE(Cmd);
  static_cast<PlainCCommand *>(Cmd)->getOption(OptName).Unit = Unit;
}

void *orvy_cmdGetData(void *Ctxt) {
  return context(Ctxt).Cmd->getData();
}

void *orvy_cmdGetInterpreter(void *Ctxt) {
  return context(Ctxt).Interp;
}

int64_t orvy_cmdGetOptionAsInteger(void *Ctxt, const char *OptName) {
  return optionOf(Ctxt, OptName).getValue<long>();
}

void *orvy_cmdGetOptionAsObject(void *Ctxt, const char *OptName) {
  return optionOf(Ctxt, OptName).getValue<void *>();
}

const char *orvy_cmdGetOptionAsString(void *Ctxt, const char *OptName) {
  return optionOf(Ctxt, OptName).getValue<const char *>();
}

double orvy_cmdGetOptionAsReal(void *Ctxt, const char *OptName) {
  return optionOf(Ctxt, OptName).getValue<double>();
}

int orvy_cmdOptionIsValid(void *Ctxt, const char *OptName) {
  return optionOf(Ctxt, OptName).Valid;
}

size_t orvy_cmdGetPosOptSize(void *Ctxt) {
  return context(Ctxt).Cmd->getPositionals().size();
}

const char *orvy_cmdGetPosOpt(void *Ctxt, size_t Index) {
  const std::vector<std::string> &Words = context(Ctxt).Cmd->getPositionals();
  ORVY_REQUIRE(Index < Words.size());
  return Words[Index].c_str();
}
