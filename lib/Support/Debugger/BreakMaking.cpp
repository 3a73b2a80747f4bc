#include "Debugger/BreakMaking.h"

#include "Base/HexText.h"
#include "Debugger/Places.h"
#include "Debugger/Selection.h"

#include "orvy/Support/Objsys.h"

using namespace orvy;
using namespace orvy::debugger;

namespace {

constexpr uint64_t MaxWatched = 1 << 20; // bytes

/// The memory space of a processor's addresses.
std::string spaceOf(const CpuView &At) {
  void *Space = At.memorySpace();
  const char *Name = Space ? orvy_nameForObject(Space) : nullptr;
  if (!Name)
    throw EvaluationError(std::string("'") + At.name() +
                          "' has no memory space that could be watched");
  return Name;
}

BreakPlace hooked(const CpuView &At, uint64_t Address, uint64_t Length, uint32_t Attrs,
                  std::string Text) {
  const auto Pa = At.physical(Address);
  if (!Pa)
    throw EvaluationError("address 0x" + hexText(Address, 8) + " has no translation");
  return {Address, Length, std::move(Text), {spaceOf(At), *Pa, Length, Attrs}};
}

uint32_t hooksOf(BreakKind Kind) {
  switch (Kind) {
  case BreakKind::Code:
    return ovMA_FetchHook;
  case BreakKind::Read:
    return ovMA_ReadHook;
  case BreakKind::Access:
    return ovMA_ReadHook | ovMA_WriteHook;
  default:
    return ovMA_WriteHook;
  }
}

/// Takes what all kinds of break points have.
std::unique_ptr<UserBreak> begun(const BreakRequest &Asked, BreakKind Kind, Stopped &In) {
  auto Made = std::make_unique<UserBreak>();
  Made->Kind = Kind;
  Made->Asked = Asked.What;
  Made->Cpu = Asked.OnlyCpu;
  Made->Subject = In.target().name();
  Made->IsOnce = Asked.IsOnce;
  Made->Ignore = Asked.Ignore;
  // The names of the condition mean what they mean where it is evaluated.
  setCondition(*Made, Asked.Condition);
  return Made;
}

/// Whether a text names a register or a property.
bool canBePolled(const std::string &Text) {
  return Text.find_first_of("$@") != Text.npos;
}

void watchPolled(UserBreak &Made, SourceExpression Expression) {
  if (!canBePolled(Made.Asked))
    throw EvaluationError("'" + Made.Asked +
                          "' is not in memory; give an address with 'length', a variable, a "
                          "register as '$o0' or a property as '@uart0.status'");
  if (Made.Kind == BreakKind::Read || Made.Kind == BreakKind::Access)
    throw EvaluationError("reads of a register or a property cannot be watched");
  Made.Kind = BreakKind::Polled;
  Made.Watched = std::make_shared<SourceExpression>(std::move(Expression));
}

void watchMemory(UserBreak &Made, uint64_t Address, uint64_t Length, const CpuView &At) {
  if (Length == 0 || Length > MaxWatched)
    throw EvaluationError("watch points are for 1 to " + std::to_string(MaxWatched) +
                          " bytes, not " + std::to_string(Length));
  Made.Places.push_back(
      hooked(At, Address, Length, hooksOf(Made.Kind),
             Made.Asked + (Length > 4 ? " (" + std::to_string(Length) + " bytes)" : "")));
}

} // namespace

std::unique_ptr<UserBreak> orvy::debugger::makeBreak(const BreakRequest &Asked, Stopped &In) {
  auto Made = begun(Asked, BreakKind::Code, In);
  for (const CodePlace &Each : placesOf(Asked.What, In))
    Made->Places.push_back(
        hooked(In.target(), Each.Address, 1, hooksOf(BreakKind::Code), Each.Text));
  if (Asked.What.empty())
    Made->Asked = Made->Places.front().Text;
  return Made;
}

std::unique_ptr<UserBreak> orvy::debugger::makeWatch(const BreakRequest &Asked, BreakKind Kind,
                                                     Stopped &In) {
  if (Asked.What.empty())
    throw EvaluationError("nothing to watch; give a variable, an address with 'length', a register "
                          "as '$o0' or a property as '@uart0.status'");
  auto Made = begun(Asked, Kind, In);
  SourceExpression Expression(Asked.What, In);
  const Value Watched = Expression.evaluate(In);
  if (Asked.Length) {
    watchMemory(*Made, addressOf(Watched, In), *Asked.Length, In.target());
  } else if (Watched.place() == Value::Place::Memory) {
    Made->Shown = &Watched.type();
    Made->ShownOwner = In.program() ? In.program()->shared_from_this() : nullptr;
    watchMemory(*Made, Watched.address(), Watched.type().size(), In.target());
  } else {
    watchPolled(*Made, std::move(Expression));
  }
  return Made;
}

void orvy::debugger::setCondition(UserBreak &Of, const std::string &Text) {
  std::shared_ptr<const SourceExpression> Condition;
  if (!Text.empty()) {
    void *Cpu = orvy_objectForName(Of.Subject.c_str());
    if (!Cpu)
      Cpu = selectedCpu();
    if (!Cpu)
      throw EvaluationError("there is no processor by which a condition could be understood");
    Stopped In(Cpu);
    Condition = std::make_shared<SourceExpression>(Text, In);
  }
  Of.Condition = std::move(Condition);
  Of.ConditionText = Text;
}
