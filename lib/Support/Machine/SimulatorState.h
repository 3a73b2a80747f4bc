// SimulatorState.h - the record of the simulator object, and what its sources share.

#ifndef ORVY_LIB_SIMULATORSTATE_H
#define ORVY_LIB_SIMULATORSTATE_H

#include "Base/Saturation.h"
#include "Events/EventQueue.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Simulator.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace orvy::sim {

constexpr int64_t EndOfTime = endOfTime(false);

/// A processor as a run sees it.
struct Turn {
  void *Cpu;
  CpuIface Iface; // without null slots where a run calls it
  uint64_t Freq;
};

struct Simulator {
  orvy_Object Super;
  orvy_EventQueue *Queue; // first field of every queue holder; in nanoseconds
  int64_t Time;           // start of the present quantum
  int64_t Quanta;
  double TimeDistributionInterval;
  int64_t SyncEvent;
  int64_t StartNotification;
  int64_t StopNotification;
  int64_t WCTSyncInterval;
  double WCTFactor;
  int64_t WCTSyncEvent;
  uint8_t WCTSlaving;
  uint8_t SyncFrames;
  uint8_t SyncFrameId;
  uint8_t IsMaster;
  uint8_t StopOnHalt;
  uint8_t StopOnBreak;
  int32_t CurrentCpu;
  std::atomic<int32_t> StopFlag;
  std::mutex RunMutex; // held for the whole of a run or step
  std::atomic<std::thread::id> Runner;
  bool Running;                    // guarded by StateMutex
  std::recursive_mutex StateMutex; // a run callback may ask for the state
  std::condition_variable_any StateChanged;
  std::atomic<orvy_CpuExitReason> ExitReason;
  bool InTurns;    // a run or step is in progress, also one through MachineIface
  uint64_t Resets; // counted, so that a run notices that the system was cleared
  std::vector<Turn> Turns;

  ~Simulator() { orvy_disposeEventQueue(Queue); }

  // Other threads read the time.
  int64_t time() { return std::atomic_ref<int64_t>(Time).load(std::memory_order_relaxed); }
  void setTime(int64_t T) { std::atomic_ref<int64_t>(Time).store(T, std::memory_order_relaxed); }

  /// Ends the run or step in progress, also from another thread or a signal handler.
  void requestStop() { StopFlag.store(1, std::memory_order_relaxed); }
};

static_assert(offsetof(Simulator, Queue) == sizeof(orvy_Object));
static_assert(std::atomic<int32_t>::is_always_lock_free, "stores from signal handlers");

inline Simulator &simOf(void *Obj) {
  return *static_cast<Simulator *>(Obj);
}

/// Stores the reason why a run or step ended, and returns it.
inline orvy_CpuExitReason leave(Simulator &Sim, orvy_CpuExitReason Reason) {
  Sim.ExitReason = Reason;
  return Reason;
}

/// Runs without touching the stop flag, which the caller has cleared.
orvy_CpuExitReason runFor(Simulator &Sim, uint64_t Nanos);
/// Steps the processor at an index, in the same way.
orvy_CpuExitReason stepFor(Simulator &Sim, size_t Cpu, uint64_t Steps);

/// The MachineIface of the simulator.
extern MachineIface MachineTable;
/// Its slot step, for the flat functions too.
orvy_CpuExitReason machineStep(void *Obj, int Cpu, uint64_t Steps);

/// Rejects, with an error, a run from inside a run: it would wait for itself. Returns IsInside.
bool rejectNested(const Simulator &Sim, bool IsInside);

} // namespace orvy::sim

#endif
