// Assembler and disassembler: literal words for the whole set, texts that are refused, random words
// there and back, and the same against the system's cross assembler where there is one.

#include "SparcV8Fixture.h"
#include "Testing/Seed.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <unistd.h>

namespace sparc_tests {

namespace {

struct Row {
  uint32_t Word;
  const char *Text;
};

/// The words were worked out with another assembler, those of the coprocessor by hand.
const Row WholeSet[] = {
    {0x86004002, "add %g1, %g2, %g3"},
    {0x86007FFF, "add %g1, -1, %g3"},
    {0xA20C2FFF, "and %l0, 4095, %l1"},
    {0xBE160008, "or %i0, %o0, %i7"},
    {0x9C187000, "xor %g1, -4096, %sp"},
    {0x9027800E, "sub %fp, %sp, %o0"},
    {0x86284002, "andn %g1, %g2, %g3"},
    {0x86304002, "orn %g1, %g2, %g3"},
    {0x86384002, "xnor %g1, %g2, %g3"},
    {0x86404002, "addx %g1, %g2, %g3"},
    {0x8650600A, "umul %g1, 10, %g3"},
    {0x86584002, "smul %g1, %g2, %g3"},
    {0x86604002, "subx %g1, %g2, %g3"},
    {0x86704002, "udiv %g1, %g2, %g3"},
    {0x86787FFD, "sdiv %g1, -3, %g3"},
    {0x86804002, "addcc %g1, %g2, %g3"},
    {0x86884002, "andcc %g1, %g2, %g3"},
    {0x86904002, "orcc %g1, %g2, %g3"},
    {0x86984002, "xorcc %g1, %g2, %g3"},
    {0x86A04002, "subcc %g1, %g2, %g3"},
    {0x86A84002, "andncc %g1, %g2, %g3"},
    {0x86B04002, "orncc %g1, %g2, %g3"},
    {0x86B84002, "xnorcc %g1, %g2, %g3"},
    {0x86C04002, "addxcc %g1, %g2, %g3"},
    {0x86D04002, "umulcc %g1, %g2, %g3"},
    {0x86D84002, "smulcc %g1, %g2, %g3"},
    {0x86E04002, "subxcc %g1, %g2, %g3"},
    {0x86F04002, "udivcc %g1, %g2, %g3"},
    {0x86F84002, "sdivcc %g1, %g2, %g3"},
    {0x87004002, "taddcc %g1, %g2, %g3"},
    {0x87084002, "tsubcc %g1, %g2, %g3"},
    {0x87104002, "taddcctv %g1, %g2, %g3"},
    {0x87184002, "tsubcctv %g1, %g2, %g3"},
    {0x87204002, "mulscc %g1, %g2, %g3"},
    {0x8728601F, "sll %g1, 31, %g3"},
    {0x87304002, "srl %g1, %g2, %g3"},
    {0x87386004, "sra %g1, 4, %g3"},
    {0x83400000, "rd %y, %g1"},
    {0x83444000, "rd %asr17, %g1"},
    {0x83480000, "rd %psr, %g1"},
    {0x83500000, "rd %wim, %g1"},
    {0x83580000, "rd %tbr, %g1"},
    {0x8143C000, "stbar"},
    {0x81806005, "wr %g1, 5, %y"},
    {0xA7804002, "wr %g1, %g2, %asr19"},
    {0x81886000, "wr %g1, 0, %psr"},
    {0x81902002, "wr %g0, 2, %wim"},
    {0x81984000, "wr %g1, %g0, %tbr"},
    {0x9FC06008, "jmpl %g1 + 8, %o7"},
    {0x81C08000, "jmp %g2"},
    {0x81CCA004, "rett %l2 + 4"},
    {0x91D02003, "ta 3"},
    {0x93D06005, "tne %g1 + 5"},
    {0x83D04002, "te %g1 + %g2"},
    {0x9FD0207F, "tvc 127"},
    {0x81D86004, "flush %g1 + 4"},
    {0x9DE3BFA0, "save %sp, -96, %sp"},
    {0x81E80000, "restore"},
    {0x91E84002, "restore %g1, %g2, %o0"},
    {0xC6004002, "ld [%g1 + %g2], %g3"},
    {0xC6086001, "ldub [%g1 + 1], %g3"},
    {0xC6107FFE, "lduh [%g1 - 2], %g3"},
    {0xC4184000, "ldd [%g1], %g2"},
    {0xC6206FFF, "st %g3, [%g1 + 4095]"},
    {0xC6282004, "stb %g3, [%g0 + 4]"},
    {0xC6307000, "sth %g3, [%g1 - 4096]"},
    {0xC4384004, "std %g2, [%g1 + %g4]"},
    {0xC6484000, "ldsb [%g1], %g3"},
    {0xC6504000, "ldsh [%g1], %g3"},
    {0xC6684000, "ldstub [%g1], %g3"},
    {0xC6786004, "swap [%g1 + 4], %g3"},
    {0xC6804162, "lda [%g1 + %g2] 0xb, %g3"},
    {0xC6884100, "lduba [%g1] 0x8, %g3"},
    {0xC6904120, "lduha [%g1] 0x9, %g3"},
    {0xC4984140, "ldda [%g1] 0xa, %g2"},
    {0xC6A05FE0, "sta %g3, [%g1] 0xff"},
    {0xC6A84002, "stba %g3, [%g1 + %g2] 0x0"},
    {0xC6B04020, "stha %g3, [%g1] 0x1"},
    {0xC4B84040, "stda %g2, [%g1] 0x2"},
    {0xC6C84160, "ldsba [%g1] 0xb, %g3"},
    {0xC6D04160, "ldsha [%g1] 0xb, %g3"},
    {0xC6E84160, "ldstuba [%g1] 0xb, %g3"},
    {0xC6F84160, "swapa [%g1] 0xb, %g3"},
    {0xC9004000, "ld [%g1], %f4"},
    {0xC1086004, "ld [%g1 + 4], %fsr"},
    {0xFD184000, "ldd [%g1], %f30"},
    {0xC3204000, "st %f1, [%g1]"},
    {0xC1284000, "st %fsr, [%g1]"},
    {0xC1304000, "std %fq, [%g1]"},
    {0xC5384002, "std %f2, [%g1 + %g2]"},
    {0xC9804000, "ld [%g1], %c4"},
    {0xC1884000, "ld [%g1], %csr"},
    {0xC5984000, "ldd [%g1], %c2"},
    {0xFFA04000, "st %c31, [%g1]"},
    {0xC1A84000, "st %csr, [%g1]"},
    {0xC1B04000, "std %cq, [%g1]"},
    {0xC5B84000, "std %c2, [%g1]"},
    {0x85A00021, "fmovs %f1, %f2"},
    {0x85A000A1, "fnegs %f1, %f2"},
    {0x85A00121, "fabss %f1, %f2"},
    {0x85A00521, "fsqrts %f1, %f2"},
    {0x89A00542, "fsqrtd %f2, %f4"},
    {0x91A00564, "fsqrtq %f4, %f8"},
    {0x87A04822, "fadds %f1, %f2, %f3"},
    {0x8DA08844, "faddd %f2, %f4, %f6"},
    {0x99A10868, "faddq %f4, %f8, %f12"},
    {0x87A048A2, "fsubs %f1, %f2, %f3"},
    {0x8DA088C4, "fsubd %f2, %f4, %f6"},
    {0x99A108E8, "fsubq %f4, %f8, %f12"},
    {0x87A04922, "fmuls %f1, %f2, %f3"},
    {0x8DA08944, "fmuld %f2, %f4, %f6"},
    {0x99A10968, "fmulq %f4, %f8, %f12"},
    {0x87A049A2, "fdivs %f1, %f2, %f3"},
    {0x8DA089C4, "fdivd %f2, %f4, %f6"},
    {0x99A109E8, "fdivq %f4, %f8, %f12"},
    {0x89A04D22, "fsmuld %f1, %f2, %f4"},
    {0x91A08DC4, "fdmulq %f2, %f4, %f8"},
    {0x85A01881, "fitos %f1, %f2"},
    {0x83A018C2, "fdtos %f2, %f1"},
    {0x83A018E4, "fqtos %f4, %f1"},
    {0x85A01901, "fitod %f1, %f2"},
    {0x85A01921, "fstod %f1, %f2"},
    {0x85A01964, "fqtod %f4, %f2"},
    {0x89A01981, "fitoq %f1, %f4"},
    {0x89A019A1, "fstoq %f1, %f4"},
    {0x89A019C2, "fdtoq %f2, %f4"},
    {0x85A01A21, "fstoi %f1, %f2"},
    {0x83A01A42, "fdtoi %f2, %f1"},
    {0x83A01A64, "fqtoi %f4, %f1"},
    {0x81A84A22, "fcmps %f1, %f2"},
    {0x81A88A44, "fcmpd %f2, %f4"},
    {0x81A90A68, "fcmpq %f4, %f8"},
    {0x81A84AA2, "fcmpes %f1, %f2"},
    {0x81A88AC4, "fcmped %f2, %f4"},
    {0x81A90AE8, "fcmpeq %f4, %f8"},
    {0x003FFFFF, "unimp 0x3fffff"},
    {0x03100000, "sethi %hi(0x40000000), %g1"},
    {0x01000000, "nop"},
    {0x82102005, "mov 5, %g1"},
    {0x82100002, "mov %g2, %g1"},
    {0x80A06007, "cmp %g1, 7"},
    {0x81C7E008, "ret"},
    {0x81C3E008, "retl"},
    {0x40000040, "call .+0x100"},
    {0x60000000, "call .-0x80000000"},
    {0x00800001, "bn .+0x4"},
    {0x02800002, "be .+0x8"},
    {0x04BFFFFF, "ble .-0x4"},
    {0x069FFFFF, "bl .+0x7ffffc"},
    {0x08A00000, "bleu .-0x800000"},
    {0x0A800004, "bcs .+0x10"},
    {0x2C800004, "bneg,a .+0x10"},
    {0x2E800004, "bvs,a .+0x10"},
    {0x10800004, "ba .+0x10"},
    {0x30800004, "ba,a .+0x10"},
    {0x12800004, "bne .+0x10"},
    {0x14800004, "bg .+0x10"},
    {0x16800004, "bge .+0x10"},
    {0x18800004, "bgu .+0x10"},
    {0x1A800004, "bcc .+0x10"},
    {0x1C800004, "bpos .+0x10"},
    {0x1E800004, "bvc .+0x10"},
    {0x01800004, "fbn .+0x10"},
    {0x03800004, "fbne .+0x10"},
    {0x05800004, "fblg .+0x10"},
    {0x07800004, "fbul .+0x10"},
    {0x09800004, "fbl .+0x10"},
    {0x0B800004, "fbug .+0x10"},
    {0x0D800004, "fbg .+0x10"},
    {0x0F800004, "fbu .+0x10"},
    {0x11800004, "fba .+0x10"},
    {0x13800004, "fbe .+0x10"},
    {0x15800004, "fbue .+0x10"},
    {0x37800004, "fbge,a .+0x10"},
    {0x19800004, "fbuge .+0x10"},
    {0x1B800004, "fble .+0x10"},
    {0x1D800004, "fbule .+0x10"},
    {0x1F800004, "fbo .+0x10"},
    {0x01C00004, "cbn .+0x10"},
    {0x03C00004, "cb123 .+0x10"},
    {0x05C00004, "cb12 .+0x10"},
    {0x07C00004, "cb13 .+0x10"},
    {0x09C00004, "cb1 .+0x10"},
    {0x0BC00004, "cb23 .+0x10"},
    {0x0DC00004, "cb2 .+0x10"},
    {0x0FC00004, "cb3 .+0x10"},
    {0x11C00004, "cba .+0x10"},
    {0x13C00004, "cb0 .+0x10"},
    {0x15C00004, "cb03 .+0x10"},
    {0x17C00004, "cb02 .+0x10"},
    {0x19C00004, "cb023 .+0x10"},
    {0x1BC00004, "cb01 .+0x10"},
    {0x1DC00004, "cb013 .+0x10"},
    {0x1FC00004, "cb012 .+0x10"},
    {0x87B043E2, "cpop1 0x1f, %c1, %c2, %c3"},
    {0x83BFC000, "cpop2 0x0, %c31, %c0, %c1"},
};

/// Random words, half of them with the major opcodes 2 and 3.
class RandomWords {
public:
  uint32_t next() {
    uint32_t Word = Engine();
    return ++Count % 2 ? Word : Word | 0x80000000;
  }

private:
  std::mt19937 Engine{testSeed()};
  unsigned Count = 0;
};

} // namespace

TEST_F(SparcV8, DisassemblesTheWholeSet) {
  for (const Row &Case : WholeSet)
    EXPECT_STREQ(Case.Text, orvy_disassembleAuto(Cpu, Case.Word)) << std::hex << Case.Word;
}

TEST_F(SparcV8, AssemblesTheWholeSet) {
  for (const Row &Case : WholeSet)
    EXPECT_EQ(Case.Word, orvy_assemble(Cpu, Case.Text)) << Case.Text;
}

TEST_F(SparcV8, ReadsOtherSpellings) {
  const Row Cases[] = {
      {0x86004002, "  add\t%r1 ,%r2,%r3  "}, {0x9C03BFA0, "add %o6, -0x60, %o6"},
      {0x03100000, "sethi 0x100000, %g1"},   {0xC6006004, "ld [%g1+4],%g3"},
      {0xC6006000, "ld [%g1 - 0], %g3"},     {0x81E80000, "restore"},
  };
  for (const Row &Case : Cases)
    EXPECT_EQ(Case.Word, orvy_assemble(Cpu, Case.Text)) << Case.Text;
}

TEST_F(SparcV8, RefusesWhatIsNoInstruction) {
  const char *const Cases[] = {
      "",
      "frobnicate %g1",
      "add %g1, %g2",
      "add %g1, 4096, %g2",
      "add %g1, -4097, %g2",
      "add %g1, %g2, %g3 %g4",
      "add %g8, %g2, %g3",
      "add %f1, %f2, %f3",
      "sll %g1, 32, %g2",
      "ld [%g1, %g2",
      "ld [%g1], %fq",
      "ldub [%g1], %f1",
      "lda [%g1 + 4] 0xb, %g3",
      "lda [%g1] 0x100, %g3",
      "sta %f1, [%g1] 1",
      "be .+0x2",
      "be .+0x800000",
      "be 0x10",
      "ba,b .+0x10",
      "ta 128",
      "sethi %lo(4), %g1",
      "sethi 0x400000, %g1",
      "rd %g1, %g2",
      "rd %asr32, %g2",
      "rd %asr99999999999999999999, %g2",
      "wr %g1, 5, %fsr",
      "fadds %f1, %f2",
      "cpop1 0x200, %c1, %c2, %c3",
      "mov 99999999999999999999999, %g1",
      "unimp",
      "%",
      "[",
  };
  for (const char *Text : Cases)
    EXPECT_EQ(0u, orvy_assemble(Cpu, Text)) << Text;
  EXPECT_EQ(0u, table()->assemble(Cpu, nullptr));
}

TEST_F(SparcV8, ReadsFieldsAndNotTheBitsBetween) {
  for (uint32_t Word : {0x81E80000, 0x81E80040, 0x81E803E0})
    EXPECT_STREQ("restore", orvy_disassembleAuto(Cpu, Word)) << std::hex << Word;
}

TEST_F(SparcV8, HasNoTextForWordsThatAreNoInstruction) {
  const uint32_t Cases[] = {
      0x00400000, // op2 = 1
      0x80480000, // op = 2, op3 = 9
      0x81780000, // op = 2, op3 = 0x2f
      0xC0400000, // op = 3, op3 = 8
      0x81A00000, // FPop1 without a function
      0xC0806000, // lda with an immediate
  };
  for (uint32_t Word : Cases)
    EXPECT_EQ(nullptr, orvy_disassembleAuto(Cpu, Word)) << std::hex << Word;
}

TEST_F(SparcV8, AssemblesWhatItPrinted) {
  RandomWords Words;
  for (int Round = 0; Round < 100000; ++Round) {
    uint32_t Word = Words.next();
    const char *Printed = orvy_disassembleAuto(Cpu, Word);
    if (!Printed)
      continue;
    std::string Text = Printed;
    uint32_t Canonical = orvy_assemble(Cpu, Text.c_str());
    ASSERT_STREQ(Text.c_str(), orvy_disassembleAuto(Cpu, Canonical)) << std::hex << Word;
  }
}

namespace {

/// Operands of floating-point pairs and quadruples that the cross assembler does not take, and
/// families that it does not know.
bool isForeign(const std::string &Text, uint32_t Word) {
  uint32_t Op3 = Word >> 19 & 63;
  bool Pairs = Word >> 30 == 3 && (Op3 == 0x23 || Op3 == 0x27) && (Word >> 25 & 1);
  bool Operates = Word >> 30 == 2 && (Op3 == 0x34 || Op3 == 0x35);
  return Pairs || Operates || Text.rfind("cb", 0) == 0 || Text.rfind("cpop", 0) == 0;
}

} // namespace

TEST_F(SparcV8, AgreesWithTheCrossAssembler) {
  if (std::system("sparc64-linux-gnu-as --version >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "no cross assembler";
  std::string Base = testing::TempDir() + "sparcv8-text-" + std::to_string(getpid());
  RandomWords Words;
  std::vector<Row> Expected;
  std::vector<std::string> Texts;
  for (int Round = 0; Round < 20000; ++Round) {
    uint32_t Word = Words.next();
    const char *Text = orvy_disassembleAuto(Cpu, Word);
    if (!Text || isForeign(Text, Word))
      continue;
    Texts.push_back(Text);
    Expected.push_back({orvy_assemble(Cpu, Texts.back().c_str()), ""});
  }
  std::ofstream Source(Base + ".s");
  for (const std::string &Text : Texts)
    Source << Text << "\n";
  Source.close();
  std::string Command = "sparc64-linux-gnu-as -32 -Av8 -K PIC " + Base + ".s -o " + Base + ".o 2>" +
                        Base + ".log && sparc64-linux-gnu-objcopy -O binary -j .text " + Base +
                        ".o " + Base + ".bin";
  ASSERT_EQ(0, std::system(Command.c_str())) << "see " << Base << ".log";
  std::ifstream Binary(Base + ".bin", std::ios::binary);
  for (size_t Line = 0; Line < Texts.size(); ++Line) {
    uint8_t Bytes[4] = {};
    Binary.read(reinterpret_cast<char *>(Bytes), 4);
    uint32_t Word = uint32_t(Bytes[0]) << 24 | Bytes[1] << 16 | Bytes[2] << 8 | Bytes[3];
    ASSERT_EQ(Word, Expected[Line].Word) << Texts[Line];
  }
  for (const char *Suffix : {".s", ".o", ".bin", ".log"})
    std::remove((Base + Suffix).c_str());
}

} // namespace sparc_tests
