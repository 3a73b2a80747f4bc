// References that lead nowhere.

#include "orvy/Support/ObjsysTools.h"

#include "CommandLine/Handlers.h"
#include "ObjsysClass.h"

#include "orvy/Support/Logging.h"

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::objsys;

namespace {

int countOpen(const Class &Cls, void *Obj, int Report) {
  int Count = 0;
  for (const auto &[Name, Prop] : Cls.Properties) {
    if (Prop->Typ != ovTY_IfaceRef || Prop->Count != 1)
      continue;
    const orvy_IfaceRef Ref = Prop->getValue(Obj, 0).IfaceRef;
    if (Ref.Obj && Ref.Iface)
      continue;
    ++Count;
    if (Report)
      orvy_logConfigWarning(Obj, "sanity check: %s not connected", Name.c_str());
  }
  return Count;
}

int checkObject(void *Obj, int Report) {
  const Class &Cls = *Class::classForObject(Obj);
  const IfaceInstance *Iface = Cls.getInterface("ObjectIface");
  const auto *Table = Iface ? static_cast<const ObjectIface *>(Iface->at(0)) : nullptr;
  return Table && Table->checkSanity ? Table->checkSanity(Obj, Report)
                                     : countOpen(Cls, Obj, Report);
}

Command ObjsysCheckSanity(
    "objsys-check-sanity",
    [](Command &, Interpreter *) {
      orvy_checkSanity(2);
      return 0;
    },
    "Check sanity of object system");

} // namespace

int orvy_checkSanity(int Report) {
  // A model's check may make and dispose of objects.
  std::vector<void *> Objects;
  for (const auto &[Name, Obj] : Class::objects())
    Objects.push_back(Obj);
  int Count = 0;
  for (void *Obj : Objects)
    if (Class::classForObject(Obj))
      Count += checkObject(Obj, Report);
  return Count;
}
