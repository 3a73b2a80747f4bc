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
