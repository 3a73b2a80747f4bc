#include "Objsys/ObjsysClass.h"

#include "Base/NotificationList.h"
#include "Objsys/NameGrammar.h"
#include "Objsys/ObjsysValue.h"
#include "Objsys/Observers.h"
#include "Objsys/PluginManager.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

using namespace orvy::objsys;

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

// The class after one of its functions has run: it may have been forgotten, and another one of that
// name registered.
Class *sameClass(const std::string &ClsName, orvy_ObjectDisposeFunc Dispose) {
  Class *Cls = Class::classForName(ClsName);
  return Cls && Cls->Dispose == Dispose ? Cls : nullptr;
}

// Releases an object that was created but cannot be registered.
void discard(void *Obj, orvy_ObjectDisposeFunc Dispose) {
  static_cast<orvy_Object *>(Obj)->Class = nullptr;
  Dispose(Obj);
}

// Runs the create function. It may have made an object that exists, given the name to another one,
// or cleared the system.
std::pair<void *, Class *> makeObject(const Class &Cls, const std::string &ObjName,
                                      const orvy_CreateArg *Args) {
  const std::string ClsName = Cls.Name;
  const orvy_ObjectDisposeFunc Dispose = Cls.Dispose;
  void *Obj = Cls.Create(ObjName.c_str(), countArguments(Args), Args);
  if (!isNewAddress(Obj))
    return {};
  Class *Now = sameClass(ClsName, Dispose);
  if (Now && !Class::objectForName(ObjName))
    return {Obj, Now};
  if (Now)
    orvy::errs() << "object '" << ObjName << "' already exists\n";
  else
    orvy::errs() << "class '" << ClsName << "' is gone since object '" << ObjName
                 << "' was being created\n";
  discard(Obj, Dispose);
  return {};
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

bool isSimulator(const void *Obj, const Class &Cls) {
  return !Cls.External && Cls.Name == "Simulator" && Class::objectForName("sim") == Obj;
}

// The objects that clearing disposes of itself, in name order. Owned objects go with their components.
std::vector<void *> rootObjects(const ClassRegistry &Registry, const void *Sim) {
  std::vector<void *> Roots;
  for (const auto &[Name, Obj] : Registry.Objects)
    if (Obj != Sim && !isOwned(Obj, *Registry.ObjectClasses.find(Obj)->second))
      Roots.push_back(Obj);
  return Roots;
}

// Depth of nested clears. Objects whose time sources go during one go themselves.
unsigned Clears = 0;

void disposeAllBut(ClassRegistry &Registry, const void *Sim) {
  ++Clears;
  // A snapshot: disposal ignores objects that an earlier one took with it.
  for (void *Obj : rootObjects(Registry, Sim))
    Class::disposeObject(Obj);
  --Clears;
}

bool keepsTime(const Class &Cls) {
  return Cls.Qualifier == orvy::Kind::Processor || Cls.Qualifier == orvy::Kind::Machine ||
         Cls.Qualifier == orvy::Kind::Clock || Cls.Qualifier == orvy::Kind::Component;
}

// Posts reach their queue through the time source without a look at the registry.
void forgetTimeSource(const ClassRegistry &Registry, const void *Source) {
  for (const auto &[Obj, Cls] : Registry.ObjectClasses)
    if (!Cls->External)
      if (auto &Header = *static_cast<orvy_Object *>(const_cast<void *>(Obj));
          Header.TimeSource == Source)
        Header.TimeSource = nullptr;
}

void forgetObjects(ClassRegistry &Registry) {
  Registry.Objects.clear();
  Registry.ObjectNames.clear();
  Registry.ObjectClasses.clear();
  Registry.Components.clear();
  Registry.Processors.clear();
}

// Objects whose subscribers are being notified of the disposal, the innermost last. They are out of
// the registry, but their headers are still valid.
std::vector<void *> BeingDisposed;

// Their classes are about to be released.
void forgetClassesOfDisposed() {
  for (void *Obj : BeingDisposed)
    static_cast<orvy_Object *>(Obj)->Class = nullptr;
}

} // namespace

constinit Observer *Observer::First = nullptr;
constinit Observer **Observer::End = &Observer::First;

Observer::Observer(void (*Disposing)(void *Obj), void (*Cleared)())
    : Disposing(Disposing), Cleared(Cleared) {
  *End = this;
  End = &Next;
}

void Observer::notifyDisposing(void *Obj) {
  for (const Observer *Each = First; Each; Each = Each->Next)
    if (Each->Disposing)
      Each->Disposing(Obj);
}

void Observer::notifyCleared() {
  for (const Observer *Each = First; Each; Each = Each->Next)
    if (Each->Cleared)
      Each->Cleared();
}

void *Class::createObject(const char *ClsName, const char *ObjName, const orvy_CreateArg *Args) {
  Class *Cls = classForCreation(ClsName, ObjName);
  if (!Cls)
    return nullptr;
  if (Cls->External) {
    errs() << "cannot create object '" << ObjName << "' of external class '" << ClsName << "'\n";
    return nullptr;
  }

  // A copy: the name may be one that the registry owns.
  const std::string Name = ObjName;
  void *Obj = nullptr;
  std::tie(Obj, Cls) = makeObject(*Cls, Name, Args);
  if (!Obj)
    return nullptr;
  auto &Header = *static_cast<orvy_Object *>(Obj);
  fillHeader(Header, *Cls);
  ClassRegistry &Registry = ClassRegistry::get();
  Registry.addObject(Name.c_str(), Obj, *Cls);
  if (Cls->Qualifier == orvy::Kind::Processor)
    Registry.Processors.push_back(Obj);
  else if (Cls->Qualifier == orvy::Kind::Component)
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
  if (isSimulator(Obj, *Cls)) {
    orvy_logError(Obj, "cannot be disposed of, it lives as long as the library; "
                       "orvy_objsysClear disposes of all other objects");
    return;
  }
  Observer::notifyDisposing(Obj);
  ClassRegistry::get().removeObject(Obj);
  if (Cls->External)
    return;
  if (keepsTime(*Cls) && Clears == 0)
    forgetTimeSource(ClassRegistry::get(), Obj);

  // A subscriber may clear the whole system: the class is not used once the first one has run.
  orvy_ObjectDisposeFunc DisposeFunc = Cls->Dispose;
  auto &Header = *static_cast<orvy_Object *>(Obj);
  int64_t WillDispose = Header.WillDisposeNotification;
  int64_t Disposed = Header.DisposedNotification;
  BeingDisposed.push_back(Obj);
  orvy_notify(WillDispose, Obj);
  BeingDisposed.pop_back();
  Header.Class = nullptr;
  DisposeFunc(Obj);
  orvy_notify(Disposed, Obj);
  forgetNotificationsOf(Obj);
}

void Class::clear() {
  ClassRegistry &Registry = ClassRegistry::get();
  // A subscriber may clear as well, so nothing is taken out until all are gone.
  disposeAllBut(Registry, findSimulator().first);
  auto [Sim, SimClass] = findSimulator();
  // Before start-up there is no simulator to keep.
  auto Kept =
      Sim ? Registry.Classes.extract(SimClass->Name) : NameMap<std::unique_ptr<Class>>::node_type();
  forgetClassesOfDisposed();
  Registry.Classes.clear();
  clearLoadedPlugins();
  forgetObjects(Registry);
  Registry.IfaceTypes.clear();
  if (!Sim)
    return;
  Registry.Classes.insert(std::move(Kept));
  Registry.addObject("sim", Sim, *SimClass);
  Observer::notifyCleared();
}

void Class::clearObjects() {
  ClassRegistry &Registry = ClassRegistry::get();
  disposeAllBut(Registry, findSimulator().first);
  auto [Sim, SimClass] = findSimulator();
  forgetObjects(Registry);
  if (!Sim)
    return;
  Registry.addObject("sim", Sim, *SimClass);
  Observer::notifyCleared();
}

bool Class::isBeingDisposed(const void *Obj) {
  return std::ranges::count(BeingDisposed, Obj) != 0;
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

namespace {

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

// Calls a function, if there is one, for each of the objects that are still there when their turn
// comes: it may create and dispose of others.
template <typename T>
static void forEachIn(const std::vector<void *> &Objs, void (*Func)(T *Obj, void *Arg), void *Arg) {
  for (void *Obj : Objs)
    if (Func && Class::classForObject(Obj))
      Func(static_cast<T *>(Obj), Arg);
}

void orvy_foreachObject(void (*Func)(void *Obj, void *Arg), void *Arg) {
  std::vector<void *> Objs(Class::getObjectList().size());
  copyObjects(Objs.size(), Objs.data());
  forEachIn(Objs, Func, Arg);
}

void orvy_foreachProcessor(void (*Func)(void *Obj, void *Arg), void *Arg) {
  forEachIn(std::vector(Class::getProcessors()), Func, Arg);
}

void orvy_foreachComponent(void (*Func)(orvy_Component *Comp, void *Arg), void *Arg) {
  forEachIn(std::vector(Class::getComponents()), Func, Arg);
}

void orvy_foreachRootComponent(void (*Func)(orvy_Component *Comp, void *Arg), void *Arg) {
  std::vector<void *> Roots(Class::getComponents());
  std::erase_if(Roots, [](void *Obj) { return static_cast<orvy_Object *>(Obj)->Component; });
  forEachIn(Roots, Func, Arg);
}
