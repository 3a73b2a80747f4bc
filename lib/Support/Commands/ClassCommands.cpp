// The commands that list and describe classes.

#include "CommandLine/Handlers.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Propval.h"

using namespace orvy;
using namespace orvy::cl;
using objsys::Class;
using objsys::Property;

namespace {

int listClasses(Command &, Interpreter *) {
  outs() << "\033[1mClasses\033[0m\n=======\n";
  for (const auto &[Name, Cls] : Class::classes()) {
    outs() << "  ";
    PrintClassType(*Cls);
  }
  return 0;
}

void printKind(const Class &Cls) {
  outs() << "Class '" << Cls.Name << "'\n";
  if (Cls.Qualifier == Kind::Processor)
    outs() << "\tclass is CPU\n";
  if (Cls.Qualifier == Kind::Machine)
    outs() << "\tclass is machine\n";
  if (Cls.External)
    outs() << "\tclass is external\n";
  if (Cls.VTable)
    outs() << "\tclass has vtable\n";
}

void printDescription(const char *Indent, const std::string &Name, const std::string &Type,
                      const std::string &Doc) {
  outs() << Indent << Name << " : " << Type << " : " << Doc << "\n";
}

void printInterfaces(const Class &Cls) {
  outs() << "Interfaces:\n";
  for (const auto &[Name, Iface] : Cls.Interfaces)
    printDescription("\t", Name, Iface->Type->Name, Iface->Doc);
}

std::string typeText(const Property &Prop) {
  std::string Type = orvy_typeToName(Prop.Typ);
  if (Prop.Typ != ovTY_IfaceRef)
    return Type;
  return Type + "/" + (Prop.RequiresInterface ? Prop.RequiredInterfaceType : "<unknown>");
}

void printProperties(const Class &Cls) {
  outs() << "Properties:\n";
  for (const auto &[Name, Prop] : Cls.Properties)
    if (!Prop->isRegister())
      printDescription("\t", Name, typeText(*Prop), Prop->Doc);
}

void printBanks(const Class &Cls) {
  outs() << "Register Banks:\n";
  for (const auto &[Name, Bank] : Cls.RegisterBanks) {
    outs() << "\tBank: " << Name << "\n";
    for (const objsys::Register *Reg : Bank->Registers)
      printDescription("\t\t", Reg->Name, orvy_typeToName(Reg->Typ), Reg->Doc);
  }
}

void printPorts(const Class &Cls) {
  outs() << "Ports:\n";
  for (const auto &[Number, Each] : Cls.Ports)
    printDescription("\t", Each.Prop->Name, Each.Iface->Name, Each.Doc);
}

int showClass(Command &Cmd, Interpreter *) {
  const Class &Cls = *Cmd.getOption("class").getValue<Class *>();
  printKind(Cls);
  printInterfaces(Cls);
  printProperties(Cls);
  printBanks(Cls);
  printPorts(Cls);
  return 0;
}

Command ClassList("class-list", listClasses, "List all classes");

Command ClassInfo("class-info", {{"class", OK_Class, true}}, showClass, "Show info about class");

Command ClassGenerateDoc(
    "class-generate-doc", {{"class", OK_Class, true}, {"file", OK_Path, false}},
    [](Command &Cmd, Interpreter *) {
      const auto *Cls = Cmd.getOption("class").getValue<Class *>();
      if (!Cls)
        return 1;
      Cls->generateDocs(given<const char *>(Cmd, "file").value_or(nullptr));
      return 0;
    },
    "Generate documentation for class");

} // namespace
