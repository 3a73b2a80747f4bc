/* Debugging.h - debugging contexts: what is known of the symbols of a loaded image, and its break
 * points.
 *
 * A context binds an image to the memory space it runs in. Contexts are known by the path of their
 * file; one of them is the current one. Everything belongs to the simulation thread. */

#ifndef ORVY_SUPPORT_DEBUGGING_H
#define ORVY_SUPPORT_DEBUGGING_H

#include "orvy/Support/Memory.h"
#include "orvy/Support/Processor.h"

ORVY_BEGIN_C

/** What a text says of the place of a break point. */
typedef ORVY_ENUM(orvy_BreakLocKind){
    ovBL_Invalid = 0,       /**< nothing that is understood */
    ovBL_Line = 1,          /**< a line of the file of the current unit: "12" */
    ovBL_Relative = 2,      /**< lines from the current one: "+3", "-2" */
    ovBL_FileLine = 3,      /**< a line of a file: "main.c:12" */
    ovBL_Function = 4,      /**< a function: "main" */
    ovBL_FunctionLabel = 5, /**< a label of a function; not written as text yet */
    ovBL_Label = 6          /**< a label; not written as text yet */
} orvy_BreakLocKind;

/** The place of a break point; texts point into what was parsed. */
typedef struct orvy_BreakLoc {
  uint32_t Kind; /**< orvy_BreakLocKind */
  union {
    int64_t Value;     /**< the number of ovBL_Line and ovBL_Relative */
    const char *Start; /**< first character of the file or the function */
  };
  const char *End; /**< last character of the file */
  int64_t Line;    /**< line of ovBL_FileLine */
} orvy_BreakLoc;

ORVY_STATIC_ASSERT(sizeof(orvy_BreakLoc) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_BreakLoc, Start) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_BreakLoc, End) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_BreakLoc, Line) == 24, "boundary record");

/** Splits a text for the place of a break point into its parts, which point into the text. Numbers
 * may be written as in C. A text that is not understood, and null, give ovBL_Invalid. */
ORVY_API void orvy_debugParseBreakStr(orvy_BreakLoc *Loc, const char *Text);

/** Kinds of access that break points wait for. */
typedef ORVY_ENUM(orvy_BreakKind){ovBK_Fetch = 0, ovBK_Read = 1, ovBK_Write = 2,
                                  ovBK_Exchange = 3} orvy_BreakKind;

/** What an access that meets a break point is to do. */
typedef ORVY_ENUM(orvy_BreakAction){
    ovBA_None = 0,   /**< there is no break point */
    ovBA_Resume = 1, /**< the access goes on */
    ovBA_Stop = 2    /**< the processor stops before the access */
} orvy_BreakAction;

/**
 * Asks the debugging contexts of a memory space about an access to an address whose hook is set,
 * and shows the messages of the break points that it meets. For memory spaces.
 * @param Kind an orvy_BreakKind; an exchange meets the break points of reads and writes too
 * @param Mt the access, with its physical address in Pa and the processor in Initiator
 * @return an orvy_BreakAction; stop if any context wants it
 */
ORVY_API int orvy_debugHandleAccess(void *Space, uint32_t Kind, const orvy_MemTransaction *Mt);

/**
 * Removes a break point of a debugging context; the memory space forgets the address unless another
 * one waits there. Accepts an address that has none. Not from inside an access.
 * @param Context path of the image; null for the current context
 * @param Kind an orvy_BreakKind
 * @param Addr its physical address
 * @return 0; 1 if there is no such context or break point
 */
ORVY_API int orvy_debugRemoveBreak(const char *Context, uint32_t Kind, uint64_t Addr);

/** Table of a processor that can end its turn from outside, published by the name "StopIface". */
typedef struct StopIface {
  /** Ends the turn after the instruction in progress, or before the next one, with the reason. */
  void (*stop)(void *Cpu, orvy_CpuExitReason Reason);
} StopIface;

ORVY_STATIC_ASSERT(sizeof(StopIface) == sizeof(void *), "boundary table");

ORVY_END_C

#ifdef __cplusplus

#include "orvy/Support/Dwarf.h"
#include "orvy/Support/Symtab.h"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace orvy::debugging {

class BreakManager;
class Ctxt;
struct HookedRange;

/// A break point: what happens when its address is met. The target's memory is not changed; the
/// memory space marks the address.
class BreakPoint {
public:
  enum Kind : uint32_t { Fetch = 0, Read = 1, Write = 2, Exchange = 3 };

  BreakPoint(BreakManager *Manager, uint64_t Id, uint64_t Addr)
      : Manager(Manager), Id(Id), Addr(Addr) {}

  /// Shows the message of a hit, unless the break point is mute, and returns the action.
  ORVY_API int handleHit(void *Cpu) const;

  BreakManager *Manager;
  uint32_t Action = ovBA_Stop;
  bool Message = true;
  uint64_t Id;
  uint64_t VA = 0; ///< shown where no processor is known
  uint64_t Addr;   ///< physical
};

/// The break points of a context: at most one of a kind at an address. Those for fetches are
/// numbered from 1, and so are those for data.
class BreakManager {
public:
  explicit BreakManager(Ctxt *Owner) : Owner(Owner) {}
  BreakManager(const BreakManager &) = delete;
  BreakManager &operator=(const BreakManager &) = delete;

  /// The break point of a kind at an address, made if it is not there: then the memory space is
  /// told to mark the address. Null for a kind that does not exist.
  ORVY_API BreakPoint *createHandler(BreakPoint::Kind Kind, uint64_t Addr);

  /// The break point of a kind at exactly an address; null if there is none.
  BreakPoint *getFetchHandlerForAddress(uint64_t Addr) {
    return handlerAt(BreakPoint::Fetch, Addr);
  }
  BreakPoint *getReadHandlerForAddress(uint64_t Addr) { return handlerAt(BreakPoint::Read, Addr); }
  BreakPoint *getWriteHandlerForAddress(uint64_t Addr) {
    return handlerAt(BreakPoint::Write, Addr);
  }
  BreakPoint *getExchangeHandlerForAddress(uint64_t Addr) {
    return handlerAt(BreakPoint::Exchange, Addr);
  }
  /// The break point for fetches of a number; null if there is none.
  ORVY_API BreakPoint *getBreakForID(uint64_t Id);

  /// What a processor is to do with an access: an orvy_BreakAction.
  int handleFetch(void *Cpu, const orvy_MemTransaction *Mt) {
    return hit(BreakPoint::Fetch, Cpu, Mt);
  }
  int handleRead(void *Cpu, const orvy_MemTransaction *Mt) {
    return hit(BreakPoint::Read, Cpu, Mt);
  }
  int handleWrite(void *Cpu, const orvy_MemTransaction *Mt) {
    return hit(BreakPoint::Write, Cpu, Mt);
  }
  int handleExchange(void *Cpu, const orvy_MemTransaction *Mt) {
    return hit(BreakPoint::Exchange, Cpu, Mt);
  }
  /// Removes the break point of a kind at an address. Returns whether there was one. Its number is
  /// given again only if it was the largest.
  ORVY_API bool removeHandler(BreakPoint::Kind Kind, uint64_t Addr);
  /// The break points of a kind, by address.
  const std::map<uint64_t, std::unique_ptr<BreakPoint>> &handlers(BreakPoint::Kind Kind) const {
    return OfKind[Kind];
  }

  /// The same for a kind.
  ORVY_API int hit(BreakPoint::Kind Kind, void *Cpu, const orvy_MemTransaction *Mt);

  Ctxt *const Owner;

private:
  using Handlers = std::map<uint64_t, std::unique_ptr<BreakPoint>>;

  ORVY_API BreakPoint *handlerAt(BreakPoint::Kind Kind, uint64_t Addr);
  HookedRange hooks(BreakPoint::Kind Kind, uint64_t Addr) const;

  std::array<Handlers, 4> OfKind; ///< by address
  std::map<uint64_t, uint64_t> FetchIds;
  std::map<uint64_t, uint64_t> DataIds;
};

/// A symbol as a context sees it.
class ORVY_API Object {
public:
  Object(const char *Name, const char *File, uint64_t Start, uint64_t Size)
      : Name(Name), File(File), Start(Start), Size(Size) {}
  virtual ~Object();

  const char *getName() const { return Name; }
  const char *getFile() const { return File; } ///< null for a global symbol
  std::pair<uint64_t, uint64_t> getRange() const { return {Start, Size}; }

private:
  const char *Name;
  const char *File;
  uint64_t Start, Size;
};

/// A function as a context sees it.
class ORVY_API Function : public Object {
public:
  using Object::Object;
  ~Function() override;

  /// Not known: an empty text.
  std::string getSource() const;
};

/// An image in a memory space: its symbols, from a symbol table or from DWARF, and its break
/// points.
class Ctxt {
public:
  enum class Kind : uint32_t { Symtab = 0, Dwarf = 1 };

  /// Reads the symbols of an ELF file. Throws std::invalid_argument for a file without symbols of
  /// that kind, and std::runtime_error for one that cannot be read.
  ORVY_API Ctxt(void *Memory, const char *Path, Kind From);
  ORVY_API ~Ctxt();
  Ctxt(const Ctxt &) = delete;
  Ctxt &operator=(const Ctxt &) = delete;

  /// Reads the symbol table of an ELF file as well, if there is one.
  ORVY_API void addSymtab(const char *Path);

  /// The function or the data object of a name, "file::name" for a local one, or at an address;
  /// none in a context of DWARF.
  ORVY_API std::optional<Function> getFunc(const char *Name) const;
  ORVY_API std::optional<Function> getFunc(uint64_t Addr) const;
  ORVY_API std::optional<Object> getObj(const char *Name) const;
  /// Start and size of a function; zeros if there is none.
  ORVY_API std::pair<uint64_t, uint64_t> getFuncRange(const char *Name) const;
  /// The same from DWARF or the symbol table, whichever knows the function: compilers describe an
  /// optimised one in ways that hide its address, and one in assembly not at all.
  ORVY_API std::optional<std::pair<uint64_t, uint64_t>> findFuncRange(const char *Name) const;
  /// Tells on the error stream where a break point for a function would be.
  ORVY_API void setBreak(const char *Name) const;
  /// Not known: an empty text.
  ORVY_API std::string disassemble(uint64_t Addr, int Count) const;

  /// The memory space: the object that has the name of the one given, so that it is found again
  /// when a checkpoint has made it anew. Null if there is none.
  ORVY_API void *getMemory() const;
  const std::string &getMemoryName() const { return MemoryName; }
  Kind getKind() const { return From; }
  orvy_Symtab getSymtab() const { return Symbols; }
  orvy_Dwarf getDwarf() const { return Debug; }
  const std::set<std::pair<uint64_t, uint64_t>> &getRanges() const { return Ranges; }
  /// A number that no other context of the process has, not even a later one of the same file.
  uint64_t getSerial() const { return Serial; }

  BreakManager Breaks{this};

private:
  std::set<std::pair<uint64_t, uint64_t>> Ranges;
  std::string MemoryName;
  Kind From;
  orvy_Symtab Symbols = nullptr;
  orvy_Dwarf Debug = nullptr;
  uint64_t Serial;
};

/// All contexts.
class Manager {
public:
  ORVY_API Manager();
  Manager(const Manager &) = delete;
  Manager &operator=(const Manager &) = delete;

  /// The one manager of the process, built on first use.
  ORVY_API static Manager &getDebuggingManager();

  /// Keeps a context under the path of its file, in place of an earlier one, and makes it current.
  ORVY_API Ctxt &add(const std::string &Path, std::unique_ptr<Ctxt> Context);
  /// The context of a path; null if there is none.
  ORVY_API Ctxt *find(std::string_view Path) const;
  /// Disposes of a context, if it is there.
  ORVY_API void dispose(std::string_view Path);
  /// Makes the context of a path current. Returns whether it is there.
  ORVY_API bool setCurrent(std::string_view Path);
  Ctxt *getCurrent() const { return Current; }
  const std::map<std::string, std::unique_ptr<Ctxt>, std::less<>> &getAll() const {
    return Contexts;
  }

  /// Whether break points for reads and writes resume by themselves.
  ORVY_API static bool ResumeWatchpoints;

private:
  static std::unique_ptr<Manager> s_DBM;

  std::map<std::string, std::unique_ptr<Ctxt>, std::less<>> Contexts;
  Ctxt *Current = nullptr;
};

} // namespace orvy::debugging

#endif

#endif
