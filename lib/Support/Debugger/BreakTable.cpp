#include "Debugger/BreakTable.h"

#include "Base/HexText.h"
#include "Debugger/ValueText.h"
#include "Objsys/ObjectKinds.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Objsys.h"

#include <algorithm>

using namespace orvy;
using namespace orvy::debugger;

namespace {

void *cpuOf(const orvy_MemTransaction &Mt) {
  return Mt.Initiator && orvy_isCpu(Mt.Initiator) ? Mt.Initiator : nullptr;
}

std::string nameOfObject(void *Obj) {
  const char *Name = Obj ? orvy_nameForObject(Obj) : nullptr;
  return Name ? Name : "";
}

/// Asks processors to end their turn after the access: the one that made it, else all of them.
/// Returns false if one cannot.
bool stopAfter(void *Cpu, orvy_CpuExitReason Reason) {
  bool IsDone = true;
  for (size_t Index = 0; Index < orvy_getProcessorCount(); ++Index) {
    void *Each = orvy_getProcessors()[Index];
    if (Cpu && Each != Cpu)
      continue;
    const auto *Iface = static_cast<const StopIface *>(orvy_getInterface(Each, "StopIface", 0));
    if (Iface && Iface->stop)
      Iface->stop(Each, Reason);
    else
      IsDone = false;
  }
  return IsDone;
}

/// Bytes of a watched place as text.
std::string contentsText(const UserBreak &Of, const std::vector<uint8_t> &Bytes, void *Cpu) {
  void *Viewer = Cpu ? Cpu : orvy_objectForName(Of.Subject.c_str());
  if (Of.Shown && Viewer && Of.Shown->size() == Bytes.size()) {
    Stopped In(Viewer);
    ValueFormat Format;
    Format.NamesType = false;
    Format.MaxElements = 32;
    try {
      return valueText(Value::ofBytes(*Of.Shown, Bytes), In, Format);
    } catch (const EvaluationError &) {
    }
  }
  std::string Text = "0x";
  for (size_t Index = 0; Index < Bytes.size() && Index < 16; ++Index)
    Text += hexText(Bytes[Index], 2);
  return Bytes.size() > 16 ? Text + "..." : Text;
}

std::vector<uint8_t> contentsOf(void *Space, uint64_t Address, uint64_t Length) {
  std::vector<uint8_t> Bytes(Length);
  if (orvy_memoryRead(Space, Bytes.data(), Address, static_cast<uint32_t>(Length), 0) != Length)
    Bytes.clear();
  return Bytes;
}

/// What a place will hold after a write.
std::vector<uint8_t> contentsAfter(std::vector<uint8_t> Bytes, uint64_t Address, uint64_t Start,
                                   const orvy_MemTransaction &Mt) {
  const uint64_t Size = uint64_t{1} << Mt.Size;
  for (uint64_t Index = 0; Index < Size; ++Index) {
    const uint64_t At = Start + Index;
    if (At >= Address && At < Address + Bytes.size())
      Bytes[At - Address] = static_cast<uint8_t>(Mt.Value >> 8 * (Size - 1 - Index));
  }
  return Bytes;
}

} // namespace

/// Keeps what the table has handed out as long as an access is met.
class BreakTable::Meeting {
public:
  explicit Meeting(BreakTable &In) : In(In) { ++In.Meetings; }
  ~Meeting() {
    if (--In.Meetings == 0 && !In.IsIndexed)
      In.index();
  }
  Meeting(const Meeting &) = delete;
  Meeting &operator=(const Meeting &) = delete;

private:
  BreakTable &In;
};

BreakTable::BreakTable() {
  debugging::Manager::getDebuggingManager(); // sets the hooks again after a restore
  debugging::setAccessHandler(handle);
}

BreakTable &BreakTable::get() {
  static BreakTable &Table = *new BreakTable; // models may access memory until the very end
  return Table;
}

UserBreak &BreakTable::add(std::unique_ptr<UserBreak> Made) {
  Made->Id = Made->IsHidden ? --LastHidden : ++LastId;
  UserBreak &Added = *Made;
  Breaks.emplace(Added.Id, std::move(Made));
  index();
  if (Added.IsEnabled)
    setHooks(Added, true);
  return Added;
}

UserBreak *BreakTable::find(uint64_t Id) {
  const auto Found = Breaks.find(Id);
  return Found == Breaks.end() ? nullptr : Found->second.get();
}

bool BreakTable::remove(uint64_t Id) {
  const auto Found = Breaks.find(Id);
  if (Found == Breaks.end())
    return false;
  enable(*Found->second, false);
  Removed.push_back(std::move(Found->second));
  Breaks.erase(Found);
  index();
  return true;
}

void BreakTable::removeAll() {
  while (!Breaks.empty())
    remove(Breaks.begin()->first);
}

void BreakTable::enable(UserBreak &Of, bool IsEnabled) {
  if (Of.IsEnabled != IsEnabled)
    setHooks(Of, IsEnabled);
  Of.IsEnabled = IsEnabled;
}

void BreakTable::setHooks(const UserBreak &Of, bool IsSet) {
  for (const BreakPlace &Place : Of.Places)
    IsSet ? addHooks(Place.Hook) : removeHooks(Place.Hook);
}

void BreakTable::index() {
  IsIndexed = Meetings == 0;
  if (!IsIndexed)
    return;
  Code.clear();
  Data.clear();
  Polled.clear();
  Removed.clear();
  for (const auto &[Id, Each] : Breaks) {
    if (Each->Kind == BreakKind::Polled)
      Polled.push_back(Each.get());
    for (const BreakPlace &Place : Each->Places)
      if (Each->isWatch())
        Data.emplace_back(Each.get(), &Place);
      else
        Code.emplace(Place.Hook.Address, std::pair(Each.get(), &Place));
  }
}

// Hits.

int BreakTable::handle(void *Space, uint32_t Kind, const orvy_MemTransaction &Mt) {
  return get().meet(Space, Kind, Mt);
}

int BreakTable::meet(void *Space, uint32_t Kind, const orvy_MemTransaction &Mt) {
  const Meeting InProgress(*this);
  int Action = ovBA_None;
  if (IsFirstOnly && hasShownHit())
    return Action;
  if (Kind == ovBK_Fetch) {
    for (auto [At, End] = Code.equal_range(Mt.Pa); At != End; ++At) {
      const auto &[Of, Place] = At->second;
      if (Of->IsEnabled && orvy_objectForName(Place->Hook.Space.c_str()) == Space)
        Action = std::max(Action, meetCode(*Of, *Place, cpuOf(Mt)));
    }
    return Action;
  }
  for (const auto &[Of, Place] : Data)
    if (Of->IsEnabled && (Place->Hook.Attrs & debugging::hooksOf(Kind)) &&
        Mt.Pa >= Place->Hook.Address && Mt.Pa < Place->Hook.Address + Place->Hook.Length &&
        orvy_objectForName(Place->Hook.Space.c_str()) == Space)
      Action = std::max(Action, meetData(*Of, *Place, Space, Kind, Mt));
  return Action;
}

/// Whether a hit is to stop: by processor, condition and ignore count. A condition that cannot be
/// evaluated stops.
bool BreakTable::counts(UserBreak &Of, void *Cpu, BreakHit &Found) {
  if (!Of.Cpu.empty() && Of.Cpu != nameOfObject(Cpu))
    return false;
  void *Viewer = Cpu ? Cpu : orvy_objectForName(Of.Subject.c_str());
  if (const auto Condition = Of.Condition; Condition && Viewer) {
    try {
      Stopped In(Viewer);
      if (!Condition->evaluate(In).isTrue(In))
        return false;
    } catch (const EvaluationError &Why) {
      Found.Problem = Why.what();
    }
    if (!Of.IsEnabled) // a property that was read has disabled or removed it
      return false;
  }
  ++Of.Hits;
  if (Of.Ignore > 0 && Found.Problem.empty()) {
    --Of.Ignore;
    return false;
  }
  return true;
}

int BreakTable::meetCode(UserBreak &Of, const BreakPlace &At, void *Cpu) {
  BreakHit Found{Of.Id, Of.Kind, nameOfObject(Cpu), At.Text, {}, {}};
  if (!Cpu || !counts(Of, Cpu, Found))
    return ovBA_Resume;
  keep(std::move(Found));
  return ovBA_Stop;
}

int BreakTable::meetData(UserBreak &Of, const BreakPlace &At, void *Space, uint32_t Kind,
                         const orvy_MemTransaction &Mt) {
  // Every byte with a hook is asked about: the access counts at the first of them. It is aligned.
  const uint64_t Size = uint64_t{1} << Mt.Size, Start = Mt.Pa & ~(Size - 1);
  const uint64_t Low = At.Hook.Address;
  if (Mt.Pa != std::max(Start, Low))
    return ovBA_Resume;
  const bool IsWrite = Kind != ovBK_Read;
  std::vector<uint8_t> Old = contentsOf(Space, Low, At.Hook.Length);
  const std::vector<uint8_t> New =
      IsWrite && !Old.empty() ? contentsAfter(Old, Low, Start, Mt) : Old;
  if (Of.Kind == BreakKind::Change && !Old.empty() && New == Old)
    return ovBA_Resume;
  void *Cpu = cpuOf(Mt);
  BreakHit Found{Of.Id, Of.Kind, nameOfObject(Cpu), At.Text, {}, {}};
  if (!counts(Of, Cpu, Found))
    return ovBA_Resume;
  Found.Detail = std::string(IsWrite ? "write" : "read") + " of " + std::to_string(Size) +
                 (Size == 1 ? " byte" : " bytes") + " at 0x" + hexText(Start, 8);
  if (!IsWrite)
    Found.Detail += ", value " + contentsText(Of, Old, Cpu);
  else if (!Old.empty())
    Found.Detail += ", old " + contentsText(Of, Old, Cpu) + ", new " + contentsText(Of, New, Cpu);
  if (Cpu) {
    const CpuView By(Cpu);
    Found.Detail += ", by " + nameOfObject(Cpu) + " at " + addressText(By, By.pc());
  } else if (Mt.Initiator && orvy_classForObject(Mt.Initiator)) {
    Found.Detail += ", by " + nameOfObject(Mt.Initiator);
  }
  keep(std::move(Found));
  const bool IsAsked = stopAfter(Cpu, IsWrite ? ovCER_BreakWrite : ovCER_BreakRead);
  return IsAsked ? int{ovBA_Resume} : int{ovBA_Stop};
}

/// The first hit is told, and of two at one place the user's own.
void BreakTable::keep(BreakHit Found) {
  if (!hasShownHit())
    Hit = std::move(Found);
}

bool BreakTable::hasShownHit() const {
  const auto Former = Hit ? Breaks.find(Hit->Id) : Breaks.end();
  return Former != Breaks.end() && !Former->second->IsHidden;
}

std::optional<BreakHit> BreakTable::takeHit() {
  std::optional<BreakHit> Taken;
  Taken.swap(Hit);
  if (Taken)
    if (const UserBreak *Of = find(Taken->Id); Of && Of->IsOnce)
      remove(Taken->Id);
  return Taken;
}

void BreakTable::begin() {
  Hit.reset();
}

// Polling.

bool BreakTable::needsPolling() const {
  return std::ranges::any_of(Polled, &UserBreak::IsEnabled);
}

static std::string polledText(const UserBreak &Of) {
  void *Cpu = orvy_objectForName(Of.Subject.c_str());
  if (!Cpu)
    return "<its processor has gone>";
  try {
    Stopped In(Cpu);
    const auto Watched = Of.Watched;
    return valueText(Watched->evaluate(In), In);
  } catch (const EvaluationError &Why) {
    return std::string("<") + Why.what() + ">";
  }
}

void BreakTable::startPolling() {
  const Meeting InProgress(*this);
  for (UserBreak *Each : Polled)
    if (Each->IsEnabled)
      Each->LastValue = polledText(*Each);
}

bool BreakTable::poll(void *Cpu, uint64_t PcBefore) {
  const Meeting InProgress(*this);
  bool Stops = false;
  for (UserBreak *Each : Polled) {
    if (!Each->IsEnabled)
      continue;
    std::string Now = polledText(*Each);
    if (Now == Each->LastValue)
      continue;
    const std::string Old = std::exchange(Each->LastValue, Now);
    BreakHit Found{Each->Id, Each->Kind, nameOfObject(Cpu), Each->Asked, {}, {}};
    if (!Each->IsEnabled || !counts(*Each, Cpu, Found))
      continue;
    Found.Detail = "old " + Old + ", new " + Now;
    if (Cpu)
      Found.Detail += ", after " + Found.Cpu + " at " + addressText(CpuView(Cpu), PcBefore);
    keep(std::move(Found));
    Stops = true;
  }
  return Stops;
}
