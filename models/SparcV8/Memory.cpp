// Accesses through the memory space, and the pages of plain memory that are cached from them.

#include "Cpu.h"

#include <vector>

namespace sparc {

namespace {

using Access = void (*MemAccessIface::*)(void *Obj, orvy_MemTransaction *Mt);

struct Kind {
  Access Slot;
  Outcome Stopped;
  TrapNumber Failed;
};

const Kind Fetch = {&MemAccessIface::fetch, OC_Stop, TT_InstructionAccessException};
const Kind Read = {&MemAccessIface::read, OC_StopRead, TT_DataAccessException};
const Kind Write = {&MemAccessIface::write, OC_StopWrite, TT_DataAccessException};
const Kind Exchange = {&MemAccessIface::exchange, OC_StopWrite, TT_DataAccessException};

/// The identifiers 8 to 11, for user and supervisor instructions and data, mean the same memory.
bool namesMemory(uint8_t Asi) {
  return Asi >= 8 && Asi <= 11;
}

uint32_t transact(Cpu *C, const Kind &What, orvy_MemTransaction *Mt) {
  const orvy_IfaceRef &Space = namesMemory(Mt->Asi) ? C->MemorySpace : C->AsiSpace;
  const auto *Table = static_cast<const MemAccessIface *>(Space.Iface);
  const auto Call = Table ? Table->*What.Slot : nullptr;
  if (!Call)
    return What.Failed;
  if (C->StopsToPass >= What.Stopped - OC_Stop + 1)
    Mt->Flags |= ovMF_Resume;
  storeLive(C);
  Call(Space.Obj, Mt);
  if (C->Live && Mt->Cycles) {
    C->CyclesAtEnd += Mt->Cycles;
    limitSlice(C, C->SliceEnd);
  }
  if (uint32_t Out = outcomeOfCall(C))
    return Out;
  if (Mt->Flags & ovMF_Stop)
    return What.Stopped;
  return Mt->Flags & ovMF_Failed ? uint32_t(What.Failed) : uint32_t(OC_Done);
}

orvy_MemTransaction transaction(Cpu *C, uint32_t Va, unsigned Size, uint8_t Asi, uint64_t Value) {
  orvy_MemTransaction Mt = {};
  Mt.Va = Mt.Pa = Va;
  Mt.Value = Value;
  Mt.Size = uint8_t(Size);
  Mt.Asi = Asi;
  Mt.Initiator = C;
  return Mt;
}

orvy_MemTransaction fetchTransaction(Cpu *C, uint32_t Va) {
  return transaction(C, Va, 2, C->Psr & PSR_S ? 9 : 8, 0);
}

void revoked(orvy_PageWatcher *Watcher) {
  auto *Page =
      reinterpret_cast<DataPage *>(reinterpret_cast<char *>(Watcher) - offsetof(DataPage, Watcher));
  Page->Tag = NoTag;
  Page->Page = nullptr;
}

void forget(DataPage *Page) {
  if (!Page->Page)
    return;
  orvy_memPageUnwatch(Page->Page, &Page->Watcher);
  revoked(&Page->Watcher);
}

void keep(DataPage *Pages, uint32_t Va, const orvy_MemTransaction &Mt) {
  if (!Mt.Page || !namesMemory(Mt.Asi))
    return;
  DataPage *Page = &Pages[Va >> ORVY_PAGE_BITS & (DataPages - 1)];
  forget(Page);
  Page->Page = static_cast<orvy_MemPage *>(Mt.Page);
  Page->Base = Page->Page->Data;
  Page->Tag = Va & ~(ORVY_PAGE_SIZE - 1);
  orvy_memPageWatch(Page->Page, &Page->Watcher);
}

/// All processors. They share one subscription, because a processor that is disposed of would have
/// to unsubscribe while the notification is being issued.
std::vector<Cpu *> Processors;

void dropSpace(Cpu *C, const void *Space) {
  if (C->KnownSpace.Obj == Space)
    C->KnownHooks = nullptr;
  for (orvy_IfaceRef *Ref : {&C->MemorySpace, &C->AsiSpace, &C->KnownSpace})
    if (Ref->Obj == Space)
      *Ref = {};
}

bool misaligned(uint32_t Va, unsigned Size) {
  return Va & ((1u << Size) - 1);
}

} // namespace

uint32_t outcomeOfCall(Cpu *C) {
  if (C->Redirected)
    return OC_Abandoned;
  limitSliceToEvents(C);
  uint32_t Trap = C->PendingTrap;
  C->PendingTrap = 0;
  return Trap;
}

uint32_t load(Cpu *C, uint32_t Va, unsigned Size, uint8_t Asi, uint64_t *Value) {
  if (misaligned(Va, Size))
    return TT_MemAddressNotAligned;
  orvy_MemTransaction Mt = transaction(C, Va, Size, Asi, 0);
  if (uint32_t Out = transact(C, Read, &Mt))
    return Out;
  *Value = Mt.Value;
  keep(C->ReadPages, Va, Mt);
  return OC_Done;
}

uint32_t store(Cpu *C, uint32_t Va, unsigned Size, uint8_t Asi, uint64_t Value) {
  if (misaligned(Va, Size))
    return TT_MemAddressNotAligned;
  orvy_MemTransaction Mt = transaction(C, Va, Size, Asi, Value);
  if (uint32_t Out = transact(C, Write, &Mt))
    return Out;
  keep(C->WritePages, Va, Mt);
  return OC_Done;
}

uint32_t exchange(Cpu *C, uint32_t Va, unsigned Size, uint8_t Asi, uint64_t *Value) {
  if (misaligned(Va, Size))
    return TT_MemAddressNotAligned;
  orvy_MemTransaction Mt = transaction(C, Va, Size, Asi, *Value);
  if (uint32_t Out = transact(C, Exchange, &Mt))
    return Out;
  *Value = Mt.Value;
  return OC_Done;
}

uint32_t fetch(Cpu *C, uint32_t Va, uint32_t *Word, orvy_MemPage **Page, bool *HasHooks) {
  orvy_MemTransaction Mt = fetchTransaction(C, Va);
  if (C->KnownHooks)
    Mt.Flags |= ovMF_FetchHooks;
  if (uint32_t Out = transact(C, Fetch, &Mt))
    return Out;
  *Word = uint32_t(Mt.Value);
  *Page = static_cast<orvy_MemPage *>(Mt.Page);
  *HasHooks = Mt.Flags & ovMF_FetchHooks;
  return OC_Done;
}

uint32_t fetchHooked(Cpu *C, uint32_t Va, uint32_t *Word) {
  orvy_MemTransaction Mt = fetchTransaction(C, Va);
  uint32_t Out = transact(C, Fetch, &Mt);
  *Word = uint32_t(Mt.Value);
  return Out;
}

bool isHooked(Cpu *C, uint32_t Va) {
  uint32_t Attrs = 0;
  for (uint32_t Byte = 0; Byte < 4; ++Byte)
    Attrs |= C->KnownHooks->getAttrs(C->KnownSpace.Obj, Va + Byte);
  return Attrs & ovMA_FetchHook;
}

void initPages(Cpu *C) {
  for (DataPage *Pages : {C->ReadPages, C->WritePages})
    for (unsigned Index = 0; Index < DataPages; ++Index) {
      Pages[Index].Tag = NoTag;
      Pages[Index].Watcher.Revoked = revoked;
    }
}

void addProcessor(Cpu *C) {
  constexpr const char *Disposal = "orvy.objectWillBeDisposed";
  static const int Subscribed = [C] {
    // Every object publishes this, but only after its creation, and this one may be the first.
    orvy_publishNotification(Disposal, C);
    return orvy_subscribeNotification(Disposal, nullptr, nullptr, [](void *, void *Source, void *) {
      for (Cpu *Each : Processors)
        dropSpace(Each, Source);
    });
  }();
  static_cast<void>(Subscribed);
  Processors.push_back(C);
}

void removeProcessor(Cpu *C) {
  std::erase(Processors, C);
}

void forgetPages(Cpu *C) {
  for (DataPage *Pages : {C->ReadPages, C->WritePages})
    for (unsigned Index = 0; Index < DataPages; ++Index)
      forget(&Pages[Index]);
}

} // namespace sparc
