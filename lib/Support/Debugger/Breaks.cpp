#include "orvy/Support/Breaks.h"

#include "Debugger/BreakMaking.h"
#include "Debugger/Selection.h"
#include "Debugger/StopReport.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"

#include <string>

using namespace orvy::debugger;

static_assert(int{ovUB_Polled} == static_cast<int>(BreakKind::Polled));
static_assert(int{ovSK_Asked} == static_cast<int>(StopKind::Asked));

namespace {

std::string orEmpty(const char *Text) {
  return Text ? Text : "";
}

/// A break point that the user knows of; null if there is none of that number.
UserBreak *findShown(uint64_t Id) {
  UserBreak *Found = BreakTable::get().find(Id);
  return Found && !Found->IsHidden ? Found : nullptr;
}

/// Adds what Make makes for a processor. Returns its number; 0, with an error, if it cannot be made.
template <typename Maker> uint64_t add(const char *Caller, void *Cpu, Maker Make) {
  if (Cpu && !orvy_isCpu(Cpu)) {
    orvy_logError(nullptr, "%s: the object is not a processor", Caller);
    return 0;
  }
  if (!Cpu)
    Cpu = selectedCpu();
  if (!Cpu) {
    orvy_logError(nullptr, "%s: no processor is selected", Caller);
    return 0;
  }
  try {
    Stopped In(Cpu, selectedLevel(Cpu));
    return BreakTable::get().add(Make(In)).Id;
  } catch (const EvaluationError &Why) {
    orvy_logError(nullptr, "%s: %s", Caller, Why.what());
    return 0;
  }
}

/// Calls Change for the break point of a number. Returns what the flat functions return.
template <typename Changer> int change(uint64_t Id, Changer Change) {
  UserBreak *Found = findShown(Id);
  if (!Found)
    return 1;
  Change(*Found);
  return 0;
}

orvy_StopInfo infoOf(const Stop &Of) {
  return {static_cast<uint32_t>(Of.Kind),
          Of.BreakId,
          Of.Pc,
          Of.Seconds,
          Of.Cpu.empty() ? nullptr : Of.Cpu.c_str(),
          Of.word(),
          Of.Text.c_str()};
}

} // namespace

uint64_t orvy_breakSet(void *Cpu, const char *Place, const char *Condition) {
  BreakRequest Asked;
  Asked.What = orEmpty(Place);
  Asked.Condition = orEmpty(Condition);
  return add("breakSet", Cpu, [&](Stopped &In) { return makeBreak(Asked, In); });
}

uint64_t orvy_watchSet(void *Cpu, const char *What, uint32_t Kind, uint64_t Length,
                       const char *Condition) {
  if (Kind < ovUB_Write || Kind > ovUB_Access) {
    orvy_logError(nullptr, "watchSet: %u is not a kind of watch point", Kind);
    return 0;
  }
  BreakRequest Asked;
  Asked.What = orEmpty(What);
  Asked.Condition = orEmpty(Condition);
  if (Length != 0)
    Asked.Length = Length;
  return add("watchSet", Cpu,
             [&](Stopped &In) { return makeWatch(Asked, static_cast<BreakKind>(Kind), In); });
}

int orvy_breakDelete(uint64_t Id) {
  return findShown(Id) && BreakTable::get().remove(Id) ? 0 : 1;
}

int orvy_breakEnable(uint64_t Id, int IsEnabled) {
  return change(Id, [&](UserBreak &Of) { BreakTable::get().enable(Of, IsEnabled != 0); });
}

int orvy_breakSetOnce(uint64_t Id, int IsOnce) {
  return change(Id, [&](UserBreak &Of) { Of.IsOnce = IsOnce != 0; });
}

int orvy_breakSetIgnore(uint64_t Id, uint64_t Hits) {
  return change(Id, [&](UserBreak &Of) { Of.Ignore = Hits; });
}

int orvy_breakSetCondition(uint64_t Id, const char *Condition) {
  UserBreak *Found = findShown(Id);
  if (!Found) {
    orvy_logError(nullptr, "breakSetCondition: there is no break point %lu", Id);
    return 1;
  }
  try {
    setCondition(*Found, orEmpty(Condition));
    return 0;
  } catch (const EvaluationError &Why) {
    orvy_logError(nullptr, "breakSetCondition: %s", Why.what());
    return 1;
  }
}

int orvy_breakSetCpu(uint64_t Id, void *Cpu) {
  UserBreak *Found = findShown(Id);
  if (!Found || (Cpu && !orvy_isCpu(Cpu))) {
    orvy_logError(nullptr, "breakSetCpu: %s",
                  Found ? "the object is not a processor" : "there is no such break point");
    return 1;
  }
  Found->Cpu = Cpu ? orvy_nameForObject(Cpu) : "";
  return 0;
}

int orvy_breakGet(uint64_t Id, orvy_BreakInfo *Info) {
  *Info = {};
  return change(Id, [&](const UserBreak &Of) {
    Info->Id = Of.Id;
    Info->Hits = Of.Hits;
    Info->Ignore = Of.Ignore;
    Info->Length = Of.isWatch() && !Of.Places.empty() ? Of.Places.front().Length : 0;
    Info->Asked = Of.Asked.c_str();
    Info->Condition = Of.Condition ? Of.ConditionText.c_str() : nullptr;
    Info->Cpu = Of.Cpu.empty() ? nullptr : Of.Cpu.c_str();
    Info->Kind = static_cast<uint32_t>(Of.Kind);
    Info->Places = static_cast<uint32_t>(Of.Places.size());
    Info->IsEnabled = Of.IsEnabled;
    Info->IsOnce = Of.IsOnce;
  });
}

const char *orvy_breakGetPlace(uint64_t Id, uint32_t Index, uint64_t *Address) {
  const UserBreak *Found = findShown(Id);
  if (!Found || Index >= Found->Places.size())
    return nullptr;
  const BreakPlace &At = Found->Places[Index];
  if (Address)
    *Address = At.Address;
  return At.Text.c_str();
}

uint64_t orvy_breakNext(uint64_t Id) {
  const auto &All = BreakTable::get().all();
  // Those of steps have the largest numbers.
  const auto Next = All.upper_bound(Id);
  return Next == All.end() || Next->second->IsHidden ? 0 : Next->first;
}

void orvy_stopConclude(void *Obj, orvy_CpuExitReason Reason, orvy_StopInfo *Info) {
  const Stop &Found = RunWatch::concludeRun(Obj, static_cast<int>(Reason));
  if (Info)
    *Info = infoOf(Found);
}

int orvy_stopGetLast(orvy_StopInfo *Info) {
  *Info = infoOf(lastStop());
  return lastStop().Kind == StopKind::None ? 1 : 0;
}
