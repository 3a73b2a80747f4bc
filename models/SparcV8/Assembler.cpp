#include "Instructions.h"
#include "Text.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace sparc {

namespace {

/// A register of any kind.
struct Reg {
  enum Kind { None, Int, Fp, Cp, Asr, Y, Psr, Wim, Tbr, Fsr, Csr, Fq, Cq } Is = None;
  unsigned Number = 0;
};

const struct {
  const char *Name;
  Reg::Kind Is;
} StateRegs[] = {
    {"y", Reg::Y},     {"psr", Reg::Psr}, {"wim", Reg::Wim}, {"tbr", Reg::Tbr},
    {"fsr", Reg::Fsr}, {"csr", Reg::Csr}, {"fq", Reg::Fq},   {"cq", Reg::Cq},
};

struct Failure {
  std::string Reason;
};

constexpr uint32_t Imm = 1u << 13;

/// Reads the parts of an instruction from left to right. Throws Failure on a syntax error.
class Reader {
public:
  explicit Reader(const char *Text) : At(Text) {}

  bool atEnd() {
    skipBlanks();
    return !*At;
  }

  bool accept(char C) {
    skipBlanks();
    if (*At != C)
      return false;
    ++At;
    return true;
  }

  void expect(char C) {
    if (!accept(C))
      throw Failure{std::string("'") + C + "' expected"};
  }

  bool startsRegister() {
    skipBlanks();
    return *At == '%' && std::strncmp(At, "%hi(", 4) != 0;
  }

  std::string word() {
    skipBlanks();
    const char *Start = At;
    while (std::isalnum(static_cast<unsigned char>(*At)))
      ++At;
    return std::string(Start, At);
  }

  int64_t number(int64_t Low, int64_t High) {
    bool Minus = accept('-');
    skipBlanks();
    if (!std::isdigit(static_cast<unsigned char>(*At)))
      throw Failure{"number expected"};
    char *End;
    unsigned long long Magnitude = std::strtoull(At, &End, 0);
    At = End;
    if (Magnitude > 0xFFFFFFFFu)
      throw Failure{"number out of range"};
    int64_t Value = Minus ? -int64_t(Magnitude) : int64_t(Magnitude);
    if (Value < Low || Value > High)
      throw Failure{"number out of range"};
    return Value;
  }

  Reg anyRegister() {
    expect('%');
    std::string Name = word();
    if (int Number = registerNumber(Name.c_str()); Number >= 0)
      return {Reg::Int, unsigned(Number)};
    for (const auto &Row : StateRegs)
      if (Name == Row.Name)
        return {Row.Is, 0};
    if (Name.rfind("asr", 0) == 0)
      return numbered(Reg::Asr, Name.substr(3));
    if (Name[0] == 'f')
      return numbered(Reg::Fp, Name.substr(1));
    if (Name[0] == 'c')
      return numbered(Reg::Cp, Name.substr(1));
    throw Failure{"unknown register '%" + Name + "'"};
  }

  unsigned intRegister() { return ofKind(Reg::Int, "integer register expected"); }

  unsigned ofKind(Reg::Kind Kind, const char *Error) {
    Reg Found = anyRegister();
    if (Found.Is != Kind)
      throw Failure{Error};
    return Found.Number;
  }

  /// rs2 or simm13, as bits of the instruction word.
  uint32_t operand() {
    if (startsRegister())
      return intRegister();
    return Imm | (uint32_t(number(-4096, 4095)) & 0x1FFF);
  }

  /// rs1 and rs2 or simm13, as bits of the instruction word.
  uint32_t address() {
    uint32_t Bits = intRegister() << 14;
    if (accept('-'))
      return Bits | Imm | (uint32_t(-number(0, 4096)) & 0x1FFF);
    return accept('+') ? Bits | operand() : Bits;
  }

  uint32_t memory() {
    expect('[');
    uint32_t Bits = address();
    expect(']');
    return Bits;
  }

  /// A displacement in words that fits Width bits, written in bytes after the dot.
  uint32_t target(unsigned Width) {
    expect('.');
    bool Minus = accept('-');
    if (!Minus)
      expect('+');
    int64_t Reach = int64_t(1) << (Width + 1);
    int64_t Bytes = number(0, Reach);
    if (Bytes % 4 || (!Minus && Bytes == Reach))
      throw Failure{"target out of range"};
    return uint32_t((Minus ? -Bytes : Bytes) >> 2) & ((1u << Width) - 1);
  }

private:
  void skipBlanks() {
    while (*At == ' ' || *At == '\t')
      ++At;
  }

  static Reg numbered(Reg::Kind Kind, const std::string &Digits) {
    bool Plain = !Digits.empty() && Digits.size() <= 2 &&
                 Digits.find_first_not_of("0123456789") == std::string::npos;
    unsigned Number = Plain ? unsigned(std::atoi(Digits.c_str())) : 32;
    if (Number > 31)
      throw Failure{"unknown register"};
    return {Kind, Number};
  }

  const char *At;
};

constexpr uint32_t rd(unsigned Number) {
  return Number << 25;
}
constexpr uint32_t rs1(unsigned Number) {
  return Number << 14;
}

/// The fixed bits of an instruction with op = 2 or op = 3.
uint32_t opcode(unsigned Op, unsigned Op3) {
  return Op << 30 | Op3 << 19;
}

uint32_t opcodeOf(Insn Id) {
  for (unsigned Op = 2; Op <= 3; ++Op)
    for (unsigned Op3 = 0; Op3 < 64; ++Op3)
      if (insnAt(Op, Op3) == Id)
        return opcode(Op, Op3);
  throw Failure{"unknown instruction"};
}

/// Finds a row by name and form; Illegal if there is none.
Insn find(const std::string &Text, Format Form) {
  for (unsigned Id = 0; Id < unsigned(Insn::Count); ++Id)
    if (infoOf(Insn(Id)).Form == Form && Text == infoOf(Insn(Id)).Text)
      return Insn(Id);
  return Insn::Illegal;
}

uint32_t opcodeOf(const std::string &Text, Format Form) {
  Insn Id = find(Text, Form);
  if (Id == Insn::Illegal)
    throw Failure{"'" + Text + "' does not take these operands"};
  return opcodeOf(Id);
}

Format loadForm(Reg::Kind Kind) {
  switch (Kind) {
  case Reg::Fp:
    return Format::LoadFp;
  case Reg::Cp:
    return Format::LoadCp;
  case Reg::Fsr:
    return Format::LoadFsr;
  case Reg::Csr:
    return Format::LoadCsr;
  default:
    return Format::Load;
  }
}

Format storeForm(Reg::Kind Kind) {
  switch (Kind) {
  case Reg::Fp:
    return Format::StoreFp;
  case Reg::Cp:
    return Format::StoreCp;
  case Reg::Fsr:
    return Format::StoreFsr;
  case Reg::Csr:
    return Format::StoreCsr;
  case Reg::Fq:
    return Format::StoreFq;
  case Reg::Cq:
    return Format::StoreCq;
  default:
    return Format::Store;
  }
}

bool movesInt(Reg Register) {
  return Register.Is == Reg::Int;
}

uint32_t load(const std::string &Text, Reader &In) {
  uint32_t Bits = In.memory();
  bool Alternate = !In.accept(',');
  if (Alternate) {
    Bits |= uint32_t(In.number(0, 255)) << 5;
    In.expect(',');
  }
  Reg Register = In.anyRegister();
  Format Form = Alternate ? Format::LoadAsi : loadForm(Register.Is);
  if ((Form == Format::Load || Alternate) && !movesInt(Register))
    throw Failure{"integer register expected"};
  if (Alternate && (Bits & Imm))
    throw Failure{"an address space identifier goes with two registers"};
  return opcodeOf(Text, Form) | Bits | rd(Register.Number);
}

uint32_t store(const std::string &Text, Reader &In) {
  Reg Register = In.anyRegister();
  In.expect(',');
  uint32_t Bits = In.memory();
  bool Alternate = !In.atEnd();
  if (Alternate)
    Bits |= uint32_t(In.number(0, 255)) << 5;
  Format Form = Alternate ? Format::StoreAsi : storeForm(Register.Is);
  if ((Form == Format::Store || Alternate) && !movesInt(Register))
    throw Failure{"integer register expected"};
  if (Alternate && (Bits & Imm))
    throw Failure{"an address space identifier goes with two registers"};
  return opcodeOf(Text, Form) | Bits | rd(Register.Number);
}

uint32_t arithmetic(Insn Id, Reader &In) {
  uint32_t Word = opcodeOf(Id);
  if (Id == Insn::Restore && In.atEnd())
    return Word;
  Word |= rs1(In.intRegister());
  In.expect(',');
  uint32_t Second = In.operand();
  if (infoOf(Id).Form == Format::Shift && (Second & Imm) && (Second & 0x1FFF) > 31)
    throw Failure{"number out of range"};
  In.expect(',');
  return Word | Second | rd(In.intRegister());
}

uint32_t readState(Reader &In) {
  Reg From = In.anyRegister();
  In.expect(',');
  uint32_t To = rd(In.intRegister());
  switch (From.Is) {
  case Reg::Y:
    return opcodeOf(Insn::Rdasr) | To;
  case Reg::Asr:
    return opcodeOf(Insn::Rdasr) | rs1(From.Number) | To;
  case Reg::Psr:
    return opcodeOf(Insn::Rdpsr) | To;
  case Reg::Wim:
    return opcodeOf(Insn::Rdwim) | To;
  case Reg::Tbr:
    return opcodeOf(Insn::Rdtbr) | To;
  default:
    throw Failure{"state register expected"};
  }
}

uint32_t writeState(Reader &In) {
  uint32_t Bits = rs1(In.intRegister());
  In.expect(',');
  Bits |= In.operand();
  In.expect(',');
  Reg To = In.anyRegister();
  switch (To.Is) {
  case Reg::Y:
    return opcodeOf(Insn::Wrasr) | Bits;
  case Reg::Asr:
    return opcodeOf(Insn::Wrasr) | Bits | rd(To.Number);
  case Reg::Psr:
    return opcodeOf(Insn::Wrpsr) | Bits;
  case Reg::Wim:
    return opcodeOf(Insn::Wrwim) | Bits;
  case Reg::Tbr:
    return opcodeOf(Insn::Wrtbr) | Bits;
  default:
    throw Failure{"state register expected"};
  }
}

uint32_t floatOperate(const FpopInfo &Row, Reader &In) {
  uint32_t Word = opcode(2, Row.Op3) | uint32_t(Row.Opf) << 5;
  bool First = true;
  auto Next = [&](uint8_t Operand, unsigned Shift) {
    if (!(Row.Operands & Operand))
      return;
    if (!First)
      In.expect(',');
    First = false;
    Word |= In.ofKind(Reg::Fp, "floating-point register expected") << Shift;
  };
  Next(FO_Rs1, 14);
  Next(FO_Rs2, 0);
  Next(FO_Rd, 25);
  return Word;
}

uint32_t coprocessorOperate(Insn Id, Reader &In) {
  uint32_t Word = opcodeOf(Id) | uint32_t(In.number(0, 511)) << 5;
  for (unsigned Shift : {14, 0, 25}) {
    In.expect(',');
    Word |= In.ofKind(Reg::Cp, "coprocessor register expected") << Shift;
  }
  return Word;
}

uint32_t sethi(Reader &In) {
  uint32_t Value;
  if (In.accept('%')) {
    if (In.word() != "hi")
      throw Failure{"%hi() or number expected"};
    In.expect('(');
    Value = uint32_t(In.number(0, 0xFFFFFFFF)) >> 10;
    In.expect(')');
  } else {
    Value = uint32_t(In.number(0, 0x3FFFFF));
  }
  In.expect(',');
  return rd(In.intRegister()) | 4u << 22 | Value;
}

uint32_t trap(unsigned Cond, Reader &In) {
  uint32_t Word = opcodeOf(Insn::Ticc) | Cond << 25;
  if (!In.startsRegister())
    return Word | Imm | uint32_t(In.number(0, 127));
  Word |= rs1(In.intRegister());
  if (!In.accept('+'))
    return Word;
  return Word | (In.startsRegister() ? In.intRegister() : Imm | uint32_t(In.number(0, 127)));
}

int conditionNamed(const std::string &Text, const char *const *Names) {
  for (int Cond = 0; Cond < 16; ++Cond)
    if (Text == Names[Cond])
      return Cond;
  return -1;
}

/// Reads a branch or a ticc, whose names contain the condition. Returns nothing for other names.
std::optional<uint32_t> conditional(const std::string &Text, Reader &In) {
  static const struct {
    const char *Prefix;
    const char *const *Names;
    unsigned Op2;
  } Families[] = {{"fb", FccNames, 6}, {"cb", CccNames, 7}, {"b", IccNames, 2}, {"t", IccNames, 0}};
  for (const auto &Row : Families) {
    size_t Length = std::strlen(Row.Prefix);
    int Cond = Text.compare(0, Length, Row.Prefix) == 0
                   ? conditionNamed(Text.substr(Length), Row.Names)
                   : -1;
    if (Cond < 0)
      continue;
    if (!Row.Op2)
      return trap(unsigned(Cond), In);
    uint32_t Annul = In.accept(',');
    if (Annul && In.word() != "a")
      throw Failure{"'a' expected"};
    return Annul << 29 | uint32_t(Cond) << 25 | Row.Op2 << 22 | In.target(22);
  }
  return std::nullopt;
}

/// Reads a synthetic instruction. Returns nothing for other names.
std::optional<uint32_t> synthetic(const std::string &Text, Reader &In) {
  if (Text == "nop")
    return 0x01000000;
  if (Text == "ret")
    return 0x81C7E008;
  if (Text == "retl")
    return 0x81C3E008;
  if (Text == "stbar")
    return 0x8143C000;
  if (Text == "jmp")
    return opcodeOf(Insn::Jmpl) | In.address();
  if (Text == "mov") {
    uint32_t From = In.operand();
    In.expect(',');
    return opcodeOf(Insn::Or) | From | rd(In.intRegister());
  }
  if (Text == "cmp") {
    uint32_t First = rs1(In.intRegister());
    In.expect(',');
    return opcodeOf(Insn::Subcc) | First | In.operand();
  }
  return std::nullopt;
}

/// The first row with that name.
Insn named(const std::string &Text) {
  for (unsigned Id = 0; Id < unsigned(Insn::Count); ++Id)
    if (Text == infoOf(Insn(Id)).Text)
      return Insn(Id);
  return Insn::Illegal;
}

uint32_t regular(const std::string &Text, Reader &In) {
  if (const FpopInfo *Row = findFpop(Text.c_str()))
    return floatOperate(*Row, In);
  Insn Id = named(Text);
  switch (infoOf(Id).Form) {
  case Format::Unimp:
    return uint32_t(In.number(0, 0x3FFFFF));
  case Format::Call:
    return 1u << 30 | In.target(30);
  case Format::Sethi:
    return sethi(In);
  case Format::Arith:
  case Format::Shift:
    return arithmetic(Id, In);
  case Format::RdAsr:
    return readState(In);
  case Format::WrAsr:
    return writeState(In);
  case Format::Cpop:
    return coprocessorOperate(Id, In);
  case Format::Address:
    return opcodeOf(Id) | In.address();
  case Format::Jmpl: {
    uint32_t Word = opcodeOf(Id) | In.address();
    In.expect(',');
    return Word | rd(In.intRegister());
  }
  case Format::Load:
  case Format::LoadAsi:
    return load(Text, In);
  case Format::Store:
  case Format::StoreAsi:
    return store(Text, In);
  default:
    throw Failure{"unknown instruction '" + Text + "'"};
  }
}

uint32_t instruction(Reader &In) {
  std::string Text = In.word();
  if (Text.empty())
    throw Failure{"instruction expected"};
  if (auto Word = synthetic(Text, In))
    return *Word;
  if (auto Word = conditional(Text, In))
    return *Word;
  return regular(Text, In);
}

} // namespace

std::optional<uint32_t> assemble(const char *Text, std::string &Error) {
  try {
    Reader In(Text);
    uint32_t Word = instruction(In);
    if (!In.atEnd())
      throw Failure{"text after the instruction"};
    return Word;
  } catch (const Failure &Why) {
    Error = Why.Reason;
    return std::nullopt;
  }
}

} // namespace sparc
