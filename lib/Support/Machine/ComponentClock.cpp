// The group scheduler: the ClockIface of a component, which drives its clocks by quanta. All clocks
// go to the end of the quantum, one after the other, before the next one begins. CurrentClock,
// QuantaStart and QuantaEnd say where a run that returned early goes on.

#include "Machine/ComponentClock.h"
#include "Base/ActiveRun.h"
#include "Base/Saturation.h"
#include "Machine/Quantum.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/ObjectKinds.h"
#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Time.h"

#include <algorithm>
#include <utility>

namespace {

using namespace orvy;
using component::referencesIn;

constexpr int64_t EndOfTime = endOfTime(false);

orvy_Component &groupOf(void *Obj) {
  return *static_cast<orvy_Component *>(Obj);
}

/// One of the clocks, for as long as nobody adds another one or disposes of it.
struct Clock {
  void *Obj = nullptr;
  const ClockIface *Iface = nullptr;

  explicit operator bool() const { return Iface; }
  const ClockIface *operator->() const { return Iface; }
};

/// Whether the object still has that table: a clock may be disposed of, and another object may have
/// its address.
bool isThere(const orvy_IfaceRef &Ref) {
  const objsys::Class *Cls = objsys::Class::classForObject(Ref.Obj);
  return Cls && Cls->interfaceForPointer(Ref.Iface);
}

/// Whether the group still exists: what it runs may dispose of it.
bool isThere(const orvy_Component &G) {
  return component::find(&G);
}

size_t clockCount(orvy_Component &G) {
  return referencesIn(G.Clocks).size();
}

/// The clock at an index; false past the last and for one that was disposed of.
Clock clockAt(orvy_Component &G, size_t Idx) {
  const auto Refs = referencesIn(G.Clocks);
  if (Idx >= Refs.size() || !isThere(Refs[Idx]))
    return {};
  return {Refs[Idx].Obj, static_cast<const ClockIface *>(Refs[Idx].Iface)};
}

Clock firstClock(orvy_Component &G) {
  for (size_t Idx = 0; Idx < clockCount(G); ++Idx)
    if (const Clock C = clockAt(G, Idx))
      return C;
  return {};
}

/// Whether the group can run: it has clocks, and each of them an interface.
bool canRun(orvy_Component &G) {
  const auto Refs = referencesIn(G.Clocks);
  const bool Can = firstClock(G) && std::ranges::all_of(Refs, &orvy_IfaceRef::Iface);
  if (!Can)
    orvy_logSimError(
        &G, "a component without clocks, or with one that has no ClockIface, stands still");
  return Can;
}

/// Calls Get with the reference clock; a group without one stands at 0.
template <typename Function> auto ofReference(void *Obj, Function Get) {
  const Clock First = firstClock(groupOf(Obj));
  return First ? Get(First) : decltype(Get(First)){};
}

template <typename Function> void forEach(void *Obj, Function Act) {
  orvy_Component &G = groupOf(Obj);
  for (size_t Idx = 0; Idx < clockCount(G); ++Idx)
    if (const Clock C = clockAt(G, Idx))
      Act(C);
}

size_t currentIndex(orvy_Component &G) {
  return G.CurrentClock < 0 ? 0 : static_cast<size_t>(G.CurrentClock);
}

// Advancing: without quanta, each clock goes to the target in its turn.

uint64_t cyclesOf(void *Obj) {
  return ofReference(Obj,
                     [](Clock C) { return ORVY_CALL(ClockIface, getCycles, C.Obj, *C.Iface); });
}

int advanceToCycles(void *Obj, uint64_t Cycles) {
  const orvy::ActiveRun Running;
  orvy_Component &G = groupOf(Obj);
  if (!canRun(G))
    return 0;
  for (uint64_t Before = cyclesOf(Obj); Before < Cycles;) {
    const bool IsWhole = currentIndex(G) == 0;
    for (size_t Idx = currentIndex(G); Idx < clockCount(G); ++Idx) {
      G.CurrentClock = static_cast<int32_t>(Idx);
      const Clock C = clockAt(G, Idx);
      const int Reason = C ? ORVY_CALL(ClockIface, advanceToCycles, C.Obj, *C.Iface, Cycles) : 0;
      if (Reason || !isThere(G))
        return Reason;
    }
    G.CurrentClock = 0;
    // A clock that does not move would be called for ever.
    if (std::exchange(Before, cyclesOf(Obj)) == Before && IsWhole)
      break;
  }
  return 0;
}

int advanceCycles(void *Obj, uint64_t Cycles) {
  return advanceToCycles(Obj, clampedSum(cyclesOf(Obj), Cycles));
}

// Stepping: by quanta, until one of the clocks has made its steps.

/// End of the present quantum for a clock, by its own frequency from absolute time, so that no
/// rounding adds up.
uint64_t limitOf(const orvy_Component &G, Clock C) {
  const double Freq = ORVY_CALL(ClockIface, getFreq, C.Obj, *C.Iface);
  const bool Sound = Freq >= 1.0 && Freq < 0x1p63; // also rejects NaN
  return static_cast<uint64_t>(orvy_nanosToCycles(std::max<int64_t>(G.QuantaEnd, 0),
                                                  Sound ? static_cast<uint64_t>(Freq) : 1));
}

/// The clock that counts the steps of the group; false, with an error, if there is none that does.
Clock countingClock(orvy_Component &G) {
  const Clock C = G.StepClock < 0 ? Clock{} : clockAt(G, static_cast<size_t>(G.StepClock));
  if (!C)
    orvy_logSimError(&G, "stepClock is %d, which is none of the clocks", G.StepClock);
  else if (C.Iface != &orvy::component::GroupTable)
    return C;
  else
    orvy_logSimError(&G, "clock %d is a group itself, which counts no steps", G.StepClock);
  return {};
}

/// Whether all clocks have come to the limit of a step before the quantum ends, or time itself has.
bool isAtLimit(orvy_Component &G, uint64_t Cycles) {
  bool AtLimit = true;
  forEach(&G, [&](Clock C) { AtLimit = AtLimit && limitOf(G, C) >= Cycles; });
  return AtLimit || G.QuantaEnd == EndOfTime;
}

/// Ends a round after the turn of the last clock. Returns whether there is another one. A quantum
/// that a limit cuts short is not over: the next call continues it.
bool endRound(orvy_Component &G, uint64_t Left, uint64_t Cycles) {
  if (Left > 0 && isAtLimit(G, Cycles)) {
    G.CurrentClock = 0;
    return false;
  }
  G.CurrentClock = 0;
  G.QuantaStart = G.QuantaEnd;
  G.QuantaEnd = clampedSum(G.QuantaStart, G.Quanta);
  return Left > 0;
}

int stepClocks(orvy_Component &G, Clock Counting, uint64_t Steps, uint64_t Cycles) {
  const uint64_t Start = ORVY_CALL(ClockIface, getSteps, Counting.Obj, *Counting.Iface);
  const uint64_t End = clampedSum(Start, Steps);
  for (uint64_t Left = Steps;;) {
    const size_t Idx = currentIndex(G);
    if (Idx >= clockCount(G)) {
      if (!endRound(G, Left, Cycles))
        return 0;
      continue;
    }
    const Clock C = clockAt(G, Idx);
    const bool Counts = C && Idx == static_cast<size_t>(G.StepClock);
    const uint64_t Limit = C ? std::min(Cycles, limitOf(G, C)) : 0;
    int Reason = 0;
    if (Counts)
      Reason = ORVY_CALL(ClockIface, stepUntil, C.Obj, *C.Iface, Left, Limit);
    else if (C)
      ORVY_CALL(ClockIface, advanceToCycles, C.Obj, *C.Iface, Limit);
    if (!isThere(G) || !clockAt(G, static_cast<size_t>(G.StepClock)))
      return Reason;
    if (Counts) {
      Left = End - std::min(End, ORVY_CALL(ClockIface, getSteps, C.Obj, *C.Iface));
      if (Reason)
        return Reason;
    }
    G.CurrentClock = static_cast<int32_t>(Idx + 1);
  }
}

int stepUntil(void *Obj, uint64_t Steps, uint64_t Cycles) {
  const orvy::ActiveRun Running;
  orvy_Component &G = groupOf(Obj);
  if (Steps == 0 || !canRun(G))
    return 0;
  const Clock Counting = countingClock(G);
  if (!Counting)
    return 0;
  if (!Counting->stepUntil || !Counting->getSteps) {
    orvy_logSimError(Counting.Obj, "does not implement stepping");
    return 0;
  }
  ensureQuantum(&G, G.Quanta);
  return stepClocks(G, Counting, Steps, Cycles);
}

int step(void *Obj, uint64_t Steps) {
  return stepUntil(Obj, Steps, UINT64_MAX);
}

} // namespace

ClockIface orvy::component::GroupTable = {
    .step = step,
    .stepUntil = stepUntil,
    .advanceCycles = advanceCycles,
    .advanceToCycles = advanceToCycles,
    .getSteps = [](void *) { return uint64_t{0}; },
    .getCycles = cyclesOf,
    .getNanos =
        [](void *Obj) {
          return ofReference(
              Obj, [](Clock C) { return ORVY_CALL(ClockIface, getNanos, C.Obj, *C.Iface); });
        },
    .getSecs =
        [](void *Obj) {
          return ofReference(
              Obj, [](Clock C) { return ORVY_CALL(ClockIface, getSecs, C.Obj, *C.Iface); });
        },
    .setSteps =
        [](void *Obj, uint64_t Steps) {
          forEach(Obj, [=](Clock C) { ORVY_CALL(ClockIface, setSteps, C.Obj, *C.Iface, Steps); });
        },
    .setCycles =
        [](void *Obj, uint64_t Cycles) {
          forEach(Obj, [=](Clock C) { ORVY_CALL(ClockIface, setCycles, C.Obj, *C.Iface, Cycles); });
        },
    .setNanos =
        [](void *Obj, uint64_t Nanos) {
          forEach(Obj, [=](Clock C) { ORVY_CALL(ClockIface, setNanos, C.Obj, *C.Iface, Nanos); });
        },
    .setSecs =
        [](void *Obj, double Secs) {
          forEach(Obj, [=](Clock C) { ORVY_CALL(ClockIface, setSecs, C.Obj, *C.Iface, Secs); });
        },
    .getFreq =
        [](void *Obj) {
          return ofReference(
              Obj, [](Clock C) { return ORVY_CALL(ClockIface, getFreq, C.Obj, *C.Iface); });
        },
    .setFreq = [](void *, double) {},
};
