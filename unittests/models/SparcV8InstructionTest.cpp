// What the instructions compute. Expected values were worked out by hand from the manual.

#include "SparcV8Cases.h"

namespace sparc_tests {

namespace {

/// %g1 op %g2 -> %g3, with the condition codes, and Y where an instruction reads or writes it.
struct Operation {
  const char *Name;
  uint32_t A, B;
  uint32_t Psr; ///< codes before
  uint32_t Y;   ///< before
  uint32_t Result;
  uint32_t Codes; ///< after
  uint32_t YAfter;
};

constexpr uint32_t Max = 0x7FFFFFFF, Min = 0x80000000, All = 0xFFFFFFFF;
constexpr uint32_t Every = N | Z | V | C;

// clang-format off
const Operation Operations[] = {
    {"add",      1,          2,          Every, 9, 3,          Every,     9},
    {"add",      All,        1,          0,     0, 0,          0,         0},
    {"addcc",    All,        1,          0,     0, 0,          Z | C,     0},
    {"addcc",    Max,        1,          0,     0, Min,        N | V,     0},
    {"addcc",    Min,        Min,        0,     0, 0,          Z | V | C, 0},
    {"addcc",    3,          4,          Every, 0, 7,          0,         0},
    {"addx",     1,          2,          C,     0, 4,          C,         0},
    {"addx",     1,          2,          0,     0, 3,          0,         0},
    {"addxcc",   All,        0,          C,     0, 0,          Z | C,     0},
    {"addxcc",   All,        All,        C,     0, All,        N | C,     0},
    {"addxcc",   Max,        0,          C,     0, Min,        N | V,     0},
    {"sub",      1,          2,          0,     0, All,        0,         0},
    {"subcc",    1,          2,          0,     0, All,        N | C,     0},
    {"subcc",    2,          2,          C,     0, 0,          Z,         0},
    {"subcc",    Min,        1,          0,     0, Max,        V,         0},
    {"subcc",    Max,        All,        0,     0, Min,        N | V | C, 0},
    {"subx",     5,          2,          C,     0, 2,          C,         0},
    {"subxcc",   0,          0,          C,     0, All,        N | C,     0},
    {"subxcc",   0,          All,        C,     0, 0,          Z | C,     0},
    {"subxcc",   Min,        0,          C,     0, Max,        V,         0},
    {"and",      0xF0F0,     0xFF00,     Every, 0, 0xF000,     Every,     0},
    {"andcc",    0xF0F0,     0x0F0F,     Every, 0, 0,          Z,         0},
    {"andn",     0xF0F0,     0xFF00,     0,     0, 0x00F0,     0,         0},
    {"andncc",   All,        Max,        C | V, 0, Min,        N,         0},
    {"or",       0xF0F0,     0xFF00,     0,     0, 0xFFF0,     0,         0},
    {"orcc",     0,          0,          0,     0, 0,          Z,         0},
    {"orn",      0,          0xFF00,     0,     0, 0xFFFF00FF, 0,         0},
    {"orncc",    0,          All,        0,     0, 0,          Z,         0},
    {"xor",      0xF0F0,     0xFF00,     0,     0, 0x0FF0,     0,         0},
    {"xorcc",    Min,        1,          0,     0, 0x80000001, N,         0},
    {"xnor",     0xF0F0,     0xFF00,     0,     0, 0xFFFFF00F, 0,         0},
    {"xnorcc",   0,          All,        0,     0, 0,          Z,         0},
    {"sll",      1,          31,         0,     0, Min,        0,         0},
    {"sll",      1,          32,         0,     0, 1,          0,         0},
    {"srl",      Min,        31,         0,     0, 1,          0,         0},
    {"sra",      Min,        31,         0,     0, All,        0,         0},
    {"sra",      Max,        0xFFFFFFE4, 0,     0, 0x07FFFFFF, 0,         0},
    {"umul",     All,        All,        Every, 0, 1,          Every,     0xFFFFFFFE},
    {"umul",     0x10000,    0x10000,    0,     9, 0,          0,         1},
    {"smul",     All,        All,        0,     9, 1,          0,         0},
    {"smul",     Min,        2,          0,     0, 0,          0,         All},
    {"umulcc",   0x10000,    0x10000,    Every, 0, 0,          Z,         1},
    {"umulcc",   Min,        1,          0,     0, Min,        N,         0},
    {"smulcc",   All,        5,          0,     0, 0xFFFFFFFB, N,         All},
    {"udiv",     7,          2,          Every, 0, 3,          Every,     0},
    {"udiv",     0,          2,          0,     1, Min,        0,         1},
    {"udiv",     0,          1,          0,     1, All,        0,         1},
    {"udivcc",   0,          1,          0,     1, All,        N | V,     1},
    {"udivcc",   1,          2,          Every, 0, 0,          Z,         0},
    {"udivcc",   6,          All,        0,     5, 5,          0,         5},
    {"sdiv",     0xFFFFFFF9, 2,          0,   All, 0xFFFFFFFD, 0,         All},
    {"sdiv",     7,          0xFFFFFFFE, 0,     0, 0xFFFFFFFD, 0,         0},
    {"sdivcc",   Min,        1,          0,     0, Max,        V,         0},
    {"sdivcc",   Min,        All,        0,     0, Min,        N,         0},
    {"sdivcc",   0x80000001, All,        0,     0, Min,        N | V,     0},
    {"sdivcc",   Min,        1,          0,   All, Min,        N,         All},
    {"sdivcc",   0,          All,        0,   Min, Max,        V,         Min},
    {"sdivcc",   0,          1,          0,   Min, Min,        N | V,     Min},
    {"taddcc",   4,          8,          0,     0, 12,         0,         0},
    {"taddcc",   4,          9,          0,     0, 13,         V,         0},
    {"taddcc",   Max & ~3u,  4,          0,     0, Min,        N | V,     0},
    {"taddcc",   0xFFFFFFFC, 4,          0,     0, 0,          Z | C,     0},
    {"tsubcc",   8,          4,          0,     0, 4,          0,         0},
    {"tsubcc",   6,          4,          0,     0, 2,          V,         0},
    {"tsubcc",   0,          4,          0,     0, 0xFFFFFFFC, N | C,     0},
    {"taddcctv", 4,          8,          Every, 0, 12,         0,         0},
    {"tsubcctv", 8,          8,          0,     0, 0,          Z,         0},
    // op1 is rs1 >> 1 with (N xor V) on top; the second operand counts if the low bit of Y is 1.
    {"mulscc",   6,          10,         0,     1, 13,         0,         0},
    {"mulscc",   7,          10,         N,     0, 0x80000003, N,         Min},
    {"mulscc",   0,          All,        V,     3, Max,        V | C,     1},
    {"mulscc",   6,          10,         N | V, 2, 3,          0,         1},
};
// clang-format on

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

TEST_F(SparcV8Cases, Operate) {
  for (const Operation &Case : Operations) {
    const std::string Code = std::string(Case.Name) + " %g1, %g2, %g3";
    std::ostringstream Before, After;
    Before << std::hex << "icc=" << (Case.Psr >> 20) << " y=" << Case.Y << " g1=" << Case.A
           << " g2=" << Case.B;
    After << std::hex << "icc=" << (Case.Codes >> 20) << " y=" << Case.YAfter
          << " g3=" << Case.Result;
    check({Code.c_str(), Before.str().c_str(), After.str().c_str()});
  }
}

TEST_F(SparcV8Cases, ChangeOnlyWhatTheyName) {
  for (const auto &Case : Cases) {
    orvy_memPageRevoke(&Memory->Pages[Data / ORVY_PAGE_SIZE]);
    for (int Round = 0; Round < 2; ++Round) // by a call first, then by the page kept
      check(Case);
  }
}

TEST_F(SparcV8Cases, GoRoundTheEightWindows) {
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
