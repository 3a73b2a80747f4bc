// The commands that set break and watch points, list and change them.

#include "Base/HexText.h"
#include "CommandLine/TextCommands.h"
#include "Debugger/AddressNames.h"
#include "Debugger/BreakMaking.h"
#include "Debugger/Selection.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"

#include <algorithm>
#include <cstdlib>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;

namespace {

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

/// Adds what Make makes of the text and the options of a command.
template <typename Maker> int setBreak(Command &Cmd, Maker Make) {
  void *Cpu = requireCpu(Cmd);
  if (!Cpu)
    return 1;
  const auto [What, Condition] = splitCondition(givenText(Cmd));
  const auto OnlyCpu = given<void *>(Cmd, "cpu");
  const BreakRequest Asked{What,
                           Condition,
                           OnlyCpu ? orvy_nameForObject(*OnlyCpu) : "",
                           isOn(Cmd, "once"),
                           given<unsigned long>(Cmd, "ignore").value_or(0),
                           given<unsigned long>(Cmd, "length")};
  return evaluating([&] {
    Stopped In(Cpu, selectedLevel(Cpu));
    const UserBreak &Added = BreakTable::get().add(Make(Asked, In));
    describe(Added);
    if (Added.Kind == BreakKind::Polled)
      outs() << "note: it is compared between instructions, which makes runs slow\n";
    return 0;
  });
}

int setCodeBreak(Command &Cmd, Interpreter *) {
  return setBreak(Cmd, makeBreak);
}

int setBreakOnce(Command &Cmd, Interpreter *) {
  return setBreak(Cmd, [](const BreakRequest &Asked, Stopped &In) {
    auto Made = makeBreak(Asked, In);
    Made->IsOnce = true;
    return Made;
  });
}

template <BreakKind Kind> int setWatch(Command &Cmd, Interpreter *) {
  return setBreak(
      Cmd, [](const BreakRequest &Asked, Stopped &In) { return makeWatch(Asked, Kind, In); });
}

// Listing and changing.

int listBreaks(Command &, Interpreter *) {
  bool IsEmpty = true;
  for (const auto &[Id, Each] : BreakTable::get().all()) {
    if (Each->IsHidden)
      continue;
    IsEmpty = false;
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
    for (const auto &[Addr, Handler] : Context->Breaks.handlers(debugging::BreakPoint::Fetch)) {
      IsEmpty = false;
      outs() << Path << ":" << Handler->Id << "  "
             << (Handler->Action == ovBA_Stop ? "stops " : "resumes") << "  break point @ 0x"
             << hexText(Addr, 8) << " of the context\n";
    }
  if (IsEmpty)
    outs() << "there are no break points\n";
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

int changeCondition(Command &Cmd, Interpreter *) {
  std::string Text = givenText(Cmd);
  UserBreak *Of = takeBreak(Text);
  if (!Of)
    return 1;
  return evaluating([&] {
    setCondition(*Of, Text);
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
const Option Length =
    inBytes("length", "Bytes to watch at an address; a variable has a length of its own");

} // namespace

static TextCommand
    Break("break-set", {OnlyCpu, Once, Ignore}, setCodeBreak,
          "Stop before the instruction at a place: a function, 'main.c:41', '41', '+3', "
          "'*0x40001234'.\n"
          "'break PLACE if CONDITION' stops only where an expression of C is true.\n"
          "Without a place it is the present one.",
          {"break", "b"}, completePlace);
static TextCommand TemporaryBreak("break-once", {OnlyCpu, Ignore}, setBreakOnce,
                                  "Stop once at a place, as 'break PLACE once=1'.", {"tbreak"},
                                  completePlace);
static TextCommand
    Watch("watch-set", {OnlyCpu, Once, Ignore, Length}, setWatch<BreakKind::Change>,
          "Stop after an instruction or a device has changed a variable, an address with\n"
          "'length', a register as '$o0' or a property as '@uart0.status'.\n"
          "'watch WHAT if CONDITION' stops only where an expression of C is true.",
          {"watch"}, completeExpression);
static TextCommand
    WriteWatch("watch-write", {OnlyCpu, Once, Ignore, Length}, setWatch<BreakKind::Write>,
               "Stop after a write to a variable or an address, also of the same value.",
               {"wwatch"}, completeExpression);
static TextCommand ReadWatch("watch-read", {OnlyCpu, Once, Ignore, Length},
                             setWatch<BreakKind::Read>,
                             "Stop after a read of a variable or an address.", {"rwatch"},
                             completeExpression);
static TextCommand AccessWatch("watch-access", {OnlyCpu, Once, Ignore, Length},
                               setWatch<BreakKind::Access>,
                               "Stop after a read of or a write to a variable or an address.",
                               {"awatch"}, completeExpression);
static TextCommand
    Condition("break-condition", {}, changeCondition,
              "Change the condition of a break point: its number and an expression of C, or\n"
              "nothing to stop always.",
              {"condition"}, completeBreak);
static TextCommand
    CommandsAtHit("break-commands", {}, setCommands,
                  "Have commands run when a break point has stopped a run: its number and the\n"
                  "commands, divided by ';'. After one that runs the system the rest gives way to\n"
                  "the commands of the next stop: 'commands 3 bt; run' shows every hit.",
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
