// The processor with a memory space: memory that fails or goes away while instructions use it.

#include "Board.h"

#include <functional>

using namespace orvy::testing;

namespace {

constexpr uint64_t Ram = Board::RamBase;

uint32_t trapOf(void *Cpu) {
  return orvy_sparcGetTbr(Cpu) >> 4 & 0xFF;
}

TEST(SparcV8Board, TrapsOnFaultyWords) {
  Board B;
  void *Cpu = B.Cpus[0];
  B.assemble(0, Ram + 0x90, {"jmp %l1", "rett %l2"});
  B.assemble(0, Ram + 0x1000, {"ld [%g1], %g3"});
  orvy_sparcSetTbr(Cpu, Ram);
  orvy_sparcSetPsr(Cpu, 0xA0);
  orvy_cpuSetReg(Cpu, 1, Ram + 0x2000);
  orvy_cpuStep(Cpu, 1);
  EXPECT_EQ(Ram + 0x1004, orvy_cpuGetPc(Cpu));
  orvy_memorySetAttr(B.Space, Ram + 0x2000, 4, ovMA_Faulty);
  orvy_cpuSetPc(Cpu, Ram + 0x1000);
  orvy_cpuStep(Cpu, 1);
  EXPECT_EQ(0x09u, trapOf(Cpu)) << "the page kept from the first access was taken back";
  orvy_memoryClearAttr(B.Space, Ram + 0x2000, 4, ovMA_Faulty);
  orvy_cpuStep(Cpu, 3);
  EXPECT_EQ(Ram + 0x1004, orvy_cpuGetPc(Cpu));
}

TEST(SparcV8Board, RunsWhatItHasStoredInRam) {
  Board B;
  void *Cpu = B.Cpus[0];
  B.assemble(0, Ram, {"nop", "add %g3, 1, %g3", "st %g2, [%g1 + 4]", "ba .-0xc", "nop"});
  orvy_cpuSetReg(Cpu, 1, Ram);
  orvy_cpuSetReg(Cpu, 2, orvy_assemble(Cpu, "add %g5, 1, %g5"));
  orvy_cpuStep(Cpu, 50);
  EXPECT_EQ(orvy_cpuGetReg(Cpu, 3), 1u);
  EXPECT_EQ(orvy_cpuGetReg(Cpu, 5), 9u);
}

std::function<void()> Blow;

void *makeCharge() {
  static constexpr auto Serve = [](void *, orvy_MemTransaction *Mt) {
    Mt->Flags |= ovMF_Failed;
    Blow();
  };
  static MemAccessIface Access = {Serve, Serve, Serve, Serve};
  orvy_Class *Cls = registerPlainClass("Charge");
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &Access, 0, "");
  return orvy_createObject("Charge", "bomb", nullptr);
}

/// What may be disposed of while instructions, events and traps run; nothing follows.
TEST(SparcV8Board, EndsItsRunIfWhatItCallsDisposesOfWhatItRunsIn) {
  const struct {
    const char *What;
    void (*End)(Board &);
    bool IsCpuLeft;
  } Cases[] = {
      {"the space", [](Board &B) { orvy_disposeObject(B.Space); }, true},
      {"the code's memory", [](Board &B) { orvy_disposeObject(B.Ram); }, true},
      {"the processor", [](Board &B) { orvy_disposeObject(B.Cpus[0]); }, false},
      {"all", [](Board &) { orvy_objsysClearObjects(); }, false},
  };
  for (const auto &Case : Cases)
    for (const char *Instruction : {"ld [%g1], %g3", "st %g3, [%g1]", "swap [%g1], %g3",
                                    "ldd [%g1], %g4", "std %g4, [%g1]", "jmp %g1", "ta 1", "nop"})
      for (bool Steps : {false, true}) {
        SCOPED_TRACE(std::string(Instruction) + " that disposes of " + Case.What);
        Board B;
        void *Cpu = B.Cpus[0];
        B.map(0x90000000, 0x100, makeCharge());
        B.assemble(0, Ram, {"ld [%g2], %g4", Instruction, "nop", "st %g4, [%g2]", "ba .-8", "nop"});
        orvy_sparcSetPsr(Cpu, 0xA0);
        orvy_cpuSetReg(Cpu, 1, 0x90000000);
        orvy_cpuSetReg(Cpu, 2, Ram + 0x2000);
        unsigned Times = 0;
        Blow = [&] {
          if (Times++ == 0)
            Case.End(B);
        };
        const auto *Table = static_cast<CpuIface *>(orvy_getInterface(Cpu, "CpuIface", -1));
        Table->enableTrapEvents(Cpu);
        const auto Hear = [](void *, void *, void *) { Blow(); };
        orvy_subscribeNotification("orvy.cpuTrapEntry", Cpu, nullptr, Hear);
        if (Instruction[0] == 'n') // the event of that time does it
          orvy_eventPostCycles(Cpu, orvy_eventPublish("charge", Cpu, [](orvy_Event *) { Blow(); }),
                               2, ovSE_Cpu);
        const orvy_CpuExitReason Reason = Steps ? Table->step(Cpu, 1000) : Table->run(Cpu, 1000);
        EXPECT_EQ(Case.IsCpuLeft ? ovCER_Halt : ovCER_Normal, Reason);
        EXPECT_EQ(Case.IsCpuLeft ? Cpu : nullptr, orvy_objectForName("cpu0"));
        if (Case.IsCpuLeft) {
          EXPECT_EQ(0x01u, trapOf(Cpu)) << "there is nothing left to fetch from";
        } else {
          EXPECT_EQ(1u, Times) << "nothing follows";
        }
        orvy_unsubscribeNotification("orvy.cpuTrapEntry", Cpu, Hear);
      }
}

} // namespace
