/* Symtab.h - the symbols of a target image: which one covers an address, which range a name has.
 *
 * A table is made by orvy_loadSymtab and only read from then on. Look-ups may come from any thread;
 * loading and disposal must not overlap with them. Texts that look-ups give belong to the table.
 * The look-ups take neither a null table nor a null name. */

#ifndef ORVY_SUPPORT_SYMTAB_H
#define ORVY_SUPPORT_SYMTAB_H

#include "orvy/Support/Export.h"

#include <stdint.h>

ORVY_BEGIN_C

/** Opaque: the symbol table of an image. */
typedef struct orvy_SymtabHandle *orvy_Symtab;

/**
 * Reads the symbols of an ELF file from its ".symtab" and ".strtab" (System V ABI, chapter 4).
 * @param Table takes a new table, which orvy_disposeSymtab releases; untouched on failure
 * @return 0; -1, with an error in the log, for a file that is not a readable 32-bit big-endian ELF
 * file; -1, silently, for one without symbols
 */
ORVY_API int orvy_loadSymtab(const char *Path, orvy_Symtab *Table);

/** Releases a table and all its texts. Accepts null. */
ORVY_API void orvy_disposeSymtab(orvy_Symtab Table);

/**
 * The function that covers an address: the local one, else the global, else the weak one.
 * @param File takes the source file of a local function, null otherwise
 * @param Name takes the name, null if no function covers the address
 */
ORVY_API void orvy_symtabGetFuncName(orvy_Symtab Table, const char **File, const char **Name,
                                     uint64_t Addr);

/**
 * The data object that covers an address: the local one, else the global, else the weak one.
 * @param File takes the source file of a local object, null otherwise
 * @param Name takes the name, null if no data object covers the address
 */
ORVY_API void orvy_symtabGetObjName(orvy_Symtab Table, const char **File, const char **Name,
                                    uint64_t Addr);

/**
 * The range of the global function of a name, else of the weak one.
 * @param Addr takes its address
 * @param Size takes its size in bytes
 * @return 0; -1, with both untouched, for a name that is not there or has no size
 */
ORVY_API int orvy_symtabGetGlobalFuncRange(orvy_Symtab Table, const char *Name, uint64_t *Addr,
                                           uint64_t *Size);

/** The range of a local function of a source file, named as the table has it; results as of
 * orvy_symtabGetGlobalFuncRange. */
ORVY_API int orvy_symtabGetLocalFuncRange(orvy_Symtab Table, const char *File, const char *Name,
                                          uint64_t *Addr, uint64_t *Size);

/** The range of the global data object of a name, else of the weak one; results as of
 * orvy_symtabGetGlobalFuncRange. */
ORVY_API int orvy_symtabGetGlobalObjRange(orvy_Symtab Table, const char *Name, uint64_t *Addr,
                                          uint64_t *Size);

/** The range of a local data object of a source file, named as the table has it; results as of
 * orvy_symtabGetGlobalFuncRange. */
ORVY_API int orvy_symtabGetLocalObjRange(orvy_Symtab Table, const char *File, const char *Name,
                                         uint64_t *Addr, uint64_t *Size);

ORVY_END_C

#ifdef __cplusplus

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvy {

/// The symbols of an image in six classes: functions and data, each global, weak and local. A local
/// symbol goes by its source file and its name. Within a class the last symbol of a name counts,
/// and of several at one address the last one; an address belongs to the nearest start below it or
/// to none.
class Symtab {
public:
  using FileAndName = std::pair<const char *, const char *>;
  using Range = std::pair<uint64_t, uint64_t>; ///< address, bytes

  Symtab() = default;
  Symtab(const Symtab &) = delete;
  Symtab &operator=(const Symtab &) = delete;

  ORVY_API void addGlobalFunc(std::string_view Name, uint64_t Addr, uint64_t Size);
  ORVY_API void addWeakFunc(std::string_view Name, uint64_t Addr, uint64_t Size);
  ORVY_API void addLocalFunc(std::string_view File, std::string_view Name, uint64_t Addr,
                             uint64_t Size);
  ORVY_API void addGlobalData(std::string_view Name, uint64_t Addr, uint64_t Size);
  ORVY_API void addWeakData(std::string_view Name, uint64_t Addr, uint64_t Size);
  ORVY_API void addLocalData(std::string_view File, std::string_view Name, uint64_t Addr,
                             uint64_t Size);

  /// Makes look-ups by address fast, until the next symbol is added.
  ORVY_API void index();

  /// Name of the symbol of a class that covers an address; null if there is none.
  ORVY_API const char *globalFunctionNameForAddress(uint64_t Addr) const;
  ORVY_API const char *weakFunctionNameForAddress(uint64_t Addr) const;
  ORVY_API const char *globalDataNameForAddress(uint64_t Addr) const;
  ORVY_API const char *weakDataNameForAddress(uint64_t Addr) const;
  ORVY_API FileAndName localFunctionNameForAddress(uint64_t Addr) const;
  ORVY_API FileAndName localDataNameForAddress(uint64_t Addr) const;

  /// Source file and name of the local symbol that covers an address, else null and the name of the
  /// global one, else of the weak one; both null if there is none.
  ORVY_API FileAndName getFunction(uint64_t Addr) const;
  ORVY_API FileAndName getData(uint64_t Addr) const;

  /// Range of the global symbol of a name, else of the weak one; zeros if there is none.
  ORVY_API Range getFunctionRange(std::string_view Name) const;
  ORVY_API Range getObjectRange(std::string_view Name) const;
  ORVY_API Range getLocalFunctionRange(std::string_view File, std::string_view Name) const;
  ORVY_API Range getLocalObjectRange(std::string_view File, std::string_view Name) const;

  /// Calls a function with file, name and range of each symbol of a class, by file and name.
  using Visit = std::function<void(const std::string &File, const std::string &Name, Range)>;
  void visitGlobalFuncs(const Visit &V) const { Functions.Global.visit(V); }
  void visitLocalFuncs(const Visit &V) const { Functions.Local.visit(V); }
  void visitGlobalData(const Visit &V) const { Data.Global.visit(V); }
  void visitLocalData(const Visit &V) const { Data.Local.visit(V); }

private:
  /// The symbols of a class, by name and by address.
  class Class {
  public:
    using Key = std::pair<std::string, std::string>; ///< file, empty but for local symbols; name
    using Entry = std::pair<const Key, Range>;

    void add(std::string_view File, std::string_view Name, Range R);
    void index();
    ORVY_API void visit(const Visit &V) const;
    /// The symbol that covers an address; null if there is none.
    const Entry *find(uint64_t Addr) const;
    /// The range of a name; null if it is not there.
    const Range *range(std::string_view File, std::string_view Name) const;

  private:
    /// Compares keys with pairs of views, so that a look-up makes no text.
    struct Less {
      using is_transparent = void;
      using Views = std::pair<std::string_view, std::string_view>;
      bool operator()(const Views &A, const Views &B) const { return A < B; }
    };

    const Entry *nearest(uint64_t Addr) const;

    std::map<Key, Range, Less> Ranges;
    std::map<uint64_t, const Entry *> Addrs;
    // The same as Addrs, as long as nothing was added since.
    std::vector<uint64_t> Starts;
    std::vector<const Entry *> Entries;
  };

  /// The classes of functions, or of data.
  struct Kind {
    Class Global, Weak, Local;
    FileAndName find(uint64_t Addr) const;
    Range range(std::string_view Name) const;
  };

  static const char *nameIn(const Class &Symbols, uint64_t Addr);
  static FileAndName localIn(const Class &Symbols, uint64_t Addr);

  Kind Functions, Data;
};

} // namespace orvy

#endif

#endif
