// CpuView.h - a stopped processor as the debugger sees it: registers, memory, the program it runs.

#ifndef ORVY_LIB_CPUVIEW_H
#define ORVY_LIB_CPUVIEW_H

#include "Source/Program.h"

#include "orvy/Support/Memory.h"
#include "orvy/Support/Processor.h"
#include "orvy/Support/Targets.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvy::debugger {

/// A processor and its memory. Nothing is kept: every call asks the models.
class CpuView {
public:
  explicit CpuView(void *Cpu);

  void *cpu() const { return Cpu; }
  const char *name() const;
  bool isSparc() const { return Sparc != nullptr; }
  uint64_t pc() const;

  // Memory by virtual address, in target order. False, or less, if some of it cannot be accessed.
  bool read(uint64_t Address, uint8_t *Into, size_t Length) const;
  bool write(uint64_t Address, const uint8_t *From, size_t Length) const;
  std::optional<uint32_t> readWord(uint64_t Address) const;
  /// The physical address; nothing if there is no translation.
  std::optional<uint64_t> physical(uint64_t Address) const;

  /// The memory space of its physical addresses; null if it has none.
  void *memorySpace() const;

  /// Whether it has a register of a DWARF number.
  bool hasRegister(unsigned Number) const;
  /// A register by its DWARF number as seen from a window, counted from the present one.
  std::optional<uint64_t> readRegister(unsigned Number, unsigned Window) const;
  bool writeRegister(unsigned Number, unsigned Window, uint64_t Value) const;
  /// Whether a window, counted from the present one, is still in the processor.
  bool holdsWindow(unsigned Window) const;

  /// A register by name: those of the processor, "pc", "sp", "fp" and on SPARC "npc", "psr" and
  /// their like. Nothing for an unknown name.
  std::optional<uint64_t> readNamed(const std::string &Name) const;
  bool writeNamed(const std::string &Name, uint64_t Value) const;
  /// The DWARF number of a general register's name; nothing for any other name.
  static std::optional<unsigned> numberOf(const std::string &Name);

private:
  uint32_t windowOf(unsigned Distance) const;

  void *Cpu;
  const CpuIface *Iface;
  const SparcIface *Sparc;
  const MemoryIface *Memory;
};

/// The program at an address in the memory of a processor: of the contexts of that memory the
/// current one first, then any that has the address. Null if there is none.
source::Program *programAt(const CpuView &At, uint64_t Address);
/// The program that names are looked up in: that of the pc, else the current context's.
source::Program *programOf(const CpuView &At);

/// An address as "main+8", with its place in the source if there is one; the number alone if
/// nothing is known of it.
std::string addressText(const CpuView &At, uint64_t Address);

} // namespace orvy::debugger

#endif
