// ObjectKinds.h - quick access to the interfaces of processors, machines, memories and clocks.
//
// All of it reads through the object's header, so the address must be null or an object that has
// one.

#ifndef ORVY_LIB_OBJECTKINDS_H
#define ORVY_LIB_OBJECTKINDS_H

#include "Base/InternalError.h"
#include "Objsys/Kind.h"

#include "orvy/Support/Clock.h"
#include "orvy/Support/Events.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Processor.h"
#include "orvy/Support/Types.h"

namespace orvy {

/// Kind of an object; Plain for null and for an object outside its registered life.
inline Kind kindOf(const void *Obj) {
  const auto *Header = static_cast<const orvy_Object *>(Obj);
  if (!Header || !Header->Class)
    return Kind::Plain;
  // The qualifier is the first word of the class record.
  return *reinterpret_cast<const Kind *>(Header->Class);
}

/// Ends the process for an object that is not what a function requires: names it and its class.
[[noreturn]] void wrongObject(const void *Obj, const char *Lacks);

/// Interface table at a word of the class's table, which must be there.
template <typename Iface> const Iface &tableWord(void *Obj, size_t Word) {
  auto *const *Table = static_cast<void *const *>(orvy_getVTable(Obj));
  if (__builtin_expect(!Table || !Table[Word], 0))
    wrongObject(Obj, "lacks an interface in the table of its class");
  return *static_cast<const Iface *>(Table[Word]);
}

inline void requireKind(const void *Obj, Kind Wanted, const char *Lacks) {
  if (__builtin_expect(kindOf(Obj) != Wanted, 0))
    wrongObject(Obj, Lacks);
}

inline const CpuIface &cpuIface(void *Cpu) {
  requireKind(Cpu, Kind::Processor, "is not a processor");
  return tableWord<CpuIface>(Cpu, 0);
}

inline const MachineIface &machineIface(void *Machine) {
  requireKind(Machine, Kind::Machine, "is not a machine");
  return tableWord<MachineIface>(Machine, 0);
}

inline const ClockIface &clockIface(void *Clock) {
  requireKind(Clock, Kind::Clock, "is not a clock");
  return tableWord<ClockIface>(Clock, 0);
}

inline const MemAccessIface &memAccessIface(void *Mem) {
  requireKind(Mem, Kind::Memory, "is not a memory");
  return tableWord<MemAccessIface>(Mem, 0);
}

/// Calls a slot of a table that a model handed over. For a null slot it logs an
/// error with the name, and returns Otherwise.
template <typename Iface, typename Result, typename... Params, typename... Values>
Result callSlotOr(Result Otherwise, const char *Name, void *Obj, const Iface &Table,
                  Result (*Iface::*Slot)(void *, Params...), Values... Args) {
  if (auto *Function = Table.*Slot)
    return Function(Obj, Args...);
  orvy_logError(Obj, "does not implement %s", Name);
  return Otherwise;
}

template <typename Iface, typename... Params, typename... Values>
void callSlot(const char *Name, void *Obj, const Iface &Table,
              void (*Iface::*Slot)(void *, Params...), Values... Args) {
  if (auto *Function = Table.*Slot)
    Function(Obj, Args...);
  else
    orvy_logError(Obj, "does not implement %s", Name);
}

template <typename Iface, typename Result, typename... Params, typename... Values>
Result callSlot(const char *Name, void *Obj, const Iface &Table,
                Result (*Iface::*Slot)(void *, Params...), Values... Args) {
  return callSlotOr(Result(), Name, Obj, Table, Slot, Args...);
}

/// Calls a slot without logging; zero for a null one. The log itself uses it.
template <typename Iface, typename Result>
Result askSlot(void *Obj, const Iface &Table, Result (*Iface::*Slot)(void *)) {
  return Table.*Slot ? (Table.*Slot)(Obj) : Result();
}

/// callSlot by names: ORVY_CALL(CpuIface, getGpr, Cpu, Table, Reg) is Table.getGpr(Cpu, Reg).
#define ORVY_CALL(Iface, Slot, Obj, Table, ...)                                                    \
  ::orvy::callSlot(#Iface "." #Slot, Obj, Table, &Iface::Slot __VA_OPT__(, ) __VA_ARGS__)

/// Events of a queue holder: a processor, machine or clock.
inline const EventIface &eventIface(void *Holder) {
  return tableWord<EventIface>(Holder, kindOf(Holder) == Kind::Processor ? 2 : 1);
}

/// Queue of a queue holder, the first field after its header.
inline orvy_EventQueue *queueOf(void *Holder) {
  return *reinterpret_cast<orvy_EventQueue **>(static_cast<char *>(Holder) + sizeof(orvy_Object));
}

/// Frequency of a clock as the integer that time conversions use.
inline int64_t clockFreq(void *Clock) {
  double Freq = askSlot(Clock, clockIface(Clock), &ClockIface::getFreq);
  // Also rejects NaN, for which every comparison fails.
  return Freq >= 1.0 && Freq < 9.2e18 ? static_cast<int64_t>(Freq) : 0;
}

} // namespace orvy

#endif
