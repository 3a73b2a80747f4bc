// What the instructions compute. Expected values were worked out by hand from the manual.

#include "SparcV8Fixture.h"

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
    // op1 is (N xor V) ahead of rs1 >> 1; the second operand counts if the low bit of Y is 1.
    {"mulscc",   6,          10,         0,     1, 13,         0,         0},
    {"mulscc",   7,          10,         N,     0, 0x80000003, N,         Min},
    {"mulscc",   0,          All,        V,     3, Max,        V | C,     1},
    {"mulscc",   6,          10,         N | V, 2, 3,          0,         1},
};
// clang-format on

} // namespace

TEST_F(SparcV8, Operates) {
  for (const Operation &Case : Operations) {
    setPsr(S | Et | Case.Psr);
    set("g1", Case.A);
    set("g2", Case.B);
    set("g3", 0xDEADBEEF);
    set("y", Case.Y);
    orvy_cpuSetPc(Cpu, Origin);
    std::string Text = std::string(Case.Name) + " %g1, %g2, %g3";
    execute({Text.c_str()});
    SCOPED_TRACE(testing::Message() << Case.Name << std::hex << " " << Case.A << " " << Case.B);
    EXPECT_EQ(Case.Result, get("g3"));
    EXPECT_EQ(Case.Codes, icc());
    EXPECT_EQ(Case.YAfter, get("y"));
    EXPECT_EQ(Origin + 4, pc());
  }
}

TEST_F(SparcV8, TakesImmediatesAndKeepsGlobalZero) {
  set("l0", 100);
  execute({"add %l0, -1, %l1", "add %l0, 4095, %g0", "sub %g0, %l0, %l2",
           "sethi %hi(0x12345400), %l3", "sethi %hi(0xfffffc00), %g0", "sra %l0, 2, %l4",
           "smul %l0, -2, %l5"});
  EXPECT_EQ(99u, get("l1"));
  EXPECT_EQ(0u, get("g0"));
  EXPECT_EQ(0xFFFFFF9Cu, get("l2"));
  EXPECT_EQ(0x12345400u, get("l3"));
  EXPECT_EQ(25u, get("l4"));
  EXPECT_EQ(0xFFFFFF38u, get("l5"));
}

TEST_F(SparcV8, Loads) {
  Memory->poke(Data, 0x81828384);
  Memory->poke(Data + 4, 0x05060708);
  const struct {
    const char *Text;
    uint32_t Result;
  } Cases[] = {
      {"ld [%g1], %g3", 0x81828384},        {"ldub [%g1], %g3", 0x81},
      {"ldub [%g1 + 3], %g3", 0x84},        {"ldsb [%g1 + 1], %g3", 0xFFFFFF82},
      {"ldsb [%g1 + 4], %g3", 5},           {"lduh [%g1], %g3", 0x8182},
      {"ldsh [%g1 + 2], %g3", 0xFFFF8384},  {"ldsh [%g1 + 4], %g3", 0x0506},
      {"lda [%g1] 0xb, %g3", 0x81828384},   {"lduba [%g1 + %g2] 0xa, %g3", 0x05},
      {"lduha [%g1] 0xb, %g3", 0x8182},     {"ldsba [%g1] 0xb, %g3", 0xFFFFFF81},
      {"ldsha [%g1] 0x8, %g3", 0xFFFF8182}, {"ld [%g1 + %g2], %g3", 0x05060708},
  };
  set("g1", Data);
  set("g2", 4);
  for (int Round = 0; Round < 2; ++Round) // by a call first, then by the page kept
    for (const auto &Case : Cases) {
      orvy_cpuSetPc(Cpu, Origin);
      execute({Case.Text});
      EXPECT_EQ(Case.Result, get("g3")) << Case.Text;
    }
}

TEST_F(SparcV8, LoadsAndStoresDoubleWords) {
  Memory->poke(Data, 0x11111111);
  Memory->poke(Data + 4, 0x22222222);
  set("g1", Data);
  for (int Round = 0; Round < 2; ++Round) {
    orvy_cpuSetPc(Cpu, Origin);
    execute({"ldd [%g1], %l2", "std %l2, [%g1 + 8]", "std %g0, [%g1 + 16]", "ldda [%g1] 0xb, %l4",
             "stda %l4, [%g1 + %l0] 0xb"});
    EXPECT_EQ(0x11111111u, get("l2"));
    EXPECT_EQ(0x22222222u, get("l3"));
    EXPECT_EQ(0x22222222u, get("l5"));
    EXPECT_EQ(0x11111111u, Memory->peek(Data + 8));
    EXPECT_EQ(0x22222222u, Memory->peek(Data + 12));
    EXPECT_EQ(Data, Memory->peek(Data + 20)) << "the second word of %g0 is %g1";
    EXPECT_EQ(0x11111111u, Memory->peek(Data));
  }
  orvy_cpuSetPc(Cpu, Origin);
  execute({"ldd [%g1], %g0"});
  EXPECT_EQ(0u, get("g0"));
  EXPECT_EQ(0x22222222u, get("g1"));
}

TEST_F(SparcV8, Stores) {
  set("g1", Data);
  set("g2", 0xA1B2C3D4);
  for (int Round = 0; Round < 2; ++Round) {
    Memory->poke(Data, 0);
    Memory->poke(Data + 4, 0);
    Memory->poke(Data + 8, All);
    orvy_cpuSetPc(Cpu, Origin);
    execute({"stb %g2, [%g1 + 1]", "sth %g2, [%g1 + 2]", "st %g2, [%g1 + 4]", "st %g0, [%g1 + 8]"});
    EXPECT_EQ(0x00D4C3D4u, Memory->peek(Data));
    EXPECT_EQ(0xA1B2C3D4u, Memory->peek(Data + 4));
    EXPECT_EQ(0u, Memory->peek(Data + 8));
  }
}

TEST_F(SparcV8, SwapsWithMemory) {
  set("g1", Data);
  set("g2", 0x12345678);
  Memory->poke(Data, 0xCAFEBABE);
  execute({"swap [%g1], %g2", "ldstub [%g1 + 1], %g3", "ldstub [%g1 + 1], %g4",
           "swapa [%g1] 0xb, %g2", "ldstuba [%g1] 0xb, %g5"});
  EXPECT_EQ(0x34u, get("g3"));
  EXPECT_EQ(0xFFu, get("g4"));
  EXPECT_EQ(0x12FF5678u, get("g2"));
  EXPECT_EQ(0xCAu, get("g5"));
  EXPECT_EQ(0xFFFEBABEu, Memory->peek(Data));
  EXPECT_EQ(5u, Memory->Count[int(Access::Exchange)]);
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

TEST_F(SparcV8, ReadsAndWritesStateRegisters) {
  set("g1", 0xFF);
  set("g2", 0x0F);
  execute({"wr %g1, %g2, %y", "rd %y, %l0", "wr %g1, 0, %wim", "rd %wim, %l1",
           "wr %g1, %g2, %asr20", "rd %asr20, %l2", "sethi %hi(0x40001c00), %g3",
           "wr %g3, 0xff0, %tbr", "rd %tbr, %l3", "rd %psr, %l4", "stbar", "flush %g1"});
  EXPECT_EQ(0xF0u, get("l0")) << "wr writes the exclusive or";
  EXPECT_EQ(0xFFu, get("l1"));
  EXPECT_EQ(0xF0u, get("l2"));
  EXPECT_EQ(0x40001000u, get("l3")) << "tt is not written";
  EXPECT_EQ(0xF00000A0u, get("l4"));
}

TEST_F(SparcV8, WritesOnlyWhatThePsrHolds) {
  set("g1", 0x0FFFFFE0);
  execute({"wr %g1, 0, %psr"});
  EXPECT_EQ(0xF0F00FE0u, orvy_sparcGetPsr(Cpu)) << "impl, ver, EC, EF and reserved bits stay";
}

TEST_F(SparcV8, EndsLongLoopsWithTheRightSum) {
  // The sum of 1 to 1000 by loads and stores, with a count in memory.
  set("g1", Data);
  program({"mov 1000, %g2", "mov 0, %g3", "add %g3, %g2, %g3", "st %g3, [%g1]", "subcc %g2, 1, %g2",
           "bne .-0xc", "ld [%g1], %g3", "ba .+0x0", "nop"});
  run(10000);
  EXPECT_EQ(500500u, Memory->peek(Data));
}

} // namespace sparc_tests
