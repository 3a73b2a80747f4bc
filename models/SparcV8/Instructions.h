// Instructions.h - the instruction set as data: names and operand formats.

#ifndef ORVY_MODELS_SPARCV8_INSTRUCTIONS_H
#define ORVY_MODELS_SPARCV8_INSTRUCTIONS_H

#include "Classes.h"

#include <cstdint>

namespace sparc {

/// An instruction. Bicc, Ticc, Fpop1 and the like stand for their whole family.
enum class Insn : uint8_t {
#define CONTROL_ROWS
#define ARITHMETIC_ROWS
#define MEMORY_ROWS
#define INSN(Id, Text, Format, Class, Handler) Id,
#define GAP
#include "Instructions.def"
#undef INSN
#undef GAP
#undef CONTROL_ROWS
#undef ARITHMETIC_ROWS
#undef MEMORY_ROWS
  Count
};

/// How the operands of an instruction are written.
enum class Format : uint8_t {
  None,
  Unimp,
  Call,
  Sethi,
  Bicc,
  Fbfcc,
  Cbccc,
  Arith, ///< rs1, op2, rd
  Shift, ///< as Arith, with five bits of immediate
  RdAsr,
  RdPsr,
  RdWim,
  RdTbr,
  WrAsr,
  WrPsr,
  WrWim,
  WrTbr,
  Fpop1,
  Fpop2,
  Cpop,
  Jmpl,
  Address, ///< rs1 + op2
  Ticc,
  Load, ///< [address], register; the following ones by kind of register
  LoadAsi,
  LoadFp,
  LoadFsr,
  LoadCp,
  LoadCsr,
  Store, ///< register, [address]
  StoreAsi,
  StoreFp,
  StoreFsr,
  StoreFq,
  StoreCp,
  StoreCsr,
  StoreCq
};

struct InsnInfo {
  const char *Text;
  Format Form;
  orvy_SparcV8Class Class;
};

/// The row of an instruction.
const InsnInfo &infoOf(Insn Id);

/// The instruction in a word; Illegal if the manual assigns none.
Insn identify(uint32_t Word);

/// The instruction with op = 2 or op = 3 and this op3.
Insn insnAt(unsigned Op, unsigned Op3);

/// Names of the sixteen conditions of Bicc and Ticc, of FBfcc, and of CBccc.
extern const char *const IccNames[16];
extern const char *const FccNames[16];
extern const char *const CccNames[16];

/// A floating-point operate instruction.
struct FpopInfo {
  const char *Text;
  uint16_t Opf;
  uint8_t Op3;      ///< 0x34 or 0x35
  uint8_t Operands; ///< FpopOperands bits
};

enum FpopOperands : uint8_t { FO_Rs1 = 1, FO_Rs2 = 2, FO_Rd = 4 };

/// The row of an operate instruction by op3 and opf, or by name; null if there is none.
const FpopInfo *findFpop(unsigned Op3, unsigned Opf);
const FpopInfo *findFpop(const char *Text);

// Fields of an instruction word.
constexpr unsigned opOf(uint32_t W) {
  return W >> 30;
}
constexpr unsigned rdOf(uint32_t W) {
  return W >> 25 & 31;
}
constexpr unsigned condOf(uint32_t W) {
  return W >> 25 & 15;
}
constexpr bool annulOf(uint32_t W) {
  return W >> 29 & 1;
}
constexpr unsigned op2Of(uint32_t W) {
  return W >> 22 & 7;
}
constexpr unsigned op3Of(uint32_t W) {
  return W >> 19 & 63;
}
constexpr unsigned rs1Of(uint32_t W) {
  return W >> 14 & 31;
}
constexpr unsigned rs2Of(uint32_t W) {
  return W & 31;
}
constexpr bool immOf(uint32_t W) {
  return W >> 13 & 1;
}
constexpr unsigned asiOf(uint32_t W) {
  return W >> 5 & 255;
}
constexpr unsigned opfOf(uint32_t W) {
  return W >> 5 & 511;
}
constexpr int32_t simm13Of(uint32_t W) {
  return int32_t(W << 19) >> 19;
}
constexpr int32_t disp22Of(uint32_t W) {
  return int32_t(W << 10) >> 10;
}
constexpr int32_t disp30Of(uint32_t W) {
  return int32_t(W << 2) >> 2;
}
constexpr uint32_t imm22Of(uint32_t W) {
  return W & 0x3FFFFF;
}

} // namespace sparc

#endif
