// The commands that set break and watch points, list and change them.

#include "Base/HexText.h"
#include "CommandLine/TextCommands.h"
#include "Debugger/AddressNames.h"
#include "Debugger/BreakTable.h"
#include "Debugger/Places.h"
#include "Debugger/Selection.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"

#include <algorithm>
#include <cstdlib>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;

namespace {

constexpr uint64_t MaxWatched = 1 << 20; // bytes

std::string trimmed(std::string_view Text) {
  const size_t First = Text.find_first_not_of(" \t");
  return First == Text.npos
             ? std::string()
             : std::string(Text.substr(First, Text.find_last_not_of(" \t") + 1 - First));
}

/// What comes before and after the word "if".
struct Conditional {
  std::string What, Condition;
};

/// Splits "PLACE if CONDITION".
Conditional splitCondition(const std::string &Text) {
  for (size_t At = Text.find("if"); At != Text.npos; At = Text.find("if", At + 2)) {
    const bool Begins = At == 0 || Text[At - 1] == ' ';
    const bool Ends = At + 2 < Text.size() && (Text[At + 2] == ' ' || Text[At + 2] == '(');
    if (Begins && Ends)
      return {trimmed(Text.substr(0, At)), trimmed(Text.substr(At + 2))};
  }
  return {trimmed(Text), {}};
}

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

/// Takes the options that all kinds of break points have.
void takeOptions(UserBreak &Made, const Command &Cmd, const std::string &Condition, Stopped &In) {
  Made.IsOnce = Made.IsOnce || isOn(Cmd, "once");
  Made.Ignore = given<unsigned long>(Cmd, "ignore").value_or(0);
  if (const auto Cpu = given<void *>(Cmd, "cpu"))
    Made.Cpu = orvy_nameForObject(*Cpu);
  Made.Subject = In.target().name();
  if (!Condition.empty()) {
    Made.ConditionText = Condition;
    Made.Condition = std::make_unique<SourceExpression>(Condition, In);
  }
}

const char *nameOf(BreakKind Kind) {
  switch (Kind) {
  case BreakKind::Code:
    return "break point";
  case BreakKind::Write:
    return "watch point (write)";
  case BreakKind::Change:
    return "watch point (change)";
  case BreakKind::Read:
    return "watch point (read)";
  case BreakKind::Access:
    return "watch point (access)";
  case BreakKind::Polled:
    break;
  }
  return "watch point (polled)";
}

std::string placeText(const BreakPlace &Place) {
  return Place.Text + " @ 0x" + hexText(Place.Address, 8);
}

void describe(const UserBreak &Of) {
  outs() << nameOf(Of.Kind) << " " << Of.Id << " at ";
  if (Of.Places.empty())
    outs() << Of.Asked << "\n";
  else if (Of.Places.size() == 1)
    outs() << placeText(Of.Places.front()) << "\n";
  else {
    outs() << Of.Places.size() << " places:\n";
    for (const BreakPlace &Place : Of.Places)
      outs() << "  " << placeText(Place) << "\n";
  }
}

int setBreak(Command &Cmd, bool IsOnce) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const std::string Text = givenText(Cmd);
  const Conditional Given = splitCondition(Text);
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    auto Made = std::make_unique<UserBreak>();
    Made->IsOnce = IsOnce;
    for (const CodePlace &Each : placesOf(Given.What, In))
      Made->Places.push_back(hooked(In.target(), Each.Address, 1, ovMA_FetchHook, Each.Text));
    Made->Asked = Given.What.empty() ? Made->Places.front().Text : Given.What;
    // The names of the condition mean what they mean where it is evaluated.
    takeOptions(*Made, Cmd, Given.Condition, In);
    describe(BreakTable::get().add(std::move(Made)));
    return 0;
  });
}

/// What a text of a watch point means: an address and length, or something to be polled.
void findWatched(UserBreak &Made, const std::string &Text, const Command &Cmd, Stopped &In,
                 uint32_t Attrs) {
  Made.Asked = Text;
  SourceExpression Expression(Text, In);
  Value Watched = Expression.evaluate(In);
  const bool HasLength = Cmd.getOptions().size() > 0 && given<unsigned long>(Cmd, "length");
  if (Watched.place() != Value::Place::Memory && !HasLength) {
    if (Text.find('$') == Text.npos && Text.find('@') == Text.npos)
      throw EvaluationError("'" + Text +
                            "' is not in memory; give an address with 'length', a variable, a "
                            "register as '$o0' or a property as '@uart0.status'");
    if (Made.Kind == BreakKind::Read || Made.Kind == BreakKind::Access)
      throw EvaluationError("reads of a register or a property cannot be watched");
    Made.Kind = BreakKind::Polled;
    Made.Watched = std::make_unique<SourceExpression>(std::move(Expression));
    return;
  }
  const bool IsPlace = Watched.place() == Value::Place::Memory && !HasLength;
  const uint64_t Address = IsPlace ? Watched.address() : addressOf(Watched, In);
  const uint64_t Length =
      IsPlace ? Watched.type().size() : given<unsigned long>(Cmd, "length").value_or(4);
  if (Length == 0 || Length > MaxWatched)
    throw EvaluationError("watch points are for 1 to " + std::to_string(MaxWatched) +
                          " bytes, not " + std::to_string(Length));
  if (IsPlace) {
    Made.Shown = &Watched.type();
    Made.ShownProgram = In.program() ? In.program()->getPath() : "";
  }
  Made.Places.push_back(
      hooked(In.target(), Address, Length, Attrs,
             Text + (Length > 4 ? " (" + std::to_string(Length) + " bytes)" : "")));
}

int setWatch(Command &Cmd, BreakKind Kind, uint32_t Attrs) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const Conditional Given = splitCondition(givenText(Cmd));
  if (Given.What.empty()) {
    errs() << "nothing to watch; give a variable, an address with 'length', a register as '$o0' or "
              "a property as '@uart0.status'\n";
    return 1;
  }
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    auto Made = std::make_unique<UserBreak>();
    Made->Kind = Kind;
    findWatched(*Made, Given.What, Cmd, In, Attrs);
    takeOptions(*Made, Cmd, Given.Condition, In);
    UserBreak &Added = BreakTable::get().add(std::move(Made));
    describe(Added);
    if (Added.Kind == BreakKind::Polled)
      outs() << "note: it is compared between instructions, which makes runs slow\n";
    return 0;
  });
}

// Listing and changing.

int listBreaks(Command &, Interpreter *) {
  const auto &All = BreakTable::get().all();
  if (All.empty())
    outs() << "there are no break points\n";
  for (const auto &[Id, Each] : All) {
    if (Each->IsHidden)
      continue;
    outs() << Id << "  " << (Each->IsEnabled ? "enabled " : "disabled") << "  "
           << nameOf(Each->Kind) << "  " << Each->Hits << (Each->Hits == 1 ? " hit" : " hits");
    if (Each->IsOnce)
      outs() << ", once";
    if (Each->Ignore)
      outs() << ", ignores " << Each->Ignore;
    if (!Each->Cpu.empty())
      outs() << ", only " << Each->Cpu;
    if (!Each->ConditionText.empty())
      outs() << ", if " << Each->ConditionText;
    outs() << "\n";
    if (Each->Places.empty())
      outs() << "     " << Each->Asked << "\n";
    for (const BreakPlace &Place : Each->Places)
      outs() << "     " << placeText(Place) << "\n";
    for (const std::string &Text : Each->Commands)
      outs() << "     > " << Text << "\n";
  }
  for (const auto &[Path, Context] : debugging::Manager::getDebuggingManager().getAll())
    for (const auto &[Addr, Handler] : Context->Breaks.handlers(debugging::BreakPoint::Fetch))
      outs() << Path << ":" << Handler->Id << "  "
             << (Handler->Action == ovBA_Stop ? "stops " : "resumes") << "  break point @ 0x"
             << hexText(Addr, 8) << " of the context\n";
  return 0;
}

/// Calls Change for each break point whose number a command was given, or for all.
template <typename Changer> int changeBreaks(Command &Cmd, Changer Change) {
  BreakTable &Table = BreakTable::get();
  std::vector<uint64_t> Ids;
  if (Cmd.getPositionals().empty())
    for (const auto &[Id, Each] : Table.all())
      Ids.push_back(Id);
  for (const std::string &Word : Cmd.getPositionals()) {
    char *End = nullptr;
    const uint64_t Id = std::strtoull(Word.c_str(), &End, 10);
    if (*End != '\0' || !Table.find(Id)) {
      errs() << "there is no break point " << Word << "; 'break-list' shows all\n";
      return 1;
    }
    Ids.push_back(Id);
  }
  for (const uint64_t Id : Ids)
    Change(Table, Id);
  return 0;
}

int deleteBreaks(Command &Cmd, Interpreter *) {
  if (Cmd.getPositionals().empty() && !isOn(Cmd, "all")) {
    errs() << "give the numbers of the break points to delete, or 'all=1'\n";
    return 1;
  }
  return changeBreaks(Cmd, [](BreakTable &Table, uint64_t Id) { Table.remove(Id); });
}

int enableBreaks(Command &Cmd, Interpreter *) {
  return changeBreaks(Cmd,
                      [](BreakTable &Table, uint64_t Id) { Table.enable(*Table.find(Id), true); });
}

int disableBreaks(Command &Cmd, Interpreter *) {
  return changeBreaks(Cmd,
                      [](BreakTable &Table, uint64_t Id) { Table.enable(*Table.find(Id), false); });
}

/// Takes the number from the beginning of a text, and finds its break point.
UserBreak *takeBreak(std::string &Text) {
  char *End = nullptr;
  const uint64_t Id = std::strtoull(Text.c_str(), &End, 10);
  UserBreak *Found = End == Text.c_str() ? nullptr : BreakTable::get().find(Id);
  if (!Found)
    errs() << "there is no break point '" << Text.substr(0, Text.find(' '))
           << "'; 'break-list' shows all\n";
  Text = trimmed(End);
  return Found;
}

int setCondition(Command &Cmd, Interpreter *) {
  std::string Text = givenText(Cmd);
  UserBreak *Of = takeBreak(Text);
  if (!Of)
    return 1;
  if (Text.empty()) {
    Of->Condition = nullptr;
    Of->ConditionText.clear();
    return 0;
  }
  return evaluating([&] {
    void *Cpu = orvy_objectForName(Of->Subject.c_str());
    Stopped In(Cpu ? Cpu : selectedCpu());
    Of->Condition = std::make_unique<SourceExpression>(Text, In);
    Of->ConditionText = Text;
    return 0;
  });
}

int setCommands(Command &Cmd, Interpreter *) {
  std::string Text = givenText(Cmd);
  UserBreak *Of = takeBreak(Text);
  if (!Of)
    return 1;
  Of->Commands.clear();
  while (!Text.empty()) {
    const size_t End = std::min(Text.find(';'), Text.size());
    if (std::string One = trimmed(Text.substr(0, End)); !One.empty())
      Of->Commands.push_back(std::move(One));
    Text.erase(0, End + 1);
  }
  return 0;
}

int setIgnore(Command &Cmd, Interpreter *) {
  if (Cmd.getPositionals().size() != 2) {
    errs() << "give the number of a break point and how many hits it ignores\n";
    return 1;
  }
  std::string Text = Cmd.getPositionals()[0];
  UserBreak *Of = takeBreak(Text);
  if (!Of)
    return 1;
  char *End = nullptr;
  Of->Ignore = std::strtoull(Cmd.getPositionals()[1].c_str(), &End, 0);
  if (*End != '\0' || Cmd.getPositionals()[1][0] == '-') {
    Of->Ignore = 0;
    errs() << "'" << Cmd.getPositionals()[1] << "' is not a number of hits\n";
    return 1;
  }
  return 0;
}

const Option OnlyCpu = {
    "cpu", OK_Object, false,
    "The processor that counts, all if omitted; names are those of its program"};
const Option Once = {"once", OK_Int, false, "Set to 1 to delete it when it has stopped a run"};
const Option Ignore = {"ignore", OK_Int, false, "Hits that do not stop"};
const Option Length = inBytes("length", "Bytes from the address on, 4 if omitted");

} // namespace

static TextCommand Break(
    "break-set", {OnlyCpu, Once, Ignore},
    [](Command &Cmd, Interpreter *) { return setBreak(Cmd, false); },
    "Stop before the instruction at a place: a function, 'main.c:41', '41', '+3', "
    "'*0x40001234'.\n"
    "'break PLACE if CONDITION' stops only where an expression of C is true.\n"
    "Without a place it is the present one.",
    {"break", "b"}, completePlace);
static TextCommand TemporaryBreak(
    "break-once", {OnlyCpu, Ignore},
    [](Command &Cmd, Interpreter *) { return setBreak(Cmd, true); },
    "Stop once at a place, as 'break PLACE once=1'.", {"tbreak"}, completePlace);
static TextCommand Watch(
    "watch-set", {OnlyCpu, Once, Ignore, Length},
    [](Command &Cmd, Interpreter *) { return setWatch(Cmd, BreakKind::Change, ovMA_WriteHook); },
    "Stop after an instruction or a device has changed a variable, an address with\n"
    "'length', a register as '$o0' or a property as '@uart0.status'.\n"
    "'watch WHAT if CONDITION' stops only where an expression of C is true.",
    {"watch"}, completeExpression);
static TextCommand WriteWatch(
    "watch-write", {OnlyCpu, Once, Ignore, Length},
    [](Command &Cmd, Interpreter *) { return setWatch(Cmd, BreakKind::Write, ovMA_WriteHook); },
    "Stop after a write to a variable or an address, also of the same value.", {"wwatch"},
    completeExpression);
static TextCommand ReadWatch(
    "watch-read", {OnlyCpu, Once, Ignore, Length},
    [](Command &Cmd, Interpreter *) { return setWatch(Cmd, BreakKind::Read, ovMA_ReadHook); },
    "Stop after a read of a variable or an address.", {"rwatch"}, completeExpression);
static TextCommand AccessWatch(
    "watch-access", {OnlyCpu, Once, Ignore, Length},
    [](Command &Cmd, Interpreter *) {
      return setWatch(Cmd, BreakKind::Access, ovMA_ReadHook | ovMA_WriteHook);
    },
    "Stop after a read of or a write to a variable or an address.", {"awatch"}, completeExpression);
static TextCommand
    Condition("break-condition", {}, setCondition,
              "Change the condition of a break point: its number and an expression of C, or\n"
              "nothing to stop always.",
              {"condition"}, completeBreak);
static TextCommand
    CommandsAtHit("break-commands", {}, setCommands,
                  "Have commands run when a break point has stopped a run: its number and the "
                  "commands, divided by ';'.",
                  {"commands"}, completeBreak);
static Command BreakList("break-list", listBreaks,
                         "List break and watch points with their places, hits and conditions.",
                         {"breaks"});
static WordCommand BreakDelete("break-delete",
                               {{"all", OK_Int, false, "Set to 1 to delete all of them"}},
                               deleteBreaks, "Delete break points by their numbers.", {"delete"},
                               completeBreak);
static WordCommand BreakEnable("break-enable", {}, enableBreaks,
                               "Enable break points by their numbers, or all of them.", {"enable"},
                               completeBreak);
static WordCommand BreakDisable("break-disable", {}, disableBreaks,
                                "Disable break points by their numbers, or all of them.",
                                {"disable"}, completeBreak);
static WordCommand BreakIgnore("break-ignore", {}, setIgnore,
                               "Have a break point ignore so many hits: its number and the count.",
                               {"ignore"}, completeBreak);
