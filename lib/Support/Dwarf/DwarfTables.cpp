#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"

#include <algorithm>
#include <queue>

using namespace orvy;
using namespace orvy::dwarf;

namespace {

/// Sorts entries by a key. Of entries with the same key only the one added last is kept.
template <typename Entry, typename Key> void sortKeepingLast(std::vector<Entry> &Entries, Key Of) {
  std::ranges::stable_sort(Entries, {}, Of);
  auto SameKey = [&](const Entry &A, const Entry &B) { return Of(A) == Of(B); };
  // unique keeps the first of each run, which is the last one in reverse order.
  auto Kept = std::unique(Entries.rbegin(), Entries.rend(), SameKey);
  Entries.erase(Entries.begin(), Kept.base());
}

} // namespace

void NameTable::add(std::string_view Name, uint64_t UnitOffset, uint64_t EntryOffset) {
  Entries.push_back({Name, UnitOffset, EntryOffset});
  Sorted = false;
}

const std::vector<NameTable::Entry> &NameTable::entries() {
  if (!Sorted)
    sortKeepingLast(Entries, [](const Entry &E) { return E.Name; });
  Sorted = true;
  return Entries;
}

const NameTable::Entry *NameTable::find(std::string_view Name) {
  auto Found = std::ranges::lower_bound(entries(), Name, {}, &Entry::Name);
  return Found != Entries.end() && Found->Name == Name ? &*Found : nullptr;
}

void RangeTable::add(uint64_t Start, uint64_t Length, uint64_t UnitOffset) {
  Entries.push_back({Start, Length, UnitOffset});
  Sorted = false;
}

const std::vector<RangeTable::Entry> &RangeTable::entries() {
  if (!Sorted)
    sortKeepingLast(Entries, [](const Entry &E) { return std::pair(E.Start, E.Length); });
  Sorted = true;
  return Entries;
}

const RangeTable::Entry *RangeTable::find(uint64_t Addr) {
  auto At = std::ranges::lower_bound(entries(), Addr, {}, &Entry::Start);
  if (At != Entries.begin())
    --At;
  for (; At != Entries.end() && At->Start <= Addr; ++At)
    if (Addr - At->Start < At->Length)
      return &*At;
  return nullptr;
}

FunctionIndex::FunctionIndex(Unit &Functions) {
  std::vector<Function> Found;
  for (DebugInfoEntry *Entry : Functions.getDIEList()) {
    if (Entry->getTag() != DW_TAG_subprogram)
      continue;
    uint64_t Low = 0, High = 0;
    for (const Attribute &A : Entry->attributes()) {
      if (A.getName() == DW_AT_low_pc)
        Low = A.getAddr();
      else if (A.getName() == DW_AT_high_pc)
        High = A.getHighAddr(Low);
      else if (A.getName() == DW_AT_ranges)
        ++Miss.Discontinuous;
    }
    if (Low < High)
      Found.push_back({Low, High, {Entry, Miss.Discontinuous}});
  }
  addSegments(std::move(Found));
}

/// Splits the addresses where functions start and end. Each segment belongs to the first function,
/// in file order, that covers it.
void FunctionIndex::addSegments(std::vector<Function> Functions) {
  std::vector<uint64_t> Cuts;
  for (const Function &F : Functions)
    Cuts.insert(Cuts.end(), {F.Low, F.High});
  std::ranges::sort(Cuts);
  Cuts.erase(std::unique(Cuts.begin(), Cuts.end()), Cuts.end());

  std::ranges::stable_sort(Functions, {}, &Function::Low);
  auto IsLater = [](const Function *A, const Function *B) {
    return A->Found.Entry > B->Found.Entry;
  };
  std::priority_queue<const Function *, std::vector<const Function *>, decltype(IsLater)> Covering;
  auto Next = Functions.begin();
  for (uint64_t Cut : Cuts) {
    for (; Next != Functions.end() && Next->Low == Cut; ++Next)
      Covering.push(&*Next);
    while (!Covering.empty() && Covering.top()->High <= Cut)
      Covering.pop();
    addSegment(Cut, Covering.empty() ? Miss : Covering.top()->Found);
  }
}

void FunctionIndex::addSegment(uint64_t Start, const Hit &Found) {
  if (!Hits.empty() && Hits.back().Entry == Found.Entry)
    return;
  Starts.push_back(Start);
  Hits.push_back(Found);
}

FunctionIndex::Hit FunctionIndex::find(uint64_t Addr) const {
  auto Above = std::ranges::upper_bound(Starts, Addr);
  return Above == Starts.begin() ? Miss : Hits[static_cast<size_t>(Above - Starts.begin()) - 1];
}
