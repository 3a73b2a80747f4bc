// EntryValues.h - what attributes of debug entries mean, whatever version and form they are in.
//
// Damage reads as an attribute that is not there.

#ifndef ORVY_LIB_ENTRYVALUES_H
#define ORVY_LIB_ENTRYVALUES_H

#include "Dwarf/DwarfNames.h"

#include "orvy/Support/Dwarf.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace orvy::source {

using dwarf::DebugInfoEntry;
using Bytes = std::span<const uint8_t>;

/// Addresses from Low up to, but not including, High.
struct AddressRange {
  uint64_t Low, High;
  bool contains(uint64_t Address) const { return Low <= Address && Address < High; }
};

/// The entry that an entry is an instance or a definition of; null if it stands for itself.
DebugInfoEntry *originOf(DebugInfoEntry &Entry);

/// An attribute of the entry, or of what it is an instance of.
std::optional<dwarf::Attribute> inherited(DebugInfoEntry &Entry, dwarf::At Name);

/// Its own or inherited name; null without.
const char *nameOf(DebugInfoEntry &Entry);
/// Its own or inherited type; null without, as for void.
DebugInfoEntry *typeOf(DebugInfoEntry &Entry);
std::optional<int64_t> constantOf(DebugInfoEntry &Entry, dwarf::At Name);
bool flagOf(DebugInfoEntry &Entry, dwarf::At Name);

/// The addresses of a unit, function or block, from its bounds or its list; empty without.
std::vector<AddressRange> rangesOf(DebugInfoEntry &Entry);
/// Where it is entered: DW_AT_entry_pc, else its lowest address.
std::optional<uint64_t> entryPointOf(DebugInfoEntry &Entry);

/// An attribute whose value is an expression.
struct LocationText {
  Bytes Expression;
  bool IsThere = false; ///< an attribute of that name has an expression for the address
  bool IsList = false;  ///< and it holds for some addresses only
};

/// The expression of an attribute at an address: its own, or that of the list (DWARF 5, 2.6).
LocationText locationOf(DebugInfoEntry &Entry, dwarf::At Name, uint64_t Pc);
/// The bytes of a block or expression; empty for any other form.
Bytes blockOf(const dwarf::Attribute &Value);

/// Whether a scope is a call of its own: a function, or one inlined of which it is known from where.
bool isCall(DebugInfoEntry &Scope);
/// Whether an entry is that of a variable or a parameter.
bool isVariable(DebugInfoEntry &Entry);
/// The variable or parameter of a name that is defined directly in a block; null if there is none.
DebugInfoEntry *variableIn(DebugInfoEntry &Block, std::string_view Name);

/// The unit's first entry.
DebugInfoEntry *unitEntryOf(DebugInfoEntry &Entry);
/// The unit's DW_AT_low_pc, to which lists are relative; 0 without.
uint64_t baseAddressOf(dwarf::Unit &Unit);

} // namespace orvy::source

#endif
