// The class SparcV8: its objects' life, and the entry point of the plug-in.

#include "Cpu.h"

#include <cstring>
#include <new>

namespace sparc {

namespace {

constexpr uint64_t DefaultFreq = 50'000'000;

void applyArgument(Cpu *C, const char *Name, const orvy_CreateArg &Arg) {
  bool Known = !std::strcmp(Arg.Key, "freq") || !std::strcmp(Arg.Key, "id");
  if (!Known || !orvy_isDiscrete(Arg.Val)) {
    orvy_logConfigError(nullptr, "SparcV8 '%s': argument '%s' is not known or no integer", Name,
                        Arg.Key);
    return;
  }
  uint64_t Value = orvy_asUnsigned(Arg.Val);
  if (!std::strcmp(Arg.Key, "id"))
    C->Id = uint32_t(Value);
  else if (Value)
    C->Freq = Value;
  else
    orvy_logConfigError(nullptr, "SparcV8 '%s': argument 'freq' must be at least 1 Hz", Name);
}

void *create(const char *Name, int Count, const orvy_CreateArg *Args) {
  auto *C = new Cpu();
  C->Queue = orvy_allocateEventQueue();
  C->Code = new CodeCache();
  C->Freq = DefaultFreq;
  C->CyclesPerInstruction = 1;
  C->TrapEntry = orvy_publishNotification("orvy.cpuTrapEntry", C);
  C->TrapExit = orvy_publishNotification("orvy.cpuTrapExit", C);
  initPages(C);
  for (int Arg = 0; Arg < Count; ++Arg)
    applyArgument(C, Name, Args[Arg]);
  reset(C, false);
  return C;
}

/// A run in progress ends with the instruction or event that disposes of its processor. Until then
/// that has a queue, which nothing is fired from any more.
void dispose(void *Obj) {
  auto *C = static_cast<Cpu *>(Obj);
  if (!C->Running) {
    destroy(C);
    return;
  }
  C->Disposed = true;
  orvy_disposeEventQueue(C->Queue);
  C->Queue = orvy_allocateEventQueue();
  if (C->Live)
    limitSlice(C, 0);
}

} // namespace

void destroy(Cpu *C) {
  forgetPages(C);
  delete C->Code;
  orvy_disposeEventQueue(C->Queue);
  delete C;
}

} // namespace sparc

extern "C" ORVY_API void orvy_pluginInit(void) {
  orvy_Class *Cls = orvy_registerClass("SparcV8", sparc::create, sparc::dispose);
  if (!Cls)
    return;
  orvy_qualifyAsCpu(Cls);
  sparc::describeRegisters(Cls);
  sparc::describeInterfaces(Cls);
  sparc::describeClock(Cls);
}
