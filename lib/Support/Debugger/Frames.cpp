#include "Debugger/Frames.h"

#include <algorithm>

using namespace orvy;
using namespace orvy::debugger;
using namespace orvy::source;
using namespace orvy::dwarf;

namespace {

// SPARC registers by their DWARF numbers.
enum : unsigned { Sp = 14, O7 = 15, L0 = 16, L1 = 17, L2 = 18, I0 = 24, Fp = 30, I7 = 31 };
constexpr unsigned FirstWindowed = 8, FirstOfOwnWindow = 16, EndOfWindow = 32;
constexpr uint64_t CallLength = 8; // with its delay slot

constexpr uint64_t TrapTableBytes = 4096;

bool isSave(uint32_t Instruction) { // save %sp, X, %sp
  return (Instruction & 0xffffc000) == 0x9de38000 || (Instruction & 0xfffff000) == 0x9de3a000;
}

/// Call sites before and from version 5 on.
constexpr uint64_t TAG_call_site = 0x48, TAG_call_site_parameter = 0x49;
constexpr uint64_t TAG_GNU_call_site = 0x4109, TAG_GNU_call_site_parameter = 0x410a;

bool equal(Bytes A, Bytes B) {
  return std::ranges::equal(A, B);
}

} // namespace

// Registers.

std::optional<uint64_t> Backtrace::readRegister(const Frame &Of, unsigned Number) const {
  if (Number >= Frame::Registers)
    return std::nullopt;
  const RegisterPlace &Place = Of.Places[Number];
  switch (Place.Is) {
  case RegisterPlace::InCpu:
    return At.readRegister(Place.Number, Place.Window);
  case RegisterPlace::InMemory:
    return At.readWord(Place.Where);
  case RegisterPlace::Known:
    return Place.Where;
  default:
    return std::nullopt;
  }
}

bool Backtrace::writeRegister(const Frame &Of, unsigned Number, uint64_t Value) const {
  if (Number >= Frame::Registers)
    return false;
  const RegisterPlace &Place = Of.Places[Number];
  const auto Word = static_cast<uint32_t>(Value);
  const uint8_t Bytes[] = {static_cast<uint8_t>(Word >> 24), static_cast<uint8_t>(Word >> 16),
                           static_cast<uint8_t>(Word >> 8), static_cast<uint8_t>(Word)};
  switch (Place.Is) {
  case RegisterPlace::InCpu:
    return At.writeRegister(Place.Number, Place.Window, Value);
  case RegisterPlace::InMemory:
    return At.write(Place.Where, Bytes, sizeof(Bytes));
  default:
    return false;
  }
}

// Frames.

Backtrace::Backtrace(const CpuView &Stopped) : At(Stopped) {
  Frame First;
  First.Pc = At.pc();
  for (unsigned Number = 0; Number < Frame::Registers; ++Number)
    if (At.hasRegister(Number))
      First.Places[Number] = {RegisterPlace::InCpu, static_cast<uint8_t>(Number), 0, 0};
  addFrames(First);
}

Frame *Backtrace::frame(unsigned Level) {
  while (Level >= Frames.size() && findNext())
    ;
  return Level < Frames.size() ? &Frames[Level] : nullptr;
}

/// Adds a frame with those of the calls that are inlined at its address, the innermost first.
void Backtrace::addFrames(Frame Base) {
  Base.In = programAt(At, Base.lookup());
  std::vector<DebugInfoEntry *> Scopes;
  if (Base.In) {
    Scopes = Base.In->scopesAt(Base.lookup());
    Base.Place = Base.In->placeOf(Base.lookup());
    if (hasLeftWindow(Base)) {
      HasLeftWindow = true;
      Base.Cfa = readRegister(Base, Sp);
    } else if (const auto &Row = Base.In->frames().rowAt(Base.lookup())) {
      FrameContext Context(*this, Base);
      if (!Row->CfaExpression.empty())
        Base.Cfa = evaluateNumber(Row->CfaExpression, nullptr, Context);
      else if (const auto Held = readRegister(Base, static_cast<unsigned>(Row->CfaRegister)))
        Base.Cfa = (*Held + static_cast<uint64_t>(Row->CfaOffset)) & UINT32_MAX;
    }
  }
  Base.Subprogram = Scopes.empty() ? nullptr : Scopes.front();
  for (auto Scope = Scopes.rbegin(); Scope != Scopes.rend(); ++Scope) {
    DebugInfoEntry &Entry = **Scope;
    if (!isCall(Entry))
      continue;
    Base.Function = &Entry;
    Base.IsInlined = Entry.getTag() == DW_TAG_inlined_subroutine;
    Base.Level = static_cast<unsigned>(Frames.size());
    Frames.push_back(Base);
    if (!Base.IsInlined)
      return;
    Base.HasInlined = true;
    Base.Place.File = Base.In->fileOf(
        Entry, static_cast<uint64_t>(constantOf(Entry, DW_AT_call_file).value_or(0)));
    Base.Place.Line = static_cast<uint32_t>(constantOf(Entry, DW_AT_call_line).value_or(0));
    Base.Place.IsStart = false;
  }
  Base.Level = static_cast<unsigned>(Frames.size());
  Frames.push_back(Base);
}

std::string Backtrace::functionName(const Frame &Of) const {
  if (const char *Name = Of.Function ? nameOf(*Of.Function) : nullptr)
    return Name;
  const SymbolPlace Symbol = Of.In ? Of.In->symbolAt(Of.lookup()) : SymbolPlace();
  return Symbol.Symbol ? Symbol.Symbol->Name : "??";
}

bool Backtrace::findNext() {
  if (IsComplete)
    return false;
  IsComplete = true; // until a frame is found
  if (Frames.size() >= MaxFrames) {
    Ending = "more than " + std::to_string(MaxFrames) + " frames";
    return false;
  }
  const Frame Inner = Frames.back();
  Frame Outer;
  if (!Inner.In) {
    Ending = "nothing is known of the code at " + addressText(At, Inner.Pc);
    return false;
  }
  if (functionName(Inner) == "main" || !unwind(Inner, Outer) || isEnd(Inner, Outer))
    return false;
  IsComplete = false;
  addFrames(Outer);
  return true;
}

/// Whether what was found cannot be a caller. The stack grows down, so that the frame of a caller
/// lies above.
bool Backtrace::isEnd(const Frame &Inner, const Frame &Outer) {
  if (Outer.Pc == 0 || (Outer.Pc & 3) || !programAt(At, Outer.lookup())) {
    if (Outer.Pc != 0 && Outer.Pc != CallLength)
      Ending = "the return address " + addressText(At, Outer.Pc) + " is not that of any code";
    return true;
  }
  const auto InnerSp = readRegister(Inner, Sp), OuterSp = readRegister(Outer, Sp);
  if (!OuterSp) {
    Ending = "the stack pointer of the caller is not known";
    return true;
  }
  if (!Inner.IsTrap && InnerSp && *OuterSp < *InnerSp) {
    Ending = "the caller's stack lies below, the stack may be damaged";
    return true;
  }
  const bool IsSame = InnerSp == OuterSp && Inner.Pc == Outer.Pc && Inner.Window == Outer.Window;
  if (IsSame)
    Ending = "the frame is its own caller, the stack may be damaged";
  return IsSame;
}

/// Whether the innermost function has given up its window, for "restore; retl": the call frame
/// information of compilers does not tell.
bool Backtrace::hasLeftWindow(const Frame &Of) const {
  const auto isRestore = [&](uint64_t Address) {
    return (At.readWord(Address).value_or(0) & 0xc1f80000) == 0x81e80000;
  };
  const auto isLeafReturn = [&](uint64_t Address) {
    return At.readWord(Address).value_or(0) == 0x81c3e008;
  };
  return At.isSparc() && Frames.empty() && Of.IsExact &&
         ((isRestore(Of.Pc - 4) && isLeafReturn(Of.Pc)) ||
          (isRestore(Of.Pc - 8) && isLeafReturn(Of.Pc - 4)));
}

bool Backtrace::unwind(const Frame &Inner, Frame &Outer) {
  if (HasLeftWindow && Inner.IsExact && Inner.Pc == At.pc() && Inner.Window == 0) {
    Outer.Places = Inner.Places;
    return enterCaller(Inner, readRegister(Inner, O7).value_or(0), Outer);
  }
  if (const auto &Row = Inner.In->frames().rowAt(Inner.lookup()))
    return unwindByRules(Inner, *Row, Outer);
  if (At.isSparc())
    return unwindByWindows(Inner, Outer);
  Ending = "there is no call frame information";
  return false;
}

bool Backtrace::unwindByRules(const Frame &Inner, const FrameRow &Row, Frame &Outer) {
  if (!Inner.Cfa) {
    Ending = "the frame address is not known";
    return false;
  }
  Frame Copy = Inner;
  FrameContext Context(*this, Copy);
  const bool HasWindow = At.isSparc() && Row.Rules[L0].How == RegisterRule::InWindow;
  Outer.Window = Inner.Window + HasWindow;
  for (unsigned Number = 0; Number < Frame::Registers; ++Number) {
    const RegisterRule &Rule = Row.Rules[Number];
    RegisterPlace &Place = Outer.Places[Number];
    const uint64_t AtOffset = (*Inner.Cfa + static_cast<uint64_t>(Rule.Offset)) & UINT32_MAX;
    switch (Rule.How) {
    case RegisterRule::Unspecified:
    case RegisterRule::SameValue:
      Place = Inner.Places[Number];
      break;
    case RegisterRule::AtOffset:
      Place = {RegisterPlace::InMemory, 0, 0, AtOffset};
      break;
    case RegisterRule::IsOffset:
      Place = {RegisterPlace::Known, 0, 0, AtOffset};
      break;
    case RegisterRule::InRegister:
      if (static_cast<uint64_t>(Rule.Offset) < Frame::Registers)
        Place = Inner.Places[static_cast<size_t>(Rule.Offset)];
      break;
    case RegisterRule::AtExpression:
      if (const auto Address = evaluateNumber(Rule.Expression, nullptr, Context, Inner.Cfa))
        Place = {RegisterPlace::InMemory, 0, 0, *Address};
      break;
    case RegisterRule::IsExpression:
      if (const auto Value = evaluateNumber(Rule.Expression, nullptr, Context, Inner.Cfa))
        Place = {RegisterPlace::Known, 0, 0, *Value};
      break;
    case RegisterRule::InWindow:
      if (At.holdsWindow(Outer.Window))
        Place = {RegisterPlace::InCpu, static_cast<uint8_t>(Number), Outer.Window, 0};
      else
        Place = {RegisterPlace::InMemory, 0, 0, AtOffset};
      break;
    case RegisterRule::Undefined:
      break;
    }
  }
  if (Row.Rules[Sp].How == RegisterRule::Unspecified) // the frame address is the caller's stack
    Outer.Places[Sp] = {RegisterPlace::Known, 0, 0, *Inner.Cfa};
  const auto Return = readRegister(Outer, static_cast<unsigned>(Row.ReturnRegister));
  if (!Return) {
    Ending = "the return address is not known";
    return false;
  }
  return enterCaller(Inner, *Return, Outer);
}

/// Sets the pc of a caller from what is in its return register: the address of the call. A call that
/// returns a structure is followed by a word that the callee steps over (SPARC ABI).
bool Backtrace::enterCaller(const Frame &Inner, uint64_t ReturnAddress, Frame &Outer) const {
  static_cast<void>(Inner);
  Outer.IsExact = false;
  if (!At.isSparc()) {
    Outer.Pc = ReturnAddress;
    return true;
  }
  Outer.Pc = (ReturnAddress + CallLength) & UINT32_MAX;
  if (ReturnAddress == 0)
    Outer.Pc = 0;
  else if (const auto Word = At.readWord(Outer.Pc); Word && (*Word & 0xfffff000) == 0 && *Word != 0)
    Outer.Pc += 4;
  return true;
}

/// The registers of the window above, for code without call frame information.
void Backtrace::shareWindow(const Frame &Inner, Frame &Outer) const {
  Outer.Places = Inner.Places;
  Outer.Window = Inner.Window + 1;
  const auto Stack = readRegister(Inner, Fp);
  for (unsigned Number = FirstWindowed; Number < EndOfWindow; ++Number)
    if (Number < FirstOfOwnWindow)
      Outer.Places[Number] = Inner.Places[Number + FirstOfOwnWindow];
    else if (At.holdsWindow(Outer.Window))
      Outer.Places[Number] = {RegisterPlace::InCpu, static_cast<uint8_t>(Number), Outer.Window, 0};
    else if (Stack)
      Outer.Places[Number] = {RegisterPlace::InMemory, 0, 0,
                              *Stack + 4 * uint64_t{Number - FirstOfOwnWindow}};
    else
      Outer.Places[Number] = {};
}

/// A trap puts pc and npc of the interrupted code into %l1 and %l2 of its own window.
void Backtrace::leaveTrap(const Frame &Inner, Frame &Outer) const {
  shareWindow(Inner, Outer);
  Outer.Pc = readRegister(Inner, L1).value_or(0);
  Outer.IsExact = true;
}

/// Code in assembly: after a save it has a window of its own, before it that of its caller. Code
/// that calls without a save is the handler of a trap, as is the trap table.
bool Backtrace::unwindByWindows(const Frame &Inner, Frame &Outer) {
  const uint64_t Table = orvy_sparcGetTbr(At.cpu()) & ~(TrapTableBytes - 1);
  const SymbolPlace Symbol = Inner.In->symbolAt(Inner.lookup());
  const bool IsInTable = Inner.Pc >= Table && Inner.Pc < Table + TrapTableBytes;
  bool HasSave = false;
  constexpr uint64_t MaxPrologue = 64;
  const uint64_t Start = Symbol.Symbol ? Symbol.Symbol->Address : Inner.Pc;
  for (uint64_t Address = Start; Address < Inner.Pc && Address - Start < MaxPrologue && !HasSave;
       Address += 4)
    HasSave = isSave(At.readWord(Address).value_or(0));
  const auto Interrupted = readRegister(Inner, L1), Next = readRegister(Inner, L2);
  const bool HasTrapped = Interrupted && Next && *Interrupted != 0 && !(*Interrupted & 3) &&
                          !(*Next & 3) && programAt(At, *Interrupted);
  const bool CanReturn = Inner.IsExact; // an inner frame was not called from here
  if (!HasSave && HasTrapped && (IsInTable || !CanReturn)) {
    Frames.back().IsTrap = true;
    leaveTrap(Inner, Outer);
    return true;
  }
  if (HasSave) {
    shareWindow(Inner, Outer);
    return enterCaller(Inner, readRegister(Inner, I7).value_or(0), Outer);
  }
  if (!CanReturn) // its return address was overwritten by the call that it made
    return false;
  Outer.Places = Inner.Places;
  Outer.Window = Inner.Window;
  return enterCaller(Inner, readRegister(Inner, O7).value_or(0), Outer);
}

// Expressions in a frame.

std::optional<uint64_t> FrameContext::readRegister(uint64_t Number) {
  return Number < Frame::Registers ? Of.readRegister(In, static_cast<unsigned>(Number))
                                   : std::nullopt;
}

bool FrameContext::readMemory(uint64_t Address, uint8_t *Into, size_t Length) {
  return Of.target().read(Address, Into, Length);
}

std::optional<uint64_t> FrameContext::frameBase() {
  if (!In.Subprogram || Depth > 0)
    return std::nullopt;
  const LocationText Base = locationOf(*In.Subprogram, DW_AT_frame_base, In.lookup());
  if (!Base.IsThere)
    return std::nullopt;
  ++Depth; // a frame base that refers to itself has none
  const auto Value = evaluateNumber(Base.Expression, In.Subprogram, *this);
  --Depth;
  return Value;
}

/// Looks for what the caller passed, at its call site.
std::optional<uint64_t> FrameContext::entryValue(Bytes Expression) {
  constexpr unsigned MaxCalls =
      64; // whose values at entry are those that their callers had at entry
  if (Calls >= MaxCalls)
    return std::nullopt;
  Frame *Caller = &In;
  do
    Caller = Of.frame(Caller->Level + 1);
  while (Caller && Caller->Pc == In.Pc && Caller->Subprogram == In.Subprogram &&
         In.Level + 64 > Caller->Level && Caller->Window == In.Window && Caller->Cfa == In.Cfa);
  if (!Caller || !Caller->Subprogram || Caller->IsExact)
    return std::nullopt;
  for (DebugInfoEntry &Site : Caller->Subprogram->getSubtree()) {
    if (Site.getTag() != TAG_call_site && Site.getTag() != TAG_GNU_call_site)
      continue;
    auto Return = Site.find(DW_AT_call_return_pc);
    if (!Return)
      Return = Site.find(DW_AT_low_pc);
    if (!Return || Return->getAddr() != Caller->Pc)
      continue;
    for (auto *Child = Site.getFirstChild(); Child && !Child->isNull(); Child = Child->getNext()) {
      if (Child->getTag() != TAG_call_site_parameter &&
          Child->getTag() != TAG_GNU_call_site_parameter)
        continue;
      const LocationText Where = locationOf(*Child, DW_AT_location, 0);
      if (!equal(Where.Expression, Expression))
        continue;
      LocationText Passed = locationOf(*Child, DW_AT_call_value, 0);
      if (!Passed.IsThere)
        Passed = locationOf(*Child, DW_AT_GNU_call_site_value, 0);
      FrameContext InCaller(Of, *Caller, Calls + 1);
      return Passed.IsThere ? evaluateNumber(Passed.Expression, Child, InCaller) : std::nullopt;
    }
  }
  return std::nullopt;
}
