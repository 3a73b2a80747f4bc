// Reads and runs line-number programs (DWARF 4, 6.2).

#include "orvy/Support/DwarfLines.h"

#include "orvy/Support/OutStream.h"

#include <iterator>

using namespace orvy;
using namespace orvy::dwarf;
using utils::VectorStream;

namespace {

enum : uint8_t {
  EndSequence = 1, // DW_LNE_ numbers
  SetAddress = 2,
  DefineFile = 3,
  SetDiscriminator = 4
};

LineNumberProgram::FileEntry readFile(VectorStream &VS, const char *Name) {
  LineNumberProgram::FileEntry File{Name, 0, 0, 0};
  VS >> VectorStream::LEB128 >> File.DirIndex >> VectorStream::LEB128 >> File.ModifiedTime >>
      VectorStream::LEB128 >> File.Length;
  return File;
}

/// The next text of a table; null for the empty one that ends it.
const char *readName(VectorStream &VS) {
  const char *Name = VS.readText();
  return *Name ? Name : nullptr;
}

/// Writes "0x" and the digits.
OutStream &hex(uint64_t Value) {
  return outs().setBase(OutStream::Hexadecimal) << Value;
}

} // namespace

/// Executes the instructions of a program.
class LineNumberProgram::Machine {
public:
  Machine(LineNumberProgram &Program, bool Verbose)
      : P(Program), VS(Program.Info->LineSec, Program.m_InstrOffset), Verbose(Verbose) {
    VS.BigEndian = true;
    VS.Is64Bit = P.Head.Is64Bit;
  }

  /// Runs up to the end of a sequence. Returns false if the program ends before that.
  bool run() {
    while (VS.getOffset() < P.EndOffset) {
      uint8_t Opcode = 0;
      VS >> Opcode;
      if (P.isExtendedOp(Opcode)) {
        if (runExtended()) {
          P.MoreSequences = VS.getOffset() < P.EndOffset;
          return true;
        }
      } else if (P.isSpecialOp(Opcode)) {
        runSpecial(Opcode);
      } else {
        runStandard(Opcode);
      }
    }
    return false;
  }

private:
  enum Operand : uint8_t { None, Unsigned, Signed, Half };
  struct StandardOp {
    const char *Name;
    Operand Kind;
    void (Machine::*Act)(uint64_t Operand);
  };
  static const StandardOp StandardOps[];

  void copy(uint64_t) { P.finishRow(); }
  void advancePc(uint64_t Operations) { P.advance(Operations); }
  void advanceLine(uint64_t Lines) { P.Registers.Line += Lines; }
  void setFile(uint64_t File) { P.Registers.File = File; }
  void setColumn(uint64_t Column) { P.Registers.Column = Column; }
  void negateStmt(uint64_t) { P.Registers.IsStmt = !P.Registers.IsStmt; }
  void setBasicBlock(uint64_t) { P.Registers.BasicBlock = true; }
  void constAddPc(uint64_t) { P.advance((255u - P.Head.OpcodeBase) / P.Head.LineRange); }
  void fixedAdvancePc(uint64_t Bytes) {
    P.Registers.Address += Bytes;
    P.Registers.OpIndex = 0;
  }
  void setPrologueEnd(uint64_t) { P.Registers.PrologueEnd = true; }
  void setEpilogueBegin(uint64_t) { P.Registers.EpilogueBegin = true; }
  void setIsa(uint64_t Isa) { P.Registers.Isa = Isa; }

  void runSpecial(uint8_t Opcode) {
    auto Adjusted = static_cast<uint8_t>(Opcode - P.Head.OpcodeBase);
    P.advance(Adjusted / P.Head.LineRange);
    P.Registers.Line += static_cast<uint64_t>(P.Head.LineBase + Adjusted % P.Head.LineRange);
    if (Verbose) {
      outs() << "special op(" << Adjusted + 0u << ")";
      printRow();
    }
    P.finishRow();
  }

  void runStandard(uint8_t Opcode);

  uint64_t readOperand(Operand Kind) {
    uint64_t Value = 0;
    int64_t SignedValue = 0;
    uint16_t Short = 0;
    switch (Kind) {
    case None:
      return 0;
    case Unsigned:
      VS >> VectorStream::LEB128 >> Value;
      return Value;
    case Signed:
      VS >> VectorStream::LEB128 >> SignedValue;
      return static_cast<uint64_t>(SignedValue);
    case Half:
      VS >> Short;
      return Short;
    }
    return 0;
  }

  /// Skips an operation, using the number of operands from the header.
  void skipStandard(uint8_t Opcode) {
    for (uint8_t Left = P.Head.OpcodeLengths[Opcode - 1u]; Left > 0; --Left)
      readOperand(Unsigned);
  }

  /// @return whether the sequence ended
  bool runExtended() {
    uint64_t Length = readOperand(Unsigned);
    uint8_t Opcode = 0;
    VS >> Opcode;
    switch (Opcode) {
    case EndSequence:
      if (Verbose)
        outs() << "DW_LNS_end_sequence\n";
      P.endSequence();
      return true;
    case SetAddress:
      setAddress();
      break;
    case DefineFile:
      defineFile();
      break;
    case SetDiscriminator:
      P.Registers.Discriminator = readOperand(Unsigned);
      if (Verbose)
        outs() << "DW_LNS_set_discriminator(" << P.Registers.Discriminator << ")\n";
      break;
    default: // an extension of the producer
      for (; Length > 1; --Length)
        VS >> Opcode;
    }
    return false;
  }

  void setAddress() {
    VS >> VectorStream::Word >> P.Registers.Address;
    P.Registers.OpIndex = 0;
    if (!Verbose)
      return;
    outs() << "DW_LNS_set_address(";
    hex(P.Registers.Address) << ")\n";
  }

  void defineFile() {
    P.Files.push_back(readFile(VS, VS.readText()));
    if (Verbose)
      outs() << "DW_LNS_define_file(\"" << P.Files.back().Name << "\")\n";
  }

  void printStandard(const StandardOp &Op, uint64_t Value) const {
    outs() << Op.Name;
    if (Op.Kind == Signed)
      outs() << "(" << static_cast<int64_t>(Value) << ")";
    else if (Op.Kind != None)
      outs() << "(" << Value << ")";
    if (Op.Act == &Machine::copy)
      printRow();
    else
      outs() << "\n";
  }

  void printRow() const {
    outs() << " addr ";
    hex(P.Registers.Address) << " index " << P.Registers.OpIndex << " line " << P.Registers.Line
                             << "\n";
  }

  LineNumberProgram &P;
  VectorStream VS;
  bool Verbose;
};

// Starting at opcode 1.
const LineNumberProgram::Machine::StandardOp LineNumberProgram::Machine::StandardOps[] = {
    {"DW_LNS_copy", None, &Machine::copy},
    {"DW_LNS_advance_pc", Unsigned, &Machine::advancePc},
    {"DW_LNS_advance_line", Signed, &Machine::advanceLine},
    {"DW_LNS_set_file", Unsigned, &Machine::setFile},
    {"DW_LNS_set_column", Unsigned, &Machine::setColumn},
    {"DW_LNS_negate_stmt", None, &Machine::negateStmt},
    {"DW_LNS_set_basic_block", None, &Machine::setBasicBlock},
    {"DW_LNS_const_add_pc", None, &Machine::constAddPc},
    {"DW_LNS_fixed_advance_pc", Half, &Machine::fixedAdvancePc},
    {"DW_LNS_set_prologue_end", None, &Machine::setPrologueEnd},
    {"DW_LNS_set_epilogue_begin", None, &Machine::setEpilogueBegin},
    {"DW_LNS_set_isa", Unsigned, &Machine::setIsa},
};

void LineNumberProgram::Machine::runStandard(uint8_t Opcode) {
  if (Opcode > std::size(StandardOps))
    return skipStandard(Opcode);
  const StandardOp &Op = StandardOps[Opcode - 1u];
  uint64_t Value = readOperand(Op.Kind);
  if (Verbose)
    printStandard(Op, Value);
  (this->*Op.Act)(Value);
}

LineNumberProgram::LineNumberProgram(DebugInfo *Info, CompilationUnit *Unit, unsigned long Offset,
                                     bool Verbose)
    : Info(Info), Unit(Unit), ProgramOffset(Offset) {
  VectorStream VS(Info->LineSec);
  VS.BigEndian = true;
  VS.seek(Offset);
  readLengths(VS);
  uint64_t FirstInstr = readFields(VS);
  readTables(VS);
  if (Verbose)
    printHeader();
  if (m_InstrOffset != FirstInstr)
    throw 42;
  run(Verbose);
}

std::unique_ptr<LineNumberProgram> LineNumberProgram::load(DebugInfo *Info, CompilationUnit *Unit,
                                                           uint64_t Offset) {
  try {
    return std::make_unique<LineNumberProgram>(Info, Unit, Offset, false);
  } catch (...) { // the program is damaged; both exceptions and integers are thrown
    return nullptr;
  }
}

void LineNumberProgram::readLengths(VectorStream &VS) {
  uint32_t Length = 0;
  VS >> Length;
  Head.UnitLength = Length;
  if (Length > 0xffffffef) {
    VS.Is64Bit = Head.Is64Bit = true;
    VS >> Head.UnitLength;
  }
  if (__builtin_add_overflow(Head.UnitLength, VS.getOffset(), &EndOffset))
    throw 42;
}

uint64_t LineNumberProgram::readFields(VectorStream &VS) {
  VS >> Head.Version >> VectorStream::Word >> Head.HeaderLength;
  if (Head.Version < 2 || Head.Version > 4)
    throw 42;
  uint64_t FirstInstr = VS.getOffset() + Head.HeaderLength;
  VS >> Head.MinInstrLength;
  if (Head.Version > 3)
    VS >> Head.MaxOpsPerInstr;
  VS >> Head.DefaultIsStmt >> Head.LineBase >> Head.LineRange >> Head.OpcodeBase;
  if (Head.MaxOpsPerInstr == 0 || Head.LineRange == 0 || Head.OpcodeBase == 0)
    throw 42;
  return FirstInstr;
}

void LineNumberProgram::readTables(VectorStream &VS) {
  Head.OpcodeLengths.resize(Head.OpcodeBase - 1u);
  for (uint8_t &Operands : Head.OpcodeLengths)
    VS >> Operands;
  while (const char *Dir = readName(VS))
    IncludeDirs.push_back(Dir);
  while (const char *Name = readName(VS))
    Files.push_back(readFile(VS, Name));
  HeaderFiles = Files.size();
  m_InstrOffset = VS.getOffset();
}

void LineNumberProgram::printHeader() const {
  outs() << "Length: " << Head.UnitLength << "\nVersion: " << Head.Version
         << "\nHeader Length: " << Head.HeaderLength
         << "\nMin Instr Length: " << Head.MinInstrLength + 0u
         << "\nMax Ops Per Inst: " << Head.MaxOpsPerInstr + 0u
         << "\nDefault Is Statement: " << Head.DefaultIsStmt + 0u
         << "\nLine Base: " << Head.LineBase + 0 << "\nLine Range: " << Head.LineRange + 0u
         << "\nOpcode Base: " << Head.OpcodeBase + 0u;
  for (uint8_t Operands : Head.OpcodeLengths)
    outs() << ", " << Operands + 0u;
  outs() << "\nInclude Dirs:\n";
  for (const char *Dir : IncludeDirs)
    outs() << "\t" << Dir << "\n";
  outs() << "Files:\n";
  for (const FileEntry &File : Files)
    outs() << "\t" << File.Name << " " << File.DirIndex << " " << File.ModifiedTime << " "
           << File.Length << "\n";
}

void LineNumberProgram::run(bool Verbose) {
  Matrix.clear();
  Addresses.clear();
  Files.resize(HeaderFiles);
  resetRegisters();
  if (Machine(*this, Verbose).run())
    return;
  endSequence();
  errs() << "Line number program was not terminated by end sequence op\n"
            "this means that your compiler produces incorrect DWARF line\n"
            "number programs. We have assumed that we stop running when\n"
            "reaching the end anyway. This said, if you ever see this\n"
            "message, please contact KALVEX and mention which compiler you\n"
            "are using.\n";
}

void LineNumberProgram::appendMatrixRow() {
  Matrix.push_back(Registers);
  Addresses.push_back(Registers.Address);
}

void LineNumberProgram::advance(uint64_t Operations) {
  uint64_t Total = Registers.OpIndex + Operations;
  Registers.Address += Head.MinInstrLength * (Total / Head.MaxOpsPerInstr);
  Registers.OpIndex = Total % Head.MaxOpsPerInstr;
}

void LineNumberProgram::finishRow() {
  appendMatrixRow();
  Registers.Discriminator = 0;
  Registers.BasicBlock = Registers.PrologueEnd = Registers.EpilogueBegin = false;
}

void LineNumberProgram::endSequence() {
  Registers.EndSequence = true;
  appendMatrixRow();
  resetRegisters();
}

void LineNumberProgram::resetRegisters() {
  Registers = {};
  Registers.IsStmt = Head.DefaultIsStmt != 0;
}
