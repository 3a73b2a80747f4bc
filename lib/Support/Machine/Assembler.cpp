// Assembling and disassembling through the interface of a processor.

#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/Processor.h"

#include <cstdlib>
#include <optional>
#include <string>

namespace {

/// Swap argument for 32-bit words in host order.
constexpr uint32_t WordSwap = 2;
constexpr uint32_t WordSize = 4;

const CpuIface *findCpu(void *Obj) {
  auto *Iface = static_cast<const CpuIface *>(orvy_getInterface(Obj, "CpuIface", 0));
  if (!Iface)
    orvy_logError(Obj, "object lacks CpuIface");
  return Iface;
}

const MemoryIface *findMemory(void *Obj) {
  auto *Iface = static_cast<const MemoryIface *>(orvy_getInterface(Obj, "MemoryIface", 0));
  if (!Iface)
    orvy_logError(Obj, "object lacks MemoryIface");
  return Iface;
}

/// The word at an address of the processor's memory; what cannot be read counts as zero.
std::optional<uint32_t> readInstr(void *Cpu, uint64_t Addr) {
  const MemoryIface *Memory = findMemory(Cpu);
  if (!Memory)
    return std::nullopt;
  uint32_t Instr = 0;
  ORVY_CALL(MemoryIface, readBytes, Cpu, *Memory, &Instr, Addr, WordSize, WordSwap);
  return Instr;
}

} // namespace

uint32_t orvy_assemble(void *Cpu, const char *Text) {
  const CpuIface *Iface = findCpu(Cpu);
  return Iface ? ORVY_CALL(CpuIface, assemble, Cpu, *Iface, Text) : 0;
}

char *orvy_disassemble(void *Cpu, uint32_t Instr) {
  const CpuIface *Iface = findCpu(Cpu);
  return Iface ? ORVY_CALL(CpuIface, disassemble, Cpu, *Iface, Instr) : nullptr;
}

const char *orvy_disassembleAuto(void *Cpu, uint32_t Instr) {
  static thread_local std::string Last;
  char *Text = orvy_disassemble(Cpu, Instr);
  if (!Text)
    return nullptr;
  Last = Text;
  std::free(Text);
  return Last.c_str();
}

void orvy_assembleToMemory(void *Cpu, const char *Text, uint64_t Addr) {
  const CpuIface *Iface = findCpu(Cpu);
  const MemoryIface *Memory = Iface ? findMemory(Cpu) : nullptr;
  if (!Memory)
    return;
  uint32_t Instr = ORVY_CALL(CpuIface, assemble, Cpu, *Iface, Text);
  ORVY_CALL(MemoryIface, writeBytes, Cpu, *Memory, Addr, WordSize, &Instr, WordSwap);
}

char *orvy_disassembleMemory(void *Cpu, uint64_t Addr) {
  std::optional<uint32_t> Instr = readInstr(Cpu, Addr);
  return Instr ? orvy_disassemble(Cpu, *Instr) : nullptr;
}

const char *orvy_disassembleMemoryAuto(void *Cpu, uint64_t Addr) {
  std::optional<uint32_t> Instr = readInstr(Cpu, Addr);
  return Instr ? orvy_disassembleAuto(Cpu, *Instr) : nullptr;
}
