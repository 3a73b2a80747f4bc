// Locates local variables.

#include "Dwarf/DwarfHandle.h"
#include "Dwarf/DwarfNames.h"

#include "orvy/Support/BareMetalContext.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/OutStream.h"

using namespace orvy;
using namespace orvy::dwarf;

namespace {

using Expression = std::vector<uint8_t>;

void print(const Expression &Bytes) {
  errs() << "  expression: ";
  for (uint8_t Byte : Bytes)
    errs().setBase(OutStream::Hexadecimal) << uint32_t{Byte} << ",";
  errs() << "\n";
}

/// The expression of a location list for an address; empty if there is none.
Expression listed(const Attribute &Location, uint64_t Pc) try {
  return Location.getLocList(Pc);
} catch (...) {
  return {}; // the list is damaged, or the unit has no base address
}

/// Finds the stack pointer of a SPARC function's caller. After a save it is the frame pointer;
/// before that, or without one, it is the stack pointer plus the bytes that the function has
/// allocated.
struct CallerStack {
  int Register = 14; // %sp
  uint64_t Allocated = 0;

  CallerStack(Context &Target, uint64_t Low, uint64_t Pc) {
    constexpr uint64_t MaxPrologue = 4096; // bytes to search
    for (uint64_t Addr = Low; Addr < Pc && Addr - Low < MaxPrologue; Addr += 4) {
      Value Word = Target.getMemoryValue(Addr);
      if (Word.getType() == Value::Number && !follow(Word.getHeld().u32()))
        return;
    }
  }

private:
  /// Applies the effect of an instruction to the stack pointer. Returns false after a save.
  bool follow(uint32_t Instruction) {
    uint64_t Immediate = static_cast<uint64_t>(static_cast<int64_t>(Instruction << 19) << 32 >> 51);
    if ((Instruction & 0xffffe000) == 0x9c03a000) // add %sp, X, %sp
      Allocated -= Immediate;
    else if ((Instruction & 0xffffe000) == 0x9c23a000) // sub %sp, X, %sp
      Allocated += Immediate;
    else if ((Instruction & 0xffffc000) == 0x9de38000) { // save %sp, X, %sp
      Register = 30;                                     // %fp
      Allocated = 0;
      return false;
    }
    return true;
  }
};

/// Evaluates the locations of a function's variables while a processor executes it.
class Locator {
public:
  Locator(void *Cpu, DebugInfoEntry &Function, uint64_t Pc)
      : Target(Cpu), Function(Function), Pc(Pc) {
    findCallFrame(Cpu);
    findFrameBase();
  }

  /// The location of the last variable with the name.
  orvy_DwarfLoc find(const char *Name);

private:
  void findCallFrame(void *Cpu);
  void findFrameBase();
  Value evaluate(const Expression &Bytes);
  std::optional<Expression> read(const Attribute &Location, const char *Name);

  BareMetalContext Target;
  DebugInfoEntry &Function;
  uint64_t Pc;
  ExpressionVM VM;
  std::optional<uint64_t> CallFrame, FrameBase;
};

/// The number in a value or in the register it refers to; nothing for other values.
std::optional<uint64_t> addressIn(const Value &Base) {
  Value Held = Base.getType() == Value::Register ? Base.getReferredValue() : Base;
  bool Known = Held.getType() == Value::Number || Held.getType() == Value::Memory;
  return Known ? std::optional(Held.getHeld().u64()) : std::nullopt;
}

void Locator::findCallFrame(void *Cpu) {
  std::optional<Attribute> Low = Function.find(DW_AT_low_pc);
  if (!Cpu || !Low || !orvy_getInterface(Cpu, "SparcIface", 0))
    return;
  CallerStack Stack(Target, Low->getAddr(), Pc);
  CallFrame = addressIn(Target.getRegisterValue(Stack.Register));
  if (CallFrame)
    *CallFrame = (*CallFrame + Stack.Allocated) & UINT32_MAX;
}

void Locator::findFrameBase() {
  std::optional<Attribute> Base = Function.find(DW_AT_frame_base);
  if (!Base) {
    errs() << "no frame base attribute\n";
    return;
  }
  Expression Bytes;
  if (Base->getForm() == DW_FORM_exprloc) {
    errs() << "found frame location in exprloc\n";
    Bytes = Base->getExprLoc();
  } else if (Base->getForm() == DW_FORM_sec_offset) {
    errs() << "found frame location in loc list\n";
    Bytes = listed(*Base, Pc);
  } else {
    errs() << "the fb form is not known (not exprloc nor sec offset)\n";
    return;
  }
  print(Bytes);
  FrameBase = addressIn(evaluate(Bytes));
}

/// Runs an expression. An empty one has no result: its variable has no location.
Value Locator::evaluate(const Expression &Bytes) {
  if (!Bytes.empty())
    VM.runExpr(&Target, Bytes, 0, Bytes.size(), nullptr, CallFrame ? &*CallFrame : nullptr,
               FrameBase ? &*FrameBase : nullptr);
  Value Result = VM.result();
  VM.reset();
  return Result;
}

/// The expression of a variable's location, also printed on the error stream; nothing if the
/// attribute has another form.
std::optional<Expression> Locator::read(const Attribute &Location, const char *Name) {
  bool IsList = Location.getForm() == DW_FORM_sec_offset;
  if (!IsList && Location.getForm() != DW_FORM_exprloc) {
    errs() << "dwarf parser: can't handle locations of: " << FormNames.find(Location.getForm())
           << "\n";
    return std::nullopt;
  }
  errs() << "found variable for name " << Name << (IsList ? " in loclist\n" : " in exprloc\n");
  Expression Bytes = IsList ? listed(Location, Pc) : Location.getExprLoc();
  print(Bytes);
  return Bytes;
}

/// Calls Take with the location of each variable of the function with the name, until it returns
/// false.
template <typename TakeLocation>
void forEachVariable(DebugInfoEntry &Function, const char *Name, TakeLocation Take) {
  DebugInfoEntry *End = Function.getNext();
  for (DebugInfoEntry *Child = &Function + 1; Child != End; Child = Child->getNext()) {
    const char *ChildName = Child->getTag() == DW_TAG_variable ? Child->getName() : nullptr;
    if (!ChildName || std::string_view(ChildName) != Name)
      continue;
    if (std::optional<Attribute> Location = Child->find(DW_AT_location);
        Location && !Take(*Location))
      return;
  }
}

orvy_DwarfLoc Locator::find(const char *Name) {
  orvy_DwarfLoc Found{ovDL_None, 0};
  forEachVariable(Function, Name, [&](const Attribute &Location) {
    std::optional<Expression> Bytes = read(Location, Name);
    if (!Bytes)
      return false;
    Value Result = evaluate(*Bytes);
    if (Result.getType() == Value::Memory)
      Found = {ovDL_Memory, Result.getHeld().u64()};
    else if (Result.getType() == Value::Register)
      Found = {ovDL_Register, Result.getHeld().u64()};
    return true;
  });
  return Found;
}

} // namespace

orvy_DwarfLoc orvy_dwarfComputeLoc(orvy_Dwarf Dwarf, uint64_t Pc, const char *Name) {
  return orvy_dwarfComputeLocOnCpu(Dwarf, nullptr, Pc, Name);
}

orvy_DwarfLoc orvy_dwarfComputeLocOnCpu(orvy_Dwarf Dwarf, void *Cpu, uint64_t Pc,
                                        const char *Name) {
  DebugInfoEntry *Function = infoOf(Dwarf).getFunctionDIEForAddress(Pc);
  return Function ? Locator(Cpu, *Function, Pc).find(Name) : orvy_DwarfLoc{ovDL_None, 0};
}

int orvy_dwarfComputeLocation(orvy_Dwarf Dwarf, uint64_t Pc, const char *Name) {
  DebugInfoEntry *Function = infoOf(Dwarf).findFunction(Pc).Entry;
  if (Function)
    forEachVariable(*Function, Name, [&](const Attribute &) {
      errs() << "found variable for name " << Name << "\n";
      return true;
    });
  return 0;
}
