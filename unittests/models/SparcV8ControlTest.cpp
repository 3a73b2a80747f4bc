// Transfers of control with their delay slots, register windows, and code that changes itself.

#include "SparcV8Fixture.h"

namespace sparc_tests {

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

/// For each condition the values of NZVC, as bits of a mask, under which it holds.
const struct {
  const char *Name;
  uint16_t Holds;
} Conditions[] = {
    {"n", 0x0000},   {"e", 0xF0F0},  {"le", 0xF3FC},  {"l", 0x33CC},
    {"leu", 0xFAFA}, {"cs", 0xAAAA}, {"neg", 0xFF00}, {"vs", 0xCCCC},
    {"a", 0xFFFF},   {"ne", 0x0F0F}, {"g", 0x0C03},   {"ge", 0xCC33},
    {"gu", 0x0505},  {"cc", 0x5555}, {"pos", 0x00FF}, {"vc", 0x3333},
};

} // namespace

class SparcV8Control : public SparcV8 {
protected:
  /// Addresses of the instructions executed, relative to the origin.
  std::vector<uint32_t> trace(unsigned Count) {
    std::vector<uint32_t> Seen;
    for (; Count; --Count) {
      Seen.push_back(pc() - Origin);
      step();
    }
    return Seen;
  }
};

TEST_F(SparcV8Control, BranchesAndTrapsOnEveryConditionAndCode) {
  for (const char *Target : {"+0x10", "+0x2000", "-0x1000"})
    for (const char *Annul : {"", ",a"})
      for (const auto &Cond : Conditions) {
        program({(std::string("b") + Cond.Name + Annul + " ." + Target).c_str(),
                 ("t" + std::string(Cond.Name) + " 5").c_str()});
        uint32_t To = Origin + uint32_t(std::strtol(Target, nullptr, 16));
        for (uint32_t Icc = 0; Icc < 16; ++Icc) {
          setPsr(S | Et | Icc << 20);
          orvy_cpuSetPc(Cpu, Origin);
          step();
          bool Taken = Cond.Holds >> Icc & 1;
          bool AnnulsSlot = *Annul && (!Taken || !std::strcmp(Cond.Name, "a"));
          uint32_t Next = Taken ? To : Origin + 8;
          SCOPED_TRACE(testing::Message()
                       << "b" << Cond.Name << Annul << " " << Target << " " << Icc);
          EXPECT_EQ(AnnulsSlot ? Next : Origin + 4, pc());
          EXPECT_EQ(AnnulsSlot ? Next + 4 : Next, npc());
          if (*Annul)
            continue;
          setPsr(S | Et | Icc << 20);
          orvy_cpuSetPc(Cpu, Origin + 4);
          step();
          EXPECT_EQ(Taken ? TrapTable + 0x850 : Origin + 8, pc()) << "of the trap";
        }
      }
}

TEST_F(SparcV8Control, FollowsCouplesOfControlTransfers) {
  struct Case {
    const char *First, *Second;
    std::vector<uint32_t> Executed;
  };
  // Z is set. The first goes to 0x40, the second, at 4, to 0x64.
  const Case Cases[] = {
      {"ba .+0x40", "ba .+0x60", {0, 4, 0x40, 0x64, 0x68}},
      {"ba .+0x40", "ba,a .+0x60", {0, 4, 0x64, 0x68}},
      {"ba .+0x40", "bn,a .+0x60", {0, 4, 0x44, 0x48}},
      {"ba .+0x40", "be,a .+0x60", {0, 4, 0x40, 0x64}},
      {"ba .+0x40", "bne,a .+0x60", {0, 4, 0x44, 0x48}},
      {"ba .+0x40", "bne .+0x60", {0, 4, 0x40, 0x44}},
      {"ba,a .+0x40", "ba .+0x60", {0, 0x40, 0x44}},
      {"bn .+0x40", "ba .+0x60", {0, 4, 8, 0x64, 0x68}},
      {"bn,a .+0x40", "ba .+0x60", {0, 8, 12}},
      {"be .+0x40", "ba .+0x60", {0, 4, 0x40, 0x64}},
      {"be,a .+0x40", "ba .+0x60", {0, 4, 0x40, 0x64}},
      {"bne .+0x40", "ba .+0x60", {0, 4, 8, 0x64}},
      {"bne,a .+0x40", "ba .+0x60", {0, 8, 12}},
      {"call .+0x40", "call .+0x60", {0, 4, 0x40, 0x64, 0x68}},
      {"ba .+0x40", "jmp %g1", {0, 4, 0x40, 0x2000, 0x2004}},
      {"jmp %g1", "ba .+0x60", {0, 4, 0x2000, 0x64, 0x68}},
      {"jmp %g1", "jmp %g2", {0, 4, 0x2000, 0x5000}},
  };
  for (uint32_t Address = Origin; Address < Origin + 0x80; Address += 4)
    place(Address, {"nop"});
  for (uint32_t Far : {0x2000, 0x5000})
    place(Origin + Far, {"nop", "nop", "nop"});
  set("g1", Origin + 0x2000);
  set("g2", Origin + 0x5000);
  setPsr(S | Et | Z);
  for (const Case &Couple : Cases) {
    program({Couple.First, Couple.Second});
    orvy_cpuSetPc(Cpu, Origin);
    SCOPED_TRACE(testing::Message() << Couple.First << "; " << Couple.Second);
    EXPECT_THAT(trace(unsigned(Couple.Executed.size())), ElementsAreArray(Couple.Executed));
  }
}

TEST_F(SparcV8Control, RunsOnAcrossPages) {
  const uint32_t End = 0x2000 - Origin; // of the first page
  place(Origin + End - 8, {"nop", "ba .+0xc", "mov 1, %g1", "mov 2, %g2", "mov 3, %g3"});
  orvy_cpuSetPc(Cpu, Origin + End - 8);
  EXPECT_THAT(trace(4), ElementsAre(End - 8, End - 4, End, End + 8));
  place(Origin + End - 4, {"bn,a .+0xc"});
  orvy_cpuSetPc(Cpu, Origin + End - 4);
  EXPECT_THAT(trace(3), ElementsAre(End - 4, End + 4, End + 8));
  place(Origin + End - 4, {"nop"});
  orvy_cpuSetPc(Cpu, Origin + End - 4);
  EXPECT_THAT(trace(3), ElementsAre(End - 4, End, End + 4));
}

TEST_F(SparcV8Control, RunsWhatItHasJustStored) {
  // The second store changes the next instruction, which was decoded by an earlier pass; the first
  // one made the page known, so that the second goes straight to it.
  set("g1", Origin + 8);
  set("g2", orvy_assemble(Cpu, "add %g3, 100, %g3"));
  program({"st %g0, [%g1 + 64]", "nop", "add %g3, 1, %g3", "ba .-0xc", "nop"});
  step(5);
  EXPECT_EQ(1u, get("g3"));
  place(Origin + 4, {"st %g2, [%g1]"});
  step(3);
  EXPECT_EQ(101u, get("g3"));
}

TEST_F(SparcV8Control, SeesCodeThatOthersChange) {
  program({"mov 1, %g1", "ba .-0x4", "nop"});
  run(9);
  orvy_memoryWritePhys32(Memory, Origin, orvy_assemble(Cpu, "mov 2, %g1"));
  run(3);
  EXPECT_EQ(2u, get("g1"));
  uint32_t Word = orvy_assemble(Cpu, "mov 3, %g1");
  orvy_memoryWrite(Memory, Origin, &Word, 4, 2);
  run(3);
  EXPECT_EQ(3u, get("g1"));
}

TEST_F(SparcV8Control, RunsFromAMemoryThatHandsOutNoPages) {
  const uint32_t Words[] = {orvy_assemble(Cpu, "add %g1, 1, %g1"), orvy_assemble(Cpu, "ba .-0x4"),
                            orvy_assemble(Cpu, "add %g2, 2, %g2")};
  Memory->AtDevice = [&](Access, orvy_MemTransaction *Mt) { Mt->Value = Words[Mt->Pa % 16 / 4]; };
  orvy_cpuSetPc(Cpu, FlatMemory::DeviceBase);
  run(30);
  EXPECT_EQ(10u, get("g1"));
  EXPECT_EQ(20u, get("g2"));
}

TEST_F(SparcV8Control, ForgetsEverythingOfAMemoryThatIsReplaced) {
  program({"mov 1, %g1", "ld [%g2], %g3", "ba .-0x8", "nop"});
  Memory->poke(0, 7);
  run(8);
  FlatMemory *Other = FlatMemory::create("mem1");
  Other->poke(Origin, orvy_assemble(Cpu, "mov 2, %g1"));
  Other->poke(Origin + 4, orvy_assemble(Cpu, "ld [%g2], %g3"));
  Other->poke(0, 8);
  orvy_connect(Cpu, "memorySpace[0]", Other, "MemAccessIface");
  run(2);
  EXPECT_EQ(2u, get("g1"));
  EXPECT_EQ(8u, get("g3"));
  orvy_connect(Cpu, "memorySpace[0]", Memory, "MemAccessIface");
  orvy_disposeObject(Other);
  orvy_cpuSetPc(Cpu, Origin);
  run(2);
  EXPECT_EQ(7u, get("g3"));
}

} // namespace sparc_tests
