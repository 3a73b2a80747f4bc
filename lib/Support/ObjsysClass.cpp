#include "ObjsysClass.h"

#include "InternalError.h"
#include "ObjsysValue.h"
#include "PluginManager.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <iterator>
#include <utility>

using namespace orvy::objsys;

orvy::ManagedStatic<ClassRegistry> orvy::objsys::TheClassRegistry;

namespace {

constexpr uint64_t InitialLoggingFlags = 0x4444444444444444;

int countArguments(const orvy_CreateArg *Args) {
  int Count = 0;
  while (Args && Args[Count].Key)
    ++Count;
  return Count;
}

Class *classForCreation(const char *ClsName, const char *ObjName) {
  Class *Cls = Class::classForName(ClsName);
  if (!Cls)
    orvy::errs() << "no class found matching '" << ClsName << "'\n";
  else if (Class::objectForName(ObjName))
    orvy::errs() << "object '" << ObjName << "' already exists\n";
  else
    return Cls;
  return nullptr;
}

// An address has one name: a second one would outlive the object.
bool isNewAddress(const void *Obj) {
  const char *Present = Class::nameForObject(Obj);
  if (Present)
    orvy::errs() << "object '" << Present << "' already exists\n";
  return Obj && !Present;
}

void fillHeader(orvy_Object &Header, Class &Cls) {
  Header.Class = toHandle(&Cls);
  Header.TimeSource = nullptr;
  Header.Component = nullptr;
  Header.LoggingFlags = InitialLoggingFlags;
}

bool isOwned(void *Obj, const Class &Cls) {
  return !Cls.External && static_cast<orvy_Object *>(Obj)->Component;
}

// The simulator object and its class, or two nulls while there is none.
std::pair<void *, Class *> findSimulator() {
  void *Sim = Class::objectForName("sim");
  Class *Cls = Class::classForName("Simulator");
  return Sim && Cls && Class::classForObject(Sim) == Cls ? std::pair(Sim, Cls)
                                                         : std::pair<void *, Class *>();
}

// What clearing disposes itself, in name order. Owned objects go with their components.
std::vector<void *> rootObjects(const ClassRegistry &Registry, const void *Sim) {
  std::vector<void *> Roots;
  for (const auto &[Name, Obj] : Registry.Objects)
    if (Obj != Sim && !isOwned(Obj, *Registry.ObjectClasses.find(Obj)->second))
      Roots.push_back(Obj);
  return Roots;
}

void disposeAllBut(ClassRegistry &Registry, const void *Sim) {
  // A snapshot: disposal passes over what an earlier one took with it.
  for (void *Obj : rootObjects(Registry, Sim))
    Class::disposeObject(Obj);
}

void forgetObjects(ClassRegistry &Registry) {
  Registry.Objects.clear();
  Registry.ObjectNames.clear();
  Registry.ObjectClasses.clear();
  Registry.Components.clear();
  Registry.Processors.clear();
}

} // namespace

Class::Class(std::string Name, orvy_ObjectCreateFunc Create, orvy_ObjectDisposeFunc Dispose)
    : Qualifier(QualifierPlain), Name(std::move(Name)), External(false), Create(Create),
      Dispose(Dispose) {
  addProperty("object.timeSource", offsetof(orvy_Object, TimeSource), ovTY_Obj, 1, nullptr, nullptr,
              "Time source object (a cpu or machine object)");
}

Class::Class(std::string Name)
    : Qualifier(QualifierExternal), Name(std::move(Name)), External(true) {}

Class *Class::registerClass(const char *Name, orvy_ObjectCreateFunc Create,
                            orvy_ObjectDisposeFunc Dispose) {
  return ClassRegistry::get().addClass(std::make_unique<Class>(Name, Create, Dispose));
}

Class *Class::registerExternalClass(const char *Name) {
  return ClassRegistry::get().addClass(std::make_unique<Class>(Name));
}

IfaceType *Class::registerInterface(const char *Name) {
  return ClassRegistry::get().addIfaceType(std::make_unique<IfaceType>(IfaceType{Name}));
}

void *Class::createObject(const char *ClsName, const char *ObjName, const orvy_CreateArg *Args) {
  int Argc = countArguments(Args);
  Class *Cls = classForCreation(ClsName, ObjName);
  if (!Cls)
    return nullptr;
  if (Cls->External) {
    errs() << "cannot create object '" << ObjName << "' of external class '" << ClsName << "'\n";
    return nullptr;
  }

  void *Obj = Cls->Create(ObjName, Argc, Args);
  if (!isNewAddress(Obj))
    return nullptr;
  auto &Header = *static_cast<orvy_Object *>(Obj);
  fillHeader(Header, *Cls);
  ClassRegistry &Registry = ClassRegistry::get();
  Registry.addObject(ObjName, Obj, *Cls);
  if (Cls->Qualifier == QualifierCpu)
    Registry.Processors.push_back(Obj);
  else if (Cls->Qualifier == QualifierComponent)
    Registry.Components.push_back(Obj);
  Header.WillDisposeNotification = orvy_publishNotification("orvy.objectWillBeDisposed", Obj);
  Header.DisposedNotification = orvy_publishNotification("orvy.objectDisposed", Obj);
  return Obj;
}

void *Class::addObject(const char *ClsName, const char *ObjName, void *Obj) {
  Class *Cls = classForCreation(ClsName, ObjName);
  if (!Cls)
    return nullptr;
  if (!Cls->External) {
    errs() << "cannot add object '" << ObjName << "' of internal class '" << ClsName << "'\n";
    return nullptr;
  }
  if (!isNewAddress(Obj))
    return nullptr;
  ClassRegistry::get().addObject(ObjName, Obj, *Cls);
  return Obj;
}

void Class::disposeObject(void *Obj) {
  const Class *Cls = classForObject(Obj);
  if (!Cls)
    return;
  ClassRegistry::get().removeObject(Obj);
  if (Cls->External)
    return;

  // A subscriber may clear the whole system: the class is not used once the first one has run.
  orvy_ObjectDisposeFunc DisposeFunc = Cls->Dispose;
  auto &Header = *static_cast<orvy_Object *>(Obj);
  int64_t WillDispose = Header.WillDisposeNotification;
  int64_t Disposed = Header.DisposedNotification;
  orvy_notify(WillDispose, Obj);
  Header.Class = nullptr;
  DisposeFunc(Obj);
  orvy_notify(Disposed, Obj);
}

void Class::clear() {
  ClassRegistry &Registry = ClassRegistry::get();
  auto [Sim, SimClass] = findSimulator();
  // Before start-up there is no simulator to keep.
  auto Kept =
      Sim ? Registry.Classes.extract(SimClass->Name) : NameMap<std::unique_ptr<Class>>::node_type();
  disposeAllBut(Registry, Sim);
  Registry.Classes.clear();
  clearLoadedPlugins();
  Registry.Classes.clear();
  forgetObjects(Registry);
  Registry.IfaceTypes.clear();
  if (!Sim)
    return;
  Registry.Classes.insert(std::move(Kept));
  Registry.addObject("sim", Sim, *SimClass);
}

void Class::clearObjects() {
  ClassRegistry &Registry = ClassRegistry::get();
  auto [Sim, SimClass] = findSimulator();
  disposeAllBut(Registry, Sim);
  forgetObjects(Registry);
  if (!Sim)
    return;
  Registry.addObject("sim", Sim, *SimClass);
}

Class *Class::classForName(std::string_view Name) {
  return ClassRegistry::get().getClass(Name);
}

Class *Class::classForObject(const void *Obj) {
  const auto &Known = ClassRegistry::get().ObjectClasses;
  auto Found = Known.find(Obj);
  return Found == Known.end() ? nullptr : Found->second;
}

void *Class::objectForName(std::string_view Name) {
  const auto &Known = ClassRegistry::get().Objects;
  auto Found = Known.find(Name);
  return Found == Known.end() ? nullptr : Found->second;
}

const char *Class::nameForObject(const void *Obj) {
  const auto &Known = ClassRegistry::get().ObjectNames;
  auto Found = Known.find(Obj);
  return Found == Known.end() ? nullptr : Found->second.c_str();
}

const NameMap<void *> &Class::getObjectList() {
  return ClassRegistry::get().Objects;
}

const NameMap<std::unique_ptr<Class>> &Class::getClassList() {
  return ClassRegistry::get().Classes;
}

std::vector<void *> &Class::getProcessors() {
  return ClassRegistry::get().Processors;
}

std::vector<void *> &Class::getComponents() {
  return ClassRegistry::get().Components;
}

bool Class::addLoggingCategory(unsigned Id, std::string_view CategoryName) {
  constexpr std::string_view Reserved[] = {"", "default", "sim", "target", "config"};
  if (Id < 8 || Id > 15 || std::ranges::count(Reserved, CategoryName))
    return false;
  LoggingCategoryNames[Id - 8] = CategoryName;
  return true;
}

const char *Class::getLoggingCategory(unsigned Id) const {
  constexpr const char *Fixed[] = {"", "sim", "target", "config", "", "", "", ""};
  if (Id > 15)
    return nullptr;
  return Id < 8 ? Fixed[Id] : LoggingCategoryNames[Id - 8].c_str();
}

Class *ClassRegistry::getClass(std::string_view Name) const {
  auto Found = Classes.find(Name);
  return Found == Classes.end() ? nullptr : Found->second.get();
}

IfaceType *ClassRegistry::getIfaceType(std::string_view Name) const {
  auto Found = IfaceTypes.find(Name);
  return Found == IfaceTypes.end() ? nullptr : Found->second.get();
}

Class *ClassRegistry::addClass(std::unique_ptr<Class> Added) {
  if (!isValidName(Added->Name.c_str(), '-'))
    orvy_logWarning(nullptr,
                    "Registering class with invalid name '%s'. Note that this will be an error in "
                    "future releases.",
                    Added->Name.c_str());
  auto [Entry, IsNew] = Classes.try_emplace(Added->Name, nullptr);
  if (!IsNew)
    return nullptr;
  Entry->second = std::move(Added);
  return Entry->second.get();
}

IfaceType *ClassRegistry::addIfaceType(std::unique_ptr<IfaceType> Added) {
  auto [Entry, IsNew] = IfaceTypes.try_emplace(Added->Name, nullptr);
  if (!IsNew)
    return nullptr;
  Entry->second = std::move(Added);
  return Entry->second.get();
}

void ClassRegistry::addObject(const char *Name, void *Obj, Class &Cls) {
  Objects.emplace(Name, Obj);
  ObjectNames.emplace(Obj, Name);
  ObjectClasses.emplace(Obj, &Cls);
}

void ClassRegistry::removeObject(void *Obj) {
  std::erase(Processors, Obj);
  std::erase(Components, Obj);
  auto Found = ObjectNames.find(Obj);
  if (Found == ObjectNames.end())
    return;
  Objects.erase(Found->second);
  ObjectNames.erase(Found);
  ObjectClasses.erase(Obj);
}

namespace {

// The class of an object, read through its header without a look-up; null while it is disposed of.
const Class *headerClass(const void *Obj) {
  return Obj ? fromHandle(static_cast<const orvy_Object *>(Obj)->Class) : nullptr;
}

bool isQualified(const void *Obj, unsigned Qualifier) {
  const Class *Cls = headerClass(Obj);
  return Cls && Cls->Qualifier == Qualifier;
}

const Class *classOrError(const void *Obj) {
  const Class *Cls = Class::classForObject(Obj);
  if (!Cls)
    orvy_logError(nullptr, "isExternal: object %p has no class\n", Obj);
  return Cls;
}

size_t copyObjects(size_t Capacity, void **Objs) {
  size_t Count = std::min(Capacity, Class::getObjectList().size());
  auto Next = Class::object_begin();
  for (size_t I = 0; I < Count; ++I)
    Objs[I] = (Next++)->second;
  return Count;
}

void **arrayOf(std::vector<void *> &Objs) {
  return Objs.empty() ? nullptr : Objs.data();
}

} // namespace

orvy_Class *orvy_registerClass(const char *ClsName, orvy_ObjectCreateFunc Create,
                               orvy_ObjectDisposeFunc Dispose) {
  ORVY_REQUIRE(ClsName && Create && Dispose);
  return toHandle(Class::registerClass(ClsName, Create, Dispose));
}

orvy_Class *orvy_registerExternalClass(const char *ClsName) {
  ORVY_REQUIRE(ClsName);
  return toHandle(Class::registerExternalClass(ClsName));
}

int orvy_setVTable(orvy_Class *Cls, void *VTable) {
  if (Cls)
    fromHandle(Cls)->VTable = VTable;
  return 0;
}

void *orvy_getVTableForClass(orvy_Class *Cls) {
  return Cls ? fromHandle(Cls)->VTable : nullptr;
}

void *orvy_getVTable(const void *Obj) {
  const Class *Cls = headerClass(Obj);
  return Cls ? Cls->VTable : nullptr;
}

void orvy_qualifyAs(orvy_Class *Cls, unsigned Qualifier) {
  if (Cls)
    fromHandle(Cls)->Qualifier = Qualifier;
}

void orvy_qualifyAsCpu(orvy_Class *Cls) {
  orvy_qualifyAs(Cls, QualifierCpu);
}

void orvy_qualifyAsMachine(orvy_Class *Cls) {
  orvy_qualifyAs(Cls, QualifierMachine);
}

void orvy_qualifyAsMemory(orvy_Class *Cls) {
  orvy_qualifyAs(Cls, QualifierMemory);
}

int orvy_addLoggingCategory(orvy_Class *Cls, unsigned Id, const char *Name) {
  return Cls && Name && fromHandle(Cls)->addLoggingCategory(Id, Name) ? 0 : -1;
}

const char *orvy_getLoggingCategory(orvy_Class *Cls, unsigned Id) {
  return Cls ? fromHandle(Cls)->getLoggingCategory(Id) : nullptr;
}

void *orvy_createObject(const char *ClsName, const char *ObjName, const orvy_CreateArg *Args) {
  void *Obj = Class::createObject(orEmpty(ClsName), orEmpty(ObjName), Args);
  if (!isValidName(ObjName, '-'))
    orvy_logWarning(
        Obj, "Was created with an invalid object name, this will be an error in the future.");
  return Obj;
}

void *orvy_addObject(const char *ClsName, const char *ObjName, void *Obj) {
  return Class::addObject(orEmpty(ClsName), orEmpty(ObjName), Obj);
}

void orvy_disposeObject(void *Obj) {
  Class::disposeObject(Obj);
}

void orvy_objsysClear(void) {
  Class::clear();
}

void orvy_objsysClearObjects(void) {
  Class::clearObjects();
}

orvy_Class *orvy_classForName(const char *ClsName) {
  ORVY_REQUIRE(ClsName);
  return toHandle(Class::classForName(ClsName));
}

const char *orvy_nameForClass(const orvy_Class *Cls) {
  ORVY_REQUIRE(Cls);
  return fromHandle(Cls)->Name.c_str();
}

orvy_Class *orvy_classForObject(const void *Obj) {
  return toHandle(Class::classForObject(Obj));
}

orvy_Class *orvy_classForObjectName(const char *ObjName) {
  return orvy_classForObject(orvy_objectForName(ObjName));
}

void *orvy_objectForName(const char *ObjName) {
  return ObjName ? Class::objectForName(ObjName) : nullptr;
}

const char *orvy_nameForObject(const void *Obj) {
  return Class::nameForObject(Obj);
}

size_t orvy_getObjectCount(void) {
  return Class::getObjectList().size();
}

size_t orvy_getObjects(size_t Capacity, void **Objs) {
  return copyObjects(Capacity, Objs);
}

size_t orvy_getProcessorCount(void) {
  return Class::getProcessors().size();
}

void **orvy_getProcessors(void) {
  return arrayOf(Class::getProcessors());
}

size_t orvy_getComponentCount(void) {
  return Class::getComponents().size();
}

void **orvy_getComponents(void) {
  return arrayOf(Class::getComponents());
}

int orvy_isValidObjectName(const char *Name) {
  return isValidName(Name, '-');
}

int orvy_isValidClassName(const char *Name) {
  return isValidName(Name, '-');
}

int orvy_isValidInterfaceName(const char *Name) {
  return isValidName(Name, '-');
}

int orvy_isValidPropertyName(const char *Name) {
  return isValidName(Name, '.');
}

int orvy_isExternal(const void *Obj) {
  const Class *Cls = classOrError(Obj);
  return Cls && Cls->External;
}

int orvy_isCpu(const void *Obj) {
  return isQualified(Obj, QualifierCpu);
}

int orvy_isMachine(const void *Obj) {
  return isQualified(Obj, QualifierMachine);
}

int orvy_isMemory(const void *Obj) {
  // The one that is asked of external objects too, which have no header to read.
  const Class *Cls = classOrError(Obj);
  return Cls && Cls->Qualifier == QualifierMemory;
}

int orvy_isComponent(const void *Obj) {
  return isQualified(Obj, QualifierComponent);
}

int orvy_isQualifiedAs(const void *Obj, unsigned Qualifier) {
  return isQualified(Obj, Qualifier);
}

void orvy_foreachObject(void (*Func)(void *Obj, void *Arg), void *Arg) {
  for (const auto &[Name, Obj] : Class::objects())
    Func(Obj, Arg);
}

void orvy_foreachClass(void (*Func)(orvy_Class *Cls, void *Arg), void *Arg) {
  for (const auto &[Name, Cls] : Class::classes())
    Func(toHandle(Cls.get()), Arg);
}

void orvy_foreachProcessor(void (*Func)(void *Obj, void *Arg), void *Arg) {
  for (void *Obj : Class::getProcessors())
    Func(Obj, Arg);
}

void orvy_foreachComponent(void (*Func)(orvy_Component *Comp, void *Arg), void *Arg) {
  for (void *Obj : Class::getComponents())
    Func(static_cast<orvy_Component *>(Obj), Arg);
}

void orvy_foreachRootComponent(void (*Func)(orvy_Component *Comp, void *Arg), void *Arg) {
  for (void *Obj : Class::getComponents())
    if (!static_cast<orvy_Object *>(Obj)->Component)
      Func(static_cast<orvy_Component *>(Obj), Arg);
}

void orvy_foreachProperty(orvy_Class *Cls,
                          void (*Func)(orvy_Class *Cls, const char *PropName, void *Arg),
                          void *Arg) {
  if (!Cls || !Func)
    return;
  for (const auto &[Name, Prop] : fromHandle(Cls)->Properties)
    Func(Cls, Name.c_str(), Arg);
}

void orvy_foreachInterface(orvy_Class *Cls,
                           void (*Func)(orvy_Class *Cls, const char *IfaceName, void *Arg),
                           void *Arg) {
  if (!Cls || !Func)
    return;
  for (const auto &[Name, Iface] : fromHandle(Cls)->Interfaces)
    Func(Cls, Name.c_str(), Arg);
}
