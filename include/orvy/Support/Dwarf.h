/* Dwarf.h - the debug information of a target image: functions, units, source lines, variables.
 *
 * Reads DWARF 2 to 5 of 32-bit big-endian ELF files. Units and entries are handed out as plain
 * pointers that live as long as the handle they come from; so do texts, unless said otherwise.
 * Handles, units, entries and names that are passed in are not null, unless said otherwise. Queries
 * fill tables on first use: all use of one handle stays on one thread at a time. The result tells
 * when nothing was found; details go to the error stream. */

#ifndef ORVY_SUPPORT_DWARF_H
#define ORVY_SUPPORT_DWARF_H

#include "orvy/Support/Export.h"

#include <stdint.h>

ORVY_BEGIN_C

/** Opaque: the debug information of an image. */
typedef struct orvy_DwarfHandle *orvy_Dwarf;

/** Target addresses from Low up to, but not including, High. */
typedef struct {
  uint64_t Low;
  uint64_t High;
} orvy_AddrRange;
ORVY_STATIC_ASSERT(sizeof(orvy_AddrRange) == 16, "crosses the plug-in boundary");

/** A place in a source file. */
typedef struct {
  const char *File; /**< path; null for no place */
  uint32_t Line;    /**< from 1 */
  uint32_t Column;  /**< from 1; 0 for the whole line */
} orvy_SourceLoc;
ORVY_STATIC_ASSERT(sizeof(orvy_SourceLoc) == 16, "crosses the plug-in boundary");

/** Where a variable is. */
typedef ORVY_ENUM(orvy_DwarfLocKind){
    ovDL_None = 0,     /**< not known */
    ovDL_Register = 1, /**< in the register of that DWARF number */
    ovDL_Memory = 2    /**< at that address */
} orvy_DwarfLocKind;

/** The place of a variable. */
typedef struct {
  orvy_DwarfLocKind Kind;
  uint64_t Value;
} orvy_DwarfLoc;
ORVY_STATIC_ASSERT(sizeof(orvy_DwarfLoc) == 16 && offsetof(orvy_DwarfLoc, Value) == 8,
                   "crosses the plug-in boundary");

/**
 * Reads the debug information of an ELF file, all units and entries at once.
 *
 * A unit that is damaged or of another version of DWARF is left out, with a warning in the log that
 * names its place; the others load.
 * @param Dwarf takes a new handle, which orvy_disposeDebugInfo releases; null on failure
 * @return 0; -1, with an error in the log, for a file that is not a readable ELF file, has no unit
 * that can be read or no ".debug_abbrev"; -1 if Dwarf is null
 */
ORVY_API int orvy_loadDebugInfo(const char *Path, orvy_Dwarf *Dwarf);
/** The same as orvy_loadDebugInfo. */
ORVY_API int orvy_loadDwarf(const char *Path, orvy_Dwarf *Dwarf);
/** Releases a handle with all its units, entries and texts. Accepts null. */
ORVY_API void orvy_disposeDebugInfo(orvy_Dwarf Dwarf);
/** The same as orvy_disposeDebugInfo. */
ORVY_API void orvy_disposeDwarf(orvy_Dwarf Dwarf);

/** Name of the function that covers an address; null, with a text on the error stream, if there is
 * none. */
ORVY_API const char *orvy_dwarfGetName(orvy_Dwarf Dwarf, uint64_t Addr);
/** Entry of the function that covers an address; null, with a text on the error stream, if there is
 * none. */
ORVY_API void *orvy_dwarfGetDIEForAddr(orvy_Dwarf Dwarf, uint64_t Addr);
/** Entry of the function of a name; null, silently, if there is none. With a section
 * ".debug_pubnames" it may be the entry of another public name, such as a variable. */
ORVY_API void *orvy_dwarfGetDIEForName(orvy_Dwarf Dwarf, const char *Name);
/** The compilation unit that covers an address; null, silently, if there is none. */
ORVY_API void *orvy_dwarfGetCUForAddr(orvy_Dwarf Dwarf, uint64_t Addr);
/** The unit of an entry, which may be a type unit. */
ORVY_API void *orvy_dwarfGetCUForDIE(void *Entry);
/** Name of a compilation unit as its compiler was given it; null for a type unit, and if it has
 * none. */
ORVY_API const char *orvy_dwarfGetCUName(void *Unit);
/** Writes a unit with all its entries to the output stream. */
ORVY_API void orvy_dwarfPrintCU(void *Unit);
/** Name of an entry; null if it has none. */
ORVY_API const char *orvy_dwarfGetDIEName(void *Entry);
/** Tag of an entry, a DW_TAG_ number (DWARF 4, 7.5.4); 0 if it is not known. */
ORVY_API uint64_t orvy_dwarfGetDIETag(void *Entry);
/** Name of the language of the unit that covers an address, as "DW_LANG_C99"; null if not known. */
ORVY_API const char *orvy_dwarfGetLanguageName(orvy_Dwarf Dwarf, uint64_t Addr);

/** Range of an entry, from its low and high addresses. @return 0; -1 if it lacks one */
ORVY_API int orvy_dwarfGetDIERange(void *Entry, orvy_AddrRange *Range);
/** Entry point of an entry, else its low address. @return 0; -1 if it has neither */
ORVY_API int orvy_dwarfGetDIEEntryAddr(void *Entry, uint64_t *Addr);
/** Number of the ranges (DW_AT_ranges) of an entry that is not contiguous; 0 for any other. */
ORVY_API uint64_t orvy_dwarfGetDIERangeCount(void *Entry);
/**
 * Copies the ranges of an entry that is not contiguous.
 * @param Capacity elements that Ranges has room for
 * @return number copied, 0 for any other entry; -1, with nothing copied, if there are more
 */
ORVY_API uint64_t orvy_dwarfGetDIERanges(void *Entry, uint64_t Capacity, orvy_AddrRange *Ranges);

/** Range of the function that covers an address. @return 0; 1 if there is none, with a text on the
 * error stream, or if it lacks a bound */
ORVY_API int orvy_dwarfGetAddressRange(orvy_Dwarf Dwarf, uint64_t Addr, orvy_AddrRange *Range);
/** Range of the function of a name. @return 0; 1 if there is none, it lacks a bound, or the handle
 * is null */
ORVY_API int orvy_dwarfGetNamedAddressRange(orvy_Dwarf Dwarf, const char *Name,
                                            orvy_AddrRange *Range);
/** Stored bounds of the function of a name: High is relative to Low where the compiler gave a size.
 * @return 0; 1 if there is none, it lacks a bound, or the handle is null */
ORVY_API int orvy_debugGetAddressRange(orvy_Dwarf Dwarf, const char *Name, uint64_t *Low,
                                       uint64_t *High);
/** Entry point of the function of a name, else its low address. @return 0; 1 if there is none or
 * the handle is null */
ORVY_API int orvy_debugGetEntryPoint(orvy_Dwarf Dwarf, const char *Name, uint64_t *Addr);

/** Source line of an address, by the line table (DWARF 4, 6.2); -1 if none covers it. Of a unit
 * with code in several sections, as by -ffunction-sections, only the first has lines; the log says
 * so once for an image. */
ORVY_API uint64_t orvy_dwarfGetLine(orvy_Dwarf Dwarf, uint64_t Addr);
/** Source column of an address; -1 if no line covers it. */
ORVY_API uint64_t orvy_dwarfGetCol(orvy_Dwarf Dwarf, uint64_t Addr);
/** Source file of an address as its line table names it; null if no line covers the address. */
ORVY_API const char *orvy_dwarfGetFile(orvy_Dwarf Dwarf, uint64_t Addr);
/** Source place of an address, with the file's directory. File is valid until the next call on the
 * same thread; null if no line covers the address. */
ORVY_API orvy_SourceLoc orvy_dwarfGetSourceLocForAddr(orvy_Dwarf Dwarf, uint64_t Addr);
/**
 * Text of a source line and of as many lines above and below it.
 *
 * A relative file is looked for in the source directories; an absolute one has its leading
 * directories remapped.
 * @param Lines lines above, and below; the text ends early where the file does
 * @return text with line feeds, valid until the next call on the same thread; null if the file
 * cannot be read or has fewer lines above
 */
ORVY_API const char *orvy_dwarfGetSourceLinesAroundLoc(orvy_Dwarf Dwarf, orvy_SourceLoc *Loc,
                                                       uint32_t Lines);
/** Text of the source line of an address and of as many lines above and below it, as
 * orvy_dwarfGetSourceLinesAroundLoc; null also if no line covers the address. */
ORVY_API const char *orvy_dwarfGetSourceLinesAroundAddr(orvy_Dwarf Dwarf, uint64_t Addr,
                                                        uint32_t Lines);
/** Adds a directory in which relative source files are looked for, after those added before. The
 * path is copied and not checked. */
ORVY_API void orvy_dwarfAddSourceDir(orvy_Dwarf Dwarf, const char *Path);
/** Lets absolute source paths that begin with From begin with To and "/" instead; the first mapping
 * that fits counts. A relative From is refused with a text on the error stream. */
ORVY_API void orvy_dwarfAddSourceDirRemap(orvy_Dwarf Dwarf, const char *From, const char *To);
/**
 * Address at which a break point for a source line belongs: that of the line or of the next one
 * that has code.
 * @param File name of the unit or the end of it
 * @return -1, with an error in the log, if not exactly one unit has that name or it has no such
 * line
 */
ORVY_API uint64_t orvy_dwarfGetBreakLoc(orvy_Dwarf Dwarf, const char *File, uint32_t Line);

/** Where a variable of the function that covers Pc is, as far as that can be told without looking
 * into a processor. See orvy_dwarfComputeLocOnCpu. */
ORVY_API orvy_DwarfLoc orvy_dwarfComputeLoc(orvy_Dwarf Dwarf, uint64_t Pc, const char *Name);
/**
 * Where a variable of the function that covers Pc is while a SPARC processor stands there.
 *
 * Variables of inner blocks are not looked for. What is read and tried is told on the error stream.
 * @param Cpu the processor whose registers and memory locations refer to; null for none
 * @return kind ovDL_None if there is no such function or variable, or its place cannot be told
 */
ORVY_API orvy_DwarfLoc orvy_dwarfComputeLocOnCpu(orvy_Dwarf Dwarf, void *Cpu, uint64_t Pc,
                                                 const char *Name);
/** Writes a line on the error stream for every variable of a name of the function that covers Pc;
 * nothing if there is none. @return 0, always */
ORVY_API int orvy_dwarfComputeLocation(orvy_Dwarf Dwarf, uint64_t Pc, const char *Name);

ORVY_END_C

#ifdef __cplusplus

#include "orvy/Support/VectorStream.h"

#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvy::dwarf {

using Section = std::vector<unsigned char>;

class DebugInfo;
class DebugInfoEntry;
class LineNumberProgram;
class Unit;

/// An attribute and the form in which its values stand: DW_AT_ and DW_FORM_ numbers.
using AttrForm = std::pair<uint64_t, uint64_t>;

/// The declaration of what entries of a code have.
struct DebugAbbrev {
  uint64_t Offset = 0; ///< of the declaration in ".debug_abbrev"
  uint64_t Code = 0;
  uint64_t Tag = 0;
  bool HasChildren = false;
  std::vector<AttrForm> Attrs;
  std::vector<std::pair<uint64_t, int64_t>>
      Implicit; ///< attribute and DW_FORM_implicit_const value

  /// What passes over the values: neighbours of fixed size in one step.
  struct Step {
    uint64_t Form;     ///< 0 for fixed sizes
    uint64_t Bytes[2]; ///< in the 32-bit and in the 64-bit format
  };
  std::vector<Step> Steps;
};

/// All declarations by their offset.
class AbbrevMap {
public:
  /// Reads a section; replaces what was there. Throws at damage; what was read before it is kept.
  ORVY_API void setAbbrev(const Section &Bytes);
  /// Place of the declaration that starts exactly at an offset; size() if none does.
  ORVY_API size_t tableAt(uint64_t AbbrevOffset) const;
  /// The first declaration of a code from a place on, in later tables too; null if there is none.
  ORVY_API const DebugAbbrev *find(size_t Table, uint64_t Code);
  /// The first declaration of a code from an offset on, at which a declaration must start.
  const DebugAbbrev *getAbbrev(uint64_t AbbrevOffset, uint64_t Code) {
    return find(tableAt(AbbrevOffset), Code);
  }
  size_t size() const { return Abbrevs.size(); }
  auto begin() const { return Abbrevs.begin(); }
  auto end() const { return Abbrevs.end(); }

private:
  void read(utils::VectorStream &VS);
  void countRuns();
  const DebugAbbrev *findFar(size_t Table, uint64_t Code);

  std::vector<DebugAbbrev> Abbrevs;
  std::vector<uint32_t> Runs; ///< how far codes count up by one from each declaration
  std::vector<std::pair<uint64_t, uint32_t>> ByCode; ///< made when a code is not in its run
};

/// A view of one value of an entry: decoded from the section on each access.
class Attribute {
public:
  Attribute(DebugInfoEntry *Parent, uint64_t Name, uint64_t Form, const uint8_t *Data,
            uint64_t SectionOffset, uint64_t Size)
      : Parent(Parent), Data(Data), Name(Name), Form(Form), SectionOffset(SectionOffset),
        Size(Size) {}

  DebugInfoEntry *getParent() const { return Parent; }
  uint64_t getName() const { return Name; } ///< DW_AT_ number
  uint64_t getForm() const { return Form; } ///< DW_FORM_ number
  /// First byte of the encoded value, its place in the section, and the bytes it has.
  const uint8_t *getData() const { return Data; }
  uint64_t getSectionOffset() const { return SectionOffset; }
  uint64_t getSize() const { return Size; }

  /// The big-endian number at the value's first byte, whatever the form; 0 where the section ends
  /// before it.
  ORVY_API uint8_t getU8() const;
  ORVY_API uint16_t getU16() const;
  ORVY_API uint32_t getU32() const;
  ORVY_API uint64_t getU64() const;
  /// An address: 4 bytes in every form; that of an index into ".debug_addr" is looked up.
  ORVY_API uint64_t getAddr() const;
  /// An offset of a section: 4 bytes in every form.
  uint64_t getOffset() const { return getU32(); }
  /// The number of a DW_FORM_data1, data2, data4 or data8; -1 for any other form.
  ORVY_API uint64_t getUnsigned() const;
  int64_t getSigned() const { return static_cast<int64_t>(getUnsigned()); }
  /// The address of a DW_AT_high_pc: a DW_FORM_addr, else relative to a low address.
  ORVY_API uint64_t getHighAddr(uint64_t Low) const;
  /// The number of any form that holds a constant, extended by the sign of the form; nothing for
  /// another form.
  ORVY_API std::optional<int64_t> getConstant() const;
  /// The text of a DW_FORM_string, strp, line_strp or strx, in place; null for any other form or
  /// one out of bounds.
  ORVY_API const char *getCStr() const;
  /// The bytes of a DW_FORM_block, block1, block2 or block4; empty for any other form.
  ORVY_API std::vector<uint8_t> getBlock() const;
  /// The bytes of a DW_FORM_exprloc; empty for any other form.
  ORVY_API std::vector<uint8_t> getExprLoc() const;
  /// The expression that a DW_FORM_sec_offset gives for an address; empty if there is none.
  /// Throws the integer 42 if the unit has no low address, std::out_of_range at the section's end.
  ORVY_API std::vector<uint8_t> getLocList(uint64_t Pc) const;
  /// The value of a form that is an unsigned LEB128, or an index of fixed size.
  ORVY_API uint64_t getIndex() const;
  /// The entry that a reference refers to; null if there is none.
  ORVY_API DebugInfoEntry *getRef() const;
  /// The same, and that of a type unit of version 5, or of ".debug_types", by its signature.
  ORVY_API DebugInfoEntry *getType() const;
  /// Writes attribute, form and value as a line.
  ORVY_API void print() const;

private:
  template <typename T> T read() const;
  std::vector<uint8_t> behindLength(uint64_t LengthBytes) const;
  uint64_t decodedLEB128(size_t &Bytes) const;
  void printValue() const;

  DebugInfoEntry *Parent;
  const uint8_t *Data;
  uint64_t Name, Form, SectionOffset, Size;
};

/// The attributes of an entry in stored order.
class AttributeList {
public:
  class iterator {
  public:
    using value_type = Attribute;
    using difference_type = std::ptrdiff_t;
    ORVY_API explicit iterator(DebugInfoEntry &Entry);
    const Attribute &operator*() const { return Current; }
    const Attribute *operator->() const { return &Current; }
    ORVY_API iterator &operator++();
    void operator++(int) { ++*this; }
    bool operator==(std::default_sentinel_t) const { return Next > Attrs.size(); }

  private:
    ORVY_API void load();

    utils::VectorStream VS;
    std::span<const AttrForm> Attrs;
    size_t Next = 0;
    Attribute Current;
  };

  explicit AttributeList(DebugInfoEntry &Entry) : Entry(&Entry) {}
  iterator begin() const { return iterator(*Entry); }
  std::default_sentinel_t end() const { return {}; }

private:
  DebugInfoEntry *Entry;
};

/// A debug information entry. Entries of a unit lie in file order, so that relatives are found by
/// their distance; among them are the null entries that close lists of children.
class DebugInfoEntry {
public:
  Unit *getUnit() const { return Owner; }
  ORVY_API DebugInfo *getDebugInfo() const;
  /// Null for a null entry, and where no declaration has the code.
  const DebugAbbrev *getAbbrev() const { return Abbrev; }
  ORVY_API uint64_t getAbbrevCode() const;
  /// DW_TAG_ number; 0 without declaration.
  uint64_t getTag() const { return Abbrev ? Abbrev->Tag : 0; }
  bool isNull() const { return CodeBytes == 0; }
  uint64_t getOffset() const { return SectionOffset; } ///< in the section of its unit
  uint64_t getSize() const { return isNull() ? 1 : 0; }

  DebugInfoEntry *getParent() { return Up ? this - Up : nullptr; }
  /// The children and the null entry that closes them.
  ORVY_API std::vector<DebugInfoEntry *> getChildren();
  /// The entry after this one and all below it; a null entry ends the children of a parent.
  DebugInfoEntry *getNext() { return this + Span; }
  /// The first child; null for an entry without a list of children.
  DebugInfoEntry *getFirstChild() { return Span > 1 ? this + 1 : nullptr; }
  /// All below it, in file order.
  std::span<DebugInfoEntry> getSubtree() { return {this + 1, Span - 1}; }

  AttributeList attributes() { return AttributeList(*this); }
  /// The first attribute of a DW_AT_ number.
  ORVY_API std::optional<Attribute> find(uint64_t Name);
  /// Its DW_AT_name; null without.
  ORVY_API const char *getName();
  /// Writes the entry and all below it.
  ORVY_API void print(unsigned Depth);

private:
  friend class Unit;
  friend class AttributeList::iterator;

  void printAlone(unsigned Depth);

  Unit *Owner = nullptr;
  const DebugAbbrev *Abbrev = nullptr;
  uint32_t SectionOffset = 0;
  uint32_t Up = 0;       ///< entries back to the parent; 0 for none
  uint32_t Span = 1;     ///< entries up to the next that is not below this one
  uint8_t CodeBytes = 0; ///< of the abbreviation code; 0 for a null entry
};
static_assert(sizeof(DebugInfoEntry) == 32, "half a million of these are loaded at once");

/// The entries of a unit in file order, without the null entries.
class EntryList {
public:
  class iterator {
  public:
    using value_type = DebugInfoEntry *;
    using difference_type = std::ptrdiff_t;
    iterator() = default;
    iterator(DebugInfoEntry *At, DebugInfoEntry *End) : At(At), End(End) { skipNulls(); }
    DebugInfoEntry *operator*() const { return At; }
    iterator &operator++() {
      ++At;
      skipNulls();
      return *this;
    }
    iterator operator++(int) {
      iterator Old = *this;
      ++*this;
      return Old;
    }
    bool operator==(const iterator &Other) const { return At == Other.At; }

  private:
    void skipNulls() {
      while (At != End && At->isNull())
        ++At;
    }
    DebugInfoEntry *At = nullptr, *End = nullptr;
  };

  EntryList(std::span<DebugInfoEntry> Records, size_t Count) : Records(Records), Count(Count) {}
  iterator begin() const { return {Records.data(), Records.data() + Records.size()}; }
  iterator end() const {
    return {Records.data() + Records.size(), Records.data() + Records.size()};
  }
  size_t size() const { return Count; }
  bool empty() const { return Count == 0; }

private:
  std::span<DebugInfoEntry> Records;
  size_t Count;
};

/// A unit of ".debug_info" or ".debug_types". Construction parses it; what is damaged throws.
class ORVY_API Unit {
public:
  virtual ~Unit() = default;
  /// Writes the header and the entries to the output stream.
  virtual void print() = 0;
  /// The entry of the unit itself; null if it has none.
  virtual DebugInfoEntry *getUnitDIE() = 0;

  Unit(const Unit &) = delete;
  Unit &operator=(const Unit &) = delete;

  DebugInfo *getDebugInfo() const { return Info; }
  /// The section that the unit lies in.
  const Section &getSection() const { return Bytes; }
  bool is64Bit() const { return Is64Bit; }
  uint64_t getUnitLength() const { return UnitLength; }
  uint16_t getVersion() const { return Version; }
  uint64_t getAbbrevOffset() const { return AbbrevOffset; }
  uint8_t getAddressSize() const { return AddressSize; }
  uint64_t getOffset() const { return Offset; }
  uint64_t getHeaderSize() const { return HeaderSize; }
  /// DW_UT_ number; 0 before version 5.
  uint8_t getUnitType() const { return UnitKind; }
  /// Signature and offset of the type of a type unit; 0 for another unit.
  uint64_t getTypeSignature() const { return TypeSignature; }
  uint64_t getTypeOffset() const { return TypeOffset; }
  uint64_t getTotalSize() const { return UnitLength + (Is64Bit ? 12 : 4); }

  /// Whether its last value may end where the section ends.
  bool mayReachEnd() const;

  EntryList getDIEList() { return {Records, EntryCount}; }
  /// The entry at an offset of the section, or of the unit; null if none starts there.
  DebugInfoEntry *getDIEWithSectionOffset(uint64_t At);
  DebugInfoEntry *getDIEWithLocalOffset(uint64_t At);

protected:
  Unit(DebugInfo *Info, const Section &Bytes, uint64_t Offset)
      : Info(Info), Bytes(Bytes), Offset(Offset) {}

  void parseHeader(utils::VectorStream &VS);
  void parseTypeFields(utils::VectorStream &VS);
  void parseEntries(utils::VectorStream &VS);
  void printHeader(std::string_view Kind) const;
  void printEntries(std::string_view Kind);

private:
  class Parser;

  DebugInfo *Info;
  const Section &Bytes;
  uint64_t Offset;
  uint64_t UnitLength = 0;
  uint64_t AbbrevOffset = 0;
  uint64_t HeaderSize = 0;
  uint64_t TypeSignature = 0;
  uint64_t TypeOffset = 0;
  uint16_t Version = 0;
  uint8_t UnitKind = 0;
  uint8_t AddressSize = 0;
  bool Is64Bit = false;
  size_t EntryCount = 0;
  std::vector<DebugInfoEntry> Records;
};

/// The functions of a unit by address: the first in file order that covers it.
class FunctionIndex {
public:
  struct Hit {
    DebugInfoEntry *Entry;
    size_t Discontinuous; ///< functions with DW_AT_ranges that a walk up to it comes by
  };
  explicit FunctionIndex(Unit &Functions);
  Hit find(uint64_t Addr) const;

private:
  struct Function {
    uint64_t Low, High;
    Hit Found;
  };
  void addSegments(std::vector<Function> Functions);
  void addSegment(uint64_t Start, const Hit &Found);

  std::vector<uint64_t> Starts;
  std::vector<Hit> Hits; ///< from each start up to the next
  Hit Miss{nullptr, 0};
};

/// A unit of ".debug_info".
class ORVY_API CompilationUnit final : public Unit {
public:
  using Range = std::pair<uint64_t, uint64_t>; ///< low, high

  CompilationUnit(DebugInfo *Info, uint64_t Offset);
  ~CompilationUnit() override;

  void print() override;
  /// The first entry, that of a compile, partial or skeleton unit; null if it is another.
  DebugInfoEntry *getUnitDIE() override;
  /// DW_AT_name; null without.
  const char *getName();
  /// DW_AT_low_pc. Throws the integer 42 without.
  uint64_t getBaseAddress();
  /// One past the last address. Throws the integer 42 without DW_AT_low_pc or DW_AT_high_pc.
  uint64_t getHighAddress();
  /// The range from low to high address; none, with a text on the error stream, for a unit with
  /// DW_AT_ranges; none without addresses.
  std::vector<Range> getRanges();
  /// DW_LANG_ number. Throws the integer 42 without.
  uint64_t getLanguageID();
  /// "DW_LANG_C99" and its like; null for a number that is not known. Throws as getLanguageID.
  const char *getLanguageName();
  /// Offset of the line program in ".debug_line"; -1 without.
  int64_t getLineNumberOffset();
  /// The line program; null without, and if it cannot be read.
  LineNumberProgram *getLineNumberProgram();
  /// The first function in file order that covers an address.
  FunctionIndex::Hit getFunction(uint64_t Addr);

private:
  ORVY_LOCAL std::optional<Attribute> unitAttribute(uint64_t Name);
  ORVY_LOCAL Attribute requiredAttribute(uint64_t Name);

  std::unique_ptr<FunctionIndex> Functions;
  std::optional<LineNumberProgram *> Lines; ///< once asked for
};

/// A unit of ".debug_types": parsed and printed, and never searched.
class ORVY_API TypeUnit final : public Unit {
public:
  TypeUnit(DebugInfo *Info, uint64_t Offset);

  void print() override;
  /// Null: nothing leads to the entries.
  DebugInfoEntry *getUnitDIE() override { return nullptr; }
};

/// Public names in byte order; of several of one name the one added last.
class NameTable {
public:
  struct Entry {
    std::string_view Name; ///< in a section
    uint64_t UnitOffset;
    uint64_t EntryOffset; ///< inside the unit
  };
  ORVY_API void add(std::string_view Name, uint64_t UnitOffset, uint64_t EntryOffset);
  /// Null for a name that is not there.
  ORVY_API const Entry *find(std::string_view Name);
  ORVY_API const std::vector<Entry> &entries();
  bool empty() const { return Entries.empty(); }

private:
  std::vector<Entry> Entries;
  bool Sorted = true;
};

/// The addresses of units by start, then by length.
class RangeTable {
public:
  struct Entry {
    uint64_t Start, Length;
    uint64_t UnitOffset;
  };
  /// Adds a range; one of the same start and length is replaced.
  ORVY_API void add(uint64_t Start, uint64_t Length, uint64_t UnitOffset);
  /// The range that covers an address: the one that starts last below it, else one that starts
  /// there; null if neither does.
  ORVY_API const Entry *find(uint64_t Addr);
  ORVY_API const std::vector<Entry> &entries();

private:
  std::vector<Entry> Entries;
  bool Sorted = true;
};

/// The debug information of an image. The setters take a section's bytes and leave the given vector
/// empty; texts and abbreviations come before the entries. A unit or set that cannot be read is
/// told in the log and left out; a section of which nothing that is needed can be read throws.
class DebugInfo {
public:
  ORVY_API DebugInfo();
  ORVY_API ~DebugInfo();
  DebugInfo(const DebugInfo &) = delete;
  DebugInfo &operator=(const DebugInfo &) = delete;

  /// Reads the sections of an ELF file. Throws for what is not readable.
  /// @return null for a file without ".debug_abbrev"
  /// @param ForDebugger reads also units that end with their section, and writes nothing in the log
  ORVY_API static std::unique_ptr<DebugInfo> load(const char *Path, bool ForDebugger = false);

  ORVY_API void setStrings(Section &Bytes);
  ORVY_API void setAbbrevs(Section &Bytes);
  ORVY_API void setInfo(Section &Bytes);
  ORVY_API void setTypes(Section &Bytes);
  ORVY_API void setAranges(Section &Bytes);
  ORVY_API void setPubnames(Section &Bytes);
  ORVY_API void setPubtypes(Section &Bytes);
  ORVY_API void setRanges(Section &Bytes);
  ORVY_API void setLine(Section &Bytes);
  ORVY_API void setLoc(Section &Bytes);

  /// The unit that covers an address; null if none does.
  ORVY_API CompilationUnit *getCompUnitForAddress(uint64_t Addr);
  /// The unit at an offset of ".debug_info"; null if none starts there.
  ORVY_API CompilationUnit *getCompUnitAt(uint64_t Offset);
  /// The unit that an offset of ".debug_info" lies in or after; null before the first.
  ORVY_API CompilationUnit *getCompUnitAround(uint64_t Offset);
  /// All units whose names end in a text, by their names read backwards.
  ORVY_API std::vector<CompilationUnit *> getCompUnitForName(const char *Name);
  /// The first function of its unit that covers an address; null, with a text on the error stream,
  /// if none does.
  ORVY_API DebugInfoEntry *getFunctionDIEForAddress(uint64_t Addr);
  /// The same without any text.
  ORVY_API FunctionIndex::Hit findFunction(uint64_t Addr);
  ORVY_API DebugInfoEntry *getFunctionDIEForName(const char *Name);
  /// Name of that function; null if there is none.
  ORVY_API const char *getFunctionNameForAddress(uint64_t Addr);
  /// Name of the unit that covers an address; null if none does.
  ORVY_API const char *getFileNameForAddress(uint64_t Addr);
  /// The line program at an offset, read on first use; null if it cannot be read.
  ORVY_API LineNumberProgram *getLineNumberProgram(CompilationUnit *Unit, uint64_t Offset);
  /// The expression of the list at an offset that covers an address; empty if there is none.
  ORVY_API std::vector<uint8_t> getLocationListProg(uint64_t Base, uint64_t Offset,
                                                    uint64_t Pc) const;
  /// A source path with its leading directories remapped.
  ORVY_API std::string remapPath(const char *Path) const;
  /// The text at an offset of ".debug_str"; null out of bounds.
  const char *getString(uint64_t Offset) const;
  /// The unit that describes the type of a signature; null if there is none.
  Unit *getTypeUnit(uint64_t Signature);

  ORVY_API void print() const;
  ORVY_API void printInfo();
  ORVY_API void printAbbrevs() const;
  ORVY_API void printPubnames();
  ORVY_API void printPubtypes();
  ORVY_API void printAddressRanges();

  AbbrevMap Abbrevs;
  Section AbbrevSec, ArangesSec, InfoSec, LineSec, PubnamesSec, PubtypesSec, TypesSec, StrSec,
      RangesSec, LocSec;
  Section AddrSec, StrOffsetsSec, LineStrSec, RngListsSec, LocListsSec; ///< of version 5
  bool UnitsMayReachEnd = false;       ///< the last value of a unit may end where the section ends
  std::vector<std::string> SourceDirs; ///< each ends in "/"
  std::vector<std::pair<std::string, std::string>> PathRemaps;

  const std::vector<std::unique_ptr<CompilationUnit>> &getCompUnits() const { return CompUnits; }
  const std::vector<std::unique_ptr<TypeUnit>> &getTypeUnits() const { return TypeUnits; }

private:
  void nameUnits();
  void fixAranges();
  void fillPubNames();
  void addDIEToPubNames(DebugInfoEntry &Entry);
  void tellOfLines(CompilationUnit *Unit, uint64_t Offset, const LineNumberProgram *Program);

  std::string Image;                                       ///< path of the file, for messages
  std::vector<std::unique_ptr<CompilationUnit>> CompUnits; ///< by offset
  std::map<std::string, CompilationUnit *, std::less<>> CompUnitsByName; ///< names read backwards
  std::vector<std::unique_ptr<TypeUnit>> TypeUnits;
  std::optional<std::map<uint64_t, Unit *>> UnitsOfTypes; ///< by signature, once asked for
  std::map<uint64_t, std::unique_ptr<LineNumberProgram>> LinePrograms;
  RangeTable AddressRanges;
  NameTable PubNames, PubTypes;
  uint64_t StrEnd = 0; ///< one past the last NUL of the texts
  bool ArangesFixed = false;
  bool ToldOfSequences = false;
  bool PubNamesFilled = false;
};

/// Writes structure types in the manner of a language.
class ORVY_API LanguagePrinter {
public:
  /// Writes a DW_TAG_structure_type to the output stream; nothing for any other entry.
  virtual void printType(DebugInfoEntry *Entry);
  virtual ~LanguagePrinter() = default;
};

/// Writes structure types as C does.
class ORVY_API CLangPrinter : public LanguagePrinter {
public:
  void printType(DebugInfoEntry *Entry) override;
};

} // namespace orvy::dwarf

#endif

#endif
