#include "orvy/Support/Time.h"

#include "Logging/LogSources.h"

#include "Base/Saturation.h"
#include "Base/TimeUnits.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Logging.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>

using namespace orvy;

namespace {

constexpr double NoTime = std::numeric_limits<double>::quiet_NaN();

/// Truncates toward zero. Clamps to the range; not a number gives 0.
int64_t truncated(double Value) {
  if (std::isnan(Value))
    return 0;
  if (Value >= 9223372036854775808.0)
    return std::numeric_limits<int64_t>::max();
  if (Value <= -9223372036854775808.0)
    return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(Value);
}

/// Cycles and frequency of a processor or clock.
struct CycleTime {
  int64_t Cycles;
  int64_t Freq;
};

CycleTime cycleTime(void *Obj, Kind Which) {
  if (Which == Kind::Clock)
    return {static_cast<int64_t>(askSlot(Obj, clockIface(Obj), &ClockIface::getCycles)),
            clockFreq(Obj)};
  const CpuIface &Cpu = cpuIface(Obj);
  return {static_cast<int64_t>(askSlot(Obj, Cpu, &CpuIface::getCycles)),
          static_cast<int64_t>(askSlot(Obj, Cpu, &CpuIface::getFreq))};
}

uint64_t readClock(clockid_t Clock) {
  timespec Now{};
  clock_gettime(Clock, &Now);
  return static_cast<uint64_t>(Now.tv_sec) * NanosPerSecond + static_cast<uint64_t>(Now.tv_nsec);
}

} // namespace

// A user can configure a frequency below 1: the result is 0 rather than a division fault. Results are
// clamped to the range of times.

int64_t orvy_cyclesToNanos(int64_t Cycles, int64_t Freq) {
  if (Freq < 1)
    return 0;
  // The remainder's product needs all 64 bits at high frequencies, so its sign is kept apart.
  auto Rest = static_cast<uint64_t>(std::abs(Cycles % Freq));
  auto Nanos = static_cast<int64_t>(Rest * NanosPerSecond / static_cast<uint64_t>(Freq));
  return clampedSum(clampedProduct(Cycles / Freq, NanosPerSecond), Cycles < 0 ? -Nanos : Nanos);
}

int64_t orvy_nanosToCycles(int64_t Nanos, uint64_t Freq) {
  const int64_t Signed = clampedTime(Freq);
  const int64_t Rest = Nanos % NanosPerSecond;
  int64_t Product = 0;
  const int64_t Cycles = __builtin_mul_overflow(Rest, Signed, &Product)
                             ? static_cast<int64_t>(__int128{Rest} * Signed / NanosPerSecond)
                             : Product / NanosPerSecond;
  return clampedSum(clampedProduct(Signed, Nanos / NanosPerSecond), Cycles);
}

double orvy_cyclesToSecs(int64_t Cycles, int64_t Freq) {
  if (Freq < 1)
    return 0.0;
  int64_t Whole = Cycles / Freq;
  return static_cast<double>(Whole) +
         static_cast<double>(Cycles % Freq) / static_cast<double>(Freq);
}

int64_t orvy_secsToCycles(int64_t Freq, double Secs) {
  int64_t Whole = truncated(Secs);
  double Fraction = Secs - static_cast<double>(Whole);
  return clampedSum(clampedProduct(Freq, Whole), truncated(static_cast<double>(Freq) * Fraction));
}

double orvy_nanosToSecs(int64_t Nanos) {
  return static_cast<double>(Nanos) / NanosPerSecond;
}

int64_t orvy_secsToNanos(double Secs) {
  return truncated(Secs * NanosPerSecond);
}

int64_t orvy_getCycles(void *Obj) {
  switch (Kind Which = kindOf(Obj)) {
  case Kind::Processor:
  case Kind::Clock:
    return cycleTime(Obj, Which).Cycles;
  case Kind::Machine:
    orvy_logError(Obj, "cannot get cycles from machine object");
    return -1;
  default:
    orvy_logError(Obj, "unknown object class");
    return -1;
  }
}

int64_t orvy_getNanos(void *Obj) {
  switch (Kind Which = kindOf(Obj)) {
  case Kind::Processor:
  case Kind::Clock: {
    CycleTime Now = cycleTime(Obj, Which);
    return orvy_cyclesToNanos(Now.Cycles, Now.Freq);
  }
  case Kind::Machine:
    return static_cast<int64_t>(askSlot(Obj, machineIface(Obj), &MachineIface::getTime));
  default:
    orvy_logError(Obj, "unknown object class");
    return -1;
  }
}

double orvy_getSecs(void *Obj) {
  switch (Kind Which = kindOf(Obj)) {
  case Kind::Processor:
  case Kind::Clock: {
    CycleTime Now = cycleTime(Obj, Which);
    return Now.Freq < 1 ? NoTime : orvy_cyclesToSecs(Now.Cycles, Now.Freq);
  }
  case Kind::Machine:
    return orvy_nanosToSecs(
        static_cast<int64_t>(askSlot(Obj, machineIface(Obj), &MachineIface::getTime)));
  default:
    orvy_logError(Obj, "unknown object class");
    return NoTime;
  }
}

uint64_t orvy_timeGetCurrentSrtNanos(void *Obj) {
  switch (Kind Which = kindOf(Obj)) {
  case Kind::Processor:
  case Kind::Clock: {
    CycleTime Now = cycleTime(Obj, Which);
    if (Now.Freq < 1)
      return 0;
    auto Cycles = static_cast<uint64_t>(Now.Cycles);
    auto Freq = static_cast<uint64_t>(Now.Freq);
    return Cycles / Freq * NanosPerSecond + Cycles % Freq * NanosPerSecond / Freq;
  }
  case Kind::Machine:
    return askSlot(Obj, machineIface(Obj), &MachineIface::getTime);
  default:
    orvy_logError(Obj, "not a cpu or machine, cannot get current time");
    return 0;
  }
}

uint64_t orvy_timeGetMonotonicWct(void) {
  return readClock(CLOCK_MONOTONIC);
}

uint64_t orvy_timeGetThreadWct(void) {
  return readClock(CLOCK_THREAD_CPUTIME_ID);
}

static const bool IsRegistered = [] {
  setLogTime(orvy_getSecs);
  return true;
}();
