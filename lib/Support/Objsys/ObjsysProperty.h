// ObjsysProperty.h - the records that describe the state of a class: properties, registers and
// fields.

#ifndef ORVY_LIB_OBJSYSPROPERTY_H
#define ORVY_LIB_OBJSYSPROPERTY_H

#include "orvy/Support/Properties.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::objsys {

class Class;

/// A named piece of an object's state: a field at an offset, or functions that stand for one.
///
/// The get route calls Getter, else reads the field; read calls Reader, else does as get. The set
/// route calls Setter, else stores into the field; write calls Writer, else does as set.
class Property {
public:
  Property(std::string Name, int Offset, orvy_Type Typ, int Count, std::string Doc);
  virtual ~Property() = default;
  virtual bool isRegister() const { return false; }

  /// The value on the get route; the all-zero record where there is no element.
  orvy_Propval getValue(const void *Obj, unsigned Idx) const;
  /// The element in the field, without asking the Getter. The property must have a field.
  orvy_Propval getValueUnsafe(const void *Obj, unsigned Idx) const;
  orvy_Propval readValue(void *Obj, int Idx) const;
  /// Stores on the set route. An index outside the field is ignored.
  void setValue(void *Obj, orvy_Propval Pv, int Idx) const;
  void writeValue(void *Obj, orvy_Propval Pv, int Idx) const;

  /// The address of an element; null for offset 0, where the header lies.
  void *getPointer(void *Obj, unsigned Idx) const;
  const void *getPointer(const void *Obj, unsigned Idx) const;

  bool hasField() const { return Offset >= 0; }
  /// The elements present: of an array of references its size, else Count.
  size_t getLength(const void *Obj) const;

  /// Accepts references only to objects with an interface of that type from now on.
  void requireInterface(const char *IfaceType);
  /// Whether a reference to the object may be stored.
  bool objectConformsToInterfaces(void *Obj) const;
  /// Why a reference may not be stored; empty if it may. The
  /// object must be registered, and what it and its table offer must be what is required.
  std::string faultOf(orvy_IfaceRef Ref) const;

  std::string Name;
  int Offset; ///< bytes from the start of the object, -1 for a pseudo property
  orvy_Type Typ;
  size_t Count;
  bool RequiresInterface = false;
  std::string RequiredInterfaceType;
  orvy_PropWriter Setter = nullptr;
  orvy_PropReader Getter = nullptr;
  orvy_PropWriter Writer = nullptr;
  orvy_PropReader Reader = nullptr;
  std::string Doc;
  std::vector<uint64_t> InPorts; ///< the ports of the class that it is part of

private:
  /// Whether hooks and fields may see a value: rejects a table of another type, with an error, and
  /// releases what the object would have taken over.
  bool admits(void *Obj, const orvy_Propval &Pv) const;
  bool holdsVector(const void *Obj, const orvy_Vector &Vec) const;
  void store(void *Obj, const orvy_Propval &Pv, unsigned Idx) const;
  void storeOwned(void *Element, const orvy_Propval &Pv) const;
  void storeReference(void *Obj, void *Element, const orvy_Propval &Pv) const;
};

/// Some bits of a register. The reset values are in register position.
struct Field {
  std::string Name;
  uint64_t Mask;
  uint64_t ColdResetValue;
  uint64_t WarmResetValue;
  std::string Doc;
  bool Writable;
  bool AuxFlag;

  /// The field's value in a register's, shifted down.
  uint64_t extract(uint64_t RegisterValue) const;
  /// The register's value with the field replaced, cut to the mask.
  uint64_t insert(uint64_t RegisterValue, uint64_t FieldValue) const;
};

/// A property with a description of its bits. Masks and reset values are the union of the fields'.
class Register : public Property {
public:
  using Property::Property;
  bool isRegister() const override { return true; }

  void addField(std::unique_ptr<Field> Added);
  /// The field of that name, null if there is none.
  Field *getField(std::string_view FieldName) const;

  std::vector<std::unique_ptr<Field>> Fields;
  unsigned RegParam0 = 0;
  unsigned RegParam1 = 0;
  uint64_t ReadMask = 0;
  uint64_t WriteMask = 0;
  uint64_t ColdResetValue = 0;
  uint64_t WarmResetValue = 0;
  uint64_t AuxMask = 0;
};

/// Registers listed together. The class owns them, as properties.
class RegisterBank {
public:
  RegisterBank(Class &Parent, std::string Name) : Parent(&Parent), Name(std::move(Name)) {}

  Register &addRegister(std::unique_ptr<Register> Added);
  /// The register of that name anywhere in the class, null if there is none.
  Register *getRegister(std::string_view RegName) const;

  Class *Parent;
  std::string Name;
  std::vector<Register *> Registers;
};

/// Copies what Convert makes of the items from Start on to Out, at most Max of them, and returns
/// how many; the number of items if Out is null.
template <typename Container, typename Row, typename Function>
unsigned copyPage(const Container &Items, unsigned Start, unsigned Max, Row *Out,
                  Function Convert) {
  if (!Out)
    return static_cast<unsigned>(Items.size());
  if (Start >= Items.size())
    return 0;
  auto Count = static_cast<unsigned>(std::min<size_t>(Max, Items.size() - Start));
  std::transform(Items.begin() + Start, Items.begin() + Start + Count, Out, Convert);
  return Count;
}

/// The entries of a map by position, for paging. The map only grows: an entry stays where it is,
/// also when the record in it is replaced.
template <typename Map> class PageIndex {
public:
  using Entries = std::vector<const typename Map::value_type *>;

  const Entries &of(const Map &Items) {
    if (Listed.size() == Items.size())
      return Listed;
    Listed.clear();
    for (const auto &Entry : Items)
      Listed.push_back(&Entry);
    return Listed;
  }

private:
  Entries Listed;
};

inline RegisterBank *fromHandle(orvy_RegisterBank *Bank) {
  return reinterpret_cast<RegisterBank *>(Bank);
}
inline Register *fromHandle(orvy_Register *Reg) {
  return reinterpret_cast<Register *>(Reg);
}
inline Field *fromHandle(orvy_Field *Fld) {
  return reinterpret_cast<Field *>(Fld);
}
inline orvy_RegisterBank *toHandle(RegisterBank *Bank) {
  return reinterpret_cast<orvy_RegisterBank *>(Bank);
}
inline orvy_Register *toHandle(Register *Reg) {
  return reinterpret_cast<orvy_Register *>(Reg);
}
inline orvy_Field *toHandle(Field *Fld) {
  return reinterpret_cast<orvy_Field *>(Fld);
}

} // namespace orvy::objsys

#endif
