#include "orvy/Support/Commands.h"

#include "orvy/Support/Interpreter.h"
#include "orvy/Support/ManagedStatic.h"
#include "orvy/Support/OutStream.h"

using namespace orvy;
using namespace orvy::cl;

// In this order, so that the interpreter is destroyed before the registry.
static ManagedStatic<CommandRegistry> TheRegistry;
static ManagedStatic<Interpreter> TheInterpreter;

CommandRegistry &orvy::cl::getGlobalCmdRegistry() {
  return *TheRegistry;
}

Interpreter &orvy::cl::getGlobalInterpreter() {
  return *TheInterpreter;
}

bool CommandRegistry::registerCommand(const char *Name, Command *Cmd) {
  std::lock_guard<std::mutex> Guard(Mutex);
  if (Commands.try_emplace(Name, Cmd).second)
    return true;
  errs() << "error: command '" << Name << "' already registered\n";
  return false;
}

void CommandRegistry::unregisterCommand(const Command *Cmd) {
  std::lock_guard<std::mutex> Guard(Mutex);
  std::erase_if(Commands, [Cmd](const auto &Entry) { return Entry.second == Cmd; });
}

Command *CommandRegistry::findCommand(std::string_view Name) const {
  auto Found = Commands.find(Name);
  return Found == Commands.end() ? nullptr : Found->second;
}

// Listings.

void orvy::cl::PrintCommandList() {
  outs() << "\033[1mCommands\033[0m\n========\n";
  for (const auto &[Name, Cmd] : TheRegistry->getCommands())
    outs() << "  " << Name << "\n";
}

static void documentOptions(const Command &Cmd) {
  if (Cmd.getOptions().empty()) {
    outs() << "NOTE: This command takes no named arguments.\n\n";
    return;
  }
  outs() << "==== Arguments\n\n"
         << "[options=\"header\"]\n"
         << "|============================\n"
         << "| Option | Type | Description\n";
  for (const Option &Each : Cmd.getOptions())
    outs() << "| " << Each.Name << " | " << Each.getDocumentedKind() << " | " << Each.Help << "\n";
  outs() << "|============================\n\n";
}

static void documentAliases(const Command &Cmd) {
  if (Cmd.getAliases().empty())
    return;
  outs() << "==== Aliases\n\n";
  const char *Separator = "";
  for (const std::string &Alias : Cmd.getAliases()) {
    outs() << Separator << Alias;
    Separator = ", ";
  }
  outs() << "\n\n";
}

static void documentCommand(const Command &Cmd) {
  outs() << Cmd.getHelp() << "\n\n";
  if (Cmd.getAliases().empty())
    outs() << "NOTE: This command does not have any aliases.\n\n";
  documentOptions(Cmd);
  documentAliases(Cmd);
}

void orvy::cl::PrintCommandHelpAdoc() {
  outs() << "== Commands\n";
  for (const auto &[Name, Cmd] : TheRegistry->getCommands()) {
    outs() << "[[" << Name << "]]\n"
           << "=== " << Name << "\n\n";
    if (Name == Cmd->getName())
      documentCommand(*Cmd);
    else
      outs() << "Alias for <<" << Cmd->getName() << ">>.\n\n";
  }
}

// Commands on variables, search paths and commands.

static int setVariable(Command &Cmd, Interpreter *) {
  Var::setVariable(Cmd.getOption("var").Value, Cmd.getOption("val").Value);
  return 0;
}

static void print(const Var &Variable) {
  outs() << Variable.getName() << "=" << Variable.getValue() << "\n";
}

static int printVariable(Command &Cmd, Interpreter *) {
  if (const Var *Variable = Var::findVariable(Cmd.getOption("var").Value))
    print(*Variable);
  return 0;
}

static int printAllVariables(Command &, Interpreter *) {
  if (Var::Variables)
    for (const auto &[Name, Variable] : *Var::Variables)
      print(*Variable);
  return 0;
}

static int deleteVariable(Command &Cmd, Interpreter *) {
  Var::deleteVariable(Cmd.getOption("var").Value);
  return 0;
}

static int importEnvironment(Command &Cmd, Interpreter *) {
  const Option &Name = Cmd.getOption("var");
  if (Name.Valid)
    return Var::initFromEnv(Name.Value.c_str()) ? 0 : 1;
  Var::initFromEnv();
  return 0;
}

static int appendPaths(Command &Cmd, Interpreter *) {
  for (const std::string &Path : Cmd.getPositionals())
    getGlobalInterpreter().appendPath(Path.c_str());
  return 0;
}

static int prependPaths(Command &Cmd, Interpreter *) {
  for (const std::string &Path : Cmd.getPositionals())
    getGlobalInterpreter().prependPath(Path.c_str());
  return 0;
}

static int listPaths(Command &, Interpreter *) {
  for (const std::string &Path : getGlobalInterpreter().getPaths())
    outs() << Path << "\n";
  return 0;
}

// Returns whether the existing command was found. The registry reports a name that is taken.
static bool addAlias(const std::string &Name, const std::string &Existing) {
  Command *Cmd = TheRegistry->findCommand(Existing);
  if (Cmd)
    TheRegistry->registerCommand(Name.c_str(), Cmd);
  else
    errs() << "unknown command '" << Existing << "'\n";
  return Cmd != nullptr;
}

static int setAlias(Command &Cmd, Interpreter *) {
  const Option &Existing = Cmd.getOption("command");
  const Option &Name = Cmd.getOption("name");
  if (Existing.Valid && Name.Valid) {
    addAlias(Name.Value, Existing.Value);
    return 0;
  }
  const std::vector<std::string> &Words = Cmd.getPositionals();
  return Words.size() == 2 && addAlias(Words[0], Words[1]) ? 0 : -1;
}

static Command VarSet("var-set", {{"var", OK_String, true}, {"val", OK_String, true}}, setVariable,
                      "set a variable", {"set"});
static Command VarPrint("var-print", {{"var", OK_String, true}}, printVariable, "print variable");
static Command VarPrintAll("var-print-all", printAllVariables, "print all variables",
                           {"vars", "env"});
static Command VarDelete("var-delete", {{"var", OK_String, true}}, deleteVariable,
                         "delete variable", {"var-unset", "unset"});
static Command
    VarInitFromEnvironment("var-init-from-environment",
                           {{"var", OK_String, false, "Environment variable to import"}},
                           importEnvironment,
                           "Import environmental variables into the ORVY command line. If var is "
                           "not given, all environment variables are imported.",
                           {"import-env"});
static Command ExecPathAppend("exec-path-append", appendPaths,
                              "Append search path for the exec command");
static Command ExecPathPrepend("exec-path-prepend", prependPaths,
                               "Prepend search paths for the exec command");
static Command ExecPathList("exec-path-list", listPaths,
                            "List search paths used by the exec command");
static Command Alias("alias", {{"command", OK_String, false}, {"name", OK_String, false}}, setAlias,
                     "set a command alias");
