// The commands on registers and their fields.

#include "CommandLine/Handlers.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Propval.h"

#include <bit>

using namespace orvy;
using namespace orvy::cl;
using objsys::Class;
using objsys::Field;
using objsys::Register;

namespace {

/// Calls a function for each bank, register and field of a class.
template <typename Banks, typename Registers, typename Fields>
void walkRegisters(const Class &Cls, Banks OnBank, Registers OnRegister, Fields OnField) {
  for (const auto &[Name, Bank] : Cls.RegisterBanks) {
    OnBank(Name);
    for (const Register *Reg : Bank->Registers) {
      OnRegister(*Reg);
      for (const auto &Each : Reg->Fields)
        OnField(*Reg, *Each);
    }
  }
}

void printBank(const std::string &Name) {
  outs() << "Bank: " << Name << "\n";
}

uint64_t registerValue(void *Obj, const Register &Reg) {
  const orvy_Propval Pv = orvy_getValue(Obj, Reg.Name.c_str(), 0);
  return orvy_isNumber(Pv) ? orvy_asUnsigned(Pv) : 0;
}

int printRegisters(Command &Cmd, Interpreter *) {
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  walkRegisters(
      *Class::classForObject(Obj), printBank,
      [&](const Register &Reg) {
        outs() << "\t" << Reg.Name << " = ";
        outs().setBase(OutStream::Hexadecimal) << registerValue(Obj, Reg) << "\n";
      },
      [&](const Register &Reg, const Field &Each) {
        outs() << "\t\t" << Each.Name << " = ";
        outs().setBase(OutStream::Binary).setWidth(std::popcount(Each.Mask)).setFill('0')
            << Each.extract(registerValue(Obj, Reg)) << "\n";
      });
  return 0;
}

int printClassRegisters(Command &Cmd, Interpreter *) {
  walkRegisters(
      *Cmd.getOption("class").getValue<Class *>(), printBank,
      [](const Register &Reg) { outs() << "\t" << Reg.Name << " : " << Reg.Doc << "\n"; },
      [](const Register &, const Field &Each) {
        outs() << "\t\t" << Each.Name << " : " << Each.Doc << "\n";
      });
  return 0;
}

/// A handler that stores into a field with Store.
template <int (*Store)(void *, const char *, const char *, uint64_t)>
int storeField(Command &Cmd, Interpreter *) {
  const auto Reg = Cmd.getOption("reg").getValue<orvy_PropName>();
  return Store(Reg.Obj, Reg.Name, Cmd.getOption("field").Value.c_str(),
               Cmd.getOption("value").getValue<unsigned long>());
}

Command PrintRegisters("experimental-print-registers", {{"obj", OK_Object, true}}, printRegisters,
                       "EXPERIMENTAL!!! Print registers", {"exp-pregs", "exp-pr"});

Command SetField("experimental-register-set-field",
                 {{"reg", OK_Reg, true}, {"field", OK_String, true}, {"value", OK_Int, true}},
                 storeField<orvy_setFieldValue>, "EXPERIMENTAL!!! Set register field",
                 {"exp-set-field"});

Command WriteField("experimental-register-write-field",
                   {{"reg", OK_Reg, true}, {"field", OK_String, true}, {"value", OK_Int, true}},
                   storeField<orvy_writeFieldValue>, "EXPERIMENTAL!!! Write register field",
                   {"exp-write-field"});

Command PrintClassRegisters("experimental-print-class-registers", {{"class", OK_Class, true}},
                            printClassRegisters, "EXPERIMENTAL!!! Print registers docs for class",
                            {"exp-pcregs", "exp-pcr"});

} // namespace
