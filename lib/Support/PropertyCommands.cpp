// The commands that read and write properties as simulated software would.

#include "CommandLine/Handlers.h"
#include "ObjsysValue.h"

#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"

#include <cstdlib>

using namespace orvy;
using namespace orvy::cl;

namespace {

// Writing

struct WrongArgument {
  std::string Message;
};

bool isInteger(orvy_Type Typ) {
  return orvy_isDiscrete({Typ, {}});
}

bool isReal(orvy_Type Typ) {
  return orvy_isReal({Typ, {}});
}

/// A number as a value of an integer or real type.
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
    throw WrongArgument{"cannot write to objects or interfaces\n"};
  }
  return Pv;
}

/// What a conversion of the C library makes of the text, which must begin with a number.
template <typename Function>
auto numberInText(const char *Text, const char *Wanted, Function Convert) {
  char *End = nullptr;
  const auto Value = Convert(Text, &End);
  if (End == Text)
    throw WrongArgument{std::string("value '") + Text + "' is not " + Wanted + "\n"};
  return Value;
}

/// The object of a name; the empty name is for none.
orvy_Propval objectValue(const char *Name) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Obj;
  Pv.Obj = orvy_objectForName(Name);
  if (!Pv.Obj && *Name)
    throw WrongArgument{std::string("unknown object '") + Name + "'\n"};
  return Pv;
}

/// Views the text.
orvy_Propval stringValue(const char *Text) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_String;
  Pv.String = const_cast<char *>(Text);
  return Pv;
}

orvy_Propval valueFromText(orvy_Type Typ, const char *Text) {
  if (isInteger(Typ))
    return numberValue(Typ, numberInText(Text, "an integer", [](const char *In, char **End) {
                         return std::strtoll(In, End, 0);
                       }));
  if (isReal(Typ))
    return numberValue(Typ, numberInText(Text, "real", std::strtod));
  if (Typ == ovTY_Obj)
    return objectValue(Text);
  if (Typ == ovTY_String)
    return stringValue(Text);
  throw WrongArgument{"cannot write to interfaces\n"};
}

/// The value that the options give for a property of a type.
orvy_Propval wantedValue(const Command &Cmd, orvy_Type Typ) {
  const auto Integer = given<long>(Cmd, "val");
  const auto Real = given<double>(Cmd, "fval");
  const auto Text = given<const char *>(Cmd, "value");
  if (Integer && !isInteger(Typ))
    throw WrongArgument{"val set but property is not an integer\n"};
  if (!Integer && Real && !isReal(Typ))
    throw WrongArgument{"fval set but property is not a floating point value\n"};
  if (Text)
    return valueFromText(Typ, *Text);
  if (Integer)
    return numberValue(Typ, *Integer);
  if (Real)
    return numberValue(Typ, *Real);
  throw WrongArgument{"missing 'val' or 'fval' argument to object-prop-write\n"};
}

int writeProperty(Command &Cmd, Interpreter *) {
  const Option &Opt = Cmd.getOption("prop");
  void *Obj = Opt.getPropObject();
  const std::string Name = Opt.getPropName();
  try {
    const orvy_Propval Pv = wantedValue(Cmd, orvy_getPropType(Obj, Name.c_str()));
    orvy_writeValue(Obj, Name.c_str(), Pv, given<int>(Cmd, "index").value_or(0));
    return 0;
  } catch (const WrongArgument &Wrong) {
    errs() << Wrong.Message;
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

/// The elements of a growing array, which travel one by one.
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
  const auto Idx = given<int>(Cmd, "index");
  if (!Idx && orvy_getPropType(Obj, Name.c_str()) == ovTY_IfaceRefArray)
    printReferences(Obj, Name.c_str());
  else
    printValue(orvy_readValue(Obj, Name.c_str(), Idx.value_or(0)));
  return 0;
}

Command ObjectPropWrite("object-prop-write",
                        {
                            {"prop",  OK_Prop,   true },
                            {"val",   OK_Int,    false},
                            {"value", OK_String, false},
                            {"fval",  OK_Double, false},
                            {"index", OK_Int,    false}
},
                        writeProperty, "write property value (with side-effects)", {"write-prop"});

Command ObjectPropRead("object-prop-read",
                       {
                           {"prop",  OK_Prop, true },
                           {"index", OK_Int,  false}
},
                       readProperty, "read property value (with side-effects from getter)",
                       {"read-prop"});

} // namespace
