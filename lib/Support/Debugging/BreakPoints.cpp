#include "Debugging/AccessHooks.h"

#include "orvy/Support/Debugging.h"

#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Processor.h"

#include <algorithm>

using namespace orvy::debugging;

namespace {

const char *orNone(const char *Name) {
  return Name ? Name : "<unknown>";
}

/// A break point that was hit, and where.
struct Hit {
  void *Cpu;
  uint64_t Id;
  uint64_t Pc;
  uint64_t Addr;

  unsigned va() const { return static_cast<unsigned>(Pc); }
  unsigned pa() const { return static_cast<unsigned>(Addr); }

  void logPlain() const {
    orvy_logTargetInfo(Cpu, "Breakpoint %lu hit at VA = 0x%.8x PA = 0x%.8x", Id, va(), pa());
  }
  void logFunction(const char *Name) const {
    orvy_logTargetInfo(Cpu, "Breakpoint %lu hit in %s (VA = 0x%.8x PA = 0x%.8x)", Id, Name, va(),
                       pa());
  }
  void log(orvy_Dwarf Dwarf) const {
    void *Entry = orvy_dwarfGetDIEForAddr(Dwarf, Pc);
    const char *Name = Entry ? orvy_dwarfGetDIEName(Entry) : nullptr;
    orvy_SourceLoc Place = orvy_dwarfGetSourceLocForAddr(Dwarf, Pc);
    if (Place.File)
      orvy_logTargetInfo(Cpu, "Breakpoint %lu hit at %s:%d (%s) (VA = 0x%.8x PA = 0x%.8x)", Id,
                         Place.File, static_cast<int>(Place.Line), orNone(Name), va(), pa());
    else if (Name)
      logFunction(Name);
    else
      logPlain();
  }
  void log(orvy_Symtab Symtab) const {
    const char *File = nullptr, *Name = nullptr;
    orvy_symtabGetFuncName(Symtab, &File, &Name, Pc);
    if (File)
      orvy_logTargetInfo(Cpu, "Breakpoint %lu hit in %s:%s (VA = 0x%.8x PA = 0x%.8x)", Id, File,
                         orNone(Name), va(), pa());
    else
      logFunction(orNone(Name));
  }
};

} // namespace

int BreakPoint::handleHit(void *Cpu) const {
  if (!Message)
    return static_cast<int>(Action);
  const Hit At{Cpu, Id, Cpu ? orvy_cpuGetPc(Cpu) : VA, Addr};
  const Ctxt &Context = *Manager->Owner;
  if (Context.getDwarf())
    At.log(Context.getDwarf());
  else if (Context.getSymtab())
    At.log(Context.getSymtab());
  else
    At.logPlain();
  return static_cast<int>(Action);
}

BreakPoint *BreakManager::createHandler(BreakPoint::Kind Kind, uint64_t Addr) {
  if (Kind > BreakPoint::Exchange)
    return nullptr;
  std::unique_ptr<BreakPoint> &Handler = OfKind[Kind][Addr];
  if (Handler)
    return Handler.get();
  auto &Ids = Kind == BreakPoint::Fetch ? FetchIds : DataIds;
  const uint64_t Id = Ids.empty() ? 1 : Ids.rbegin()->first + 1;
  Ids.emplace(Id, Addr);
  Handler = std::make_unique<BreakPoint>(this, Id, Addr);
  addHooks(hooks(Kind, Addr));
  return Handler.get();
}

HookedRange BreakManager::hooks(BreakPoint::Kind Kind, uint64_t Addr) const {
  return {Owner->getMemoryName(), Addr, 1, hooksOf(Kind)};
}

bool BreakManager::removeHandler(BreakPoint::Kind Kind, uint64_t Addr) {
  const BreakPoint *Removed = handlerAt(Kind, Addr);
  if (!Removed)
    return false;
  (Kind == BreakPoint::Fetch ? FetchIds : DataIds).erase(Removed->Id);
  OfKind[Kind].erase(Addr);
  removeHooks(hooks(Kind, Addr));
  return true;
}

BreakPoint *BreakManager::handlerAt(BreakPoint::Kind Kind, uint64_t Addr) {
  auto Found = OfKind[Kind].find(Addr);
  return Found == OfKind[Kind].end() ? nullptr : Found->second.get();
}

BreakPoint *BreakManager::getBreakForID(uint64_t Id) {
  auto Found = FetchIds.find(Id);
  return Found == FetchIds.end() ? nullptr : getFetchHandlerForAddress(Found->second);
}

int BreakManager::hit(BreakPoint::Kind Kind, void *Cpu, const orvy_MemTransaction *Mt) {
  const BreakPoint *Handler = handlerAt(Kind, Mt->Pa);
  return Handler ? Handler->handleHit(Cpu) : int{ovBA_None};
}

int orvy_debugHandleAccess(void *Space, uint32_t Kind, const orvy_MemTransaction *Mt) {
  if (Kind > ovBK_Exchange)
    return ovBA_None;
  // A device may access memory as well; only a processor has a program counter.
  void *Cpu = Mt->Initiator && orvy_isCpu(Mt->Initiator) ? Mt->Initiator : nullptr;
  int Action = ovBA_None;
  for (const auto &[Path, Context] : Manager::getDebuggingManager().getAll()) {
    if (Context->getMemory() != Space)
      continue;
    Action = std::max(Action, Context->Breaks.hit(static_cast<BreakPoint::Kind>(Kind), Cpu, Mt));
    if (Kind == ovBK_Exchange) // both a read and a write
      for (const BreakPoint::Kind Half : {BreakPoint::Read, BreakPoint::Write})
        Action = std::max(Action, Context->Breaks.hit(Half, Cpu, Mt));
  }
  if (const AccessHandler Handler = accessHandler())
    Action = std::max(Action, Handler(Space, Kind, *Mt));
  if (Action == ovBA_Stop && Kind != ovBK_Fetch && Manager::ResumeWatchpoints)
    return ovBA_Resume;
  return Action;
}

int orvy_debugRemoveBreak(const char *Context, uint32_t Kind, uint64_t Addr) {
  Manager &All = Manager::getDebuggingManager();
  Ctxt *Found = Context ? All.find(Context) : All.getCurrent();
  if (!Found || Kind > ovBK_Exchange)
    return 1;
  return Found->Breaks.removeHandler(static_cast<BreakPoint::Kind>(Kind), Addr) ? 0 : 1;
}
