// Program.h - a loaded image as its source has it: functions, blocks, variables, types, lines and
// symbols, from the ELF file and, where it has some, its debug information.
//
// Tables are made on first use. Entries are those of the debug information.

#ifndef ORVY_LIB_PROGRAM_H
#define ORVY_LIB_PROGRAM_H

#include "Source/CallFrames.h"
#include "Source/LineTable.h"
#include "Source/Types.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::source {

/// A symbol of the ELF file.
struct ElfSymbol {
  uint64_t Address;
  uint64_t Size; ///< 0 if not known
  std::string Name;
  std::string File; ///< of a local symbol
  bool IsFunction, IsGlobal;
};

/// An address as a symbol and a distance from it.
struct SymbolPlace {
  const ElfSymbol *Symbol = nullptr; ///< null if the address belongs to none
  uint64_t Offset = 0;
};

/// A place in the source.
struct SourcePlace {
  const std::string *File = nullptr; ///< null for no place
  uint32_t Line = 0;
  uint32_t Column = 0;
  bool IsStart = false; ///< the address is the first of the line's code
  explicit operator bool() const { return File; }
};

/// A place in the code at which a line begins.
struct LinePlace {
  uint64_t Address;
  const std::string *File;
  uint32_t Line;
};

class Program : public std::enable_shared_from_this<Program> {
public:
  /// Reads an ELF file. Throws std::runtime_error if it cannot be read.
  explicit Program(const std::string &Path);
  ~Program();
  Program(const Program &) = delete;
  Program &operator=(const Program &) = delete;

  const std::string &getPath() const { return Path; }
  /// Whether the file has debug information that can be read.
  bool hasDebugInfo() const { return Info != nullptr; }
  TypeTable &types() { return Types; }
  CallFrames &frames() { return *Frames; }

  // Symbols.

  /// The symbol that covers an address, of functions or of any kind.
  SymbolPlace symbolAt(uint64_t Address) const;
  /// The symbols of a name; the global one first.
  std::vector<const ElfSymbol *> symbolsNamed(std::string_view Name) const;
  const std::vector<ElfSymbol> &symbols() const { return Symbols; }
  /// Whether an address lies in a section that the program loads.
  bool covers(uint64_t Address) const;

  // Code.

  /// The function that covers an address; null if none does.
  DebugInfoEntry *functionAt(uint64_t Address);
  /// The function and the inlined functions and blocks in it that cover an address, the innermost
  /// last; empty if none does.
  const std::vector<DebugInfoEntry *> &scopesAt(uint64_t Address) {
    return knownAt(Address).Scopes;
  }
  /// The variable or parameter of a name that the innermost function at an address sees; null if
  /// there is none.
  DebugInfoEntry *localAt(uint64_t Address, const std::string &Name);
  /// The functions of a name that have code: those called, then the places where it is inlined.
  std::vector<DebugInfoEntry *> functionsNamed(std::string_view Name);
  /// The address after a function's prologue, where its parameters can be seen.
  uint64_t afterPrologue(DebugInfoEntry &Function);

  /// The place of an address. Of several rows at one address the last counts.
  SourcePlace placeOf(uint64_t Address);
  /// Addresses from the one given up to the next that belongs to another line.
  AddressRange lineRange(uint64_t Address);
  /// The paths that a file name means: those that end in it, by whole parts.
  std::vector<std::string> filesNamed(const std::string &Name);
  /// All paths.
  std::set<std::string> allFiles();
  /// Where the code of a line begins, in every function and every place where it is inlined; that
  /// of the next line with code if it has none, which the places tell.
  std::vector<LinePlace> placesOfLine(const std::string &File, uint32_t Line);

  // Data and types.

  /// The variables of a name outside of functions. Those of the file are first, if one is given.
  std::vector<DebugInfoEntry *> globalsNamed(std::string_view Name, std::string_view File = {});
  /// The type of a name, with its tag or without; null if there is none.
  DebugInfoEntry *typeNamed(std::string_view Name, uint64_t Tag);
  /// The enumerator of a name, of any enumeration outside of functions; null if there is none.
  DebugInfoEntry *enumeratorNamed(std::string_view Name);
  /// The names of functions, or of anything, that begin like this.
  std::set<std::string> namesFrom(std::string_view Beginning, bool IsOfCode);
  /// All variables outside of functions, and all functions, in the order of the units.
  const std::vector<DebugInfoEntry *> &allGlobals();
  const std::vector<DebugInfoEntry *> &allFunctions();
  /// Path of the unit of an entry; empty if it has none.
  const std::string &unitPath(DebugInfoEntry &Entry);
  /// The file that an entry refers to by a number; null if there is none. Lives as long as this.
  const std::string *fileOf(DebugInfoEntry &Entry, uint64_t Number);

private:
  struct CodeRange {
    AddressRange Range;
    DebugInfoEntry *Entry;
  };
  struct LineRange {
    AddressRange Range;
    const LineTable *Table;
    const LineSequence *Sequence;
  };
  struct KnownScopes {
    uint64_t Address = UINT64_MAX;
    std::vector<DebugInfoEntry *> Scopes;
    std::map<std::string, DebugInfoEntry *> Locals; ///< that were asked for; null for none
  };

  void readSymbols();
  void readFrames();
  void indexCode();
  void indexUnit(dwarf::CompilationUnit &Unit);
  void indexFunction(DebugInfoEntry &Entry);
  void indexVariable(DebugInfoEntry &Entry);
  void indexLines();
  const LineRow *rowAt(uint64_t Address, const LineRange **In = nullptr);
  KnownScopes &knownAt(uint64_t Address);
  std::vector<DebugInfoEntry *> findScopes(uint64_t Address);
  DebugInfoEntry *instanceAt(uint64_t Address);
  template <typename Taker> void forEachRow(const std::string &File, Taker Take) const;

  std::string Path;
  std::unique_ptr<dwarf::DebugInfo> Info;
  std::unique_ptr<CallFrames> Frames;
  std::vector<AddressRange> Sections;
  std::vector<ElfSymbol> Symbols;                 ///< by address
  std::multimap<std::string_view, size_t> ByName; ///< indices of Symbols
  TypeTable Types;

  bool IsIndexed = false;
  std::vector<CodeRange> Code; ///< of functions, by low address
  std::multimap<std::string_view, DebugInfoEntry *> Functions, Inlined, Globals, NamedTypes,
      Enumerators;
  std::vector<DebugInfoEntry *> AllGlobals, AllFunctions;
  std::map<DebugInfoEntry *, std::string> UnitPaths; ///< filled as they are asked for
  /// By address: conditions of break points ask for the same ones again and again.
  std::array<KnownScopes, 16> LastScopes;

  bool HasLines = false;
  std::map<uint64_t, std::unique_ptr<LineTable>> Tables; ///< by offset of the program
  std::vector<LineRange> Lines;                          ///< by low address
};

} // namespace orvy::source

#endif
