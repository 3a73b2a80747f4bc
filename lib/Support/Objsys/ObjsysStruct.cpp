#include "orvy/Support/Structs.h"

#include <algorithm>

using namespace orvy::objsys;

std::vector<std::unique_ptr<Struct>> Struct::s_Structs;
std::map<std::string, size_t, std::less<>> Struct::s_NamedStructs;

Struct *Struct::add(const char *Name, size_t Size) {
  s_NamedStructs[Name] = s_Structs.size();
  return s_Structs.emplace_back(new Struct(Name, Size)).get();
}

Struct *Struct::getStructByID(long Id) {
  return Id >= 0 && static_cast<size_t>(Id) < s_Structs.size()
             ? s_Structs[static_cast<size_t>(Id)].get()
             : nullptr;
}

int64_t Struct::getStructID(const char *Name) {
  auto Found = Name ? s_NamedStructs.find(Name) : s_NamedStructs.end();
  return Found == s_NamedStructs.end() ? -1 : static_cast<int64_t>(Found->second);
}

Struct *Struct::getStructByName(const char *Name) {
  return getStructByID(getStructID(Name));
}

void Struct::addField(const char *FieldName, orvy_Type Typ, size_t Offset, unsigned Count) {
  append({FieldName, Offset, Typ, nullptr, Count});
}

void Struct::addField(const char *FieldName, Struct *Sub, size_t Offset, unsigned Count) {
  append({FieldName, Offset, ovTY_Invalid, Sub, Count});
}

void Struct::append(StructField Added) {
  FieldsByName[Added.Name] = Fields.size();
  Fields.push_back(std::move(Added));
}

const StructField *Struct::getFieldByName(const char *FieldName) const {
  auto Found = FieldName ? FieldsByName.find(FieldName) : FieldsByName.end();
  return Found == FieldsByName.end() ? nullptr : &Fields[Found->second];
}

const StructField *Struct::getFieldByOffset(unsigned long Offset) const {
  auto Found = std::ranges::find(Fields, Offset, &StructField::Offset);
  return Found == Fields.end() ? nullptr : &*Found;
}

const StructField *Struct::getFieldByIndex(unsigned Index) const {
  return Index < Fields.size() ? &Fields[Index] : nullptr;
}

// Flat functions.

static Struct *fromHandle(orvy_Struct *Handle) {
  return reinterpret_cast<Struct *>(Handle);
}

orvy_Struct *orvy_registerStruct(const char *Name, size_t Size) {
  return reinterpret_cast<orvy_Struct *>(Struct::add(Name, Size));
}

int64_t orvy_getStructID(const char *Name) {
  return Struct::getStructID(Name);
}

void orvy_structAddField(orvy_Struct *Struct, const char *Name, orvy_Type Typ, size_t Offset,
                         unsigned Count) {
  fromHandle(Struct)->addField(Name, Typ, Offset, Count);
}

void orvy_structAddStructField(orvy_Struct *Struct, const char *Name, orvy_Struct *Sub,
                               size_t Offset, unsigned Count) {
  fromHandle(Struct)->addField(Name, fromHandle(Sub), Offset, Count);
}
