// ObjectKinds.h - quick access to what a processor, machine, memory or clock is reached through.
//
// All of it reads through the object's header, so the address must be null or an object that has
// one.

#ifndef ORVY_LIB_OBJECTKINDS_H
#define ORVY_LIB_OBJECTKINDS_H

#include "InternalError.h"

#include "orvy/Support/Clock.h"
#include "orvy/Support/Events.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Processor.h"
#include "orvy/Support/Types.h"

namespace orvy {

/// What an object is, by the qualifier of its class.
enum class Kind : uint32_t {
  Plain = 0,
  Processor = 1,
  Machine = 2,
  External = 3,
  Memory = 4,
  Component = 5,
  Clock = ORVY_QUALIFIER_CLOCK
};

/// Kind of an object; Plain for null and for an object outside its registered life.
inline Kind kindOf(const void *Obj) {
  const auto *Header = static_cast<const orvy_Object *>(Obj);
  if (!Header || !Header->Class)
    return Kind::Plain;
  // The qualifier is the first word of the class record, for readers like this one.
  return static_cast<Kind>(*reinterpret_cast<const uint32_t *>(Header->Class));
}

/// Interface table at a word of the class's table, which must be there.
template <typename Iface> const Iface &tableWord(void *Obj, size_t Word) {
  auto *const *Table = static_cast<void *const *>(orvy_getVTable(Obj));
  ORVY_REQUIRE(Table && Table[Word]);
  return *static_cast<const Iface *>(Table[Word]);
}

inline const CpuIface &cpuIface(void *Cpu) {
  ORVY_REQUIRE(kindOf(Cpu) == Kind::Processor);
  return tableWord<CpuIface>(Cpu, 0);
}

inline const MachineIface &machineIface(void *Machine) {
  ORVY_REQUIRE(kindOf(Machine) == Kind::Machine);
  return tableWord<MachineIface>(Machine, 0);
}

inline const ClockIface &clockIface(void *Clock) {
  ORVY_REQUIRE(kindOf(Clock) == Kind::Clock);
  return tableWord<ClockIface>(Clock, 0);
}

inline const MemAccessIface &memAccessIface(void *Mem) {
  ORVY_REQUIRE(kindOf(Mem) == Kind::Memory);
  return tableWord<MemAccessIface>(Mem, 0);
}

/// Events of a queue holder: a processor, machine or clock.
inline const EventIface &eventIface(void *Holder) {
  return tableWord<EventIface>(Holder, kindOf(Holder) == Kind::Processor ? 2 : 1);
}

/// Queue of a queue holder, the first field behind its header.
inline orvy_EventQueue *queueOf(void *Holder) {
  return *reinterpret_cast<orvy_EventQueue **>(static_cast<char *>(Holder) + sizeof(orvy_Object));
}

/// Frequency of a clock as the integer that time conversions use.
inline int64_t clockFreq(void *Clock) {
  double Freq = clockIface(Clock).getFreq(Clock);
  // Also refuses what is not a number, for which every comparison fails.
  return Freq >= 1.0 && Freq < 9.2e18 ? static_cast<int64_t>(Freq) : 0;
}

} // namespace orvy

#endif
