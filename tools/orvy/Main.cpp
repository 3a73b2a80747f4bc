// Main.cpp - the front end: starts the library, and runs scripts, command texts, or the prompt.

#include "orvy/Support/CommandLineOptions.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Interpreter.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Paths.h"
#include "orvy/Support/Support.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace orvy;
using namespace orvy::cl;

namespace {

enum ExitStatus { Success = 0, UsageError = 1, ScriptFailed = 2 };

/// An option that may be given several times. Its values are not parsed.
class Words : public Option2 {
public:
  bool parse(const char *Word) override {
    Values.emplace_back(Word);
    return true;
  }
  const std::vector<std::string> &get() const { return Values; }

private:
  std::vector<std::string> Values;
};

struct ScriptNames final : Words {
  ScriptNames() {
    setPositional();
    setValueName("script");
    setDescription("Scripts to run, in order");
  }
} Scripts;

struct CommandTexts final : Words {
  CommandTexts() {
    setLongName("command");
    setShortName('c');
    setValueName("text");
    TakesValue = true;
    setDescription("Run the commands of a text, after the scripts; may come several times");
  }
} Texts;

opt<bool> Interactive(longName("interactive"), shortName('i'),
                      description("Enter the prompt at the end"));
opt<bool> Help(longName("help"), shortName('h'), description("Show this help"));
opt<bool> Version(longName("version"), description("Show the version"));

/// The path of the program itself, even if it was started through a link.
std::string programPath(const char *Called) {
  std::error_code Failed;
  const auto Path = std::filesystem::read_symlink("/proc/self/exe", Failed);
  return Failed ? Called : Path.string();
}

void startLibrary(const char *Called) {
  orvy_initPathSupport(programPath(Called).c_str());
  orvy_initConfigDirs();
  orvy_initSupportLib();
}

/// Lets scripts find the installation from any directory: its scripts by name, and other files
/// below ORVY_SHARE.
void setUpScripts() {
  std::string Share = os::path::findResourceDir("");
  if (Share.ends_with('/'))
    Share.pop_back();
  Var::setVariable("ORVY_SHARE", Share.c_str());
  if (const std::string Scripts = os::path::findResourceDir("sysconfig"); !Scripts.empty())
    Interpreter::appendPath(Scripts.c_str());
}

/// Whether the script was found and succeeded. The script reports its own failures.
bool runNamedScript(const std::string &Name) {
  switch (runScript(Name.c_str())) {
  case ScriptResult::Succeeded:
    return true;
  case ScriptResult::Failed:
    return false;
  case ScriptResult::NotFound:
    errs() << "orvy: cannot read script '" << Name << "'\n";
  }
  return false;
}

bool runStandardInput() {
  Interpreter Commands(std::make_unique<StreamLineReader>(stdin), "");
  return Commands.readEvalLoop() == 0;
}

bool runScripts() {
  for (const std::string &Name : Scripts.get())
    if (!runNamedScript(Name))
      return false;
  for (const std::string &Text : Texts.get())
    if (orvy_execCommand(Text.c_str()) != 0)
      return false;
  return true;
}

/// Makes ^C have no effect except in runs and in the line editor, which handle it themselves.
void keepInterrupts() {
  struct sigaction Action = {};
  Action.sa_handler = [](int) {};
  Action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &Action, nullptr);
}

/// Runs the prompt. Failed commands do not affect the exit status.
void runPrompt() {
  if (isatty(STDIN_FILENO))
    keepInterrupts();
  std::setlocale(LC_CTYPE, "");
  Repl("");
  if (isatty(STDIN_FILENO))
    outs() << "\n";
}

ExitStatus runAll() {
  const bool HasWork = !Scripts.get().empty() || !Texts.get().empty();
  bool Succeeds = runScripts();
  if (Interactive || (!HasWork && isatty(STDIN_FILENO))) {
    runPrompt();
    Succeeds = true;
  } else if (!HasWork) {
    Succeeds = runStandardInput();
  }
  orvy_objsysClear();
  return Succeeds ? Success : ScriptFailed;
}

/// The status of the process: it has failed if its output could not be written.
ExitStatus finish(ExitStatus Status) {
  outs().flush();
  if (std::cout.good() && std::fflush(stdout) == 0 && !std::ferror(stdout))
    return Status;
  errs() << "orvy: not everything could be written to the standard output\n";
  return Status == Success ? ScriptFailed : Status;
}

} // namespace

int main(int argc, char **argv) {
  // Before the library is started, which uses some of the values.
  if (orvy_parseCommandLineOptions(argc, const_cast<const char **>(argv)) != 0) {
    errs() << "orvy: '" << getWrongWord()
           << "' is not an option, or its value is missing or wrong\n\n";
    orvy_printCommandLineHelp();
    return UsageError;
  }
  if (Help) {
    orvy_printCommandLineHelp();
    return Success;
  }
  if (Version) {
    outs() << orvy_getVersionString() << "\n";
    return finish(Success);
  }
  startLibrary(argv[0]);
  setUpScripts();
  return finish(runAll());
}
