// References that lead nowhere.

#include "orvy/Support/ObjsysTools.h"

#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"

#include <string>
#include <vector>

using namespace orvy;
using namespace orvy::objsys;

namespace {

bool isOpen(void *Obj, const std::string &PropName) {
  const orvy_Propval Pv = orvy_getValue(Obj, PropName.c_str(), 0);
  return !Pv.IfaceRef.Obj || !Pv.IfaceRef.Iface;
}

int countOpen(void *Obj, int Report) {
  // A Getter may dispose of its object, or have the class forgotten.
  std::vector<std::string> Names;
  for (const auto &[Name, Prop] : Class::classForObject(Obj)->Properties)
    if (Prop->Typ == ovTY_IfaceRef && Prop->Count == 1)
      Names.push_back(Name);
  int Count = 0;
  for (const std::string &Name : Names) {
    if (!isOpen(Obj, Name) || !Class::classForObject(Obj))
      continue;
    ++Count;
    if (Report)
      orvy_logConfigWarning(Obj, "sanity check: %s not connected", Name.c_str());
  }
  return Count;
}

int checkObject(void *Obj, int Report) {
  const IfaceInstance *Iface = Class::classForObject(Obj)->getInterface("ObjectIface");
  const auto *Table = Iface ? static_cast<const ObjectIface *>(Iface->at(0)) : nullptr;
  return Table && Table->checkSanity ? Table->checkSanity(Obj, Report) : countOpen(Obj, Report);
}

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
