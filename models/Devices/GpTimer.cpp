// The class GpTimer: a prescaler and two timers that count down in simulated time.
//
// Registers, 32 bits each:
//   0x00 scaler         present value of the prescaler
//   0x04 scaler reload  the prescaler ticks once in (value + 1) cycles of the time source
//   0x08 configuration  bits 2-0 number of timers, bits 7-3 the interrupt of the first
//   0x10 + 16n counter  counts ticks down; the tick after 0 is the underflow
//   0x14 + 16n reload
//   0x18 + 16n control  1 enable, 2 restart: load the reload value on underflow, 4 load: do so now
//                       (reads 0), 8 interrupt on underflow, 16 interrupt pending: set by the
//                       underflow, cleared by writing one
//
// A timer with reload value r that restarts has a period of (r + 1) ticks. Without restart it stops
// at its underflow. Nothing happens between underflows: counters are computed when they are read.
// The object needs a time source that counts cycles.

#include "Devices.h"

#include <cstddef>

namespace devices {

namespace {

constexpr unsigned TimerCount = 2;
constexpr uint8_t FirstIrq = 8;

enum Control : uint32_t { Enable = 1, Restart = 2, Load = 4, IrqEnable = 8, IrqPending = 16 };

/// Sums and differences of times, without undefined behaviour on an overflow: a damaged checkpoint
/// can contain any values.
int64_t sum(int64_t A, int64_t B) {
  return static_cast<int64_t>(static_cast<uint64_t>(A) + static_cast<uint64_t>(B));
}
int64_t difference(int64_t A, int64_t B) {
  return static_cast<int64_t>(static_cast<uint64_t>(A) - static_cast<uint64_t>(B));
}

/// One timer. While it runs, Counter is the value that it had at the tick StartTick.
struct Timer {
  uint32_t Counter;
  uint32_t Reload;
  uint32_t Control;
  int64_t StartTick;
  int64_t Event;
};

struct GpTimer {
  orvy_Object Super;
  orvy_IfaceRef IrqCtrl;
  uint8_t Irq; // of the first timer; the second has the next one
  uint32_t ScalerReload;
  int64_t ScalerBase; // cycle of the tick TickBase
  int64_t TickBase;
  Timer Timers[TimerCount];

  uint32_t readRegister(uint64_t Offset);
  void writeRegister(uint64_t Offset, uint32_t Value);
  int64_t now();
  int64_t period() const { return int64_t{ScalerReload} + 1; }
  int64_t sinceBase() { return difference(now(), ScalerBase); }
  int64_t tick() { return sum(TickBase, sinceBase() / period()); }
  uint32_t counter(const Timer &T);
  void stop(Timer &T);
  void start(Timer &T);
  void setScaler(uint32_t Reload);
  void setControl(Timer &T, uint32_t Value);
  void underflow(unsigned Index);
};

GpTimer &timerOf(void *Obj) {
  return *static_cast<GpTimer *>(Obj);
}

int64_t GpTimer::now() {
  return Super.TimeSource ? orvy_getCycles(Super.TimeSource) : 0;
}

uint32_t GpTimer::counter(const Timer &T) {
  return T.Control & Enable ? T.Counter - static_cast<uint32_t>(difference(tick(), T.StartTick))
                            : T.Counter;
}

/// Stops a timer at its present value.
void GpTimer::stop(Timer &T) {
  T.Counter = counter(T);
  orvy_eventDeschedule(T.Event);
}

/// Lets an enabled timer count from its counter, and posts its underflow.
void GpTimer::start(Timer &T) {
  if (!(T.Control & Enable))
    return;
  if (!Super.TimeSource) {
    orvy_logConfigError(this, "a timer is enabled, but object.timeSource is not set");
    T.Control &= ~static_cast<uint32_t>(Enable);
    return;
  }
  T.StartTick = tick();
  int64_t Ticks = sum(difference(T.StartTick, TickBase), int64_t{T.Counter} + 1);
  int64_t At = 0;
  // Clamp the longest periods to the end of time.
  if (__builtin_mul_overflow(Ticks, period(), &At) || __builtin_add_overflow(At, ScalerBase, &At))
    At = INT64_MAX;
  orvy_eventPostCycles(Super.TimeSource, T.Event, difference(At, now()), ovSE_Cpu);
}

/// Changes the length of a tick from now on and restarts the current tick.
void GpTimer::setScaler(uint32_t Reload) {
  for (Timer &T : Timers)
    if (T.Control & Enable)
      stop(T);
  TickBase = tick();
  ScalerBase = now();
  ScalerReload = Reload;
  for (Timer &T : Timers)
    start(T);
}

void GpTimer::setControl(Timer &T, uint32_t Value) {
  if (T.Control & Enable)
    stop(T);
  if (Value & Load)
    T.Counter = T.Reload;
  uint32_t Pending = T.Control & ~Value & IrqPending;
  T.Control = (Value & (Enable | Restart | IrqEnable)) | Pending;
  start(T);
}

void GpTimer::underflow(unsigned Index) {
  Timer &T = Timers[Index];
  const bool Raises = T.Control & IrqEnable;
  if (Raises)
    T.Control |= IrqPending;
  if (T.Control & Restart) {
    T.Counter = T.Reload;
    start(T);
  } else {
    T.Counter = UINT32_MAX;
    T.Control &= ~static_cast<uint32_t>(Enable);
  }
  // Last, because the receiver may dispose of the timer.
  if (Raises)
    IrqLine{IrqCtrl, static_cast<uint8_t>(Irq + Index)}.raise();
}

uint32_t GpTimer::readRegister(uint64_t Offset) {
  switch (Offset) {
  case 0x00:
    return static_cast<uint32_t>(ScalerReload - sinceBase() % period());
  case 0x04:
    return ScalerReload;
  case 0x08:
    return TimerCount | static_cast<uint32_t>(Irq) << 3;
  default:
    break;
  }
  uint64_t Index = Offset / 16 - 1;
  if (Offset < 0x10 || Index >= TimerCount)
    return 0;
  const Timer &T = Timers[Index];
  switch (Offset % 16) {
  case 0x0:
    return counter(T);
  case 0x4:
    return T.Reload;
  case 0x8:
    return T.Control;
  default:
    return 0;
  }
}

void GpTimer::writeRegister(uint64_t Offset, uint32_t Value) {
  if (Offset == 0x04) {
    setScaler(Value);
    return;
  }
  uint64_t Index = Offset / 16 - 1;
  if (Offset < 0x10 || Index >= TimerCount)
    return;
  Timer &T = Timers[Index];
  switch (Offset % 16) {
  case 0x0:
    if (T.Control & Enable)
      stop(T);
    T.Counter = Value;
    start(T);
    break;
  case 0x4:
    T.Reload = Value;
    break;
  case 0x8:
    setControl(T, Value);
    break;
  default:
    break;
  }
}

template <unsigned Index> void underflowEvent(orvy_Event *Event) {
  timerOf(Event->Obj).underflow(Index);
}

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  uint8_t Irq = FirstIrq;
  if (!readIrq("GpTimer", Name, Argc, Args, Irq))
    return nullptr;
  auto *G = new GpTimer{};
  G->Irq = Irq;
  G->Timers[0].Event = orvy_eventPublish("gpTimer.underflow0", G, underflowEvent<0>);
  G->Timers[1].Event = orvy_eventPublish("gpTimer.underflow1", G, underflowEvent<1>);
  return G;
}

void reset(void *Obj, int) {
  GpTimer &G = timerOf(Obj);
  for (Timer &T : G.Timers) {
    G.stop(T);
    T.Counter = T.Reload = T.Control = 0;
  }
  G.setScaler(0);
}

ResetIface ResetTable = {reset};

template <unsigned Index> void describeTimer(orvy_Class *Cls) {
  constexpr auto Base = offsetof(GpTimer, Timers) + Index * sizeof(Timer);
  constexpr uint64_t Offset = 0x10 + 0x10 * Index;
  const char *BankName = Index == 0 ? "timer0" : "timer1";
  auto name = [](const char *First, const char *Second) { return Index == 0 ? First : Second; };
  auto *Bank = orvy_addRegisterBank(Cls, BankName);
  auto *Counter = orvy_addRegister(
      Bank, name("counter0", "counter1"), Base + offsetof(Timer, Counter), ovTY_U32, 1,
      RegisterHooks<GpTimer, Offset>::write, RegisterHooks<GpTimer, Offset>::read,
      "Value; while the timer runs, the one at its start", 0, Offset);
  orvy_addField(Counter, "VALUE", UINT32_MAX, 0, 0, 1, "Remaining ticks");
  auto *Reload =
      orvy_addRegister(Bank, name("reload0", "reload1"), Base + offsetof(Timer, Reload), ovTY_U32,
                       1, nullptr, nullptr, "Value loaded on underflow", 0, Offset + 4);
  orvy_addField(Reload, "VALUE", UINT32_MAX, 0, 0, 1, "Ticks of a period, less one");
  auto *Ctrl = orvy_addRegister(Bank, name("control0", "control1"), Base + offsetof(Timer, Control),
                                ovTY_U32, 1, RegisterHooks<GpTimer, Offset + 8>::write, nullptr,
                                "Control", 0, Offset + 8);
  orvy_addField(Ctrl, "EN", Enable, 0, 0, 1, "Enable");
  orvy_addField(Ctrl, "RS", Restart, 0, 0, 1, "Restart on underflow");
  orvy_addField(Ctrl, "LD", Load, 0, 0, 1, "Load now; reads as 0");
  orvy_addField(Ctrl, "IE", IrqEnable, 0, 0, 1, "Interrupt on underflow");
  orvy_addField(Ctrl, "IP", IrqPending, 0, 0, 1, "Interrupt pending; one clears it");
  orvy_addProperty(Cls, name("startTick0", "startTick1"), Base + offsetof(Timer, StartTick),
                   ovTY_I64, 1, nullptr, nullptr,
                   "Tick at which the timer had the value of its counter");
}

} // namespace

void registerGpTimer() {
  orvy_Class *Cls = orvy_registerClass("GpTimer", create, [](void *Obj) { delete &timerOf(Obj); });
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &RegisterAccess<GpTimer>::Table, 0,
                    "Registers");
  orvy_addInterface(Cls, "ResetIface", "ResetIface", &ResetTable, 0, "");
  orvy_addProperty(Cls, "irqCtrl", offsetof(GpTimer, IrqCtrl), ovTY_IfaceRef, 1, nullptr, nullptr,
                   "Receiver of the interrupts");
  orvy_requireInterface(Cls, "irqCtrl", "IrqCtrlIface");
  orvy_addProperty(Cls, "config.irq", offsetof(GpTimer, Irq), ovTY_U8, 1, nullptr, nullptr,
                   "Interrupt of the first timer; the second has the next one");
  orvy_addProperty(Cls, "scalerBase", offsetof(GpTimer, ScalerBase), ovTY_I64, 1, nullptr, nullptr,
                   "Cycle at which the prescaler was set");
  orvy_addProperty(Cls, "tickBase", offsetof(GpTimer, TickBase), ovTY_I64, 1, nullptr, nullptr,
                   "Number of the tick at that cycle");
  auto *Bank = orvy_addRegisterBank(Cls, "prescaler");
  auto *Scaler = orvy_addRegister(Bank, "scalerReload", offsetof(GpTimer, ScalerReload), ovTY_U32,
                                  1, RegisterHooks<GpTimer, 0x04>::write, nullptr,
                                  "Cycles of a tick, less one", 0, 4);
  orvy_addField(Scaler, "VALUE", UINT32_MAX, 0, 0, 1, "Cycles of a tick, less one");
  describeTimer<0>(Cls);
  describeTimer<1>(Cls);
}

} // namespace devices
