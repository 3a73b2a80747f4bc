// What the instructions compute. Expected values were worked out by hand from the manual.

#include "SparcV8Cases.h"

namespace sparc_tests {

namespace {

/// Operands, codes and Y before, result, codes and Y after, as "1 2 icc=f = 3 icc=0" in hexadecimal.
/// The codes are NZVC; what is not named stays, and Y is 0 before.
struct Operation {
  const char *Name, *Cases;
};

const Operation Operations[] = {
    {"add", "1 2 icc=f y=9 = 3; ffffffff 1 = 0"},
    {"addcc", "ffffffff 1 = 0 icc=5; 7fffffff 1 = 80000000 icc=a; 80000000 80000000 = 0 icc=7; "
              "3 4 icc=f = 7 icc=0"},
    {"addx", "1 2 icc=1 = 4; 1 2 = 3"},
    {"addxcc", "ffffffff 0 icc=1 = 0 icc=5; ffffffff ffffffff icc=1 = ffffffff icc=9; "
               "7fffffff 0 icc=1 = 80000000 icc=a"},
    {"sub", "1 2 = ffffffff"},
    {"subcc", "1 2 = ffffffff icc=9; 2 2 icc=1 = 0 icc=4; 80000000 1 = 7fffffff icc=2; "
              "7fffffff ffffffff = 80000000 icc=b"},
    {"subx", "5 2 icc=1 = 2"},
    {"subxcc", "0 0 icc=1 = ffffffff icc=9; 0 ffffffff icc=1 = 0 icc=5; "
               "80000000 0 icc=1 = 7fffffff icc=2"},
    {"and", "f0f0 ff00 icc=f = f000"},
    {"andcc", "f0f0 f0f icc=f = 0 icc=4"},
    {"andn", "f0f0 ff00 = f0"},
    {"andncc", "ffffffff 7fffffff icc=3 = 80000000 icc=8"},
    {"or", "f0f0 ff00 = fff0"},
    {"orcc", "0 0 = 0 icc=4"},
    {"orn", "0 ff00 = ffff00ff"},
    {"orncc", "0 ffffffff = 0 icc=4"},
    {"xor", "f0f0 ff00 = ff0"},
    {"xorcc", "80000000 1 = 80000001 icc=8"},
    {"xnor", "f0f0 ff00 = fffff00f"},
    {"xnorcc", "0 ffffffff = 0 icc=4"},
    {"sll", "1 1f = 80000000; 1 20 = 1"},
    {"srl", "80000000 1f = 1"},
    {"sra", "80000000 1f = ffffffff; 7fffffff ffffffe4 = 7ffffff"},
    {"umul", "ffffffff ffffffff icc=f y=0 = 1 y=fffffffe; 10000 10000 y=9 = 0 y=1"},
    {"smul", "ffffffff ffffffff y=9 = 1 y=0; 80000000 2 y=0 = 0 y=ffffffff"},
    {"umulcc", "10000 10000 icc=f y=0 = 0 icc=4 y=1; 80000000 1 = 80000000 icc=8"},
    {"smulcc", "ffffffff 5 y=0 = fffffffb icc=8 y=ffffffff"},
    {"udiv", "7 2 icc=f = 3; 0 2 y=1 = 80000000; 0 1 y=1 = ffffffff"},
    {"udivcc", "0 1 y=1 = ffffffff icc=a; 1 2 icc=f = 0 icc=4; 6 ffffffff y=5 = 5"},
    {"sdiv", "fffffff9 2 y=ffffffff = fffffffd; 7 fffffffe = fffffffd"},
    {"sdivcc", "80000000 1 = 7fffffff icc=2; 80000000 ffffffff = 80000000 icc=8; "
               "80000001 ffffffff = 80000000 icc=a; 80000000 1 y=ffffffff = 80000000 icc=8; "
               "0 ffffffff y=80000000 = 7fffffff icc=2; 0 1 y=80000000 = 80000000 icc=a"},
    {"taddcc", "4 8 = c; 4 9 = d icc=2; 7ffffffc 4 = 80000000 icc=a; fffffffc 4 = 0 icc=5"},
    {"tsubcc", "8 4 = 4; 6 4 = 2 icc=2; 0 4 = fffffffc icc=9"},
    {"taddcctv", "4 8 icc=f = c icc=0"},
    {"tsubcctv", "8 8 = 0 icc=4"},
    // The first operand is rs1 >> 1 with N xor V on top; the second counts if Y is odd.
    {"mulscc", "6 a y=1 = d y=0; 7 a icc=8 y=0 = 80000003 y=80000000; "
               "0 ffffffff icc=2 y=3 = 7fffffff icc=3 y=1; 6 a icc=a y=2 = 3 icc=0 y=1"},
};

const Case Cases[] = {
    // Immediates, and %g0, which stays zero.
    {"add %g1, -1, %g2", "g1=64", "g2=63"},
    {"add %g1, 4095, %g0", "g1=64", ""},
    {"sub %g0, %g1, %g2", "g1=64", "g2=ffffff9c"},
    {"sethi %hi(0xfffffc00), %l3", "", "l3=fffffc00"},
    {"sethi %hi(0xfffffc00), %g0", "", ""},
    {"sra %g1, 2, %g2", "g1=64", "g2=19"},
    {"smul %g1, -2, %g2", "g1=64", "g2=ffffff38 y=ffffffff"},
    // Memory; the words at 4000 are 81028304, 92139415, a324a526.
    {"ld [%g1], %g3", "g1=4000", "g3=81028304"},
    {"ld [%g1 + %g2], %g3", "g1=4000 g2=4", "g3=92139415"},
    {"ldub [%g1 + 3], %g3", "g1=4001", "g3=92"},
    {"ldsb [%g1 + 2], %g3", "g1=4000", "g3=ffffff83"},
    {"ldsb [%g1 - 1], %g3", "g1=4004", "g3=4"},
    {"lduh [%g1], %g3", "g1=4002", "g3=8304"},
    {"ldsh [%g1], %g3", "g1=4002", "g3=ffff8304"},
    {"ldsh [%g1], %g0", "g1=4002", ""},
    {"ldd [%g1 + 8], %l2", "g1=3ff8", "l2=81028304 l3=92139415"},
    {"ldd [%g1], %g0", "g1=4000", "g1=92139415"},
    {"lda [%g1] 0xb, %g3", "g1=4004", "g3=92139415"},
    {"lduba [%g1 + %g2] 0xa, %g3", "g1=4000 g2=4", "g3=92"},
    {"lduha [%g1] 0xb, %g3", "g1=4000", "g3=8102"},
    {"ldsba [%g1] 0x9, %g3", "g1=4000", "g3=ffffff81"},
    {"ldsha [%g1] 0x8, %g3", "g1=4000", "g3=ffff8102"},
    {"ldda [%g1] 0xb, %l4", "g1=4008", "l4=a324a526 l5=b435b637"},
    {"stb %g2, [%g1 + 1]", "g1=4000 g2=a1b2c3d4", "m4000=81d48304"},
    {"sth %g2, [%g1 + 2]", "g1=4000 g2=a1b2c3d4", "m4000=8102c3d4"},
    {"st %g2, [%g1 + 4]", "g1=4000 g2=a1b2c3d4", "m4004=a1b2c3d4"},
    {"st %g0, [%g1 + 8]", "g1=4000", "m4008=0"},
    {"std %g2, [%g1 + 8]", "g1=4000 g2=1 g3=2", "m4008=1 m400c=2"},
    {"std %g0, [%g1]", "g1=4000", "m4000=0 m4004=4000"},
    {"stba %g2, [%g1] 0xb", "g1=4000 g2=55", "m4000=55028304"},
    {"stha %g2, [%g1] 0xb", "g1=4000 g2=55", "m4000=00558304"},
    {"sta %g2, [%g1] 0xb", "g1=4000 g2=55", "m4000=55"},
    {"stda %l4, [%g1 + %l0] 0xa", "g1=4000 l0=8 l4=1 l5=2", "m4008=1 m400c=2"},
    {"swap [%g1], %g2", "g1=4000 g2=12345678", "g2=81028304 m4000=12345678"},
    {"swapa [%g1] 0xb, %g2", "g1=4000 g2=5", "g2=81028304 m4000=5"},
    {"ldstub [%g1 + 1], %g3; ldstub [%g1 + 1], %g4", "g1=4000", "g3=2 g4=ff m4000=81ff8304"},
    {"ldstuba [%g1] 0xb, %g3", "g1=4000", "g3=81 m4000=ff028304"},
    // State registers. What is written is an exclusive or, and of each only what it holds.
    {"wr %g1, %g2, %y; rd %y, %l0", "g1=ff g2=f", "y=f0 l0=f0"},
    {"wr %g1, 0, %wim; rd %wim, %l1", "g1=fff", "wim=ff l1=ff"},
    {"wr %g1, %g2, %asr20; rd %asr20, %l2", "g1=ff g2=f", "asr=f0 l2=f0"},
    {"wr %g1, 0xff0, %tbr; rd %tbr, %l3", "g1=40001c00", "tbr=40001000 l3=40001000"},
    {"rd %psr, %l4", "icc=5 pil=3", "l4=f05003a0"},
    {"wr %g1, 0, %psr", "g1=0fffffe0", "icc=f pil=f s=1 ps=1 et=1"},
    {"wr %g1, 5, %psr; mov %l0, %g2", "g1=a0", "cwp=5 g2=c0de0510"},
    {"stbar; flush %g1; nop", "", ""},
    // Windows: sources of the old one, target in the new one.
    {"save %sp, -96, %sp", "cwp=3 sp=1000", "cwp=2 sp=fa0"},
    {"save %l0, %o1, %l0", "l0=5 o1=6", "cwp=7 l0=b"},
    {"restore %i0, 5, %o1", "cwp=7 i0=5", "cwp=0 o1=a"},
    // Links.
    {"call .+0x10; mov 1, %g1", "", "g1=1 o7=1000 pc=1010 npc=1014"},
    {"jmpl %g1 + 8, %l0; nop", "g1=3ff0", "l0=1000 pc=3ff8 npc=3ffc"},
    {"jmpl %g1, %g1; nop", "g1=4000", "g1=1000 pc=4000 npc=4004"},
};

} // namespace

TEST_F(SparcV8Cases, ComputeResultsAndCodes) {
  for (const Operation &Op : Operations)
    for (const std::string &Text : split(Op.Cases)) {
      const size_t Space = Text.find(' '), Equals = Text.find(" = ");
      const std::string Code = Op.Name + std::string(" %g1, %g2, %g3");
      const std::string Before =
          "y=0 g1=" + Text.substr(0, Space) + " g2=" + Text.substr(Space + 1, Equals - Space - 1);
      const std::string After = "g3=" + Text.substr(Equals + 3);
      check({Code.c_str(), Before.c_str(), After.c_str()});
    }
}

TEST_F(SparcV8Cases, ChangeOnlyWhatTheyName) {
  for (const auto &Case : Cases) {
    orvy_memPageRevoke(&Memory->Pages[Data / ORVY_PAGE_SIZE]);
    for (int Round = 0; Round < 2; ++Round) // by a call first, then by the page kept
      check(Case);
  }
}

TEST_F(SparcV8Cases, RotateThroughTheEightWindows) {
  for (uint32_t Window = 0; Window < 8; ++Window)
    for (const char *Name : {"save", "restore"}) {
      const std::string Code = std::string(Name) + " %i0, %o0, %l0";
      const std::string Before = "cwp=" + std::to_string(Window) + " i0=5 o0=6";
      const uint32_t Next = (Window + (*Name == 's' ? 7 : 1)) % 8;
      const std::string After = "cwp=" + std::to_string(Next) + " l0=b";
      check({Code.c_str(), Before.c_str(), After.c_str()});
    }
}

TEST_F(SparcV8, TellsTheAddressSpaceOfEachAccess) {
  std::vector<unsigned> Seen;
  Memory->AtDevice = [&](Access, orvy_MemTransaction *Mt) { Seen.push_back(Mt->Asi); };
  set("g1", FlatMemory::DeviceBase);
  execute({"ld [%g1], %g2", "sta %g2, [%g1] 0xa", "lda [%g1] 0x8, %g2", "std %g2, [%g1]"});
  EXPECT_THAT(Seen, testing::ElementsAre(11, 10, 8, 11));
  for (auto [Mode, Expected] : {std::pair{S | Et, 9}, {Et, 8}}) {
    setPsr(Mode);
    orvy_cpuSetPc(Cpu, Mode & S ? 0x2000 : 0x3000);
    step();
    EXPECT_EQ(Expected, Memory->Last.Asi) << "of an instruction fetch";
  }
}

TEST_F(SparcV8, KeepsPlainPagesAndLetsGoOfRevokedOnes) {
  set("g1", Data);
  program({"ld [%g1], %g2", "st %g2, [%g1 + 4]", "ba .-0x8", "nop"});
  run(400);
  EXPECT_EQ(1u, Memory->Count[int(Access::Fetch)]);
  EXPECT_EQ(1u, Memory->Count[int(Access::Read)]);
  EXPECT_EQ(1u, Memory->Count[int(Access::Write)]);
  orvy_memPageRevoke(&Memory->Pages[Data / ORVY_PAGE_SIZE]);
  orvy_memPageRevoke(&Memory->Pages[Origin / ORVY_PAGE_SIZE]);
  run(400);
  EXPECT_EQ(2u, Memory->Count[int(Access::Fetch)]);
  EXPECT_EQ(2u, Memory->Count[int(Access::Read)]);
  EXPECT_EQ(2u, Memory->Count[int(Access::Write)]);
}

} // namespace sparc_tests
