#include "Dwarf/DwarfForms.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"

#include <algorithm>
#include <exception>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

namespace {

/// Extends the steps that skip the values of an entry by a value of a form.
void addStep(std::vector<DebugAbbrev::Step> &Steps, uint64_t Form) {
  std::optional<FixedSize> Size = fixedSize(Form);
  if (!Size) {
    Steps.push_back({Form, {0, 0}});
    return;
  }
  if (Steps.empty() || Steps.back().Form != 0)
    Steps.push_back({0, {0, 0}});
  for (int Format : {0, 1})
    Steps.back().Bytes[Format] += Size->Bytes[Format];
}

void readAttrs(VectorStream &VS, DebugAbbrev &Abbrev) {
  for (;;) {
    AttrForm Pair;
    Pair.first = readULEB128(VS);
    Pair.second = readULEB128(VS);
    if (Pair == AttrForm())
      return;
    Abbrev.Attrs.push_back(Pair);
    if (Pair.second == DW_FORM_implicit_const)
      Abbrev.Implicit.emplace_back(Pair.first, readSLEB128(VS));
    // A step of form 0 has a fixed size; an attribute of form 0 is unknown.
    addStep(Abbrev.Steps, Pair.second ? Pair.second : UINT64_MAX);
  }
}

} // namespace

void AbbrevMap::setAbbrev(const Section &Bytes) {
  Abbrevs.clear();
  ByCode.clear();
  VectorStream VS(Bytes);
  VS.BigEndian = true;
  std::exception_ptr Damage;
  try {
    while (!VS.atEnd())
      read(VS);
  } catch (...) {
    Damage = std::current_exception();
  }
  countRuns();
  if (Damage)
    std::rethrow_exception(Damage);
}

/// Reads a declaration, or the 0 that ends a table.
void AbbrevMap::read(VectorStream &VS) {
  DebugAbbrev Abbrev;
  uint8_t Children = 0;
  Abbrev.Offset = VS.getOffset();
  Abbrev.Code = readULEB128(VS);
  if (Abbrev.Code == 0)
    return;
  Abbrev.Tag = readULEB128(VS);
  VS >> Children;
  Abbrev.HasChildren = Children == 1;
  readAttrs(VS, Abbrev);
  Abbrevs.push_back(std::move(Abbrev));
}

void AbbrevMap::countRuns() {
  Runs.assign(Abbrevs.size(), 1);
  for (size_t Index = Abbrevs.size(); Index-- > 1;)
    if (Abbrevs[Index].Code == Abbrevs[Index - 1].Code + 1)
      Runs[Index - 1] = Runs[Index] + 1;
}

size_t AbbrevMap::tableAt(uint64_t AbbrevOffset) const {
  auto Found = std::ranges::lower_bound(Abbrevs, AbbrevOffset, {}, &DebugAbbrev::Offset);
  if (Found == Abbrevs.end() || Found->Offset != AbbrevOffset)
    return Abbrevs.size();
  return static_cast<size_t>(Found - Abbrevs.begin());
}

const DebugAbbrev *AbbrevMap::find(size_t Table, uint64_t Code) {
  if (Table >= Abbrevs.size())
    return nullptr;
  // Compilers number their codes consecutively. A code below the first wraps around.
  uint64_t Index = Code - Abbrevs[Table].Code;
  return Index < Runs[Table] ? &Abbrevs[Table + Index] : findFar(Table, Code);
}

const DebugAbbrev *AbbrevMap::findFar(size_t Table, uint64_t Code) {
  if (ByCode.empty()) {
    for (uint32_t Index = 0; Index < Abbrevs.size(); ++Index)
      ByCode.emplace_back(Abbrevs[Index].Code, Index);
    std::ranges::sort(ByCode);
  }
  auto Found = std::ranges::lower_bound(ByCode, std::pair(Code, static_cast<uint32_t>(Table)));
  return Found != ByCode.end() && Found->first == Code ? &Abbrevs[Found->second] : nullptr;
}
