// The commands that create, list, connect and print objects.

#include "CommandLine/Handlers.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/Propval.h"
#include "orvy/Support/TablePrinter.h"
#include "orvy/Support/ValueParsers.h"

#include <exception>
#include <utility>

using namespace orvy;
using namespace orvy::cl;
using objsys::Class;
using objsys::Property;
using utils::TablePrinter;

namespace {

int listObjects(Command &, Interpreter *) {
  outs() << "\033[1mObjects\033[0m\n=======\n";
  for (const auto &[Name, Obj] : Class::objects()) {
    outs() << "  " << Name << " : ";
    PrintClassType(*Class::classForObject(Obj));
  }
  outs() << "\n";
  return 0;
}

// Creation

using KeyAndValue = std::pair<std::string, std::string>;

/// The pairs of "key:value,key:value". A key extends to the last colon of its pair. A character
/// after a backslash is not a separator. An incomplete last pair is ignored with a warning.
std::vector<KeyAndValue> splitArguments(const std::string &Text) {
  std::vector<KeyAndValue> Pairs;
  size_t Start = 0;
  size_t Colon = Text.npos;
  for (size_t I = 0; I <= Text.size(); ++I) {
    const bool IsEnd = I >= Text.size() || Text[I] == ',';
    if (IsEnd && Colon != Text.npos) {
      Pairs.emplace_back(Text.substr(Start, Colon - Start), Text.substr(Colon + 1, I - Colon - 1));
      Start = I + 1;
      Colon = Text.npos;
    } else if (!IsEnd && Text[I] == ':') {
      Colon = I;
    } else if (!IsEnd && Text[I] == '\\' && I + 1 < Text.size()) {
      ++I;
    }
  }
  if (Start < Text.size())
    errs() << "warning: '" << Text.substr(Start) << "' in 'args' is not key:value and is ignored\n";
  return Pairs;
}

/// The value as an integer if possible, else as a real number, else as a text, which is not copied.
orvy_Propval argumentValue(const std::string &Text) {
  orvy_Propval Pv = {};
  long Integer = 0;
  double Real = 0;
  if (parseInt(Text, Integer)) {
    Pv.Typ = ovTY_I64;
    Pv.i64 = Integer;
  } else if (parseDouble(Text, Real)) {
    Pv.Typ = ovTY_Double;
    Pv.d = Real;
  } else {
    Pv.Typ = ovTY_String;
    Pv.String = const_cast<char *>(Text.c_str());
  }
  return Pv;
}

/// The argument list for the class, terminated by a zero entry. It refers to the pairs' strings.
std::vector<orvy_CreateArg> createArguments(const std::vector<KeyAndValue> &Pairs) {
  std::vector<orvy_CreateArg> Args;
  Args.reserve(Pairs.size() + 1);
  for (const auto &[Key, Value] : Pairs)
    Args.push_back({Key.c_str(), argumentValue(Value)});
  Args.push_back({});
  return Args;
}

int createObject(Command &Cmd, Interpreter *) {
  const std::string &ClsName = Cmd.getOption("class").Value;
  std::vector<KeyAndValue> Pairs;
  std::vector<orvy_CreateArg> Args;
  try {
    if (const Option &Opt = Cmd.getOption("args"); Opt.Valid)
      Pairs = splitArguments(Opt.Value);
    Args = createArguments(Pairs);
  } catch (const std::exception &) {
    errs() << "failed parsing arguments\n";
    return 1;
  }
  if (Class::createObject(ClsName.c_str(), Cmd.getOption("name").Value.c_str(),
                          Pairs.empty() ? nullptr : Args.data()))
    return 0;
  errs() << "could not create object of class '" << ClsName << "'\n";
  return 1;
}

// Information

std::optional<TablePrinter::Base> numberBase(const Option &Opt) {
  if (!Opt.Valid)
    return TablePrinter::Hexadecimal;
  static constexpr std::pair<std::string_view, TablePrinter::Base> Names[] = {
      {"hex", TablePrinter::Hexadecimal}, {"16", TablePrinter::Hexadecimal},
      {"dec", TablePrinter::Decimal},     {"10", TablePrinter::Decimal},
      {"oct", TablePrinter::Octal},       {"8", TablePrinter::Octal},
      {"bin", TablePrinter::Binary},      {"2", TablePrinter::Binary},
  };
  for (const auto &[Name, Base] : Names)
    if (Opt.Value == Name)
      return Base;
  return std::nullopt;
}

std::string elementsAsText(const void *Obj, const Property &Prop, size_t Count) {
  std::string Text = "[";
  for (size_t Idx = 0; Idx < Count; ++Idx)
    Text +=
        (Idx ? ", " : "") + objsys::propAsString(Prop.getValue(Obj, static_cast<unsigned>(Idx)));
  return Text + "]";
}

void addValue(TablePrinter &Table, const orvy_Propval &Pv, TablePrinter::Base Base) {
  if (orvy_isUnsigned(Pv))
    Table.setNextBase(Base) << orvy_asUnsigned(Pv);
  else if (orvy_isDiscrete(Pv))
    Table.setNextBase(Base) << orvy_asInteger(Pv);
  else if (orvy_isReal(Pv))
    Table << orvy_asDouble(Pv);
  else
    Table << objsys::propAsString(Pv);
}

void addProperty(TablePrinter &Table, const void *Obj, const Property &Prop,
                 TablePrinter::Base Base) {
  const size_t Count = Prop.getLength(Obj);
  const std::string Type = orvy_typeToName(Prop.Typ);
  Table << Prop.Name;
  if (Count != 1)
    Table << "[" + Type + ", " + std::to_string(Count) + "]" << elementsAsText(Obj, Prop, Count);
  else
    addValue(Table << Type, Prop.getValue(Obj, 0), Base);
}

int showObject(Command &Cmd, Interpreter *) {
  const Option &BaseOption = Cmd.getOption("base");
  const auto Base = numberBase(BaseOption);
  if (!Base) {
    errs() << "invalid base '" << BaseOption.Value << "'\n";
    return 1;
  }
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  const Class &Cls = *Class::classForObject(Obj);
  outs() << orvy_nameForObject(Obj) << " : ";
  PrintClassType(Cls);
  outs() << "\n";

  TablePrinter Table(3, "   ", " : ");
  Table.setHeaderAlignment(0, TablePrinter::Right);
  Table.setBodyAlignment(0, TablePrinter::Right);
  Table << "Property"
        << "Type"
        << "Value";
  for (const auto &[Name, Prop] : Cls.Properties)
    addProperty(Table, Obj, *Prop, *Base);
  std::string Text;
  Table >> Text;
  outs() << Text;
  return 0;
}

int printObject(Command &Cmd, Interpreter *) {
  const Target<ObjectIface> Found(Cmd.getOption("obj").getValue<void *>());
  if (!Found || !Found->printObject)
    return 1;
  Found->printObject(Found.Obj);
  return 0;
}

// Connection and time

int connectObjects(Command &Cmd, Interpreter *) {
  const Option &From = Cmd.getOption("a");
  const Option &To = Cmd.getOption("b");
  if (!From.getPropObject()) {
    errs() << "invalid property name '" << From.Value << "'\n";
    return 0;
  }
  if (!To.getIfaceObject()) {
    errs() << "invalid interface name '" << To.Value << "'\n";
    return 0;
  }
  bool Connected = false;
  std::string Fault;
  try {
    if (const char *Why = orvy_connectionFault(From.getPropObject(), From.getPropName().c_str(),
                                               To.getIfaceObject(), To.getIfaceName().c_str()))
      Fault = Why;
    Connected = orvy_connect(From.getPropObject(), From.getPropName().c_str(), To.getIfaceObject(),
                             To.getIfaceName().c_str()) == 0;
  } catch (const std::exception &) {
    Fault = "the index is not a number";
  }
  if (!Connected && !Fault.empty())
    errs() << "cannot connect '" << From.Value << "' to '" << To.Value << "': " << Fault << "\n";
  if (!Connected)
    errs() << "connect failed\n"
              "\tThis is currently accepted and the command does not fail.\n"
              "\tIn the future this will become and error, hence non-interactive\n"
              "\tscripts will stop working.\n\n"
              "\tThe failure may be caused by primarily two reasons:\n"
              "\t1. You are using two connect commands with a port (i.e.\n"
              "\t   explicit bidirectional connection).\n"
              "\t2. Invalid property or interface given.\n";
  return 0;
}

bool isTimeSource(void *Obj) {
  return orvy_isCpu(Obj) || orvy_isMachine(Obj) || orvy_isQualifiedAs(Obj, ORVY_QUALIFIER_CLOCK);
}

int setTimeSource(Command &Cmd, Interpreter *) {
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  void *Source = Cmd.getOption("ts").getValue<void *>();
  if (orvy_isExternal(Obj)) {
    errs() << "'" << orvy_nameForObject(Obj) << "' is external, cannot set time source\n";
    return 1;
  }
  if (!isTimeSource(Source)) {
    errs() << "'" << orvy_nameForObject(Source) << "' is not a valid time source\n";
    return 1;
  }
  orvy_setTimeSource(Obj, Source);
  return 0;
}

// Assembly

int64_t publishAssemblyComplete() {
  return orvy_publishNotification("orvy.object-assembly-complete", nullptr);
}

void completeAssembly() {
  orvy_notify(publishAssemblyComplete(), nullptr);
}

Command ObjsysDeleteAllObjectsAndClasses("objsys-delete-all-objects-and-classes",
                                         call<orvy_objsysClear>, "Erase all objects and classes");

Command ObjsysDeleteAllObjects("objsys-delete-all-objects", call<orvy_objsysClearObjects>,
                               "Erase all objects");

Command ObjectList("object-list", listObjects, "List all objects");

Command
    ObjectCreate("object-create",
                 {{"class", OK_Class, true}, {"name", OK_String, true}, {"args", OK_String, false}},
                 createObject, "Create new object");

Command ObjectInfo("object-info",
                   {{"obj", OK_Object, true},
                    {"base", OK_String, false, "hex(default), bin, dec or oct"}},
                   showObject, "Show object information", {"info", "i"});

Command ObjectPrint("object-print", {{"obj", OK_Object, true}}, printObject, "Pretty print object",
                    {"print", "pp"});

Command ObjectConnect("object-connect",
                      {{"a", OK_Prop, true, "Interface reference property ('obj.propname')."},
                       {"b", OK_Iface, true, "Interface target ('obj:ifacename')"}},
                      connectObjects, "connect two objects", {"connect"});

Command ObjectSetTimesource("object-set-timesource",
                            {{"obj", OK_Object, true}, {"ts", OK_Object, true}}, setTimeSource,
                            "Set time source for object",
                            {"set-timesource", "set-ts", "connect-timesource"});

Command ObjectAssemblyStarted("object-assembly-started", call<publishAssemblyComplete>,
                              "Mark the start of object assembly in a script.\n"
                              "This will ensure orvy.object-assembly-complete is published.");

Command ObjectAssemblyComplete("object-assembly-complete", call<completeAssembly>,
                               "Mark the end of object assembly in a script.\n"
                               "This will emit the orvy.object-assembly-complete notification.");

} // namespace
