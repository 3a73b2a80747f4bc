#include "orvy/Support/BareMetalContext.h"

#include "orvy/Support/Interfaces.h"

#include <bit>
#include <stdexcept>

using namespace orvy::dwarf;

namespace {

/// The first DWARF number of each group of SPARC registers.
enum : int { FirstGpr = 0, FirstFpr = 32, YRegister = 64 };

/// The number of Y among the ancillary state registers.
constexpr uint32_t YAsr = 0;

template <typename Iface> const Iface *findTable(void *Obj, const char *Name) {
  return Obj ? static_cast<const Iface *>(orvy_getInterface(Obj, Name, 0)) : nullptr;
}

Value undefined() {
  return {Value::Undefined, 0, nullptr};
}

/// Reads a number in target byte order. Swap is the base-2 logarithm of its size.
template <typename T>
Value readMemory(void *Obj, const MemoryIface *Iface, uint64_t Address, uint32_t Size) {
  T Word = 0;
  const auto Swap = static_cast<uint32_t>(std::countr_zero(Size));
  if (!Iface || !Iface->readBytes || Iface->readBytes(Obj, &Word, Address, Size, Swap) != Size)
    return undefined();
  return {Word, nullptr};
}

} // namespace

Target::Target(void *Obj)
    : Cpu{Obj, findTable<CpuIface>(Obj, "CpuIface")},
      Sparc{Obj, findTable<SparcIface>(Obj, "SparcIface")}, Memory{Obj, findTable<MemoryIface>(
                                                                            Obj, "MemoryIface")} {}

Value Target::getMemoryValue(uint64_t Address) const {
  return readMemory<uint32_t>(Memory.Obj, Memory.Iface, Address, sizeof(uint32_t));
}

Value Target::getMemoryValueSize(uint64_t Address, uint8_t Size) const {
  if (!std::has_single_bit(Size) || Size > sizeof(uint64_t))
    return undefined();
  return readMemory<uint64_t>(Memory.Obj, Memory.Iface, Address, Size);
}

Value Target::getRegisterValue(int Reg) const {
  if (Reg == YRegister && Sparc.Iface && Sparc.Iface->getAsr)
    return {static_cast<uint32_t>(Sparc.Iface->getAsr(Sparc.Obj, YAsr)), nullptr};
  if (Reg < FirstGpr || Reg >= YRegister || !Cpu.Iface)
    return undefined();
  if (Reg < FirstFpr ? !Cpu.Iface->getGpr : !Cpu.Iface->getFpr32)
    return undefined();
  if (Reg < FirstFpr)
    return {static_cast<uint32_t>(Cpu.Iface->getGpr(Cpu.Obj, static_cast<uint32_t>(Reg))), nullptr};
  return {Cpu.Iface->getFpr32(Cpu.Obj, static_cast<uint32_t>(Reg - FirstFpr)), nullptr};
}

namespace {

void requireMainSpace(uint64_t Space) {
  if (Space != 0)
    throw std::runtime_error("memory spaces not supported in bare metal context yet");
}

} // namespace

Value BareMetalContext::getMemorySpaceValue(uint64_t Address, uint64_t Space) {
  requireMainSpace(Space);
  return getMemoryValue(Address);
}

Value BareMetalContext::getMemorySpaceValueSize(uint64_t Address, uint64_t Space, uint8_t Size) {
  requireMainSpace(Space);
  return getMemoryValueSize(Address, Size);
}

Value BareMetalContext::getTLSAddress(uint64_t) {
  throw std::runtime_error("TLS addresses not yet supported in bare metal contexts");
}

Value Process::getMemoryValueSize(uint64_t, uint8_t) {
  throw std::runtime_error("memory value size not supported");
}

Value Process::getMemorySpaceValue(uint64_t, uint64_t) {
  throw std::runtime_error("memory space value not supported");
}

Value Process::getMemorySpaceValueSize(uint64_t, uint64_t, uint8_t) {
  throw std::runtime_error("memory space value not supported");
}

Value Process::getTLSAddress(uint64_t) {
  throw std::runtime_error("tls vars not supported");
}
