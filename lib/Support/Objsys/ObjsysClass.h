// ObjsysClass.h - the class record, and the registry of all classes and objects.

#ifndef ORVY_LIB_OBJSYSCLASS_H
#define ORVY_LIB_OBJSYSCLASS_H

#include "Objsys/Kind.h"
#include "Objsys/ObjsysInterface.h"
#include "Objsys/ObjsysProperty.h"
#include "orvy/Support/ManagedStatic.h"
#include "orvy/Support/Objsys.h"

#include <array>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orvy::objsys {

template <typename T> using NameMap = std::map<std::string, T, std::less<>>;
template <typename T> using AddressMap = std::map<void *, T, std::less<>>;
/// By object; nothing lists objects in the order of their addresses, and every access looks one up.
template <typename T> using ObjectMap = std::unordered_map<const void *, T>;

/// A class of model objects: how to make and release one, and what it offers.
class Class {
public:
  Class(std::string Name, orvy_ObjectCreateFunc Create, orvy_ObjectDisposeFunc Dispose);
  explicit Class(std::string Name); ///< an external class
  Class(const Class &) = delete;
  Class &operator=(const Class &) = delete;

  // Registration; null when the name is taken.
  static Class *registerClass(const char *Name, orvy_ObjectCreateFunc Create,
                              orvy_ObjectDisposeFunc Dispose);
  static Class *registerExternalClass(const char *Name);
  static IfaceType *registerInterface(const char *Name);

  // The life of objects.
  static void *createObject(const char *ClsName, const char *ObjName, const orvy_CreateArg *Args);
  static void *addObject(const char *ClsName, const char *ObjName, void *Obj);
  static void disposeObject(void *Obj);
  static void clear();
  static void clearObjects();

  // Look-up; null for what is not there.
  static Class *classForName(std::string_view Name);
  static Class *classForObject(const void *Obj);
  static void *objectForName(std::string_view Name);
  static const char *nameForObject(const void *Obj);
  /// Whether the subscribers to the disposal of an object are being notified: it is out of the
  /// registry, but its header is still valid.
  static bool isBeingDisposed(const void *Obj);

  static const NameMap<void *> &getObjectList();
  static const NameMap<void *> &objects() { return getObjectList(); }
  static const NameMap<std::unique_ptr<Class>> &getClassList();
  static const NameMap<std::unique_ptr<Class>> &classes() { return getClassList(); }
  static std::vector<void *> &getProcessors();
  static std::vector<void *> &getComponents();
  static auto class_begin() { return getClassList().begin(); }
  static auto class_end() { return getClassList().end(); }
  static auto object_begin() { return getObjectList().begin(); }
  static auto object_end() { return getObjectList().end(); }

  // Values of properties by name, by object or by the object's name; see Propval.h.
  static orvy_Propval getPropertyVal(void *Obj, const char *PropName, int Idx);
  static orvy_Propval getPropertyVal(const char *ObjName, const char *PropName, int Idx);
  static orvy_Propval readPropertyVal(void *Obj, const char *PropName, int Idx);
  static orvy_Propval readPropertyVal(const char *ObjName, const char *PropName, int Idx);
  static void setPropertyVal(void *Obj, const char *PropName, orvy_Propval Val, int Idx);
  static void setPropertyVal(const char *ObjName, const char *PropName, orvy_Propval Val, int Idx);
  static void writePropertyVal(void *Obj, const char *PropName, orvy_Propval Val, int Idx);
  static void writePropertyVal(const char *ObjName, const char *PropName, orvy_Propval Val,
                               int Idx);

  // Description. What is added under a name that exists replaces the old record.
  Property &addProperty(const char *PropName, int Offset, orvy_Type Typ, int Count,
                        orvy_PropWriter Writer, orvy_PropReader Reader, const char *Doc);
  Property &addProperty(std::unique_ptr<Property> Added);
  Property &addPseudoProperty(const char *PropName, orvy_Type Typ, int Count,
                              orvy_PropWriter Writer, orvy_PropReader Reader,
                              orvy_PropWriter Setter, orvy_PropReader Getter, const char *Doc);
  /// Enters a register as a property, without listing it in a bank.
  Register &addRegister(std::unique_ptr<Register> Added);
  /// The new bank, null if there is one of that name.
  RegisterBank *addRegisterBank(const char *BankName);
  void addInterface(const char *IfaceName, const char *Type, void *Iface, const char *Doc);
  void addInterface(const char *IfaceName, const char *Type, void *Iface, size_t ArrayCount,
                    size_t Stride, const char *Doc);
  /// Throws std::invalid_argument if there is no such property.
  void addPort(const char *PropName, const char *IfaceName, const char *Doc);
  /// Whether the id and name were accepted.
  bool addLoggingCategory(unsigned Id, std::string_view CategoryName);

  // Queries; null for what is not there.
  Property *getProperty(std::string_view PropName) const;
  RegisterBank *getRegisterBank(std::string_view BankName) const;
  /// The interface of that name, without the bracket part.
  IfaceInstance *getInterface(std::string_view IfaceName) const;
  IfaceInstance *interfaceForPointer(const void *Iface) const;
  bool hasInterfaceOfType(std::string_view Type) const;
  /// The interface that a table, or an element of an array of them, belongs to: one of that type if
  /// there is one.
  IfaceInstance *interfaceHolding(const void *Iface, std::string_view Type) const;
  /// The interface paired with a property.
  IfaceInstance *getPortIface(std::string_view PropName) const;
  /// The property paired with an interface, named with or without its bracket part.
  Property *getPortProp(std::string_view IfaceName) const;
  const char *getLoggingCategory(unsigned Id) const;

  /// Writes the documentation of the class as AsciiDoc to a file, which is replaced, or for null to
  /// the standard output stream. A file that cannot be written is ignored.
  void generateDocs(const char *File) const;

  Kind Qualifier; ///< stays the first word: read through the headers of objects
  std::string Name;
  NameMap<std::unique_ptr<Property>> Properties;
  NameMap<std::unique_ptr<IfaceInstance>> Interfaces;
  AddressMap<IfaceInstance *> IfaceByPointer;
  NameMap<std::unique_ptr<RegisterBank>> RegisterBanks;
  std::map<uint64_t, Port> Ports; ///< in the order of adding
  NameMap<IfaceInstance *> PortIfaceByProperty;
  NameMap<Property *> PortPropertyByIface;
  bool External;
  orvy_ObjectCreateFunc Create = nullptr;
  orvy_ObjectDisposeFunc Dispose = nullptr;
  void *VTable = nullptr;
  const ObjectIface *Saved = nullptr; ///< of a class that publishes none: how checkpoints hold it
  PageIndex<NameMap<std::unique_ptr<Property>>> PropertyPages;
  PageIndex<NameMap<std::unique_ptr<RegisterBank>>> BankPages;
  std::array<std::string, 8> LoggingCategoryNames; ///< of the categories 8 to 15

private:
  Property &insertProperty(std::unique_ptr<Property> Added);
  // Remove all references to a record that is replaced.
  void forget(const Property &Replaced);
  void forget(const IfaceInstance &Replaced);
  void insertInterface(std::unique_ptr<IfaceInstance> Added);
  void removePort(uint64_t Number);

  uint64_t NextPort = 0;
};

/// All classes and objects of the process. Only this registry decides whether an address is an
/// object: the header of an unknown address is never read.
class ClassRegistry {
public:
  static ClassRegistry &get();

  Class *getClass(std::string_view Name) const;
  IfaceType *getIfaceType(std::string_view Name) const;
  NameMap<std::unique_ptr<Class>> &getClasses() { return Classes; }
  NameMap<std::unique_ptr<IfaceType>> &getIfaceTypes() { return IfaceTypes; }
  NameMap<void *> &getObjects() { return Objects; }

  auto class_find(std::string_view Name) { return Classes.find(Name); }
  auto class_begin() { return Classes.begin(); }
  auto class_end() { return Classes.end(); }
  void class_erase(NameMap<std::unique_ptr<Class>>::iterator Where) { Classes.erase(Where); }
  auto object_find(std::string_view Name) { return Objects.find(Name); }
  auto object_begin() { return Objects.begin(); }
  auto object_end() { return Objects.end(); }
  void object_erase(NameMap<void *>::iterator Where) { removeObject(Where->second); }
  auto ifacetype_find(std::string_view Name) { return IfaceTypes.find(Name); }
  auto ifacetype_begin() { return IfaceTypes.begin(); }
  auto ifacetype_end() { return IfaceTypes.end(); }
  void ifacetype_erase(NameMap<std::unique_ptr<IfaceType>>::iterator Where) {
    IfaceTypes.erase(Where);
  }

  /// Enters what is new; null when the name is taken.
  Class *addClass(std::unique_ptr<Class> Added);
  IfaceType *addIfaceType(std::unique_ptr<IfaceType> Added);
  /// Enters an object whose name and address are new.
  void addObject(const char *Name, void *Obj, Class &Cls);
  void removeObject(void *Obj);

  NameMap<std::unique_ptr<Class>> Classes;
  NameMap<void *> Objects;
  ObjectMap<std::string> ObjectNames;
  ObjectMap<Class *> ObjectClasses;
  NameMap<std::unique_ptr<IfaceType>> IfaceTypes;
  std::vector<void *> Processors; ///< in creation order
  std::vector<void *> Components; ///< in creation order
};

extern ManagedStatic<ClassRegistry> TheClassRegistry;

inline ClassRegistry &ClassRegistry::get() {
  return *TheClassRegistry;
}

inline Class *fromHandle(orvy_Class *Cls) {
  return reinterpret_cast<Class *>(Cls);
}
inline const Class *fromHandle(const orvy_Class *Cls) {
  return reinterpret_cast<const Class *>(Cls);
}
inline orvy_Class *toHandle(Class *Cls) {
  return reinterpret_cast<orvy_Class *>(Cls);
}

} // namespace orvy::objsys

#endif
