#include "Debugger/RunControl.h"

#include "Debugger/InterruptGuard.h"
#include "Debugger/Selection.h"

#include "orvy/Support/Debugging.h"
#include "orvy/Support/FileSystem.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <vector>

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;

namespace {

std::string LastRunnable;

constexpr uint64_t CyclesAtOnce = 10000000;
constexpr uint64_t NanosAtOnce = 1000000000;

uint32_t indexOf(const void *Cpu) {
  void **All = orvy_getProcessors();
  return static_cast<uint32_t>(std::find(All, All + orvy_getProcessorCount(), Cpu) - All);
}

/// A part of a run of whatever can be run.
int runPart(void *Obj) {
  if (const cl::Target<MachineIface> Machine(Obj); Machine && Machine->run) {
    const InterruptGuard Guard(Machine);
    return static_cast<int>(Machine->run(Obj, NanosAtOnce));
  }
  const InterruptGuard Guard;
  if (const cl::Target<CpuIface> Cpu(Obj); Cpu && Cpu->run)
    return static_cast<int>(Cpu->run(Obj, CyclesAtOnce));
  if (const cl::Target<ClockIface> Clock(Obj); Clock && Clock->advanceCycles && Clock->getFreq)
    return Clock->advanceCycles(
        Obj, std::max<uint64_t>(static_cast<uint64_t>(Clock->getFreq(Obj) * 0.1), 1));
  return ovCER_Halt;
}

} // namespace

void orvy::debugger::rememberRunnable(void *Obj) {
  const char *Name = orvy_nameForObject(Obj);
  LastRunnable = Name ? Name : "";
}

void *orvy::debugger::runnableOf(void *Cpu) {
  void *Obj = LastRunnable.empty() ? nullptr : orvy_objectForName(LastRunnable.c_str());
  if (!Obj)
    if (const Var *Variable = Var::findVariable("DEFAULT_RUNNABLE"))
      Obj = orvy_objectForName(Variable->getValue().c_str());
  // Another processor alone would leave this one where it is.
  if (Obj && (Obj == Cpu || !orvy_isCpu(Obj)))
    return Obj;
  if (orvy_getProcessorCount() == 1)
    return Cpu;
  return orvy_objectForName("sim");
}

Stepper::Stepper(void *Cpu)
    : Cpu(Cpu), At(Cpu), Name(orvy_nameForObject(Cpu)), Watch(Cpu, StopKind::Steps) {}

/// Executes one instruction of the processor, the others in time with it.
int Stepper::stepSystem() {
  return Polled.check(Cpu, [this] {
    if (orvy_getProcessorCount() > 1) {
      const cl::Target<MachineIface> Sim(orvy_objectForName("sim"));
      const InterruptGuard Guard(Sim);
      return Polling::withHits(
          [&] { return Sim->step(Sim.Obj, static_cast<int>(indexOf(Cpu)), 1); });
    }
    const InterruptGuard Guard;
    const cl::Target<CpuIface> Iface(Cpu);
    return static_cast<int>(Iface->step(Cpu, 1));
  });
}

bool Stepper::stepOne() {
  if (Found)
    return false;
  Reason = stepSystem();
  IsInterrupted = InterruptGuard::isStopped();
  if (orvy_objectForName(Name.c_str()) != Cpu) // it was disposed of
    Reason = ovCER_Halt;
  if (Reason != 0 || IsInterrupted)
    Found = Watch.conclude(Reason, IsInterrupted);
  return !Found;
}

/// Runs until something stops.
int Stepper::go() {
  void *Obj = runnableOf(Cpu);
  const std::string Runnable = Obj ? orvy_nameForObject(Obj) : "";
  int Last = 0;
  do {
    Last = !Obj ? int{ovCER_Halt} : Polled ? stepSystem() : runPart(Obj);
    IsInterrupted = InterruptGuard::isStopped();
    Obj = orvy_objectForName(Runnable.c_str());
  } while (Last == 0 && !IsInterrupted && Obj);
  return Last;
}

bool Stepper::runTo(const std::vector<uint64_t> &Addresses, uint64_t LowestStack) {
  if (!Found && isHalted(Cpu)) // the others might run without an end
    Found = Watch.conclude(ovCER_Halt, false);
  if (Found)
    return false;
  const orvy_Propref Ref = orvy_getPropref(Cpu, "memorySpace");
  void *Space =
      Ref.Typ == ovTY_IfaceRef ? static_cast<const orvy_IfaceRef *>(Ref.Ptr)->Obj : nullptr;
  auto Made = std::make_unique<UserBreak>();
  Made->Cpu = Made->Subject = Name;
  Made->IsHidden = true;
  for (const uint64_t Address : Addresses)
    if (const auto Pa = At.physical(Address); Pa && Space)
      Made->Places.push_back({Address, 1, "", {orvy_nameForObject(Space), *Pa, 1, ovMA_FetchHook}});
  if (Made->Places.empty())
    return stepOne();
  const uint64_t Id = BreakTable::get().add(std::move(Made)).Id;
  bool HasArrived = false;
  while (!HasArrived && !Found) {
    Reason = go();
    const BreakHit *Hit = BreakTable::get().lastHit();
    if (Hit && Hit->Id == Id) {
      BreakTable::get().begin();
      HasArrived = At.readRegister(14, 0).value_or(0) >= LowestStack;
    } else {
      Found = Watch.conclude(Reason, IsInterrupted);
    }
  }
  BreakTable::get().remove(Id);
  return HasArrived;
}

bool Stepper::stepOverTraps() {
  constexpr uint64_t TableBytes = 4096;
  constexpr unsigned L1 = 17, L2 = 18;
  const auto isInTable = [&] {
    const uint64_t Table = orvy_sparcGetTbr(Cpu) & ~(TableBytes - 1);
    return At.pc() >= Table && At.pc() < Table + TableBytes;
  };
  const bool WasInside = At.isSparc() && isInTable();
  const uint64_t Stack = At.readRegister(14, 0).value_or(0);
  if (!stepOne())
    return false;
  if (!At.isSparc() || WasInside || !isInTable())
    return true;
  // It goes on at the instruction that was interrupted, or after it.
  const auto Pc = At.readRegister(L1, 0), Next = At.readRegister(L2, 0);
  return !Pc || !Next || runTo({*Pc, *Next}, Stack);
}

int Stepper::conclude(const Command &Cmd, StopKind AtEnd) {
  if (Found)
    return RunWatch::tell(*Found, Cmd);
  RunWatch End(Cpu, AtEnd);
  return RunWatch::tell(End.conclude(0, false), Cmd);
}

// Source.

std::string orvy::debugger::findSource(const std::string &File) {
  std::vector<std::string> Candidates = {File};
  const std::string Base = fs::fileNameComponent(File.c_str());
  for (const auto &[Path, Context] : debugging::Manager::getDebuggingManager().getAll()) {
    if (orvy_Dwarf Handle = Context->getDwarf()) {
      const auto &Info = *reinterpret_cast<const dwarf::DebugInfo *>(Handle);
      Candidates.push_back(Info.remapPath(File.c_str()));
      for (const std::string &Dir : Info.SourceDirs)
        Candidates.push_back(Dir + Base);
    }
    Candidates.push_back(fs::directoryComponent(Path.c_str()) + "/" + Base);
  }
  Candidates.push_back(Base);
  for (const std::string &Each : Candidates)
    if (fs::isFile(Each))
      return Each;
  return {};
}

std::optional<std::string> orvy::debugger::sourceLine(const std::string &File, uint32_t Line) {
  // Files are read again when they have changed: a user edits while the program runs.
  struct Text {
    uint64_t Size = UINT64_MAX;
    std::vector<std::string> Lines;
  };
  static std::map<std::string, Text> Known;
  const std::string Path = findSource(File);
  if (Path.empty())
    return std::nullopt;
  Text &Held = Known[Path];
  if (const uint64_t Size = fs::size(Path.c_str()); Held.Size != Size) {
    Held = {Size, {}};
    std::ifstream In(Path);
    for (std::string Each; std::getline(In, Each);)
      Held.Lines.push_back(std::move(Each));
  }
  if (Line == 0 || Line > Held.Lines.size())
    return std::nullopt;
  std::string Found = Held.Lines[Line - 1];
  std::erase(Found, '\r');
  return Found;
}
