// The commands on target memory: reading, writing, loading, translating, and fault attributes.

#include "Base/HexText.h"
#include "Base/ListingGuard.h"
#include "CommandLine/Handlers.h"
#include "Debugging/LoadContext.h"
#include "Objsys/ObjectKinds.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Loader.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Processor.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

using namespace orvy;
using namespace orvy::cl;

namespace {

constexpr unsigned long BytesPerLine = 16;
constexpr unsigned long BytesPerGroup = 4;
constexpr unsigned long MaxRead = INT32_MAX; // the result of a longer one would be negative
constexpr unsigned long MaxElement = 3;      // base-2 logarithm of the size

unsigned long valueOr(Command &Cmd, const char *Name, unsigned long Default) {
  const Option &Opt = Cmd.getOption(Name);
  return Opt.Valid ? Opt.getValue<unsigned long>() : Default;
}

int complain(const char *Message) {
  errs() << Message << "\n";
  return 1;
}

int complainOf(const Option &Opt, const char *What) {
  errs() << "'" << Opt.Value << "' is not a valid " << What << "\n";
  return 1;
}

} // namespace

// Reading and writing.

static void printLine(unsigned long Addr, const uint8_t *Bytes, unsigned long Count) {
  std::string Line = hexText(Addr, 9) + ": ";
  for (unsigned long Index = 0; Index < Count; ++Index) {
    if (Index % BytesPerGroup == 0)
      Line += ' ';
    Line += hexText(Bytes[Index], 2);
  }
  outs() << Line << "\n";
}

static int readMemory(Command &Cmd, Interpreter *) {
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  if (!Obj)
    return complainOf(Cmd.getOption("obj"), "object");
  const auto Addr = Cmd.getOption("addr").getValue<unsigned long>();
  const unsigned long Length = valueOr(Cmd, "length", 16);
  const unsigned long ElemSize = valueOr(Cmd, "elemsize", 0);
  if (Length > MaxRead || ElemSize > MaxElement)
    return complain("error reading memory");
  // Zeroed, because a read may be short.
  const std::unique_ptr<uint8_t, decltype(&std::free)> Bytes(
      static_cast<uint8_t *>(std::calloc(std::max(Length, 1ul), 1)), std::free);
  if (!Bytes ||
      static_cast<int32_t>(orvy_memoryRead(Obj, Bytes.get(), Addr, static_cast<uint32_t>(Length),
                                           static_cast<uint32_t>(ElemSize))) <= 0)
    return complain("error reading memory");
  for (unsigned long Offset = 0; Offset < Length && !ListingGuard::isInterrupted();
       Offset += BytesPerLine)
    printLine(Addr + Offset, Bytes.get() + Offset, std::min(BytesPerLine, Length - Offset));
  return 0;
}

static int writeMemory(Command &Cmd, Interpreter *) {
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  if (!Obj)
    return complainOf(Cmd.getOption("obj"), "object");
  const auto Addr = Cmd.getOption("addr").getValue<unsigned long>();
  const auto Data = Cmd.getOption("data").getValue<unsigned long>();
  const unsigned long Length = valueOr(Cmd, "length", 4);
  const unsigned long ElemSize = valueOr(Cmd, "elemsize", 0);
  if (Length > sizeof(Data))
    return complain("cannot write datablocks larger than 8 bytes");
  if (ElemSize > MaxElement || orvy_memoryWrite(Obj, Addr, &Data, static_cast<uint32_t>(Length),
                                                static_cast<uint32_t>(ElemSize)) != Length)
    return complain("could not write memory");
  return 0;
}

static Command MemoryRead("memory-read",
                          {{"obj", OK_Object, true},
                           atPhysicalAddress("addr", true, "physical address"),
                           inBytes("length", "length in bytes"),
                           {"elemsize", OK_Int, false,
                            "data element size (default = 0 = u8, 1 = u16, 2 = u32, 3 = u64)"}},
                          readMemory, "Show the contents of the memory", {"read", "x"});
static Command MemoryWrite("memory-write",
                           {{"obj", OK_Object, true},
                            atPhysicalAddress("addr", true),
                            inBytes("length"),
                            {"elemsize", OK_Int, false},
                            {"data", OK_Int, true}},
                           writeMemory, "write memory contents", {"write", "wr"});

// Loading.

static int loadMemory(Command &Cmd, Interpreter *) {
  void *Obj = Cmd.getOption("obj").getValue<void *>();
  const char *File = Cmd.getOption("file").getValue<const char *>();
  const Option &Addr = Cmd.getOption("addr");
  if (Addr.Valid) {
    if (!fs::isFile(File))
      errs() << "cannot read '" << File << "'\n";
    return orvy_loadBinaryImage(Obj, File, Addr.getValue<unsigned long>());
  }
  uint64_t Start = 0;
  if (orvy_loadImageAndStartAddr(Obj, File, &Start) != 0)
    return 1;
  using debugging::Symbols;
  if (orvy_imageIsELF(File)) // the command succeeds even if the symbols cannot be read
    debugging::loadContext(Obj, File, isOn(Cmd, "dwarf") ? Symbols::All : Symbols::Symtab);
  outs() << "start address = 0x" << hexText(Start, 8) << "\n";
  return 0;
}

static Command MemoryLoad(
    "memory-load",
    {{"obj", OK_Object, true},
     {"file", OK_Path, true},
     atPhysicalAddress("addr", false, "Address to load file to (if set, treating file as binary)"),
     {"dwarf", OK_Int, false, "enable experimental dwarf parsing"}},
    loadMemory,
    "Load file to memory. Set the address parameter to treat the file as binary,\n"
    "otherwise the type will be auto-detected.",
    {"load"});

// Translation.

static constexpr uint32_t TranslationFailed = 1;

static void printTableEntries(void *Cpu, const CpuIface &Iface, uint64_t Va) {
  constexpr uint32_t TableEntry = 2;
  constexpr uint32_t NextEntry = 16;
  outs() << "Translation done using the following page table entries:\n";
  for (uint32_t Request = TableEntry; Request < UINT32_MAX - NextEntry; Request += NextEntry) {
    uint32_t Flags = Request;
    const uint64_t Entry = Iface.translateAddress(Cpu, Va, &Flags);
    if (Flags == TranslationFailed)
      return;
    outs() << "Table entry: 0x" << hexText(Entry, 8) << "\n";
  }
}

static int translateAddress(Command &Cmd, Interpreter *) {
  void *Cpu = Cmd.getOption("cpu").getValue<void *>();
  const auto *Iface = static_cast<const CpuIface *>(orvy_getInterface(Cpu, "CpuIface", 0));
  if (!Iface)
    return complainOf(Cmd.getOption("cpu"), "cpu");
  const auto Va = Cmd.getOption("addr").getValue<unsigned long>();
  uint32_t Flags = 0;
  const uint64_t Pa = ORVY_CALL(CpuIface, translateAddress, Cpu, *Iface, Va, &Flags);
  if (!Iface->translateAddress || Flags == TranslationFailed) {
    orvy_logError(Cpu, "Invalid va = 0x%.8lx to pa translation", Va);
    return 1;
  }
  outs() << "va = 0x" << hexText(Va, 8) << " pa = 0x" << hexText(Pa, 9) << "\n";
  printTableEntries(Cpu, *Iface, Va);
  return 0;
}

static Command MemoryTranslate("memory-translate",
                               {{"cpu", OK_Object, true}, atAddress("addr", true)},
                               translateAddress, "Translate virtual to physical address", {"walk"});

// Attributes.

namespace {

using ChangeFunc = void (*)(void *Space, uint64_t Addr, uint64_t Len, uint32_t Attrs);

/// What an attribute command does, and its error for an object without attributes.
struct Change {
  ChangeFunc Func;
  uint32_t Attrs;
  const char *Refusal;
};

bool keepsAttributes(void *Obj) {
  const orvy_Class *Class = orvy_classForObject(Obj);
  return Class && std::strcmp(orvy_nameForClass(Class), "MemorySpace") == 0 &&
         orvy_getInterface(Obj, "MemorySpaceIface", 0);
}

int changeAttributes(Command &Cmd, const Change &Action) {
  void *Space = Cmd.getOption("obj").getValue<void *>();
  if (!keepsAttributes(Space)) {
    orvy_logError(Space, "%s", Action.Refusal);
    return 1;
  }
  Action.Func(Space, Cmd.getOption("addr").getValue<unsigned long>(), valueOr(Cmd, "len", 4),
              Action.Attrs);
  return 0;
}

/// Changes the user attribute that the option "num" selects.
int changeUserAttributes(Command &Cmd, Change Action) {
  void *Space = Cmd.getOption("obj").getValue<void *>();
  const auto Number = Cmd.getOption("num").getValue<unsigned long>();
  if (keepsAttributes(Space) && (Number < 1 || Number > 3)) {
    orvy_logError(Space, "invalid user attribute number, valid numbers are 1-3");
    return 1;
  }
  Action.Attrs = static_cast<uint32_t>(ovMA_User1) << ((Number - 1) % 3);
  return changeAttributes(Cmd, Action);
}

Option spaceOption() {
  return {"obj", OK_Object, true, "Memory space object"};
}

Option addressOption() {
  return atPhysicalAddress("addr", true, "Physical address");
}

Option lengthOption(const char *Help) {
  return inBytes("len", Help);
}

Option numberOption() {
  return {"num", OK_Int, true, "User attribute number (1-3)"};
}

} // namespace

static int setUpset(Command &Cmd, Interpreter *) {
  return changeAttributes(
      Cmd, {orvy_memorySetAttr, ovMA_Upset, "upset bits can only be set on memory spaces"});
}

static int clearUpset(Command &Cmd, Interpreter *) {
  return changeAttributes(
      Cmd, {orvy_memoryClearAttr, ovMA_Upset, "upset bits can only be cleared on memory spaces"});
}

static int setFaulty(Command &Cmd, Interpreter *) {
  return changeAttributes(
      Cmd, {orvy_memorySetAttr, ovMA_Faulty, "faulty bits can only be set on memory spaces"});
}

static int clearFaulty(Command &Cmd, Interpreter *) {
  return changeAttributes(
      Cmd, {orvy_memoryClearAttr, ovMA_Faulty, "faulty bits can only be cleared on memory spaces"});
}

static int setUser(Command &Cmd, Interpreter *) {
  return changeUserAttributes(
      Cmd, {orvy_memorySetAttr, 0, "user bits can only be set on memory spaces"});
}

static int clearUser(Command &Cmd, Interpreter *) {
  return changeUserAttributes(
      Cmd, {orvy_memoryClearAttr, 0, "user bits can only be cleared on memory spaces"});
}

static Command MemorySetUpset("memory-set-upset",
                              {spaceOption(), addressOption(),
                               lengthOption("Length of data block to set SEU attribute")},
                              setUpset, "Simulate single event upset", {"seu", "seu-set"});
static Command MemorySetFaulty("memory-set-faulty",
                               {spaceOption(), addressOption(),
                                lengthOption("Length of data block to set faulty attribute")},
                               setFaulty, "Simulate multiple event upset / uncorrectable",
                               {"meu", "meu-set", "set-faulty"});
static Command MemorySetUser("memory-set-user",
                             {spaceOption(), numberOption(), addressOption(),
                              lengthOption("Length of data block to set user attribute")},
                             setUser, "Set user definable attribute in memory space");
static Command MemoryClearUpset("memory-clear-upset",
                                {spaceOption(), addressOption(),
                                 lengthOption("Length of data block to clear SEU attribute")},
                                clearUpset, "Clear single event upset bit", {"seu-clear"});
static Command MemoryClearFaulty("memory-clear-faulty",
                                 {spaceOption(), addressOption(),
                                  lengthOption("Length of data block to clear faulty attribute")},
                                 clearFaulty, "Clear multiple event upset / uncorrectable bit",
                                 {"meu-clear", "clear-faulty"});
static Command MemoryClearUser("memory-clear-user",
                               {spaceOption(), numberOption(), addressOption(),
                                lengthOption("Length of data block to clear user attribute")},
                               clearUser, "Clear user definable attribute in memory space");
