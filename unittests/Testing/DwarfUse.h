// DwarfUse.h - every query and listing of debug information, for files that may be damaged.

#ifndef ORVY_UNITTESTS_TESTING_DWARFUSE_H
#define ORVY_UNITTESTS_TESTING_DWARFUSE_H

#include "orvy/Support/Dwarf.h"

#include <iostream>

namespace orvy::testing {

/// Keeps what is written to the process's streams from anybody, as long as it lives.
class Silence {
public:
  Silence() : Out(std::cout.rdbuf(nullptr)), Err(std::cerr.rdbuf(nullptr)) {}
  ~Silence() {
    std::cout.rdbuf(Out);
    std::cerr.rdbuf(Err);
  }
  Silence(const Silence &) = delete;
  Silence &operator=(const Silence &) = delete;

private:
  std::streambuf *Out, *Err;
};

/// Asks all that can be asked of an address.
inline void useAddress(orvy_Dwarf Dwarf, uint64_t Addr) {
  orvy_AddrRange Range;
  orvy_dwarfGetName(Dwarf, Addr);
  orvy_dwarfGetLanguageName(Dwarf, Addr);
  orvy_dwarfGetAddressRange(Dwarf, Addr, &Range);
  orvy_dwarfGetLine(Dwarf, Addr);
  orvy_dwarfGetCol(Dwarf, Addr);
  orvy_dwarfGetFile(Dwarf, Addr);
  orvy_dwarfGetSourceLocForAddr(Dwarf, Addr);
  orvy_dwarfComputeLoc(Dwarf, Addr, "X");
  orvy_dwarfComputeLocation(Dwarf, Addr, "X");
}

inline void useAttribute(const dwarf::Attribute &A) {
  A.getRef();
  A.getBlock();
  A.getExprLoc();
  try {
    A.getLocList(A.getAddr());
  } catch (int) {
  } catch (const std::exception &) {
  }
}

inline void useEntry(orvy_Dwarf Dwarf, dwarf::DebugInfoEntry *Entry) {
  orvy_AddrRange Range;
  uint64_t Addr = 0, High = 0;
  orvy_dwarfGetDIERanges(Entry, 1, &Range);
  if (orvy_dwarfGetDIERange(Entry, &Range) == 0)
    useAddress(Dwarf, Range.Low);
  if (const char *Name = orvy_dwarfGetDIEName(Entry)) {
    orvy_dwarfGetNamedAddressRange(Dwarf, Name, &Range);
    orvy_debugGetAddressRange(Dwarf, Name, &Addr, &High);
    orvy_debugGetEntryPoint(Dwarf, Name, &Addr);
  }
  Entry->getChildren();
  for (const dwarf::Attribute &A : Entry->attributes())
    useAttribute(A);
}

/// Asks and lists everything, of as many entries of each unit as there is time for.
inline void useDwarf(orvy_Dwarf Dwarf, size_t Entries) {
  auto &Info = *reinterpret_cast<dwarf::DebugInfo *>(Dwarf);
  Info.print();
  Info.printAbbrevs();
  Info.printInfo();
  Info.printPubnames();
  Info.printPubtypes();
  useAddress(Dwarf, 0);
  Info.printAddressRanges();
  for (const auto &Unit : Info.getCompUnits()) {
    size_t Left = Entries;
    orvy_dwarfGetBreakLoc(Dwarf, Unit->getName() ? Unit->getName() : "", 1);
    for (dwarf::DebugInfoEntry *Entry : Unit->getDIEList())
      if (Left-- > 0)
        useEntry(Dwarf, Entry);
      else
        break;
  }
}

} // namespace orvy::testing

#endif
