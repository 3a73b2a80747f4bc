#include "Debugger/InterruptGuard.h"

#include <atomic>

using namespace orvy::cl;

namespace {

// The signal handlers may run on any thread and use only these variables.
constinit std::atomic<int32_t> StopFlag{0};
constinit std::atomic<void *> RunningMachine{nullptr};
constinit std::atomic<const MachineIface *> RunningMachineIface{nullptr};
static_assert(std::atomic<int32_t>::is_always_lock_free &&
              std::atomic<void *>::is_always_lock_free);

void stopRun(int) {
  StopFlag = 1;
}

void stopMachineRun(int) {
  StopFlag = 1;
  if (const auto Stop = RunningMachineIface.load()->asyncStop)
    Stop(RunningMachine);
}

} // namespace

InterruptGuard::InterruptGuard() {
  install(stopRun);
}

InterruptGuard::InterruptGuard(Target<MachineIface> Machine) {
  RunningMachine = Machine.Obj;
  RunningMachineIface = Machine.Iface;
  install(stopMachineRun);
}

InterruptGuard::~InterruptGuard() {
  sigaction(SIGINT, &Former, nullptr);
}

bool InterruptGuard::isStopped() {
  return StopFlag != 0;
}

void InterruptGuard::install(void (*Handler)(int)) {
  StopFlag = 0;
  struct sigaction Action = {};
  Action.sa_handler = Handler;
  Action.sa_flags = SA_RESTART; // an interrupt must not truncate the output of models
  sigemptyset(&Action.sa_mask);
  sigaction(SIGINT, &Action, &Former);
}
