// BareMetalContext.h - answers the questions of DWARF expressions from a SPARC processor of a
// running machine.
//
// Registers have the DWARF numbers of SPARC: 0 to 31 the integer registers, 32 to 63 the
// single-precision floating-point registers, 64 Y. What the object has no table for, and memory
// that cannot be read, is undefined. Nothing is locked; the object must outlive what is made on it.

#ifndef ORVY_SUPPORT_BAREMETALCONTEXT_H
#define ORVY_SUPPORT_BAREMETALCONTEXT_H

#include "orvy/Support/DwarfExpression.h"
#include "orvy/Support/Export.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/Processor.h"
#include "orvy/Support/Targets.h"

namespace orvy::dwarf {

/// The processor, and those of its tables that expressions need.
class Target {
public:
  /// @param Cpu null for none
  ORVY_API explicit Target(void *Cpu);

  /// The word at an address.
  ORVY_API Value getMemoryValue(uint64_t Address) const;
  /// The 1, 2, 4 or 8 bytes at an address as an unsigned 64-bit number; undefined for other sizes.
  ORVY_API Value getMemoryValueSize(uint64_t Address, uint8_t Size) const;
  ORVY_API Value getRegisterValue(int Reg) const;

private:
  template <typename Table> struct Ref {
    void *Obj;
    const Table *Iface;
  };

  Ref<CpuIface> Cpu;
  Ref<SparcIface> Sparc;
  Ref<MemoryIface> Memory;
};

/// The context of a target without operating system: one memory space, no threads.
class ORVY_API BareMetalContext final : public Context {
public:
  explicit BareMetalContext(void *Cpu) : Cpu(Cpu) {}

  Value getMemoryValue(uint64_t Address) override { return Cpu.getMemoryValue(Address); }
  Value getMemoryValueSize(uint64_t Address, uint8_t Size) override {
    return Cpu.getMemoryValueSize(Address, Size);
  }
  /// Throws std::runtime_error unless the space is 0.
  Value getMemorySpaceValue(uint64_t Address, uint64_t Space) override;
  Value getMemorySpaceValueSize(uint64_t Address, uint64_t Space, uint8_t Size) override;
  Value getRegisterValue(int Reg) override { return Cpu.getRegisterValue(Reg); }
  /// Throws std::runtime_error.
  Value getTLSAddress(uint64_t Offset) override;

private:
  Target Cpu;
};

/// The context of a program on a target: its memory words and registers. All else throws
/// std::runtime_error.
class ORVY_API Process final : public Context {
public:
  /// @param Cpu outlives the process
  explicit Process(Target *Cpu) : Cpu(Cpu) {}

  Value getMemoryValue(uint64_t Address) override { return Cpu->getMemoryValue(Address); }
  Value getMemoryValueSize(uint64_t Address, uint8_t Size) override;
  Value getMemorySpaceValue(uint64_t Address, uint64_t Space) override;
  Value getMemorySpaceValueSize(uint64_t Address, uint64_t Space, uint8_t Size) override;
  Value getRegisterValue(int Reg) override { return Cpu->getRegisterValue(Reg); }
  Value getTLSAddress(uint64_t Offset) override;

private:
  Target *Cpu;
};

} // namespace orvy::dwarf

#endif
