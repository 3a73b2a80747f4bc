// Assembler and disassembler: the opcode tables of the manual, texts that are rejected, and random
// words there and back.

#include "SparcV8Cases.h"
#include "Testing/Seed.h"

#include <algorithm>
#include <array>
#include <random>

namespace sparc_tests {

namespace {

struct Row {
  uint32_t Word;
  const char *Text;
};

// The tables of the manual, by their opcode fields. Empty is not an instruction.

/// op = 2, by op3.
const char *const Arithmetic[] = {
    "add",    "and",    "or",       "xor",      "sub",    "andn",   "orn",    "xnor",
    "addx",   "",       "umul",     "smul",     "subx",   "",       "udiv",   "sdiv",
    "addcc",  "andcc",  "orcc",     "xorcc",    "subcc",  "andncc", "orncc",  "xnorcc",
    "addxcc", "",       "umulcc",   "smulcc",   "subxcc", "",       "udivcc", "sdivcc",
    "taddcc", "tsubcc", "taddcctv", "tsubcctv", "mulscc", "sll",    "srl",    "sra"};
/// op = 3, by op3; with 0x10 those of alternate spaces.
const char *const Accesses[] = {"ld", "ldub", "lduh", "ldd", "st", "stb",    "sth", "std",
                                "",   "ldsb", "ldsh", "",    "",   "ldstub", "",    "swap"};
/// op = 3, by op3 from 0x20; %? are registers of floating point, and from 0x30 of the coprocessor.
const char *const OtherAccesses[] = {
    "ld [%g1 + %g2], %?4",  "ld [%g1 + %g2], %?sr", "",
    "ldd [%g1 + %g2], %?4", "st %?4, [%g1 + %g2]",  "st %?sr, [%g1 + %g2]",
    "std %?q, [%g1 + %g2]", "std %?4, [%g1 + %g2]"};
/// op = 0, by cond; after b, fb and cb.
const char *const Conditions[][16] = {
    {"n", "e", "le", "l", "leu", "cs", "neg", "vs", "a", "ne", "g", "ge", "gu", "cc", "pos", "vc"},
    {"n", "ne", "lg", "ul", "l", "ug", "g", "u", "a", "e", "ue", "ge", "uge", "le", "ule", "o"},
    {"n", "123", "12", "13", "1", "23", "2", "3", "a", "0", "03", "02", "023", "01", "013", "012"}};
/// op = 2, op3 = 0x34 and 0x35, by opf.
const Row Unary[] = {{0x01, "fmovs"},  {0x05, "fnegs"},  {0x09, "fabss"}, {0x29, "fsqrts"},
                     {0x2A, "fsqrtd"}, {0x2B, "fsqrtq"}, {0xC4, "fitos"}, {0xC6, "fdtos"},
                     {0xC7, "fqtos"},  {0xC8, "fitod"},  {0xC9, "fstod"}, {0xCB, "fqtod"},
                     {0xCC, "fitoq"},  {0xCD, "fstoq"},  {0xCE, "fdtoq"}, {0xD1, "fstoi"},
                     {0xD2, "fdtoi"},  {0xD3, "fqtoi"}};
const Row Binary[] = {{0x41, "fadds"},  {0x42, "faddd"}, {0x43, "faddq"}, {0x45, "fsubs"},
                      {0x46, "fsubd"},  {0x47, "fsubq"}, {0x49, "fmuls"}, {0x4A, "fmuld"},
                      {0x4B, "fmulq"},  {0x4D, "fdivs"}, {0x4E, "fdivd"}, {0x4F, "fdivq"},
                      {0x69, "fsmuld"}, {0x6E, "fdmulq"}};
const Row Comparing[] = {{0x51, "fcmps"},  {0x52, "fcmpd"},  {0x53, "fcmpq"},
                         {0x55, "fcmpes"}, {0x56, "fcmped"}, {0x57, "fcmpeq"}};

/// Words and texts of the rest, and operands at their limits, from another assembler.
const char *const Rest =
    "86007fff add %g1, -1, %g3; a20c2fff and %l0, 4095, %l1; be160008 or %i0, %o0, %i7; "
    "9c187000 xor %g1, -4096, %sp; 9027800e sub %fp, %sp, %o0; 8728601f sll %g1, 31, %g3; "
    "83400000 rd %y, %g1; 83444000 rd %asr17, %g1; 83480000 rd %psr, %g1; 83500000 rd %wim, %g1; "
    "83580000 rd %tbr, %g1; 8143c000 stbar; 81806005 wr %g1, 5, %y; "
    "a7804002 wr %g1, %g2, %asr19; 81886000 wr %g1, 0, %psr; 81902002 wr %g0, 2, %wim; "
    "81984000 wr %g1, %g0, %tbr; 9fc06008 jmpl %g1 + 8, %o7; 81c08000 jmp %g2; "
    "81cca004 rett %l2 + 4; 91d02003 ta 3; 93d06005 tne %g1 + 5; 83d04002 te %g1 + %g2; "
    "9fd0207f tvc 127; 81d86004 flush %g1 + 4; 9de3bfa0 save %sp, -96, %sp; 81e80000 restore; "
    "91e84002 restore %g1, %g2, %o0; c6107ffe lduh [%g1 - 2], %g3; "
    "c6206fff st %g3, [%g1 + 4095]; c6282004 stb %g3, [%g0 + 4]; c6307000 sth %g3, [%g1 - 4096]; "
    "c4184000 ldd [%g1], %g2; c6a05fe0 sta %g3, [%g1] 0xff; c4b84040 stda %g2, [%g1] 0x2; "
    "003fffff unimp 0x3fffff; 03100000 sethi %hi(0x40000000), %g1; 01000000 nop; "
    "82102005 mov 5, %g1; 82100002 mov %g2, %g1; 80a06007 cmp %g1, 7; 81c7e008 ret; "
    "81c3e008 retl; 40000040 call .+0x100; 60000000 call .-0x80000000; 04bfffff ble .-0x4; "
    "069fffff bl .+0x7ffffc; 08a00000 bleu .-0x800000; 87b043e2 cpop1 0x1f, %c1, %c2, %c3; "
    "83bfc000 cpop2 0x0, %c31, %c0, %c1";

class SparcV8Text : public SparcV8 {
protected:
  /// An entry of a table; without a name there is no text either.
  void check(uint32_t Word, const std::string &Name, const std::string &Operands = "") {
    const char *Printed = orvy_disassembleAuto(Cpu, Word);
    const std::string Text = Name.empty() ? "none" : Name + Operands;
    EXPECT_EQ(Text, Printed ? Printed : "none") << std::hex << Word;
    EXPECT_EQ(Name.empty() ? 0 : Word, orvy_assemble(Cpu, Text.c_str())) << Text;
  }
};

} // namespace

TEST_F(SparcV8Text, OfOperationsIsThatOfTheManual) {
  for (uint32_t Op3 = 0; Op3 < std::size(Arithmetic); ++Op3)
    check(0x86004002 | Op3 << 19, Arithmetic[Op3], " %g1, %g2, %g3");
  for (auto [Opf, Name] : Unary)
    check(0x99A00008 | Opf << 5, Name, " %f8, %f12");
  for (auto [Opf, Name] : Binary)
    check(0x99A10008 | Opf << 5, Name, " %f4, %f8, %f12");
  for (auto [Opf, Name] : Comparing)
    check(0x81A90008 | Opf << 5, Name, " %f4, %f8");
  for (uint32_t Kind = 0; Kind < 3; ++Kind)
    for (uint32_t Cond = 0; Cond < 16; ++Cond)
      for (uint32_t Annul : {0, 1}) {
        const uint32_t Op2 = std::array{2, 6, 7}[Kind];
        const std::string Name =
            std::array{"b", "fb", "cb"}[Kind] + std::string(Conditions[Kind][Cond]);
        check(Annul << 29 | Cond << 25 | Op2 << 22 | 4, Name + (Annul ? ",a .+0x10" : " .+0x10"));
      }
  for (const std::string &Item : split(Rest))
    check(static_cast<uint32_t>(std::stoul(Item, nullptr, 16)), Item.substr(9));
}

TEST_F(SparcV8Text, OfAccessesIsThatOfTheManual) {
  const auto Operands = [](uint32_t Op3, const std::string &At) {
    return Op3 / 4 == 1 ? " %g4, " + At : " " + At + ", %g4";
  };
  for (uint32_t Op3 = 0; Op3 < 16; ++Op3) {
    const std::string Name = Accesses[Op3];
    check(0xC8004002 | Op3 << 19, Name, Operands(Op3, "[%g1 + %g2]"));
    check(0xC8804162 | Op3 << 19, Name.empty() ? Name : Name + "a",
          Operands(Op3, "[%g1 + %g2] 0xb"));
  }
  for (uint32_t Op3 = 0; Op3 < 16; ++Op3) {
    std::string Text = OtherAccesses[Op3 % 8];
    std::replace(Text.begin(), Text.end(), '?', Op3 < 8 ? 'f' : 'c');
    const uint32_t Rd = Text.find('4') != Text.npos ? 4 : 0;
    check(0xC1004002 | Rd << 25 | (Op3 % 8 | (Op3 & 8) << 1) << 19, Text);
  }
}

TEST_F(SparcV8Text, HasOtherSpellings) {
  const Row Cases[] = {
      {0x86004002, "  add\t%r1 ,%r2,%r3  "}, {0x9C03BFA0, "add %o6, -0x60, %o6"},
      {0x03100000, "sethi 0x100000, %g1"},   {0xC6006004, "ld [%g1+4],%g3"},
      {0xC6006000, "ld [%g1 - 0], %g3"},     {0x81E80000, "restore"},
  };
  for (const Row &Case : Cases)
    EXPECT_EQ(Case.Word, orvy_assemble(Cpu, Case.Text)) << Case.Text;
}

TEST_F(SparcV8Text, IsRejectedIfItNamesNoInstruction) {
  const char *const Texts =
      "frobnicate %g1; add %g1, %g2; add %g1, 4096, %g2; add %g1, -4097, %g2; "
      "add %g1, %g2, %g3 %g4; add %g8, %g2, %g3; add %f1, %f2, %f3; sll %g1, 32, %g2; "
      "ld [%g1, %g2; ld [%g1], %fq; ldub [%g1], %f1; lda [%g1 + 4] 0xb, %g3; "
      "lda [%g1] 0x100, %g3; sta %f1, [%g1] 1; be .+0x2; be .+0x800000; be 0x10; ba,b .+0x10; "
      "call .+0x80000000; ta 128; sethi %lo(4), %g1; sethi 0x400000, %g1; rd %g1, %g2; "
      "rd %asr32, %g2; rd %asr99999999999999999999, %g2; wr %g1, 5, %fsr; fadds %f1, %f2; "
      "cpop1 0x200, %c1, %c2, %c3; mov 99999999999999999999999, %g1; unimp; %; [";
  for (const std::string &Text : split(Texts))
    EXPECT_EQ(0u, orvy_assemble(Cpu, Text.c_str())) << Text;
  EXPECT_EQ(0u, orvy_assemble(Cpu, ""));
  EXPECT_EQ(0u, table()->assemble(Cpu, nullptr));
}

TEST_F(SparcV8Text, DependsOnFieldsAndNotOnTheBitsBetween) {
  for (uint32_t Word : {0x81E80040, 0x81E803E0})
    EXPECT_STREQ("restore", orvy_disassembleAuto(Cpu, Word)) << std::hex << Word;
  // op2 = 1, two of op = 2, FPop1 without a function, and lda with an immediate.
  for (uint32_t Word : {0x00400000u, 0x80480000u, 0x81780000u, 0x81A00000u, 0xC0806000u})
    check(Word, "");
}

TEST_F(SparcV8Text, AssemblesWhatItPrinted) {
  std::mt19937 Words(testSeed());
  for (int Round = 0; Round < 100000; ++Round) {
    // Half of them with the major opcodes 2 and 3.
    uint32_t Word = uint32_t(Words()) | uint32_t(Round % 2) << 31;
    const char *Printed = orvy_disassembleAuto(Cpu, Word);
    if (!Printed)
      continue;
    std::string Text = Printed;
    uint32_t Canonical = orvy_assemble(Cpu, Text.c_str());
    ASSERT_STREQ(Text.c_str(), orvy_disassembleAuto(Cpu, Canonical)) << std::hex << Word;
  }
}

} // namespace sparc_tests
