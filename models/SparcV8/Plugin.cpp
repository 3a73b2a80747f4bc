// The class SparcV8: creation and disposal of its objects, and the entry point of the plug-in.

#include "Cpu.h"

#include <new>

namespace sparc {

namespace {

constexpr uint64_t DefaultFreq = 50'000'000;

void *create(const char *Name, int Count, const orvy_CreateArg *Args) {
  uint64_t Freq = DefaultFreq, Id = 0;
  const orvy_ArgSpec Specs[] = {
      {"freq", ovAK_Freq, &Freq, 1, INT64_MAX, "Frequency"},
      {"id", ovAK_Number, &Id, 0, UINT32_MAX, "Number of the processor, as in %asr17"},
      {}};
  if (orvy_readCreateArgs("SparcV8", Name, Count, Args, Specs, 0) != 0)
    return nullptr;
  auto *C = new Cpu();
  C->Queue = orvy_allocateEventQueue();
  C->Code = new CodeCache();
  C->Freq = Freq;
  C->Id = uint32_t(Id);
  C->CyclesPerInstruction = 1;
  C->TrapEntry = orvy_publishNotification("orvy.cpuTrapEntry", C);
  C->TrapExit = orvy_publishNotification("orvy.cpuTrapExit", C);
  initPages(C);
  reset(C, false);
  addProcessor(C);
  return C;
}

/// A run ends after the instruction or event that disposes of its processor. Until then the
/// processor has an empty queue, so that no more events fire.
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
  removeProcessor(C);
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
