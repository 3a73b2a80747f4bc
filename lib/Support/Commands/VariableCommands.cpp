// The commands on the variables of the command language.

#include "orvy/Support/Commands.h"
#include "orvy/Support/OutStream.h"

using namespace orvy;
using namespace orvy::cl;

namespace {

int setVariable(Command &Cmd, Interpreter *) {
  Var::setVariable(Cmd.getOption("var").Value, Cmd.getOption("val").Value);
  return 0;
}

void print(const Var &Variable) {
  outs() << Variable.getName() << "=" << Variable.getValue() << "\n";
}

int printVariable(Command &Cmd, Interpreter *) {
  if (const Var *Variable = Var::findVariable(Cmd.getOption("var").Value))
    print(*Variable);
  return 0;
}

int printAllVariables(Command &, Interpreter *) {
  if (Var::Variables)
    for (const auto &[Name, Variable] : *Var::Variables)
      print(*Variable);
  return 0;
}

int deleteVariable(Command &Cmd, Interpreter *) {
  Var::deleteVariable(Cmd.getOption("var").Value);
  return 0;
}

int importEnvironment(Command &Cmd, Interpreter *) {
  const Option &Name = Cmd.getOption("var");
  if (Name.Valid)
    return Var::initFromEnv(Name.Value.c_str()) ? 0 : 1;
  Var::initFromEnv();
  return 0;
}

Command VarSet("var-set", {{"var", OK_String, true}, {"val", OK_String, true}}, setVariable,
               "set a variable", {"set"});

Command VarPrint("var-print", {{"var", OK_String, true}}, printVariable, "print variable");

Command VarPrintAll("var-print-all", printAllVariables, "print all variables", {"vars", "env"});

Command VarDelete("var-delete", {{"var", OK_String, true}}, deleteVariable, "delete variable",
                  {"var-unset", "unset"});

Command
    VarInitFromEnvironment("var-init-from-environment",
                           {{"var", OK_String, false, "Environment variable to import"}},
                           importEnvironment,
                           "Import environmental variables into the ORVY command line. If var is "
                           "not given, all environment variables are imported.",
                           {"import-env"});

} // namespace
