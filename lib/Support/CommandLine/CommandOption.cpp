#include "orvy/Support/Commands.h"

#include "Base/InternalError.h"
#include "CommandLine/NumberText.h"
#include "Objsys/ObjsysClass.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Properties.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

namespace {

struct KindWords {
  const char *InHelp;
  const char *InDocumentation;
};

constexpr KindWords Words[] = {
    {"string", "string"},       {"path", "path"},     {"object", "object"},   {"int", "integer"},
    {"real", "double"},         {"prop", "property"}, {"iface", "interface"}, {"reg", "register"},
    {"unchecked", "unchecked"}, {"class", "class"},
};

KindWords wordsFor(OptionKind Kind) {
  return Kind < std::size(Words) ? Words[Kind] : KindWords{"unknown", "unknown"};
}

struct Member {
  void *Obj;
  std::string Name;
};

// Splits a text at the first separator into object and member. A text without one stands for both.
Member splitMember(const std::string &Text, char Separator) {
  const size_t At = Text.find(Separator);
  if (At == Text.npos)
    return {orvy_objectForName(Text.c_str()), Text};
  return {orvy_objectForName(Text.substr(0, At).c_str()), Text.substr(At + 1)};
}

// Removes the index in brackets from a name and returns it.
int takeIndex(std::string &Name) {
  const size_t Open = Name.find('[');
  const size_t Close = Name.find(']');
  if (Close == Name.npos || Open > Close)
    return 0;
  const long Index = strtol(Name.c_str() + Open + 1, nullptr, 10);
  Name.erase(Open);
  return static_cast<int>(std::clamp<long>(Index, INT_MIN, INT_MAX));
}

} // namespace

Option::Option(std::string Name, OptionKind Kind, bool Required, std::string Help,
               std::string Default, bool Self, orvy_OptionUnit Unit)
    : Kind(Kind), Name(std::move(Name)), Required(Required), Default(std::move(Default)),
      Help(std::move(Help)), Self(Self), Unit(Unit) {}

static bool isValid(const Option &Opt) {
  switch (Opt.Kind) {
  case OK_String:
  case OK_Path:
  case OK_Unchecked:
    return true;
  case OK_Object:
    return Opt.getValue<void *>() != nullptr;
  case OK_Int:
    return readInteger(Opt.Value, Opt.Unit).Length != 0;
  case OK_Double:
    return readReal(Opt.Value, Opt.Unit).Length != 0;
  case OK_Prop: {
    const orvy_PropName Name = Opt.getValue<orvy_PropName>();
    return Name.Obj && Name.Name;
  }
  case OK_Iface:
    return Opt.getValue<orvy_IfaceRef>().Iface != nullptr;
  case OK_Reg:
    return Opt.getValue<orvy_Propref>().Typ != ovTY_Invalid;
  case OK_Class:
    return Opt.getValue<objsys::Class *>() != nullptr;
  }
  return false; // an unknown kind from a plug-in
}

void Option::setVal(const std::string &Text) {
  Value = Text;
  try {
    Valid = isValid(*this);
  } catch (const std::logic_error &) { // an index that is not a number
    Valid = false;
  }
}

template <> int Option::getValue<int>() const {
  return static_cast<int>(getValue<long>());
}

template <> unsigned int Option::getValue<unsigned int>() const {
  return static_cast<unsigned int>(getValue<long>());
}

template <> long Option::getValue<long>() const {
  ORVY_REQUIRE(Kind == OK_Int);
  return readInteger(Value, Unit).Value;
}

template <> unsigned long Option::getValue<unsigned long>() const {
  return static_cast<unsigned long>(getValue<long>());
}

template <> double Option::getValue<double>() const {
  ORVY_REQUIRE(Kind == OK_Double);
  return readReal(Value, Unit).Value;
}

template <> void *Option::getValue<void *>() const {
  ORVY_REQUIRE(Kind == OK_Object);
  return orvy_objectForName(Value.c_str());
}

template <> const char *Option::getValue<const char *>() const {
  return Value.c_str();
}

template <> orvy_IfaceRef Option::getValue<orvy_IfaceRef>() const {
  ORVY_REQUIRE(Kind == OK_Iface);
  Member Wanted = splitMember(Value, ':');
  const std::string Whole = Wanted.Name;
  const int Index = takeIndex(Wanted.Name);
  if (!Wanted.Obj || Index < 0)
    return {};
  void *Iface = orvy_getInterface(Wanted.Obj, Wanted.Name.c_str(), Index);
  // A component may delegate an interface that it does not have itself.
  return Iface ? orvy_IfaceRef{Wanted.Obj, Iface}
               : orvy_getInterfaceRef(Wanted.Obj, Whole.c_str(), Index);
}

template <> orvy_Propref Option::getValue<orvy_Propref>() const {
  ORVY_REQUIRE(Kind == OK_Prop || Kind == OK_Reg);
  const Member Wanted = splitMember(Value, '.');
  return Wanted.Obj ? orvy_getPropref(Wanted.Obj, Wanted.Name.c_str()) : orvy_Propref{};
}

template <> orvy_PropName Option::getValue<orvy_PropName>() const {
  ORVY_REQUIRE(Kind == OK_Prop || Kind == OK_Reg);
  const Member Wanted = splitMember(Value, '.');
  return Wanted.Obj ? orvy_getPropName(Wanted.Obj, Wanted.Name.c_str()) : orvy_PropName{};
}

template <> objsys::Class *Option::getValue<objsys::Class *>() const {
  ORVY_REQUIRE(Kind == OK_Class);
  return objsys::fromHandle(orvy_classForName(Value.c_str()));
}

int Option::getArrayLength() const {
  ORVY_REQUIRE(Kind == OK_Prop);
  const orvy_PropName Prop = getValue<orvy_PropName>();
  return Prop.Obj ? orvy_getPropLength(Prop.Obj, Prop.Name) : -1;
}

std::string Option::getPropName() const {
  ORVY_REQUIRE(Kind == OK_Prop);
  return splitMember(Value, '.').Name;
}

void *Option::getPropObject() const {
  ORVY_REQUIRE(Kind == OK_Prop);
  return splitMember(Value, '.').Obj;
}

std::string Option::getIfaceName() const {
  ORVY_REQUIRE(Kind == OK_Iface);
  return splitMember(Value, ':').Name;
}

void *Option::getIfaceObject() const {
  ORVY_REQUIRE(Kind == OK_Iface);
  return splitMember(Value, ':').Obj;
}

void Option::help() const {
  outs() << "\t" << Name << ":" << wordsFor(Kind).InHelp << ":"
         << (Required ? "required" : "optional");
  if (!Default.empty())
    outs() << ": default=${" << Default << "}";
  if (!Help.empty())
    outs() << ": " << Help;
  outs() << "\n";
}

const char *Option::getDocumentedKind() const {
  return wordsFor(Kind).InDocumentation;
}
