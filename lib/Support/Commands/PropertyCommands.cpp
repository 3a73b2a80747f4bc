// The commands that read and write properties as simulated software would.

#include "CommandLine/Handlers.h"
#include "CommandLine/NumberText.h"
#include "Objsys/ObjsysValue.h"

#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"

using namespace orvy;
using namespace orvy::cl;

namespace {

// Writing

struct InvalidArgument {
  std::string Message;
};

bool isInteger(orvy_Type Typ) {
  return orvy_isDiscrete({Typ, {}});
}

bool isReal(orvy_Type Typ) {
  return orvy_isReal({Typ, {}});
}

/// Converts a number to a value of an integer or real type.
template <typename Number> orvy_Propval numberValue(orvy_Type Typ, Number Value) {
  orvy_Propval Pv = {};
  Pv.Typ = Typ;
  switch (Typ) {
  case ovTY_Float:
    Pv.f = static_cast<float>(Value);
    break;
  case ovTY_Double:
    Pv.d = static_cast<double>(Value);
    break;
  case ovTY_Intptr:
  case ovTY_Uintptr:
  case ovTY_U64:
  case ovTY_I64:
    Pv.u64 = static_cast<uint64_t>(Value);
    break;
  case ovTY_U32:
  case ovTY_I32:
    Pv.u32 = static_cast<uint32_t>(Value);
    break;
  case ovTY_U16:
  case ovTY_I16:
    Pv.u16 = static_cast<uint16_t>(Value);
    break;
  case ovTY_U8:
  case ovTY_I8:
    Pv.u8 = static_cast<uint8_t>(Value);
    break;
  default:
    throw InvalidArgument{"cannot write to objects or interfaces\n"};
  }
  return Pv;
}

/// The value of the number read from the text of "value". Throws if there was no number.
template <typename Number>
orvy_Propval numberInText(orvy_Type Typ, const Option &Opt, const char *Wanted,
                          NumberText<Number> Read) {
  if (Read.Length == 0)
    throw InvalidArgument{"value '" + Opt.Value + "' is not " + Wanted + "\n"};
  warnOfRest(Opt, Read);
  return numberValue(Typ, Read.Value);
}

/// The object with a name; null for the empty name.
orvy_Propval objectValue(const char *Name) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Obj;
  Pv.Obj = orvy_objectForName(Name);
  if (!Pv.Obj && *Name)
    throw InvalidArgument{std::string("unknown object '") + Name + "'\n"};
  return Pv;
}

/// Refers to the text; makes no copy.
orvy_Propval stringValue(const char *Text) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_String;
  Pv.String = const_cast<char *>(Text);
  return Pv;
}

orvy_Propval valueFromText(orvy_Type Typ, const Option &Opt) {
  if (isInteger(Typ))
    return numberInText(Typ, Opt, "an integer", readInteger(Opt.Value, ovOU_None));
  if (isReal(Typ))
    return numberInText(Typ, Opt, "real", readReal(Opt.Value, ovOU_None));
  if (Typ == ovTY_Obj)
    return objectValue(Opt.Value.c_str());
  if (Typ == ovTY_String)
    return stringValue(Opt.Value.c_str());
  throw InvalidArgument{"cannot write to interfaces\n"};
}

/// The value given by the options, for a property of the type.
orvy_Propval wantedValue(Command &Cmd, orvy_Type Typ) {
  const auto Integer = given<long>(Cmd, "val");
  const auto Real = given<double>(Cmd, "fval");
  const Option &Text = Cmd.getOption("value");
  if (Integer && !isInteger(Typ))
    throw InvalidArgument{"val set but property is not an integer\n"};
  if (!Integer && Real && !isReal(Typ))
    throw InvalidArgument{"fval set but property is not a floating point value\n"};
  if (Text.Valid)
    return valueFromText(Typ, Text);
  if (Integer)
    return numberValue(Typ, *Integer);
  if (Real)
    return numberValue(Typ, *Real);
  throw InvalidArgument{"missing 'val' or 'fval' argument to object-prop-write\n"};
}

/// The element given by "index", 0 by default. Warns if it is out of range; reads and writes ignore
/// such an index.
int wantedIndex(const Command &Cmd, void *Obj, const std::string &Name) {
  const auto Index = given<int>(Cmd, "index");
  const int Count = orvy_getPropDynLength(Obj, Name.c_str());
  if (Index && (*Index < 0 || *Index >= Count))
    errs() << "warning: index " << *Index << " is out of range: '" << Name << "' has " << Count
           << " elements\n";
  return Index.value_or(0);
}

int writeProperty(Command &Cmd, Interpreter *) {
  const Option &Opt = Cmd.getOption("prop");
  void *Obj = Opt.getPropObject();
  const std::string Name = Opt.getPropName();
  try {
    const orvy_Propval Pv = wantedValue(Cmd, orvy_getPropType(Obj, Name.c_str()));
    orvy_writeValue(Obj, Name.c_str(), Pv, wantedIndex(Cmd, Obj, Name));
    return 0;
  } catch (const InvalidArgument &Error) {
    errs() << Error.Message;
    return -1;
  }
}

// Reading

void printValue(const orvy_Propval &Pv) {
  if (Pv.Typ == ovTY_Invalid || Pv.Typ == ovTY_InternalPtr)
    return;
  if (orvy_isReal(Pv))
    outs() << orvy_asDouble(Pv);
  else if (Pv.Typ == ovTY_String && Pv.String)
    outs() << Pv.String;
  else
    outs() << objsys::propAsString(Pv);
  outs() << "\n";
}

/// Prints the elements of a dynamic array, which can only be read one at a time.
void printReferences(void *Obj, const char *Name) {
  const int Count = orvy_getPropDynLength(Obj, Name);
  outs() << "[";
  for (int Idx = 0; Idx < Count; ++Idx)
    outs() << (Idx ? ", " : "") << objsys::propAsString(orvy_readValue(Obj, Name, Idx));
  outs() << "]\n";
}

int readProperty(Command &Cmd, Interpreter *) {
  const Option &Opt = Cmd.getOption("prop");
  void *Obj = Opt.getPropObject();
  const std::string Name = Opt.getPropName();
  const bool IsOne = Cmd.getOption("index").Valid;
  if (!IsOne && orvy_getPropType(Obj, Name.c_str()) == ovTY_IfaceRefArray)
    printReferences(Obj, Name.c_str());
  else
    printValue(orvy_readValue(Obj, Name.c_str(), wantedIndex(Cmd, Obj, Name)));
  return 0;
}

Command ObjectPropWrite("object-prop-write",
                        {{"prop", OK_Prop, true},
                         {"val", OK_Int, false},
                         {"value", OK_String, false},
                         {"fval", OK_Double, false},
                         {"index", OK_Int, false}},
                        writeProperty, "write property value (with side-effects)", {"write-prop"});

Command ObjectPropRead("object-prop-read", {{"prop", OK_Prop, true}, {"index", OK_Int, false}},
                       readProperty, "read property value (with side-effects from getter)",
                       {"read-prop"});

} // namespace
