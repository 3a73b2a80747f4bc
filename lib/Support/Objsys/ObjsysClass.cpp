#include "Objsys/ObjsysClass.h"

#include "Base/InternalError.h"
#include "Objsys/NameGrammar.h"
#include "orvy/Support/Logging.h"

#include <algorithm>

using namespace orvy::objsys;
using orvy::Kind;

orvy::ManagedStatic<ClassRegistry> orvy::objsys::TheClassRegistry;

Class::Class(std::string Name, orvy_ObjectCreateFunc Create, orvy_ObjectDisposeFunc Dispose)
    : Qualifier(Kind::Plain), Name(std::move(Name)), External(false), Create(Create),
      Dispose(Dispose) {
  addProperty("object.timeSource", offsetof(orvy_Object, TimeSource), ovTY_Obj, 1, nullptr, nullptr,
              "Time source object (a cpu or machine object)");
}

Class::Class(std::string Name) : Qualifier(Kind::External), Name(std::move(Name)), External(true) {}

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

Class *Class::classForName(std::string_view Name) {
  return ClassRegistry::get().getClass(Name);
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

void qualify(orvy_Class *Cls, Kind Qualifier) {
  if (Cls)
    fromHandle(Cls)->Qualifier = Qualifier;
}

bool isQualified(const void *Obj, Kind Qualifier) {
  const Class *Cls = headerClass(Obj);
  return Cls && Cls->Qualifier == Qualifier;
}

const Class *classOrError(const void *Obj) {
  const Class *Cls = Class::classForObject(Obj);
  if (!Cls)
    orvy_logError(nullptr, "isExternal: object %p has no class\n", Obj);
  return Cls;
}

} // namespace

orvy_Class *orvy_registerClass(const char *ClsName, orvy_ObjectCreateFunc Create,
                               orvy_ObjectDisposeFunc Dispose) {
  ORVY_REQUIRE(ClsName);
  ORVY_REQUIRE_FUNCTION(Create);
  ORVY_REQUIRE_FUNCTION(Dispose);
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
  qualify(Cls, static_cast<Kind>(Qualifier));
}

void orvy_qualifyAsCpu(orvy_Class *Cls) {
  qualify(Cls, Kind::Processor);
}

void orvy_qualifyAsMachine(orvy_Class *Cls) {
  qualify(Cls, Kind::Machine);
}

void orvy_qualifyAsMemory(orvy_Class *Cls) {
  qualify(Cls, Kind::Memory);
}

int orvy_addLoggingCategory(orvy_Class *Cls, unsigned Id, const char *Name) {
  return Cls && Name && fromHandle(Cls)->addLoggingCategory(Id, Name) ? 0 : -1;
}

const char *orvy_getLoggingCategory(orvy_Class *Cls, unsigned Id) {
  return Cls ? fromHandle(Cls)->getLoggingCategory(Id) : nullptr;
}

orvy_Class *orvy_classForName(const char *ClsName) {
  ORVY_REQUIRE(ClsName);
  return toHandle(Class::classForName(ClsName));
}

const char *orvy_nameForClass(const orvy_Class *Cls) {
  ORVY_REQUIRE(Cls);
  return fromHandle(Cls)->Name.c_str();
}

int orvy_isExternal(const void *Obj) {
  const Class *Cls = classOrError(Obj);
  return Cls && Cls->External;
}

int orvy_isCpu(const void *Obj) {
  return isQualified(Obj, Kind::Processor);
}

int orvy_isMachine(const void *Obj) {
  return isQualified(Obj, Kind::Machine);
}

int orvy_isMemory(const void *Obj) {
  // Unlike the others also called with external objects, which have no header to read.
  const Class *Cls = Class::isBeingDisposed(Obj) ? headerClass(Obj) : classOrError(Obj);
  return Cls && Cls->Qualifier == Kind::Memory;
}

int orvy_isComponent(const void *Obj) {
  return isQualified(Obj, Kind::Component);
}

int orvy_isQualifiedAs(const void *Obj, unsigned Qualifier) {
  return isQualified(Obj, static_cast<Kind>(Qualifier));
}

void orvy_foreachClass(void (*Func)(orvy_Class *Cls, void *Arg), void *Arg) {
  if (!Func)
    return;
  for (const auto &[Name, Cls] : Class::classes())
    Func(toHandle(Cls.get()), Arg);
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
