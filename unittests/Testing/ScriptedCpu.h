// ScriptedCpu.h - a processor that executes nothing: a step is a cycle, and the test says where it
// stops.

#ifndef ORVY_UNITTESTS_SCRIPTEDCPU_H
#define ORVY_UNITTESTS_SCRIPTEDCPU_H

#include "orvy/Support/Orvy.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace orvy::testing {

struct ScriptedCpu {
  orvy_Object Super;
  orvy_EventQueue *Queue;
  int64_t Cycles;
  int64_t Steps;
  uint64_t Freq;
  void *Machine;
  uint64_t Regs[32];
  uint64_t Padding[2];
  uint64_t Counters[4]; // at the word that the boundary fixes
  int64_t StopAt;       // cycle at which the next run stops with StopReason, -1 for none
  orvy_CpuExitReason StopReason;
  bool StaysStopped; // as a halted processor does
  int Resets;
  int LastTrap;
  bool TrapLeft; // by the way that does not return
  std::vector<int64_t> *Limits;
  void (*Then)(ScriptedCpu *); // called once at the end of a run or step; may dispose of it

  static ScriptedCpu &of(void *Obj) { return *static_cast<ScriptedCpu *>(Obj); }

  void stopAt(int64_t Cycle, orvy_CpuExitReason Reason, bool Stays = false) {
    StopAt = Cycle;
    StopReason = Reason;
    StaysStopped = Stays;
  }

  orvy_CpuExitReason advance(int64_t Limit, uint64_t MaxSteps) {
    while (Cycles < Limit && MaxSteps > 0) {
      if (StopAt >= 0 && Cycles >= StopAt) {
        if (!StaysStopped)
          StopAt = -1;
        return StopReason;
      }
      int64_t First = orvy_eventGetFirstTime(Queue);
      if (First >= 0 && First <= Cycles) {
        orvy_eventTrigger(Queue, Cycles);
        continue;
      }
      int64_t Next = First < 0 ? Limit : std::min(First, Limit);
      if (StopAt >= 0)
        Next = std::min(Next, StopAt);
      auto Move = std::min<uint64_t>(static_cast<uint64_t>(Next - Cycles), MaxSteps);
      Cycles += static_cast<int64_t>(Move);
      Steps += static_cast<int64_t>(Move);
      MaxSteps -= Move;
    }
    orvy_eventTrigger(Queue, Cycles);
    if (auto Act = std::exchange(Then, nullptr))
      Act(this);
    return ovCER_Normal;
  }

  static CpuIface *cpuIface() {
    static CpuIface Iface = makeCpuIface();
    return &Iface;
  }

  static EventIface *eventIface() {
    static EventIface Iface = {
        [](void *Obj, orvy_ThreadSafeCb Cb, void *Arg) {
          orvy_postCallbackInQueue(of(Obj).Queue, Cb, Arg);
        },
        [](void *Obj, orvy_ThreadSafeCb Cb, void *Arg) {
          orvy_removeCallbackInQueue(of(Obj).Queue, Cb, Arg);
        },
        [](void *Obj, int64_t Id, int64_t Time) {
          orvy_eventPostAbsoluteInQueueInternal(of(Obj).Queue, Id, Time);
        },
        [](void *Obj, int64_t Id, int64_t Delay) {
          int64_t Time = 0;
          if (__builtin_add_overflow(of(Obj).Cycles, Delay, &Time))
            Time = INT64_MAX;
          orvy_eventPostAbsoluteInQueueInternal(of(Obj).Queue, Id, Time);
        },
        [](void *Obj, int64_t Id) { orvy_eventStackPostInternal(of(Obj).Queue, Id); }};
    return &Iface;
  }

  /// Registers the class "ScriptedCpu", if it is not registered yet.
  static void registerClass() {
    static void *Table[] = {cpuIface(), nullptr, eventIface()};
    orvy_Class *Cls = orvy_registerClass("ScriptedCpu", create, dispose);
    if (!Cls)
      return;
    orvy_qualifyAsCpu(Cls);
    orvy_setVTable(Cls, Table);
    orvy_addInterface(Cls, "CpuIface", "CpuIface", cpuIface(), 0, "");
    orvy_addInterface(Cls, "EventIface", "EventIface", eventIface(), 0, "");
    orvy_addProperty(Cls, "cycles", offsetof(ScriptedCpu, Cycles), ovTY_I64, 1, nullptr, nullptr,
                     "");
    orvy_addProperty(Cls, "steps", offsetof(ScriptedCpu, Steps), ovTY_I64, 1, nullptr, nullptr, "");
  }

  static ScriptedCpu *make(const char *Name, uint64_t Freq,
                           std::vector<int64_t> *Limits = nullptr) {
    registerClass();
    auto *Cpu = static_cast<ScriptedCpu *>(orvy_createObject("ScriptedCpu", Name, nullptr));
    Cpu->Freq = Freq;
    Cpu->Limits = Limits;
    return Cpu;
  }

private:
  static void *create(const char *, int, const orvy_CreateArg *) {
    auto *Cpu = static_cast<ScriptedCpu *>(std::calloc(1, sizeof(ScriptedCpu)));
    Cpu->Queue = orvy_allocateEventQueue();
    Cpu->StopAt = -1;
    return Cpu;
  }

  static void dispose(void *Obj) {
    orvy_disposeEventQueue(of(Obj).Queue);
    std::free(Obj);
  }

  static CpuIface makeCpuIface() {
    CpuIface I{};
    I.reset = [](void *O, int) { ++of(O).Resets; };
    I.run = [](void *O, uint64_t Cycles) {
      return of(O).advance(of(O).Cycles + static_cast<int64_t>(Cycles), UINT64_MAX);
    };
    I.runUntil = [](void *O, uint64_t Cycles) {
      if (of(O).Limits)
        of(O).Limits->push_back(static_cast<int64_t>(Cycles));
      return of(O).advance(static_cast<int64_t>(Cycles), UINT64_MAX);
    };
    I.step = [](void *O, uint64_t Steps) { return of(O).advance(INT64_MAX, Steps); };
    I.stepUntil = [](void *O, uint64_t Steps, uint64_t Cycles) {
      return of(O).advance(static_cast<int64_t>(Cycles), Steps);
    };
    I.raiseTrapNoReturn = [](void *O, int Trap) { of(O).LastTrap = Trap, of(O).TrapLeft = true; };
    I.raiseTrap = [](void *O, int Trap) { of(O).LastTrap = Trap, of(O).TrapLeft = false; };
    I.getFreq = [](void *O) { return of(O).Freq; };
    I.getCycles = [](void *O) { return static_cast<uint64_t>(of(O).Cycles); };
    I.getSteps = [](void *O) { return static_cast<uint64_t>(of(O).Steps); };
    I.setGpr = [](void *O, uint32_t Reg, uint64_t Value) { of(O).Regs[Reg] = Value; };
    I.getGpr = [](void *O, uint32_t Reg) { return of(O).Regs[Reg]; };
    I.setFpr32 = [](void *O, uint32_t Reg, uint32_t Bits) { of(O).Regs[Reg] = Bits; };
    I.getFpr32 = [](void *O, uint32_t Reg) { return static_cast<uint32_t>(of(O).Regs[Reg]); };
    I.setFpr64 = I.setGpr;
    I.getFpr64 = I.getGpr;
    I.disassemble = [](void *, uint32_t Instr) {
      return Instr ? strdup(("op " + std::to_string(Instr)).c_str()) : nullptr;
    };
    I.assemble = [](void *, const char *Text) { return static_cast<uint32_t>(std::strlen(Text)); };
    I.translateAddress = [](void *, uint64_t Va, uint32_t *Flags) {
      *Flags |= 2;
      return Va + 0x1000;
    };
    I.getMachine = [](void *O) { return of(O).Machine; };
    return I;
  }
};

static_assert(offsetof(ScriptedCpu, Counters) == ORVY_CPU_ICLASS_WORD * sizeof(uint64_t));

} // namespace orvy::testing

#endif
