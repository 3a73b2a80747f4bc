#include "Objsys/ObjsysInterface.h"

#include "Base/InternalError.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/NameGrammar.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <stdexcept>

using namespace orvy::objsys;

std::map<std::string, std::unique_ptr<IfaceType>, std::less<>> IfaceType::Interfaces;

IfaceType &IfaceType::get(const char *Name) {
  auto [Entry, IsNew] = Interfaces.try_emplace(Name);
  if (IsNew)
    Entry->second = std::make_unique<IfaceType>(IfaceType{Name});
  return *Entry->second;
}

void orvy::objsys::PrintClassType(const Class &Cls) {
  outs() << Cls.Name << " <";
  const char *Separator = "";
  for (const auto &[Name, Iface] : Cls.Interfaces) {
    outs() << Separator << Name;
    Separator = ", ";
  }
  outs() << ">\n";
}

void Class::insertInterface(std::unique_ptr<IfaceInstance> Added) {
  std::unique_ptr<IfaceInstance> &Slot = Interfaces[Added->Name];
  if (Slot)
    forget(*Slot);
  Slot = std::move(Added);
  if (!Slot->Ifaces.empty())
    IfaceByPointer[Slot->Ifaces.front()] = Slot.get();
}

void Class::forget(const IfaceInstance &Replaced) {
  if (!Replaced.Ifaces.empty())
    if (auto Found = IfaceByPointer.find(Replaced.Ifaces.front());
        Found != IfaceByPointer.end() && Found->second == &Replaced)
      IfaceByPointer.erase(Found);
  for (uint64_t Number : std::vector(Replaced.InPorts))
    removePort(Number);
}

// Takes out a port one half of which is replaced.
void Class::removePort(uint64_t Number) {
  auto Found = Ports.find(Number);
  auto &[Prop, Iface, Doc] = Found->second;
  if (auto Pair = PortIfaceByProperty.find(Prop->Name);
      Pair != PortIfaceByProperty.end() && Pair->second == Iface)
    PortIfaceByProperty.erase(Pair);
  if (auto Pair = PortPropertyByIface.find(Iface->Name);
      Pair != PortPropertyByIface.end() && Pair->second == Prop)
    PortPropertyByIface.erase(Pair);
  std::erase(Prop->InPorts, Number);
  std::erase(Iface->InPorts, Number);
  Ports.erase(Found);
}

void Class::addInterface(const char *IfaceName, const char *Type, void *Iface, const char *Doc) {
  if (!isValidName(IfaceName, '-'))
    orvy_logWarning(nullptr,
                    "adding interface with invalid name '%s', note that this will be an error in "
                    "future releases",
                    IfaceName);
  addInterface(IfaceName, Type, Iface, 1, 0, Doc);
}

void Class::addInterface(const char *IfaceName, const char *Type, void *Iface, size_t ArrayCount,
                         size_t Stride, const char *Doc) {
  auto Added =
      std::make_unique<IfaceInstance>(IfaceInstance{IfaceName, Doc, &IfaceType::get(Type), {}, {}});
  for (size_t I = 0; I < ArrayCount; ++I)
    Added->Ifaces.push_back(Iface ? static_cast<char *>(Iface) + I * Stride : nullptr);
  insertInterface(std::move(Added));
}

void Class::addPort(const char *PropName, const char *IfaceName, const char *Doc) {
  Property *Prop = getProperty(PropName);
  if (!Prop)
    throw std::invalid_argument("port of unknown property '" + std::string(PropName) + "'");
  auto Found = Interfaces.find(IfaceName);
  if (Prop->Typ != ovTY_IfaceRef || Found == Interfaces.end())
    return;
  IfaceInstance *Iface = Found->second.get();
  Ports[NextPort] = {Prop, Iface, Doc};
  Prop->InPorts.push_back(NextPort);
  Iface->InPorts.push_back(NextPort);
  ++NextPort;
  PortIfaceByProperty[Prop->Name] = Iface;
  PortPropertyByIface[Iface->Name] = Prop;
}

IfaceInstance *Class::getInterface(std::string_view IfaceName) const {
  auto Found = Interfaces.find(baseName(IfaceName));
  return Found == Interfaces.end() ? nullptr : Found->second.get();
}

IfaceInstance *Class::interfaceForPointer(const void *Iface) const {
  auto Found = IfaceByPointer.find(Iface);
  return Found == IfaceByPointer.end() ? nullptr : Found->second;
}

bool Class::hasInterfaceOfType(std::string_view Type) const {
  return std::ranges::any_of(Interfaces,
                             [&](const auto &Each) { return Each.second->Type->Name == Type; });
}

IfaceInstance *Class::interfaceHolding(const void *Iface, std::string_view Type) const {
  IfaceInstance *Found = interfaceForPointer(Iface);
  if (Found && Found->Type->Name == Type)
    return Found;
  for (const auto &[Name, Each] : Interfaces) {
    if (!std::ranges::count(Each->Ifaces, Iface))
      continue;
    Found = Each.get();
    if (Found->Type->Name == Type)
      break;
  }
  return Found;
}

IfaceInstance *Class::getPortIface(std::string_view PropName) const {
  auto Found = PortIfaceByProperty.find(PropName);
  return Found == PortIfaceByProperty.end() ? nullptr : Found->second;
}

Property *Class::getPortProp(std::string_view IfaceName) const {
  auto Found = PortPropertyByIface.find(baseName(IfaceName));
  return Found == PortPropertyByIface.end() ? nullptr : Found->second;
}

namespace {

const IfaceInstance *instanceOf(orvy_IfaceRef Ref) {
  const Class *Cls = Class::classForObject(Ref.Obj);
  return Cls && Ref.Iface ? Cls->interfaceForPointer(Ref.Iface) : nullptr;
}

} // namespace

void orvy_addInterface(orvy_Class *Cls, const char *IfaceName, const char *IfaceType, void *Iface,
                       int /*Reserved*/, const char *Doc) {
  if (!Cls)
    return;
  ORVY_REQUIRE(IfaceName && IfaceType);
  fromHandle(Cls)->addInterface(IfaceName, IfaceType, Iface, orEmpty(Doc));
}

void orvy_addInterfaceArray(orvy_Class *Cls, const char *IfaceName, const char *IfaceType,
                            void *Iface, size_t Count, size_t Stride, const char *Doc) {
  if (!Cls)
    return;
  ORVY_REQUIRE(IfaceName && IfaceType);
  fromHandle(Cls)->addInterface(IfaceName, IfaceType, Iface, Count, Stride, orEmpty(Doc));
}

int orvy_addPort(orvy_Class *Cls, const char *PropName, const char *IfaceName, const char *Doc) {
  if (!Cls)
    return 0;
  try {
    fromHandle(Cls)->addPort(orEmpty(PropName), orEmpty(IfaceName), orEmpty(Doc));
    return 0;
  } catch (const std::exception &) {
    return 1;
  }
}

void *orvy_getInterface(void *Obj, const char *IfaceName, int Idx) {
  const Class *Cls = Class::classForObject(Obj);
  if (!Cls) {
    orvy_logError(nullptr, "getInterface(%s): object %p has no class\n", orEmpty(IfaceName), Obj);
    return nullptr;
  }
  const IfaceInstance *Iface = IfaceName ? Cls->getInterface(IfaceName) : nullptr;
  // The name's own index beats the argument.
  return Iface ? Iface->at(getIndex(IfaceName, Idx < 0 ? 0 : Idx)) : nullptr;
}

orvy_IfaceRef orvy_getInterfaceRef(void *Obj, const char *IfaceName, int Idx) {
  orvy_IfaceRef Delegate = orvy_componentGetDelegateIface(orvy::component::find(Obj), IfaceName);
  if (Delegate.Obj && Delegate.Iface)
    return Delegate;
  void *Iface = orvy_getInterface(Obj, IfaceName, Idx);
  return Iface ? orvy_IfaceRef{Obj, Iface} : orvy_IfaceRef{};
}

int orvy_objectHasIface(void *Obj, const char *IfaceName) {
  const Class *Cls = Class::classForObject(Obj);
  if (!Cls || !IfaceName)
    return 0;
  return Cls->getInterface(IfaceName) ||
         orvy_componentGetDelegateIface(orvy::component::find(Obj), IfaceName).Obj;
}

const char *orvy_getInterfaceName(void *Obj, void *Iface) {
  if (!Class::classForObject(Obj)) {
    orvy_logError(nullptr, "getInterfaceName: object %p has no class\n", Obj);
    return nullptr;
  }
  return orvy_nameForInterface({Obj, Iface});
}

const char *orvy_nameForInterface(orvy_IfaceRef Ref) {
  const IfaceInstance *Iface = instanceOf(Ref);
  return Iface ? Iface->Name.c_str() : nullptr;
}

const char *orvy_typenameForInterface(orvy_IfaceRef Ref) {
  const IfaceInstance *Iface = instanceOf(Ref);
  return Iface ? Iface->Type->Name.c_str() : nullptr;
}
