#include "Instructions.h"
#include "Text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sparc {

namespace {

__attribute__((format(printf, 1, 2))) std::string format(const char *Form, ...) {
  char Text[96];
  va_list Args;
  va_start(Args, Form);
  std::vsnprintf(Text, sizeof Text, Form, Args);
  va_end(Args);
  return Text;
}

std::string reg(unsigned Number) {
  return std::string("%") + registerName(Number);
}

std::string numbered(const char *Prefix, unsigned Number) {
  return format("%%%s%u", Prefix, Number);
}

/// The second operand: a register or a signed immediate.
std::string operand(uint32_t W) {
  return immOf(W) ? std::to_string(simm13Of(W)) : reg(rs2Of(W));
}

std::string address(uint32_t W) {
  std::string Base = reg(rs1Of(W));
  if (!immOf(W))
    return rs2Of(W) ? Base + " + " + reg(rs2Of(W)) : Base;
  int Offset = simm13Of(W);
  return Base + (Offset < 0 ? " - " : " + ") + std::to_string(std::abs(Offset));
}

std::string memory(uint32_t W) {
  return "[" + address(W) + "]";
}

std::string target(int32_t Words) {
  int64_t Bytes = int64_t(Words) * 4;
  return format(Bytes < 0 ? ".-0x%llx" : ".+0x%llx", static_cast<long long>(std::llabs(Bytes)));
}

std::string branch(uint32_t W, const char *Prefix, const char *const *Names) {
  return std::string(Prefix) + Names[condOf(W)] + (annulOf(W) ? ",a " : " ") + target(disp22Of(W));
}

std::string arithmetic(uint32_t W, const char *Text) {
  return std::string(Text) + " " + reg(rs1Of(W)) + ", " + operand(W) + ", " + reg(rdOf(W));
}

std::string shift(uint32_t W, const char *Text) {
  std::string Count = immOf(W) ? std::to_string(W & 31) : reg(rs2Of(W));
  return std::string(Text) + " " + reg(rs1Of(W)) + ", " + Count + ", " + reg(rdOf(W));
}

std::string trap(uint32_t W) {
  std::string Text = std::string("t") + IccNames[condOf(W)] + " ";
  if (!immOf(W))
    return Text + address(W);
  std::string Number = std::to_string(W & 127);
  return Text + (rs1Of(W) ? reg(rs1Of(W)) + " + " + Number : Number);
}

std::string readState(uint32_t W, const char *Name) {
  return std::string("rd %") + Name + ", " + reg(rdOf(W));
}

std::string writeState(uint32_t W, const std::string &Name) {
  return "wr " + reg(rs1Of(W)) + ", " + operand(W) + ", %" + Name;
}

std::string readAsr(uint32_t W) {
  if (rs1Of(W) == 15 && rdOf(W) == 0)
    return "stbar";
  if (rs1Of(W) == 0)
    return readState(W, "y");
  return readState(W, format("asr%u", rs1Of(W)).c_str());
}

std::string writeAsr(uint32_t W) {
  return writeState(W, rdOf(W) ? format("asr%u", rdOf(W)) : std::string("y"));
}

std::string floatOperate(uint32_t W) {
  const FpopInfo *Row = findFpop(op3Of(W), opfOf(W));
  if (!Row)
    return "";
  std::string Text = Row->Text;
  const char *Separator = " ";
  auto Add = [&](uint8_t Operand, unsigned Number) {
    if (!(Row->Operands & Operand))
      return;
    Text += Separator + numbered("f", Number);
    Separator = ", ";
  };
  Add(FO_Rs1, rs1Of(W));
  Add(FO_Rs2, rs2Of(W));
  Add(FO_Rd, rdOf(W));
  return Text;
}

std::string coprocessorOperate(uint32_t W, const char *Text) {
  return format("%s 0x%x, %%c%u, %%c%u, %%c%u", Text, opfOf(W), rs1Of(W), rs2Of(W), rdOf(W));
}

std::string load(uint32_t W, const char *Text, const std::string &Reg) {
  return std::string(Text) + " " + memory(W) + ", " + Reg;
}

std::string store(uint32_t W, const char *Text, const std::string &Reg) {
  return std::string(Text) + " " + Reg + ", " + memory(W);
}

std::string alternate(uint32_t W, const InsnInfo &Info) {
  if (immOf(W))
    return "";
  std::string Place = memory(W) + format(" 0x%x", asiOf(W));
  if (Info.Form == Format::StoreAsi)
    return std::string(Info.Text) + " " + reg(rdOf(W)) + ", " + Place;
  return std::string(Info.Text) + " " + Place + ", " + reg(rdOf(W));
}

/// The text of a synthetic instruction; empty for all others.
std::string synthetic(uint32_t W, Insn Id) {
  switch (W) {
  case 0x01000000:
    return "nop";
  case 0x81C7E008:
    return "ret";
  case 0x81C3E008:
    return "retl";
  default:
    break;
  }
  if (Id == Insn::Restore && rdOf(W) == 0 && rs1Of(W) == 0 && !immOf(W) && rs2Of(W) == 0)
    return "restore";
  if (Id == Insn::Or && rs1Of(W) == 0)
    return "mov " + operand(W) + ", " + reg(rdOf(W));
  if (Id == Insn::Subcc && rdOf(W) == 0)
    return "cmp " + reg(rs1Of(W)) + ", " + operand(W);
  if (Id == Insn::Jmpl && rdOf(W) == 0)
    return "jmp " + address(W);
  return "";
}

std::string regular(uint32_t W, const InsnInfo &Info) {
  switch (Info.Form) {
  case Format::None:
    return "";
  case Format::Unimp:
    return format("unimp 0x%x", imm22Of(W));
  case Format::Call:
    return "call " + target(disp30Of(W));
  case Format::Sethi:
    return format("sethi %%hi(0x%x), ", imm22Of(W) << 10) + reg(rdOf(W));
  case Format::Bicc:
    return branch(W, Info.Text, IccNames);
  case Format::Fbfcc:
    return branch(W, Info.Text, FccNames);
  case Format::Cbccc:
    return branch(W, Info.Text, CccNames);
  case Format::Arith:
    return arithmetic(W, Info.Text);
  case Format::Shift:
    return shift(W, Info.Text);
  case Format::RdAsr:
    return readAsr(W);
  case Format::RdPsr:
    return readState(W, "psr");
  case Format::RdWim:
    return readState(W, "wim");
  case Format::RdTbr:
    return readState(W, "tbr");
  case Format::WrAsr:
    return writeAsr(W);
  case Format::WrPsr:
    return writeState(W, "psr");
  case Format::WrWim:
    return writeState(W, "wim");
  case Format::WrTbr:
    return writeState(W, "tbr");
  case Format::Fpop1:
  case Format::Fpop2:
    return floatOperate(W);
  case Format::Cpop:
    return coprocessorOperate(W, Info.Text);
  case Format::Jmpl:
    return std::string(Info.Text) + " " + address(W) + ", " + reg(rdOf(W));
  case Format::Address:
    return std::string(Info.Text) + " " + address(W);
  case Format::Ticc:
    return trap(W);
  case Format::Load:
    return load(W, Info.Text, reg(rdOf(W)));
  case Format::LoadFp:
    return load(W, Info.Text, numbered("f", rdOf(W)));
  case Format::LoadCp:
    return load(W, Info.Text, numbered("c", rdOf(W)));
  case Format::LoadFsr:
    return load(W, Info.Text, "%fsr");
  case Format::LoadCsr:
    return load(W, Info.Text, "%csr");
  case Format::Store:
    return store(W, Info.Text, reg(rdOf(W)));
  case Format::StoreFp:
    return store(W, Info.Text, numbered("f", rdOf(W)));
  case Format::StoreCp:
    return store(W, Info.Text, numbered("c", rdOf(W)));
  case Format::StoreFsr:
    return store(W, Info.Text, "%fsr");
  case Format::StoreCsr:
    return store(W, Info.Text, "%csr");
  case Format::StoreFq:
    return store(W, Info.Text, "%fq");
  case Format::StoreCq:
    return store(W, Info.Text, "%cq");
  case Format::LoadAsi:
  case Format::StoreAsi:
    return alternate(W, Info);
  }
  return "";
}

const char *const Names[32] = {"g0", "g1", "g2", "g3", "g4", "g5", "g6", "g7", "o0", "o1", "o2",
                               "o3", "o4", "o5", "sp", "o7", "l0", "l1", "l2", "l3", "l4", "l5",
                               "l6", "l7", "i0", "i1", "i2", "i3", "i4", "i5", "fp", "i7"};

} // namespace

const char *registerName(unsigned Reg) {
  return Names[Reg & 31];
}

int registerNumber(const char *Name) {
  if (*Name == '%')
    ++Name;
  for (int Reg = 0; Reg < 32; ++Reg)
    if (!std::strcmp(Name, Names[Reg]))
      return Reg;
  if (!std::strcmp(Name, "o6"))
    return 14;
  if (!std::strcmp(Name, "i6"))
    return 30;
  if (*Name != 'r' || Name[1] < '0' || Name[1] > '9')
    return -1;
  char *End;
  unsigned long Reg = std::strtoul(Name + 1, &End, 10);
  return *End || Reg > 31 ? -1 : int(Reg);
}

std::string disassemble(uint32_t Word) {
  Insn Id = identify(Word);
  std::string Text = synthetic(Word, Id);
  return Text.empty() ? regular(Word, infoOf(Id)) : Text;
}

} // namespace sparc
