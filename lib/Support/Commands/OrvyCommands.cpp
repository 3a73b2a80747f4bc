// The commands of the language itself: help, scripts, exit, and text output.

#include "CommandLine/Handlers.h"

#include "orvy/Support/Interpreter.h"
#include "orvy/Support/Support.h"

#include <cstdlib>

using namespace orvy;
using namespace orvy::cl;

namespace {

void showHelp(const std::string &Name) {
  if (const Command *Found = Command::findCommand(Name))
    Found->help();
  else
    errs() << "unknown command '" << Name << "'\n";
}

int help(Command &Cmd, Interpreter *) {
  const Option &Named = Cmd.getOption("command");
  for (const std::string &Name : Cmd.getPositionals())
    showHelp(Name);
  if (Named.Valid)
    showHelp(Named.Value);
  else if (Cmd.getPositionals().empty())
    PrintCommandList();
  return 0;
}

int execute(Command &Cmd, Interpreter *) {
  const Option &File = Cmd.getOption("file");
  const std::vector<std::string> &Words = Cmd.getPositionals();
  if (!File.Valid && Words.empty())
    return 1;
  const std::string Path = File.Valid ? File.Value : Words.front();
  Cmd.clearOptions(); // the script may use this command
  if (runScript(Path.c_str()) != ScriptResult::NotFound)
    return 0;
  errs() << "cannot find the script '" << Path
         << "'; exec-path-list shows where it is looked for\n";
  return -1;
}

int quit(Command &, Interpreter *) {
  orvy_objsysClear();
  std::exit(0);
}

int echo(Command &Cmd, Interpreter *) {
  if (Cmd.getPositionals().empty())
    return 0;
  for (const std::string &Word : Cmd.getPositionals())
    outs() << Word << " ";
  outs() << "\n";
  return 0;
}

Command OrvyHelp("orvy-help", {{"command", OK_String, false}}, help, "show orvy help",
                 {"?", "h", "help"});

Command OrvyExec("orvy-exec", {{"file", OK_Path, false}}, execute,
                 "exec orvy command line interface script", {"source", "exec"});

Command OrvyGenerateHelp("orvy-generate-help", call<PrintCommandHelpAdoc>,
                         "generate help document");

Command OrvyQuit("orvy-quit", quit, "quit orvy", {"quit", "q", "exit"});

Command OrvyVersion("orvy-version",
                    [](Command &, Interpreter *) {
                      outs() << orvy_getVersionString() << "\n";
                      return 0;
                    },
                    "Show orvy version", {"version"});

Command Echo("echo", echo, "Write string to stdout");

} // namespace
