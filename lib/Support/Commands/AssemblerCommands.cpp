// The commands that assemble and disassemble. Each continues where its last call ended.

#include "Base/HexText.h"
#include "Base/ListingGuard.h"
#include "CommandLine/Handlers.h"
#include "Objsys/ObjectKinds.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/Debugging.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Processor.h"
#include "orvy/Support/Targets.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

using namespace orvy;
using namespace orvy::cl;

namespace {

constexpr uint64_t InstrBytes = 4;
constexpr uint32_t WordSwap = 2;
constexpr uint32_t TranslationFailed = 1;
constexpr size_t MaxBuffer = 1 << 20; // text is printed in parts of about this length

/// The processor whose memory is shown, and the addresses that are marked.
struct Processor {
  void *Obj;
  const CpuIface *Iface;
  uint64_t Pc;
  std::optional<uint64_t> NextPc;
  std::optional<uint64_t> Tbr;
};

/// Iface is null if the object is not a processor.
Processor lookAt(void *Obj) {
  Processor Cpu{};
  Cpu.Obj = Obj;
  Cpu.Iface = static_cast<const CpuIface *>(orvy_getInterface(Obj, "CpuIface", 0));
  if (!Cpu.Iface)
    return Cpu;
  Cpu.Pc = ORVY_CALL(CpuIface, getPc, Obj, *Cpu.Iface);
  if (auto *Sparc = static_cast<const SparcIface *>(orvy_getInterface(Obj, "SparcIface", 0))) {
    Cpu.NextPc = askSlot(Obj, *Sparc, &SparcIface::getNPc);
    Cpu.Tbr = askSlot(Obj, *Sparc, &SparcIface::getTbr);
  }
  return Cpu;
}

const char *markerOf(const Processor &Cpu, uint64_t Va) {
  if (Va == Cpu.Pc)
    return "( pc) ";
  if (Va == Cpu.NextPc)
    return "(npc) ";
  return Va == Cpu.Tbr ? "(tbr) " : "      ";
}

/// Logs an error and returns nothing if the address has no translation.
std::optional<uint64_t> translate(const Processor &Cpu, uint64_t Va) {
  uint32_t Flags = 0;
  const uint64_t Pa = ORVY_CALL(CpuIface, translateAddress, Cpu.Obj, *Cpu.Iface, Va, &Flags);
  if (Cpu.Iface->translateAddress && Flags != TranslationFailed)
    return Pa;
  orvy_logError(Cpu.Obj, "invalid va = 0x%.8lx to pa translation", Va);
  return std::nullopt;
}

/// The word at an address and its disassembly.
std::string instructionAt(const Processor &Cpu, uint64_t Pa) {
  const std::unique_ptr<char, decltype(&std::free)> Text(orvy_disassembleMemory(Cpu.Obj, Pa),
                                                         std::free);
  uint32_t Word = 0;
  orvy_memoryRead(Cpu.Obj, &Word, Pa, sizeof(Word), WordSwap);
  return Text ? hexText(Word, 8) + " " + Text.get() + "\n" : "<unknown instruction>\n";
}

class DisassembleCommand final : public virtual Command {
public:
  DisassembleCommand();
  int run(Interpreter *Interp) override;

private:
  void takeAddress();
  bool addLine(const Processor &Cpu, std::string &Lines) const;

  uint64_t Address = 0;
  bool IsVirtual = false;
};

class AssembleCommand final : public virtual Command {
public:
  AssembleCommand();
  int run(Interpreter *Interp) override;

private:
  uint64_t Address = 0;
};

} // namespace

static long countOf(Command &Cmd) {
  const Option &Count = Cmd.getOption("count");
  return Count.Valid ? Count.getValue<long>() : 1;
}

DisassembleCommand::DisassembleCommand()
    : Command("memory-disassemble",
              {
                  {"cpu", OK_Object, true, ""},
                  {"func", OK_String, false, "Function to disassemble"},
                  atAddress("va"),
                  atPhysicalAddress("pa"),
                  atPhysicalAddress("addr"),
                  {"count", OK_Int, false, "number of instructions"},
              },
              Handler(), "disassemble memory range", {"dis", "disassemble"}) {}

// If several options are given, the last of these wins.
void DisassembleCommand::takeAddress() {
  if (getOption("addr").Valid)
    Address = getOption("addr").getValue<unsigned long>();
  if (getOption("va").Valid) {
    Address = getOption("va").getValue<unsigned long>();
    IsVirtual = true;
  }
  if (getOption("pa").Valid) {
    Address = getOption("pa").getValue<unsigned long>();
    IsVirtual = false;
  }
}

int DisassembleCommand::run(Interpreter *) {
  takeAddress();
  long Count = countOf(*this);
  const Processor Cpu = lookAt(getOption("cpu").getValue<void *>());
  if (!Cpu.Iface) {
    errs() << "'" << getOption("cpu").Value << "' is not a valid cpu\n";
    return 1;
  }
  if (const Option &Func = getOption("func"); Func.Valid) {
    const debugging::Ctxt *Current = debugging::Manager::getDebuggingManager().getCurrent();
    const auto Range = Current ? Current->findFuncRange(Func.Value.c_str()) : std::nullopt;
    if (!Range) {
      orvy_logError(Cpu.Obj, "no such function '%s'", Func.Value.c_str());
      return 1;
    }
    Address = Range->first;
    Count = static_cast<long>(Range->second / InstrBytes);
  }
  std::string Lines;
  for (long Index = 0; Index < Count && !ListingGuard::isInterrupted() && addLine(Cpu, Lines);
       ++Index) {
    Address += InstrBytes;
    if (Lines.size() > MaxBuffer) {
      outs() << Lines;
      Lines.clear();
    }
  }
  outs() << Lines;
  return 0;
}

// Returns false if the address cannot be translated.
bool DisassembleCommand::addLine(const Processor &Cpu, std::string &Lines) const {
  uint64_t Pa = Address;
  if (IsVirtual) {
    const std::optional<uint64_t> Translated = translate(Cpu, Address);
    if (!Translated)
      return false;
    Pa = *Translated;
    Lines += markerOf(Cpu, Address);
  }
  Lines += hexText(Address, 8) + " " + hexText(Pa, 9) + " " + instructionAt(Cpu, Pa);
  return true;
}

AssembleCommand::AssembleCommand()
    : Command("memory-assemble",
              {{"cpu", OK_Object, true},
               {"instr", OK_String, true},
               atPhysicalAddress("addr"),
               {"count", OK_Int, false}},
              Handler(), "assemble instruction", {"as", "assemble"}) {}

int AssembleCommand::run(Interpreter *) {
  if (getOption("addr").Valid)
    Address = getOption("addr").getValue<unsigned long>();
  void *Cpu = getOption("cpu").getValue<void *>();
  const char *Instr = getOption("instr").getValue<const char *>();
  for (long Count = countOf(*this); Count > 0; --Count, Address += InstrBytes)
    orvy_assembleToMemory(Cpu, Instr, Address);
  return 0;
}

static DisassembleCommand MemoryDisassemble;
static AssembleCommand MemoryAssemble;
