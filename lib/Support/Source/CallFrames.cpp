#include "Source/CallFrames.h"

#include "Dwarf/DwarfForms.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

using namespace orvy;
using namespace orvy::source;
using dwarf::readSLEB128;
using dwarf::readULEB128;
using utils::VectorStream;

namespace {

/// Encodings of pointers in ".eh_frame".
enum : uint8_t {
  PointerUnsigned2 = 0x02,
  PointerUnsigned4 = 0x03,
  PointerUnsigned8 = 0x04,
  PointerSigned2 = 0x0a,
  PointerSigned4 = 0x0b,
  PointerSigned8 = 0x0c,
  PointerULEB = 0x01,
  PointerSLEB = 0x09,
  PointerFormat = 0x0f,
  PointerRelativeToItself = 0x10,
  PointerBase = 0x70,
  PointerOmitted = 0xff
};

/// Instructions (DWARF 5, 7.24). The first three have their operand in the low six bits.
enum : uint8_t {
  AdvanceLocation = 0x40,
  Offset = 0x80,
  Restore = 0xc0,
  Nop = 0x00,
  SetLocation = 0x01,
  AdvanceLocation1 = 0x02,
  AdvanceLocation2 = 0x03,
  AdvanceLocation4 = 0x04,
  OffsetExtended = 0x05,
  RestoreExtended = 0x06,
  Undefined = 0x07,
  SameValue = 0x08,
  Register = 0x09,
  RememberState = 0x0a,
  RestoreState = 0x0b,
  DefCfa = 0x0c,
  DefCfaRegister = 0x0d,
  DefCfaOffset = 0x0e,
  DefCfaExpression = 0x0f,
  Expression = 0x10,
  OffsetExtendedSigned = 0x11,
  DefCfaSigned = 0x12,
  DefCfaOffsetSigned = 0x13,
  ValOffset = 0x14,
  ValOffsetSigned = 0x15,
  ValExpression = 0x16,
  WindowSave = 0x2d,
  ArgsSize = 0x2e,
  NegativeOffset = 0x2f
};

constexpr size_t MaxStates = 64; // remembered at once

Bytes rest(const std::vector<uint8_t> &Section, const VectorStream &VS) {
  return {Section.data() + VS.getOffset(), VS.getLeft()};
}

uint64_t readFixed(VectorStream &VS, uint8_t Format) {
  uint16_t Half = 0;
  uint32_t Word = 0;
  uint64_t Double = 0;
  switch (Format) {
  case 0: // an address
  case PointerUnsigned4:
  case PointerSigned4:
    VS >> Word;
    return Format == PointerSigned4 ? static_cast<uint64_t>(static_cast<int32_t>(Word)) : Word;
  case PointerUnsigned2:
  case PointerSigned2:
    VS >> Half;
    return Format == PointerSigned2 ? static_cast<uint64_t>(static_cast<int16_t>(Half)) : Half;
  case PointerUnsigned8:
  case PointerSigned8:
    VS >> Double;
    return Double;
  case PointerULEB:
    return readULEB128(VS);
  case PointerSLEB:
    return static_cast<uint64_t>(readSLEB128(VS));
  default:
    throw std::runtime_error("unknown encoding of a pointer");
  }
}

} // namespace

/// Reads the entries of a section.
class CallFrames::Reader {
public:
  Reader(CallFrames &Into, const std::vector<uint8_t> &Section, bool IsEh, uint64_t Address)
      : Into(Into), Section(Section), IsEh(IsEh), Address(Address) {}

  void readEntry(VectorStream &VS, uint64_t Start);

private:
  void readCommon(VectorStream &VS, uint64_t Start);
  void readFunction(VectorStream &VS, uint64_t CommonOffset);
  void readAugmentation(VectorStream &VS, const char *Text, Common &C);
  uint64_t readPointer(VectorStream &VS, uint8_t Encoding);

  CallFrames &Into;
  const std::vector<uint8_t> &Section;
  bool IsEh;
  uint64_t Address;
};

void CallFrames::Reader::readEntry(VectorStream &VS, uint64_t Start) {
  const uint64_t IdOffset = VS.getOffset();
  uint64_t Id = 0;
  if (VS.Is64Bit && !IsEh) {
    VS >> Id;
  } else {
    uint32_t Word = 0;
    VS >> Word;
    Id = !IsEh && Word == UINT32_MAX ? UINT64_MAX : Word;
  }
  if (Id == (IsEh ? 0 : UINT64_MAX))
    readCommon(VS, Start);
  else
    readFunction(VS, IsEh ? IdOffset - Id : Id);
}

void CallFrames::Reader::readCommon(VectorStream &VS, uint64_t Start) {
  Common C;
  uint8_t Version = 0, AddressSize = 0, SegmentSize = 0, Byte = 0;
  C.Offset = Start;
  C.IsEh = IsEh;
  VS >> Version;
  const char *Augmentation = VS.readText();
  if (Version >= 4)
    VS >> AddressSize >> SegmentSize;
  C.CodeAlignment = readULEB128(VS);
  C.DataAlignment = readSLEB128(VS);
  if (Version == 1) {
    VS >> Byte;
    C.ReturnRegister = Byte;
  } else {
    C.ReturnRegister = readULEB128(VS);
  }
  readAugmentation(VS, Augmentation, C);
  C.Instructions = rest(Section, VS);
  Into.Commons.push_back(C);
}

void CallFrames::Reader::readAugmentation(VectorStream &VS, const char *Text, Common &C) {
  if (*Text != 'z') {
    if (*Text)
      throw std::runtime_error("unknown augmentation");
    return;
  }
  C.HasAugmentationData = true;
  const uint64_t Length = readULEB128(VS), Start = VS.getOffset();
  if (Length > VS.getLeft())
    throw std::out_of_range("augmentation past the end of its entry");
  for (++Text; *Text; ++Text) {
    uint8_t Encoding = 0;
    if (*Text == 'R') {
      VS >> C.PointerEncoding;
    } else if (*Text == 'L') {
      VS >> Encoding;
    } else if (*Text == 'P') {
      VS >> Encoding;
      readFixed(VS, Encoding & PointerFormat);
    } else if (*Text == 'S') {
      C.IsSignal = true;
    } else if (*Text != 'B') {
      break;
    }
  }
  VS.seek(Start + Length);
}

uint64_t CallFrames::Reader::readPointer(VectorStream &VS, uint8_t Encoding) {
  const uint64_t Place = Address + VS.getOffset();
  const uint64_t Value = readFixed(VS, Encoding & PointerFormat);
  const uint64_t Base = (Encoding & PointerBase) == PointerRelativeToItself ? Place : 0;
  return (Base + Value) & UINT32_MAX;
}

void CallFrames::Reader::readFunction(VectorStream &VS, uint64_t CommonOffset) {
  const auto Found = std::ranges::find_if(
      Into.Commons, [&](const Common &C) { return C.Offset == CommonOffset && C.IsEh == IsEh; });
  if (Found == Into.Commons.end())
    throw std::runtime_error("function without its common entry");
  const uint64_t Low = readPointer(VS, Found->PointerEncoding);
  const uint64_t Size = readFixed(VS, Found->PointerEncoding & PointerFormat);
  if (Found->HasAugmentationData) {
    const uint64_t Length = readULEB128(VS);
    if (Length > VS.getLeft())
      throw std::out_of_range("augmentation past the end of its entry");
    if (Length != 0 && Length < VS.getLeft())
      VS.skip(Length);
  }
  if (Size != 0 && Low != 0) // a linker that drops a function leaves it at address 0
    Into.Functions.push_back(
        {{Low, Low + Size}, static_cast<size_t>(Found - Into.Commons.begin()), rest(Section, VS)});
}

CallFrames::CallFrames(std::vector<uint8_t> DebugFrameBytes, std::vector<uint8_t> EhFrameBytes,
                       uint64_t EhAddress)
    : DebugFrame(std::move(DebugFrameBytes)), EhFrame(std::move(EhFrameBytes)) {
  // Of two entries for a function that of ".debug_frame" counts, which is read first.
  read(DebugFrame, false, 0);
  read(EhFrame, true, EhAddress);
  std::ranges::stable_sort(Functions, {}, [](const Function &F) { return F.Range.Low; });
}

void CallFrames::read(const std::vector<uint8_t> &Section, bool IsEh, uint64_t Address) {
  Reader In(*this, Section, IsEh, Address);
  for (uint64_t Start = 0, End = 0; Start < Section.size(); Start = End) {
    VectorStream VS(Section, Start);
    VS.BigEndian = true;
    try {
      uint64_t Length = 0;
      End = dwarf::readLength(VS, Length);
      if (Length == 0)
        continue; // the terminator of a part
      VS.endReadsAt(End);
    } catch (...) {
      return; // where the next entry begins is not known
    }
    try {
      In.readEntry(VS, Start);
    } catch (...) { // the entry is left out
    }
  }
}

/// Executes the instructions of a function up to an address.
class CallFrames::Machine {
public:
  Machine(const Common &Shared, const Function &Of, uint64_t Address)
      : Shared(Shared), Target(Address), Location(Of.Range.Low) {
    Row.ReturnRegister = Shared.ReturnRegister;
    Row.IsSignal = Shared.IsSignal;
    Row.Function = Of.Range;
  }

  FrameRow run(Bytes Instructions) {
    execute(Shared.Instructions);
    Initial = Row;
    execute(Instructions);
    return Row;
  }

private:
  void execute(Bytes Instructions);
  bool step();
  bool setFrameAddress(uint8_t Opcode);
  void setRule(uint8_t Opcode);

  uint64_t unsignedOperand() { return readULEB128(*VS); }
  int64_t signedOperand() { return readSLEB128(*VS); }
  int64_t factored(int64_t Value) const {
    return static_cast<int64_t>(static_cast<uint64_t>(Value) *
                                static_cast<uint64_t>(Shared.DataAlignment));
  }
  Bytes block() {
    const uint64_t Length = unsignedOperand();
    if (Length > VS->getLeft())
      throw std::out_of_range("expression past the end of its entry");
    const Bytes Found = Program.subspan(VS->getOffset(), Length);
    for (uint64_t Left = Length; Left > 0; --Left) {
      uint8_t Byte = 0;
      *VS >> Byte;
    }
    return Found;
  }
  RegisterRule &rule(uint64_t Register) {
    static thread_local RegisterRule Ignored;
    return Register < FrameRow::Registers ? Row.Rules[Register] : Ignored;
  }
  template <typename T> uint64_t fixedOperand() {
    T Value = 0;
    *VS >> Value;
    return Value;
  }
  /// Returns whether the instructions that follow still hold at the address.
  bool advance(uint64_t Units) {
    Location += Units * Shared.CodeAlignment;
    return Location <= Target;
  }
  void saveWindow();

  const Common &Shared;
  const uint64_t Target;
  uint64_t Location;
  FrameRow Row, Initial;
  std::vector<FrameRow> States;
  Bytes Program;
  VectorStream *VS = nullptr;
};

void CallFrames::Machine::execute(Bytes Instructions) {
  const std::vector<uint8_t> Copy(Instructions.begin(), Instructions.end());
  VectorStream Stream(Copy);
  Stream.BigEndian = true;
  Program = Instructions;
  VS = &Stream;
  while (Stream.getLeft() > 0 && step())
    ;
  VS = nullptr;
}

/// The outs of the caller are the ins of the function. Its locals and ins are in its own window,
/// whose place in memory begins at the frame address.
void CallFrames::Machine::saveWindow() {
  for (unsigned Register = 8; Register < 16; ++Register)
    Row.Rules[Register] = {RegisterRule::InRegister, int64_t{Register} + 16, {}};
  for (unsigned Register = 16; Register < 32; ++Register)
    Row.Rules[Register] = {RegisterRule::InWindow, int64_t{Register - 16} * 4, {}};
}

/// Executes an instruction. Returns whether the ones after it still hold at the address.
bool CallFrames::Machine::step() {
  const auto Opcode = static_cast<uint8_t>(fixedOperand<uint8_t>());
  const uint64_t Low = Opcode & 0x3f;
  switch (Opcode & 0xc0) {
  case AdvanceLocation:
    return advance(Low);
  case Offset:
    rule(Low) = {RegisterRule::AtOffset, factored(static_cast<int64_t>(unsignedOperand())), {}};
    return true;
  case Restore:
    rule(Low) = Initial.Rules[Low];
    return true;
  default:
    break;
  }
  switch (Opcode) {
  case Nop:
    return true;
  case SetLocation:
    Location = fixedOperand<uint32_t>();
    return Location <= Target;
  case AdvanceLocation1:
    return advance(fixedOperand<uint8_t>());
  case AdvanceLocation2:
    return advance(fixedOperand<uint16_t>());
  case AdvanceLocation4:
    return advance(fixedOperand<uint32_t>());
  case RememberState:
    if (States.size() >= MaxStates)
      throw std::runtime_error("too many remembered states");
    States.push_back(Row);
    return true;
  case RestoreState:
    if (States.empty())
      throw std::runtime_error("no remembered state");
    Row = States.back();
    States.pop_back();
    return true;
  case WindowSave:
    saveWindow();
    return true;
  case ArgsSize:
    unsignedOperand();
    return true;
  default:
    if (!setFrameAddress(Opcode))
      setRule(Opcode);
    return true;
  }
}

/// Executes an instruction about the frame address; false if it is another one.
bool CallFrames::Machine::setFrameAddress(uint8_t Opcode) {
  switch (Opcode) {
  case DefCfa:
  case DefCfaSigned:
    Row.CfaRegister = unsignedOperand();
    Row.CfaOffset =
        Opcode == DefCfa ? static_cast<int64_t>(unsignedOperand()) : factored(signedOperand());
    Row.CfaExpression = {};
    return true;
  case DefCfaRegister:
    Row.CfaRegister = unsignedOperand();
    Row.CfaExpression = {};
    return true;
  case DefCfaOffset:
    Row.CfaOffset = static_cast<int64_t>(unsignedOperand());
    return true;
  case DefCfaOffsetSigned:
    Row.CfaOffset = factored(signedOperand());
    return true;
  case DefCfaExpression:
    Row.CfaExpression = block();
    return true;
  default:
    return false;
  }
}

/// Executes an instruction about a register, which is its first operand.
void CallFrames::Machine::setRule(uint8_t Opcode) {
  const uint64_t Reg = unsignedOperand();
  const auto number = [this] { return static_cast<int64_t>(unsignedOperand()); };
  const auto ruleOf = [&]() -> RegisterRule {
    switch (Opcode) {
    case OffsetExtended:
      return {RegisterRule::AtOffset, factored(number()), {}};
    case OffsetExtendedSigned:
      return {RegisterRule::AtOffset, factored(signedOperand()), {}};
    case NegativeOffset:
      return {RegisterRule::AtOffset, -factored(number()), {}};
    case RestoreExtended:
      return Reg < FrameRow::Registers ? Initial.Rules[Reg] : RegisterRule{};
    case Undefined:
      return {RegisterRule::Undefined, 0, {}};
    case SameValue:
      return {RegisterRule::SameValue, 0, {}};
    case Register:
      return {RegisterRule::InRegister, number(), {}};
    case Expression:
      return {RegisterRule::AtExpression, 0, block()};
    case ValExpression:
      return {RegisterRule::IsExpression, 0, block()};
    case ValOffset:
      return {RegisterRule::IsOffset, factored(number()), {}};
    case ValOffsetSigned:
      return {RegisterRule::IsOffset, factored(signedOperand()), {}};
    default:
      throw std::runtime_error("unknown call frame instruction");
    }
  };
  rule(Reg) = ruleOf();
}

const std::optional<FrameRow> &CallFrames::rowAt(uint64_t Address) {
  KnownRow &Known = LastRows[Address / 4 % LastRows.size()];
  if (Known.Address != Address)
    Known = {Address, findRow(Address)};
  return Known.Row;
}

std::optional<FrameRow> CallFrames::findRow(uint64_t Address) const try {
  auto Above = std::ranges::upper_bound(Functions, Address, {},
                                        [](const Function &F) { return F.Range.Low; });
  if (Above == Functions.begin())
    return std::nullopt;
  // Of several that start at one address the first counts.
  const uint64_t Low = std::prev(Above)->Range.Low;
  const auto Found =
      std::ranges::lower_bound(Functions, Low, {}, [](const Function &F) { return F.Range.Low; });
  if (!Found->Range.contains(Address))
    return std::nullopt;
  return Machine(Commons[Found->Common], *Found, Address).run(Found->Instructions);
} catch (...) { // both exceptions and integers are thrown
  return std::nullopt;
}
