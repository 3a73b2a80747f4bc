// The class IrqCtrl: fifteen interrupt levels for up to four processors.
//
// Registers, 32 bits each, bit n for level n:
//   0x00 level    levels with priority over all others
//   0x04 pending  raised and not yet taken; writable
//   0x08 force    forces levels on processor 0; reads as its force register
//   0x0C clear    writing ones clears pending levels; reads as 0
//   0x40 + 4n     mask of processor n: levels that reach it
//   0x80 + 4n     force register of processor n: writing ones in the low half sets, in the high
//   half clears
//
// A device raises a level through IrqCtrlIface, which makes it pending; lowering has no effect, as
// a level stays pending until a processor takes it or software clears it. The processor at
// "cpus[n]" is driven through its IrqCtrlIface; connect its "irqClient" to "IrqClientIface[n]" of
// this object.

#include "../Checkpoint.h"
#include "Devices.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace devices {

namespace {

constexpr unsigned MaxCpus = 4;
constexpr uint32_t LastLevel = 15;
constexpr uint32_t Levels = 0xFFFE; // 1 to 15

struct IrqCtrl {
  orvy_Object Super;
  orvy_IfaceRef Cpus[MaxCpus];
  uint32_t Level;
  uint32_t Pending;
  uint32_t Mask[MaxCpus];
  uint32_t Force[MaxCpus];
  uint32_t Driven[MaxCpus]; // lines raised at each processor

  uint32_t readRegister(uint64_t Offset) const;
  void writeRegister(uint64_t Offset, uint32_t Value);
  void raise(uint32_t Irq);
  void acknowledge(unsigned Cpu, uint32_t Irq);
  void drive(unsigned Cpu);
  void driveAll();
};

IrqCtrl &ctrlOf(void *Obj) {
  return *static_cast<IrqCtrl *>(Obj);
}

/// Index of a register in a row with one for each processor; MaxCpus if the offset is not in the
/// row.
unsigned rowIndex(uint64_t Offset, uint64_t Row) {
  return Offset >= Row && Offset < Row + 4 * MaxCpus ? static_cast<unsigned>(Offset - Row) / 4
                                                     : MaxCpus;
}

uint32_t IrqCtrl::readRegister(uint64_t Offset) const {
  if (unsigned Cpu = rowIndex(Offset, 0x40); Cpu < MaxCpus)
    return Mask[Cpu];
  if (unsigned Cpu = rowIndex(Offset, 0x80); Cpu < MaxCpus)
    return Force[Cpu];
  switch (Offset) {
  case 0x00:
    return Level;
  case 0x04:
    return Pending;
  case 0x08:
    return Force[0];
  default:
    return 0;
  }
}

void IrqCtrl::writeRegister(uint64_t Offset, uint32_t Value) {
  if (unsigned Cpu = rowIndex(Offset, 0x40); Cpu < MaxCpus)
    Mask[Cpu] = Value & Levels;
  else if (unsigned Forced = rowIndex(Offset, 0x80); Forced < MaxCpus)
    Force[Forced] = (Force[Forced] | (Value & Levels)) & ~(Value >> 16);
  else if (Offset == 0x00)
    Level = Value & Levels;
  else if (Offset == 0x04)
    Pending = Value & Levels;
  else if (Offset == 0x08)
    Force[0] = Value & Levels;
  else if (Offset == 0x0C)
    Pending &= ~Value;
  driveAll();
}

void IrqCtrl::raise(uint32_t Irq) {
  if (Irq > LastLevel)
    return;
  Pending |= (1u << Irq) & Levels;
  driveAll();
}

/// Clears a forced level before a pending one. The other one remains for another interrupt.
void IrqCtrl::acknowledge(unsigned Cpu, uint32_t Irq) {
  if (Irq > LastLevel)
    return;
  uint32_t Bit = 1u << Irq;
  if (Force[Cpu] & Bit)
    Force[Cpu] &= ~Bit;
  else
    Pending &= ~Bit;
  driveAll();
}

void IrqCtrl::driveAll() {
  for (unsigned Cpu = 0; Cpu < MaxCpus; ++Cpu)
    drive(Cpu);
}

/// Raises or lowers the lines of a processor that have changed.
void IrqCtrl::drive(unsigned Cpu) {
  if (!Cpus[Cpu].Iface)
    return;
  uint32_t Active = (Pending & Mask[Cpu]) | Force[Cpu];
  if (Active & Level)
    Active &= Level;
  uint32_t Changed = Active ^ Driven[Cpu];
  Driven[Cpu] = Active;
  const auto &Iface = *static_cast<const IrqCtrlIface *>(Cpus[Cpu].Iface);
  for (uint8_t Irq = 1; Irq < 16; ++Irq) {
    if (!(Changed >> Irq & 1))
      continue;
    auto Act = Active >> Irq & 1 ? Iface.raiseInterrupt : Iface.lowerInterrupt;
    if (Act)
      Act(Cpus[Cpu].Obj, Irq);
  }
}

IrqCtrlIface CtrlTable = {[](void *Obj, uint8_t Irq) { ctrlOf(Obj).raise(Irq); },
                          [](void *, uint8_t) {}};

template <unsigned Cpu> void acknowledged(void *Obj, uint8_t Irq) {
  ctrlOf(Obj).acknowledge(Cpu, Irq);
}

IrqClientIface ClientTables[MaxCpus] = {
    {acknowledged<0>}, {acknowledged<1>}, {acknowledged<2>}, {acknowledged<3>}};

void reset(void *Obj, int) {
  IrqCtrl &C = ctrlOf(Obj);
  C.Level = C.Pending = 0;
  for (unsigned Cpu = 0; Cpu < MaxCpus; ++Cpu)
    C.Mask[Cpu] = C.Force[Cpu] = 0;
  C.driveAll();
}

ResetIface ResetTable = {reset};

// A checkpoint does not hold null references between others. "cpuPlaces" has the index of each one.

void serialise(void *Obj, const char *, void *Ctxt) {
  uint8_t Places[MaxCpus];
  int Count = 0;
  for (unsigned Cpu = 0; Cpu < MaxCpus; ++Cpu)
    if (ctrlOf(Obj).Cpus[Cpu].Obj)
      Places[Count++] = static_cast<uint8_t>(Cpu);
  if (Count > 0 && Places[Count - 1] != Count - 1)
    orvy_serialiseProp(Ctxt, "cpuPlaces", ovTY_U8, Count, Places);
}

void deserialise(void *Obj, const char *, void *Ctxt) {
  const models::SavedNumbers Places(Ctxt, "cpuPlaces");
  // Backwards, because no reference moves to a lower index.
  for (size_t From = std::min<size_t>(Places.size(), MaxCpus); From-- > 0;)
    if (uint64_t To = Places.at(From); To > From && To < MaxCpus)
      ctrlOf(Obj).Cpus[To] = std::exchange(ctrlOf(Obj).Cpus[From], {});
}

ObjectIface ObjectTable = {serialise, deserialise, nullptr, nullptr, nullptr};

} // namespace

void registerIrqCtrl() {
  orvy_Class *Cls = orvy_registerClass(
      "IrqCtrl",
      [](const char *Name, int Argc, const orvy_CreateArg *Args) -> void * {
        return orvy_readCreateArgs("IrqCtrl", Name, Argc, Args, nullptr, 0) == 0 ? new IrqCtrl{}
                                                                                 : nullptr;
      },
      [](void *Obj) { delete &ctrlOf(Obj); });
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &RegisterAccess<IrqCtrl>::Table, 0,
                    "Registers");
  orvy_addInterface(Cls, "IrqCtrlIface", "IrqCtrlIface", &CtrlTable, 0, "Levels from devices");
  orvy_addInterfaceArray(Cls, "IrqClientIface", "IrqClientIface", ClientTables, MaxCpus,
                         sizeof(IrqClientIface), "Acknowledges of each processor");
  orvy_addInterface(Cls, "ResetIface", "ResetIface", &ResetTable, 0, "");
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &ObjectTable, 0, "");
  orvy_addProperty(Cls, "cpus", offsetof(IrqCtrl, Cpus), ovTY_IfaceRef, MaxCpus, nullptr, nullptr,
                   "Processors that take the interrupts");
  orvy_requireInterface(Cls, "cpus", "IrqCtrlIface");
  orvy_addProperty(Cls, "driven", offsetof(IrqCtrl, Driven), ovTY_U32, MaxCpus, nullptr, nullptr,
                   "Lines raised at each processor");
  orvy_addProperty(Cls, "mask", offsetof(IrqCtrl, Mask), ovTY_U32, MaxCpus, nullptr, nullptr,
                   "Levels let through to each processor");
  orvy_addProperty(Cls, "force", offsetof(IrqCtrl, Force), ovTY_U32, MaxCpus, nullptr, nullptr,
                   "Levels forced on each processor");
  auto *Bank = orvy_addRegisterBank(Cls, "registers");
  auto *Level = orvy_addRegister(Bank, "level", offsetof(IrqCtrl, Level), ovTY_U32, 1,
                                 RegisterHooks<IrqCtrl, 0x00>::write, nullptr,
                                 "Levels that go before all others", 0, 0);
  orvy_addField(Level, "LEVELS", Levels, 0, 0, 1, "Bit n for level n");
  auto *Pending = orvy_addRegister(Bank, "pending", offsetof(IrqCtrl, Pending), ovTY_U32, 1,
                                   RegisterHooks<IrqCtrl, 0x04>::write, nullptr,
                                   "Levels raised and not yet taken", 0, 4);
  orvy_addField(Pending, "LEVELS", Levels, 0, 0, 1, "Bit n for level n");
}

} // namespace devices
