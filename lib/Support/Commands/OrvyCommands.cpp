// The commands of the language itself: help, scripts and where they lie, aliases, exit, text output.

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

int appendPaths(Command &Cmd, Interpreter *) {
  for (const std::string &Path : Cmd.getPositionals())
    getGlobalInterpreter().appendPath(Path.c_str());
  return 0;
}

int prependPaths(Command &Cmd, Interpreter *) {
  for (const std::string &Path : Cmd.getPositionals())
    getGlobalInterpreter().prependPath(Path.c_str());
  return 0;
}

int listPaths(Command &, Interpreter *) {
  for (const std::string &Path : getGlobalInterpreter().getPaths())
    outs() << Path << "\n";
  return 0;
}

// Returns whether the existing command was found. The registry reports a name that is taken.
bool addAlias(const std::string &Name, const std::string &Existing) {
  Command *Cmd = getGlobalCmdRegistry().findCommand(Existing);
  if (Cmd)
    getGlobalCmdRegistry().registerCommand(Name.c_str(), Cmd);
  else
    errs() << "unknown command '" << Existing << "'\n";
  return Cmd != nullptr;
}

int setAlias(Command &Cmd, Interpreter *) {
  const Option &Existing = Cmd.getOption("command");
  const Option &Name = Cmd.getOption("name");
  if (Existing.Valid && Name.Valid) {
    addAlias(Name.Value, Existing.Value);
    return 0;
  }
  const std::vector<std::string> &Words = Cmd.getPositionals();
  return Words.size() == 2 && addAlias(Words[0], Words[1]) ? 0 : -1;
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

Command ExecPathAppend("exec-path-append", appendPaths, "Append search path for the exec command");

Command ExecPathPrepend("exec-path-prepend", prependPaths,
                        "Prepend search paths for the exec command");

Command ExecPathList("exec-path-list", listPaths, "List search paths used by the exec command");

Command Alias("alias", {{"command", OK_String, false}, {"name", OK_String, false}}, setAlias,
              "set a command alias");

} // namespace
