#include "Instructions.h"

#include <cstring>

namespace sparc {

namespace {

const InsnInfo Rows[] = {
#define CONTROL_ROWS
#define ARITHMETIC_ROWS
#define MEMORY_ROWS
#define INSN(Id, Text, Form, Class, Handler) {Text, Format::Form, ovSC_##Class},
#define GAP
#include "Instructions.def"
#undef INSN
#undef GAP
#undef CONTROL_ROWS
#undef ARITHMETIC_ROWS
#undef MEMORY_ROWS
};

#define INSN(Id, Text, Format, Class, Handler) Insn::Id,
#define GAP Insn::Illegal,
const Insn ArithmeticByOp3[] = {
#define ARITHMETIC_ROWS
#include "Instructions.def"
#undef ARITHMETIC_ROWS
};
const Insn MemoryByOp3[] = {
#define MEMORY_ROWS
#include "Instructions.def"
#undef MEMORY_ROWS
};
#undef INSN
#undef GAP

static_assert(sizeof(ArithmeticByOp3) == 64 && sizeof(MemoryByOp3) == 64, "one entry for each op3");

constexpr uint8_t Two = FO_Rs2 | FO_Rd;
constexpr uint8_t Three = FO_Rs1 | FO_Rs2 | FO_Rd;
constexpr uint8_t Compare = FO_Rs1 | FO_Rs2;

const FpopInfo Fpops[] = {
    {"fmovs", 0x01, 0x34, Two},      {"fnegs", 0x05, 0x34, Two},
    {"fabss", 0x09, 0x34, Two},      {"fsqrts", 0x29, 0x34, Two},
    {"fsqrtd", 0x2A, 0x34, Two},     {"fsqrtq", 0x2B, 0x34, Two},
    {"fadds", 0x41, 0x34, Three},    {"faddd", 0x42, 0x34, Three},
    {"faddq", 0x43, 0x34, Three},    {"fsubs", 0x45, 0x34, Three},
    {"fsubd", 0x46, 0x34, Three},    {"fsubq", 0x47, 0x34, Three},
    {"fmuls", 0x49, 0x34, Three},    {"fmuld", 0x4A, 0x34, Three},
    {"fmulq", 0x4B, 0x34, Three},    {"fdivs", 0x4D, 0x34, Three},
    {"fdivd", 0x4E, 0x34, Three},    {"fdivq", 0x4F, 0x34, Three},
    {"fsmuld", 0x69, 0x34, Three},   {"fdmulq", 0x6E, 0x34, Three},
    {"fitos", 0xC4, 0x34, Two},      {"fdtos", 0xC6, 0x34, Two},
    {"fqtos", 0xC7, 0x34, Two},      {"fitod", 0xC8, 0x34, Two},
    {"fstod", 0xC9, 0x34, Two},      {"fqtod", 0xCB, 0x34, Two},
    {"fitoq", 0xCC, 0x34, Two},      {"fstoq", 0xCD, 0x34, Two},
    {"fdtoq", 0xCE, 0x34, Two},      {"fstoi", 0xD1, 0x34, Two},
    {"fdtoi", 0xD2, 0x34, Two},      {"fqtoi", 0xD3, 0x34, Two},
    {"fcmps", 0x51, 0x35, Compare},  {"fcmpd", 0x52, 0x35, Compare},
    {"fcmpq", 0x53, 0x35, Compare},  {"fcmpes", 0x55, 0x35, Compare},
    {"fcmped", 0x56, 0x35, Compare}, {"fcmpeq", 0x57, 0x35, Compare},
};

} // namespace

const char *const IccNames[16] = {"n", "e",  "le", "l",  "leu", "cs", "neg", "vs",
                                  "a", "ne", "g",  "ge", "gu",  "cc", "pos", "vc"};
const char *const FccNames[16] = {"n", "ne", "lg", "ul", "l",   "ug", "g",   "u",
                                  "a", "e",  "ue", "ge", "uge", "le", "ule", "o"};
const char *const CccNames[16] = {"n", "123", "12", "13", "1",   "23", "2",   "3",
                                  "a", "0",   "03", "02", "023", "01", "013", "012"};

const InsnInfo &infoOf(Insn Id) {
  return Rows[unsigned(Id)];
}

Insn insnAt(unsigned Op, unsigned Op3) {
  return Op == 2 ? ArithmeticByOp3[Op3 & 63] : MemoryByOp3[Op3 & 63];
}

Insn identify(uint32_t Word) {
  switch (opOf(Word)) {
  case 1:
    return Insn::Call;
  case 2:
  case 3:
    return insnAt(opOf(Word), op3Of(Word));
  default:
    break;
  }
  switch (op2Of(Word)) {
  case 0:
    return Insn::Unimp;
  case 2:
    return Insn::Bicc;
  case 4:
    return Insn::Sethi;
  case 6:
    return Insn::Fbfcc;
  case 7:
    return Insn::Cbccc;
  default:
    return Insn::Illegal;
  }
}

const FpopInfo *findFpop(unsigned Op3, unsigned Opf) {
  for (const FpopInfo &Row : Fpops)
    if (Row.Op3 == Op3 && Row.Opf == Opf)
      return &Row;
  return nullptr;
}

const FpopInfo *findFpop(const char *Text) {
  for (const FpopInfo &Row : Fpops)
    if (!std::strcmp(Row.Text, Text))
      return &Row;
  return nullptr;
}

} // namespace sparc
