#include "Base/InternalError.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysProperty.h"
#include "Objsys/ObjsysValue.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <bit>

using namespace orvy::objsys;

namespace {

enum FieldFlag : uint64_t { FieldWritable = 1, FieldAux = 2 };

Register *asRegister(Property *Prop) {
  return Prop && Prop->isRegister() ? static_cast<Register *>(Prop) : nullptr;
}

Field *findField(void *Obj, const char *RegName, const char *FieldName) {
  const Class *Cls = Class::classForObject(Obj);
  const Register *Reg = Cls ? asRegister(Cls->getProperty(RegName)) : nullptr;
  return Reg ? Reg->getField(FieldName) : nullptr;
}

bool hasFieldArguments(void *Obj, const char *RegName, const char *FieldName) {
  if (Obj && RegName && FieldName)
    return true;
  orvy_logError(Obj, "invalid getFieldValue parameters");
  return false;
}

void storeByTag(void *Obj, const char *RegName, orvy_Propval &Pv, uint64_t Value) {
  switch (Pv.Typ) {
  case ovTY_U8:
    Pv.u8 = static_cast<uint8_t>(Value);
    break;
  case ovTY_U16:
    Pv.u16 = static_cast<uint16_t>(Value);
    break;
  case ovTY_U32:
    Pv.u32 = static_cast<uint32_t>(Value);
    break;
  case ovTY_U64:
    Pv.u64 = Value;
    break;
  default:
    orvy_logFatal(Obj, "register %s does not have a valid type", RegName);
  }
}

// Reads the register on the get route, replaces the field, and hands the register to Store.
template <typename Route>
int replaceField(void *Obj, const char *RegName, const char *FieldName, uint64_t Val, Route Store) {
  if (!hasFieldArguments(Obj, RegName, FieldName))
    return -1;
  orvy_Propval Pv = orvy_getValue(Obj, RegName, -1);
  if (!orvy_isDiscrete(Pv))
    return -1;
  const Field *Fld = findField(Obj, RegName, FieldName);
  if (!Fld)
    return -1;
  storeByTag(Obj, RegName, Pv, Fld->insert(orvy_asUnsigned(Pv), Val));
  Store(Obj, RegName, Pv, -1);
  return 0;
}

template <typename T>
T ofRegister(orvy_Register *Reg, const char *IfNull, T (*Ask)(const Register &)) {
  if (Reg)
    return Ask(*fromHandle(Reg));
  orvy_logError(nullptr, "%s", IfNull);
  return T{};
}

} // namespace

uint64_t Field::extract(uint64_t RegisterValue) const {
  return Mask ? (RegisterValue & Mask) >> std::countr_zero(Mask) : 0;
}

uint64_t Field::insert(uint64_t RegisterValue, uint64_t FieldValue) const {
  uint64_t Placed = Mask ? FieldValue << std::countr_zero(Mask) : 0;
  return (RegisterValue & ~Mask) | (Placed & Mask);
}

void Register::addField(std::unique_ptr<Field> Added) {
  ReadMask |= Added->Mask;
  if (Added->Writable)
    WriteMask |= Added->Mask;
  if (Added->AuxFlag)
    AuxMask |= Added->Mask;
  ColdResetValue |= Added->ColdResetValue;
  WarmResetValue |= Added->WarmResetValue;
  Fields.push_back(std::move(Added));
}

Field *Register::getField(std::string_view FieldName) const {
  auto Found = std::find_if(Fields.begin(), Fields.end(),
                            [&](const auto &Each) { return Each->Name == FieldName; });
  return Found == Fields.end() ? nullptr : Found->get();
}

Register &RegisterBank::addRegister(std::unique_ptr<Register> Added) {
  Register &Entered = Parent->addRegister(std::move(Added));
  Registers.push_back(&Entered);
  return Entered;
}

Register *RegisterBank::getRegister(std::string_view RegName) const {
  return asRegister(Parent->getProperty(RegName));
}

Register &Class::addRegister(std::unique_ptr<Register> Added) {
  return static_cast<Register &>(insertProperty(std::move(Added)));
}

RegisterBank *Class::addRegisterBank(const char *BankName) {
  auto [Entry, IsNew] = RegisterBanks.try_emplace(BankName);
  if (!IsNew)
    return nullptr;
  Entry->second = std::make_unique<RegisterBank>(*this, BankName);
  return Entry->second.get();
}

RegisterBank *Class::getRegisterBank(std::string_view BankName) const {
  auto Found = RegisterBanks.find(BankName);
  return Found == RegisterBanks.end() ? nullptr : Found->second.get();
}

orvy_RegisterBank *orvy_addRegisterBank(orvy_Class *Cls, const char *BankName) {
  if (!Cls)
    return nullptr;
  ORVY_REQUIRE(BankName);
  return toHandle(fromHandle(Cls)->addRegisterBank(BankName));
}

orvy_Register *orvy_addRegister(orvy_RegisterBank *Bank, const char *RegName, int Offset,
                                orvy_Type Typ, int Count, orvy_PropWriter Writer,
                                orvy_PropReader Reader, const char *Doc, unsigned Param0,
                                unsigned Param1) {
  if (!Bank)
    return nullptr;
  ORVY_REQUIRE(RegName);
  auto Added = std::make_unique<Register>(RegName, Offset, Typ, Count, orEmpty(Doc));
  Added->Writer = Writer;
  Added->Reader = Reader;
  Added->RegParam0 = Param0;
  Added->RegParam1 = Param1;
  return toHandle(&fromHandle(Bank)->addRegister(std::move(Added)));
}

void orvy_addField(orvy_Register *Reg, const char *FieldName, uint64_t Mask,
                   uint64_t ColdResetValue, uint64_t WarmResetValue, uint64_t Flags,
                   const char *Doc) {
  if (!Reg)
    return orvy_logError(nullptr, "Invalid register pointer passed to orvy_addField()");
  ORVY_REQUIRE(FieldName);
  fromHandle(Reg)->addField(
      std::make_unique<Field>(Field{FieldName, Mask, ColdResetValue, WarmResetValue, orEmpty(Doc),
                                    (Flags & FieldWritable) != 0, (Flags & FieldAux) != 0}));
}

orvy_RegisterBank *orvy_getRegisterBank(orvy_Class *Cls, const char *BankName) {
  return Cls && BankName ? toHandle(fromHandle(Cls)->getRegisterBank(BankName)) : nullptr;
}

unsigned orvy_getRegisterBanks(orvy_Class *Cls, unsigned Start, unsigned Max,
                               orvy_RegisterBank **Out) {
  if (!Cls)
    return 0;
  Class &Of = *fromHandle(Cls);
  return copyPage(Of.BankPages.of(Of.RegisterBanks), Start, Max, Out,
                  [](const auto *Entry) { return toHandle(Entry->second.get()); });
}

const char *orvy_getRegisterBankName(orvy_RegisterBank *Bank) {
  return Bank ? fromHandle(Bank)->Name.c_str() : nullptr;
}

orvy_Register *orvy_getRegister(orvy_RegisterBank *Bank, const char *RegName) {
  return Bank && RegName ? toHandle(fromHandle(Bank)->getRegister(RegName)) : nullptr;
}

unsigned orvy_getRegisters(orvy_RegisterBank *Bank, unsigned Start, unsigned Max,
                           orvy_Register **Out) {
  if (!Bank)
    return 0;
  return copyPage(fromHandle(Bank)->Registers, Start, Max, Out,
                  [](Register *Reg) { return toHandle(Reg); });
}

const char *orvy_getRegisterName(orvy_Register *Reg) {
  return ofRegister<const char *>(Reg, "Invalid register pointer passed to orvy_getRegisterName()",
                                  [](const Register &R) { return R.Name.c_str(); });
}

const char *orvy_getRegisterDocs(orvy_Register *Reg) {
  // The message names orvy_getRegisterName here too.
  return ofRegister<const char *>(Reg, "Invalid register pointer passed to orvy_getRegisterName()",
                                  [](const Register &R) { return R.Doc.c_str(); });
}

uint64_t orvy_getRegisterReadMask(orvy_Register *Reg) {
  return ofRegister<uint64_t>(Reg, "Invalid register pointer passed to orvy_regGetReadMask()",
                              [](const Register &R) { return R.ReadMask; });
}

uint64_t orvy_getRegisterWriteMask(orvy_Register *Reg) {
  return ofRegister<uint64_t>(Reg, "Invalid register pointer passed to orvy_regGetWriteMask()",
                              [](const Register &R) { return R.WriteMask; });
}

uint64_t orvy_getRegisterColdResetValue(orvy_Register *Reg) {
  return ofRegister<uint64_t>(Reg, "Invalid register pointer passed to orvy_regGetColdResetValue()",
                              [](const Register &R) { return R.ColdResetValue; });
}

uint64_t orvy_getRegisterWarmResetValue(orvy_Register *Reg) {
  return ofRegister<uint64_t>(Reg, "Invalid register pointer passed to orvy_regGetWarmResetValue()",
                              [](const Register &R) { return R.WarmResetValue; });
}

orvy_Field *orvy_getField(orvy_Register *Reg, const char *FieldName) {
  return Reg && FieldName ? toHandle(fromHandle(Reg)->getField(FieldName)) : nullptr;
}

unsigned orvy_getFields(orvy_Register *Reg, unsigned Start, unsigned Max, orvy_Field **Out) {
  if (!Reg)
    return 0;
  return copyPage(fromHandle(Reg)->Fields, Start, Max, Out,
                  [](const auto &Each) { return toHandle(Each.get()); });
}

const char *orvy_getFieldName(orvy_Field *Field) {
  return Field ? fromHandle(Field)->Name.c_str() : nullptr;
}

const char *orvy_getFieldDocs(orvy_Field *Field) {
  return Field ? fromHandle(Field)->Doc.c_str() : nullptr;
}

uint64_t orvy_getFieldMask(orvy_Field *Field) {
  return Field ? fromHandle(Field)->Mask : 0;
}

uint64_t orvy_getFieldValue(void *Obj, const char *RegName, const char *FieldName) {
  if (!hasFieldArguments(Obj, RegName, FieldName))
    return 0;
  if (!findField(Obj, RegName, FieldName))
    return 0;
  orvy_Propval Pv = orvy_getValue(Obj, RegName, -1);
  // Its Getter may have had the class forgotten.
  const Field *Fld = findField(Obj, RegName, FieldName);
  return Fld && orvy_isNumber(Pv) ? Fld->extract(orvy_asUnsigned(Pv)) : 0;
}

int orvy_setFieldValue(void *Obj, const char *RegName, const char *FieldName, uint64_t Val) {
  return replaceField(Obj, RegName, FieldName, Val, orvy_setValue);
}

int orvy_writeFieldValue(void *Obj, const char *RegName, const char *FieldName, uint64_t Val) {
  return replaceField(Obj, RegName, FieldName, Val, orvy_writeValue);
}
