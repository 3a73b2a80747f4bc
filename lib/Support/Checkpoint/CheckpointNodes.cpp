#include "Checkpoint/CheckpointNodes.h"

#include "Checkpoint/NodeParts.h"

#include <functional>
#include <iterator>
#include <map>
#include <utility>

namespace orvy::checkpoint {

namespace {

constexpr std::pair<orvy_Type, const char *> Names[] = {
    {ovTY_Intptr, "intptr_t"}, {ovTY_Uintptr, "uintptr_t"}, {ovTY_Float, "float"},
    {ovTY_Double, "double"},   {ovTY_U8, "uint8_t"},        {ovTY_U16, "uint16_t"},
    {ovTY_U32, "uint32_t"},    {ovTY_U64, "uint64_t"},      {ovTY_I8, "int8_t"},
    {ovTY_I16, "int16_t"},     {ovTY_I32, "int32_t"},       {ovTY_I64, "int64_t"},
    {ovTY_Obj, "object"},      {ovTY_IfaceRef, "iface"},    {ovTY_IfaceRefArray, "ifaceDynArr"},
    {ovTY_String, "string"},   {ovTY_Buffer, "buffer"},     {ovTY_Dict, "dict"},
    {ovTY_Vector, "vector"},   {ovTY_List, "list"},
};

const std::map<orvy_Type, const char *> TypeIdNameMap(std::begin(Names), std::end(Names));

const std::map<std::string, orvy_Type, std::less<>> NameTypeIdMap = [] {
  std::map<std::string, orvy_Type, std::less<>> Map;
  for (const auto &[Typ, Name] : Names)
    Map.emplace(Name, Typ);
  return Map;
}();

LostReferences Lost;

} // namespace

const char *typeIdToString(orvy_Type Typ) {
  auto Found = TypeIdNameMap.find(Typ);
  return Found == TypeIdNameMap.end() ? nullptr : Found->second;
}

orvy_Type stringToTypeId(std::string_view Name) {
  auto Found = NameTypeIdMap.find(Name);
  return Found == NameTypeIdMap.end() ? ovTY_Invalid : Found->second;
}

unsigned entriesOf(orvy_Type Typ) {
  return isWide(Typ) ? 2 : 1;
}

void lose(const std::string &Why) {
  if (Lost.Count++ == 0)
    Lost.First = Why;
}

LostReferences takeLostReferences() {
  return std::exchange(Lost, {});
}

void checkLevel(unsigned Level) {
  if (Level >= MaxLevels)
    throw Unfit("containers are nested too deeply");
}

} // namespace orvy::checkpoint
