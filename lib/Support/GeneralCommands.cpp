// The commands of the language itself: help, scripts, leaving, and text for the user.

#include "CommandLine/Handlers.h"

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

Command OrvyHelp("orvy-help",
                 {
                     {"command", OK_String, false}
},
                 help, "show orvy help", {"?", "h", "help"});

Command OrvyGenerateHelp("orvy-generate-help", call<PrintCommandHelpAdoc>,
                         "generate help document");

Command OrvyQuit("orvy-quit", quit, "quit orvy", {"quit", "q", "exit"});

Command Echo("echo", echo, "Write string to stdout");

} // namespace
