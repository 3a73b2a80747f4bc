#include "MemorySpace.h"

#include "../Checkpoint.h"
#include "AddressMap.h"
#include "AttributeMap.h"
#include "ByteOrder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace memory {

namespace {

using Slot = void (*MemAccessIface::*)(void *, orvy_MemTransaction *);

struct MemorySpace {
  orvy_Object Super;
  AddressMap Map;
  AttributeMap Attrs;
  std::set<void *> Devices; // devices with a disposal subscription, even if disposed of
  bool Named = false;       // the notifications below are published
  int64_t UpsetNotification = 0;
  int64_t UserNotification[3] = {};
};

MemorySpace &spaceOf(void *Obj) {
  return *static_cast<MemorySpace *>(Obj);
}

const char *nameOf(void *Obj) {
  const char *Name = orvy_nameForObject(Obj);
  return Name ? Name : "";
}

/// Tells whether the space still exists after a call to a device or subscriber, which may have
/// disposed of it. Uses a count of disposals, which needs no clean-up if the call is left by a long
/// jump.
class Survival {
public:
  bool isSure() const { return Disposals == Before; }
  static void end() { ++Disposals; }

private:
  static inline uint64_t Disposals = 0;
  const uint64_t Before = Disposals;
};

// Accesses

/// Publishes the notifications when they are first needed: during creation the space is not
/// registered yet.
void publish(MemorySpace &S) {
  if (S.Named)
    return;
  S.Named = true;
  S.UpsetNotification = orvy_publishNotification("memory.upset", &S);
  S.UserNotification[0] = orvy_publishNotification("memory.user1", &S);
  S.UserNotification[1] = orvy_publishNotification("memory.user2", &S);
  S.UserNotification[2] = orvy_publishNotification("memory.user3", &S);
}

/// The hooks that break points of a kind set.
constexpr AttributeMap::Bits HookOf[] = {ovMA_FetchHook, ovMA_ReadHook, ovMA_WriteHook,
                                         ovMA_ReadHook | ovMA_WriteHook};

/// Asks the debugging contexts about each byte that has a hook. Returns whether the processor must
/// stop before the access.
bool stopsAtHook(MemorySpace &S, const orvy_MemTransaction &Mt, orvy_BreakKind Kind) {
  const Survival Space;
  orvy_MemTransaction At = Mt;
  bool Stops = false;
  for (const uint64_t End = Mt.Pa + (1u << Mt.Size); Space.isSure() && At.Pa != End; ++At.Pa)
    if (S.Attrs.at(At.Pa) & HookOf[Kind])
      Stops |= orvy_debugHandleAccess(&S, Kind, &At) == ovBA_Stop;
  return Stops;
}

enum class Course { GoesOn, Fails, Stops };

/// Applies the attributes of the accessed bytes.
Course applyAttributes(MemorySpace &S, orvy_MemTransaction &Mt, orvy_BreakKind Kind) {
  const Survival Space;
  const bool IsWrite = Kind >= ovBK_Write;
  uint32_t Bytes = 1u << Mt.Size;
  AttributeMap::Bits Bits = S.Attrs.of(Mt.Pa, Bytes);
  if (Bits == 0)
    return Course::GoesOn;
  // Check hooks first: an access that a stop prevents is repeated later and must count once.
  if ((Bits & HookOf[Kind]) && !(Mt.Flags & ovMF_Resume) && stopsAtHook(S, Mt, Kind))
    return Course::Stops;
  if ((Bits & ovMA_Faulty) || !Space.isSure())
    return Course::Fails;
  for (unsigned User = 0; User < 3 && Space.isSure(); ++User)
    if (Bits & (ovMA_User1 << User))
      orvy_notify(S.UserNotification[User], &Mt);
  if ((Bits & ovMA_Upset) && Space.isSure()) {
    if (IsWrite) {
      S.Attrs.clear(Mt.Pa, Bytes, ovMA_Upset | AttributeMap::Reported);
    } else if (!(Bits & AttributeMap::Reported)) {
      S.Attrs.set(Mt.Pa, Bytes, AttributeMap::Reported);
      orvy_notify(S.UpsetNotification, &Mt);
    }
  }
  return Course::GoesOn;
}

/// Whether a page may be accessed without a call. A hook prevents this only for accesses of its own
/// kind, and not for fetches by a processor that checks fetch hooks itself.
bool isFree(MemorySpace &S, orvy_MemTransaction &Mt, orvy_BreakKind Kind) {
  constexpr AttributeMap::Bits Hooks = ovMA_FetchHook | ovMA_ReadHook | ovMA_WriteHook;
  const bool ChecksHooks = Kind == ovBK_Fetch && (Mt.Flags & ovMF_FetchHooks);
  const AttributeMap::Bits Bits = S.Attrs.empty() ? AttributeMap::Bits{0} : S.Attrs.ofPage(Mt.Pa);
  if (!(Bits & ovMA_FetchHook))
    Mt.Flags &= ~uint32_t{ovMF_FetchHooks};
  return !(Bits & (ChecksHooks ? ~Hooks : ~Hooks | HookOf[Kind]));
}

/// Records a page that is given to the initiator, so that it can be revoked, or withholds it.
void handOut(MemorySpace &S, Region &R, orvy_MemTransaction &Mt, orvy_BreakKind Kind) {
  uint64_t Number = Mt.Pa >> ORVY_PAGE_BITS;
  if (Number < R.FirstPage || Number >= R.EndPage || !isFree(S, Mt, Kind)) {
    Mt.Page = nullptr;
    return;
  }
  if (R.Handed.empty())
    R.Handed.resize(R.EndPage - R.FirstPage);
  R.Handed[Number - R.FirstPage] = static_cast<orvy_MemPage *>(Mt.Page);
}

template <orvy_BreakKind Kind> void transact(void *Obj, orvy_MemTransaction *Mt, Slot Call) {
  MemorySpace &S = spaceOf(Obj);
  const Survival Space;
  Region *R = S.Map.find(Mt->Pa);
  if (!R || Mt->Size > 3 || !R->holds(Mt->Pa, uint64_t{1} << Mt->Size)) {
    Mt->Flags |= ovMF_Failed;
    return;
  }
  if (__builtin_expect(!S.Attrs.empty(), 0)) {
    const Course How = applyAttributes(S, *Mt, Kind);
    // A subscriber may have disposed of the device or of all objects.
    if (How != Course::GoesOn || !Space.isSure() || !(R = S.Map.find(Mt->Pa))) {
      Mt->Flags |= How == Course::Stops ? ovMF_Stop : ovMF_Failed;
      return;
    }
  }
  Mt->Page = nullptr;
  uint64_t Base = R->Base;
  Mt->Pa -= Base;
  (R->Access->*Call)(R->Device, Mt);
  Mt->Pa += Base;
  if (!Space.isSure())
    Mt->Page = nullptr;
  // The device may have disposed of itself.
  if (Mt->Page && (R = S.Map.find(Mt->Pa)))
    handOut(S, *R, *Mt, Kind);
}

void fetch(void *Obj, orvy_MemTransaction *Mt) {
  transact<ovBK_Fetch>(Obj, Mt, &MemAccessIface::fetch);
}
void read(void *Obj, orvy_MemTransaction *Mt) {
  transact<ovBK_Read>(Obj, Mt, &MemAccessIface::read);
}
void write(void *Obj, orvy_MemTransaction *Mt) {
  transact<ovBK_Write>(Obj, Mt, &MemAccessIface::write);
}
void exchange(void *Obj, orvy_MemTransaction *Mt) {
  transact<ovBK_Exchange>(Obj, Mt, &MemAccessIface::exchange);
}

MemAccessIface AccessTable = {fetch, read, write, exchange};

// Blocks

/// Moves a block with single accesses to a device, in words if they are aligned. Looks the device
/// up for each access, because an access may dispose of it.
uint32_t moveSingly(MemorySpace &S, uint8_t *Data, uint64_t Addr, uint32_t Len, Slot Call) {
  const Survival Space;
  for (uint32_t Done = 0; Done < Len;) {
    const Region *R = Space.isSure() ? S.Map.find(Addr + Done) : nullptr;
    if (!R)
      return Done;
    orvy_MemTransaction Mt{};
    Mt.Pa = Addr + Done - R->Base;
    Mt.Size = Mt.Pa % 4 == 0 && Len - Done >= 4 ? 2 : 0;
    Mt.Value = load(Data + Done, Mt.Size);
    (R->Access->*Call)(R->Device, &Mt);
    if (Mt.Flags & ovMF_Failed)
      return Done;
    store(Data + Done, Mt.Size, Mt.Value);
    Done += 1u << Mt.Size;
  }
  return Len;
}

/// Calls a function with each part of a range that is in one region, until a part is not moved
/// completely. Returns the number of bytes moved.
template <typename Move>
uint32_t forEachPart(MemorySpace &S, uint64_t Addr, uint32_t Len, Move Part) {
  const Survival Space;
  uint32_t Done = 0;
  while (Done < Len && Space.isSure()) {
    Region *R = S.Map.find(Addr + Done);
    if (!R)
      break;
    auto Bytes = static_cast<uint32_t>(std::min<uint64_t>(Len - Done, R->End - (Addr + Done)));
    uint32_t Moved = std::min(Bytes, Part(*R, Addr + Done - R->Base, Done, Bytes));
    Done += Moved;
    if (Moved < Bytes)
      break;
  }
  return Done;
}

uint32_t readBytes(void *Obj, void *Data, uint64_t Addr, uint32_t Len, uint32_t Swap) {
  if (Swap > MaxSwap)
    return 0;
  auto *Bytes = static_cast<uint8_t *>(Data);
  MemorySpace &S = spaceOf(Obj);
  uint32_t Moved =
      forEachPart(S, Addr, Len, [&](Region &R, uint64_t Offset, uint32_t At, uint32_t Count) {
        return R.Block && R.Block->readBytes
                   ? R.Block->readBytes(R.Device, Bytes + At, Offset, Count, 0)
                   : moveSingly(S, Bytes + At, Addr + At, Count, &MemAccessIface::read);
      });
  swapUnits(Bytes, Moved, Swap);
  return Moved;
}

uint32_t writeBytes(void *Obj, uint64_t Addr, uint32_t Len, const void *Data, uint32_t Swap) {
  if (Swap > MaxSwap)
    return 0;
  MemorySpace &S = spaceOf(Obj);
  const Survival Space;
  const auto *Bytes = static_cast<const uint8_t *>(Data);
  std::vector<uint8_t> Swapped;
  if (Swap != 0) {
    Swapped.assign(Bytes, Bytes + Len);
    swapUnits(Swapped.data(), Len, Swap);
    Bytes = Swapped.data();
  }
  uint32_t Moved =
      forEachPart(S, Addr, Len, [&](Region &R, uint64_t Offset, uint32_t At, uint32_t Count) {
        if (R.Block && R.Block->writeBytes)
          return R.Block->writeBytes(R.Device, Offset, Count, Bytes + At, 0);
        std::vector<uint8_t> Copy(Bytes + At, Bytes + At + Count);
        return moveSingly(S, Copy.data(), Addr + At, Count, &MemAccessIface::write);
      });
  if (Space.isSure() && !S.Attrs.empty())
    S.Attrs.clear(Addr, Moved, ovMA_Upset | AttributeMap::Reported);
  return Moved;
}

MemoryIface BlockTable = {readBytes, writeBytes};

// Mapping

void deviceDisposed(void *Arg, void *Source, void *) {
  spaceOf(Arg).Map.removeDevice(Source);
}

void watchDevice(MemorySpace &S, void *Device) {
  if (S.Devices.insert(Device).second)
    orvy_subscribeNotification("orvy.objectWillBeDisposed", Device, &S, deviceDisposed);
}

/// Limits the nesting of spaces: an access goes through all of them on the host's stack.
constexpr unsigned MaxLevels = 32;

/// Computes the nesting of spaces as if Inner were mapped into Outer.
class Nesting {
public:
  Nesting(const MemorySpace &Outer, const MemorySpace &Inner) : Outer(Outer), Inner(Inner) {}

  /// Levels of a space: 1 if no other space is mapped into it, more than MaxLevels if there are too
  /// many or a cycle.
  unsigned levelsOf(const MemorySpace &S) {
    // A space counts as too deep until its levels are known, so that a cycle does.
    auto [Entry, IsNew] = Known.try_emplace(&S, MaxLevels + 1);
    if (!IsNew)
      return Entry->second;
    unsigned Below = &S == &Outer ? levelsOf(Inner) : 0;
    for (const auto &R : S.Map.regions())
      if (R->Access == &AccessTable && Below <= MaxLevels)
        Below = std::max(Below, levelsOf(spaceOf(R->Device)));
    return Known[&S] = std::min(Below, MaxLevels) + 1;
  }

private:
  const MemorySpace &Outer, &Inner;
  std::map<const MemorySpace *, unsigned> Known;
};

/// Whether mapping Inner into Outer would make any space too deep.
bool isTooDeep(const MemorySpace &Outer, const MemorySpace &Inner) {
  Nesting After(Outer, Inner);
  std::vector<void *> Objs(orvy_getObjectCount());
  orvy_getObjects(Objs.size(), Objs.data());
  return After.levelsOf(Outer) > MaxLevels || std::ranges::any_of(Objs, [&](void *Obj) {
           return orvy_getInterface(Obj, "MemAccessIface", 0) == &AccessTable &&
                  After.levelsOf(spaceOf(Obj)) > MaxLevels;
         });
}

/// The reason why a range cannot be mapped; empty if it can.
std::string refusal(const MemorySpace &S, uint64_t Addr, uint64_t Len, void *Device,
                    const MemAccessIface *Iface) {
  constexpr uint64_t Limit = uint64_t{1} << AddressMap::AddressBits;
  if (Len == 0)
    return "the length is 0";
  if (Addr >= Limit || Limit - Addr < Len)
    return "the range lies beyond 48 bits";
  if (const Region *Other = S.Map.overlap(Addr, Addr + Len))
    return std::string("the range overlaps '") + nameOf(Other->Device) + "'";
  if (Iface == &AccessTable && isTooDeep(S, spaceOf(Device)))
    return "the spaces would lie in each other without end, or more than " +
           std::to_string(MaxLevels) + " deep";
  return {};
}

/// The table of a device's interface; null if there is none with that name and type.
const void *tableOf(void *Device, const char *Name, const char *Type) {
  // Only the first element of an array has a type.
  const std::string Base(Name, std::strcspn(Name, "["));
  const char *Found =
      orvy_typenameForInterface({Device, orvy_getInterface(Device, Base.c_str(), 0)});
  return Found && std::strcmp(Found, Type) == 0 ? orvy_getInterface(Device, Name, -1) : nullptr;
}

bool isWhole(const MemAccessIface &Table) {
  return Table.fetch && Table.read && Table.write && Table.exchange;
}

int map(void *Obj, uint64_t Addr, uint64_t Len, void *Device, const MemAccessIface *Iface,
        const char *IfaceName) {
  MemorySpace &S = spaceOf(Obj);
  if (!Iface) {
    orvy_logConfigError(Obj, "cannot map '%s': it has no interface of type MemAccessIface",
                        nameOf(Device));
    return -1;
  }
  if (std::string Why = refusal(S, Addr, Len, Device, Iface); !Why.empty()) {
    orvy_logConfigError(Obj, "cannot map '%s' at 0x%lx: %s", nameOf(Device),
                        static_cast<unsigned long>(Addr), Why.c_str());
    return -1;
  }
  auto R = std::make_unique<Region>();
  R->Base = Addr;
  R->End = Addr + Len;
  R->Device = Device;
  R->Filled = orvy_memAccessFilled(Iface);
  R->Access = isWhole(*Iface) ? Iface : &R->Filled;
  R->IfaceName = IfaceName;
  R->Block = static_cast<const MemoryIface *>(tableOf(Device, "MemoryIface", "MemoryIface"));
  // Pages can be handed out only if the device's page boundaries are also those of the space.
  if (Addr % ORVY_PAGE_SIZE == 0) {
    R->FirstPage = Addr >> ORVY_PAGE_BITS;
    R->EndPage = R->End >> ORVY_PAGE_BITS;
  }
  S.Map.add(std::move(R));
  watchDevice(S, Device);
  return 0;
}

int mapNamedIface(void *Obj, uint64_t Addr, uint64_t Len, void *Device, const char *Name,
                  uint32_t) {
  return map(Obj, Addr, Len, Device,
             static_cast<const MemAccessIface *>(tableOf(Device, Name, "MemAccessIface")), Name);
}

int mapDevice(void *Obj, uint64_t Addr, uint64_t Len, void *Device, uint32_t) {
  return map(
      Obj, Addr, Len, Device,
      static_cast<const MemAccessIface *>(tableOf(Device, "MemAccessIface", "MemAccessIface")), "");
}

// Attributes

/// Revokes the pages that were handed out, in a range of pages.
void revoke(MemorySpace &S, uint64_t First, uint64_t Last) {
  for (const auto &R : S.Map.regions()) {
    if (R->Handed.empty())
      continue;
    uint64_t End = std::min(Last + 1, R->EndPage);
    for (uint64_t Number = std::max(First, R->FirstPage); Number < End; ++Number)
      if (orvy_MemPage *Page = R->Handed[Number - R->FirstPage])
        orvy_memPageRevoke(Page);
  }
}

/// Calls a function with each mapped part of a range.
template <typename Change>
void forEachMapped(MemorySpace &S, uint64_t Addr, uint64_t Len, Change Part) {
  uint64_t Limit = uint64_t{1} << AddressMap::AddressBits;
  uint64_t End = Addr >= Limit ? Addr : Addr + std::min(Len, Limit - Addr);
  for (const auto &R : S.Map.regions()) {
    uint64_t From = std::max(Addr, R->Base);
    uint64_t To = std::min(End, R->End);
    if (From < To)
      Part(From, To - From);
  }
}

void setAttr(void *Obj, uint64_t Addr, uint64_t Len, uint32_t Bits) {
  MemorySpace &S = spaceOf(Obj);
  publish(S);
  bool Any = false;
  forEachMapped(S, Addr, Len, [&](uint64_t From, uint64_t Bytes) {
    Any = true;
    if (Bits & ovMA_Upset) // a new upset is reported again
      S.Attrs.clear(From, Bytes, AttributeMap::Reported);
    S.Attrs.set(From, Bytes, static_cast<uint8_t>(Bits));
    revoke(S, From >> ORVY_PAGE_BITS, (From + Bytes - 1) >> ORVY_PAGE_BITS);
  });
  if (!Any)
    orvy_logConfigWarning(Obj, "no device is mapped at 0x%lx, its attributes stay as they are",
                          static_cast<unsigned long>(Addr));
}

void clearAttr(void *Obj, uint64_t Addr, uint64_t Len, uint32_t Bits) {
  MemorySpace &S = spaceOf(Obj);
  auto Mask = static_cast<AttributeMap::Bits>(static_cast<uint8_t>(Bits));
  if (Bits & ovMA_Upset)
    Mask |= AttributeMap::Reported;
  if (!S.Attrs.empty())
    forEachMapped(S, Addr, Len, [&](uint64_t From, uint64_t Bytes) {
      S.Attrs.clear(From, Bytes, Mask);
      // Initiators that keep a page must ask for its hooks again.
      revoke(S, From >> ORVY_PAGE_BITS, (From + Bytes - 1) >> ORVY_PAGE_BITS);
    });
}

uint32_t getAttrs(void *Obj, uint64_t Addr) {
  return static_cast<uint8_t>(spaceOf(Obj).Attrs.at(Addr));
}

MemorySpaceIface SpaceTable = {mapDevice, setAttr, clearAttr, getAttrs, mapNamedIface};

// Life

void printObject(void *Obj) {
  orvy_printf("Memory map\n");
  for (const auto &R : spaceOf(Obj).Map.regions())
    orvy_printf("\t0x%.8lx - 0x%.8lx: %s\n", static_cast<unsigned long>(R->Base),
                static_cast<unsigned long>(R->End - 1), nameOf(R->Device));
}

// Checkpoints

void serialiseMap(MemorySpace &S, void *Ctxt) {
  std::vector<uint64_t> Bases{0}, Lengths{0};
  std::vector<void *> Devices{nullptr};
  std::vector<const char *> Ifaces{nullptr};
  for (const auto &R : S.Map.regions()) {
    Bases.push_back(R->Base);
    Lengths.push_back(R->End - R->Base);
    Devices.push_back(R->Device);
    Ifaces.push_back(R->IfaceName.c_str());
  }
  auto Count = static_cast<int>(Bases.size()) - 1;
  orvy_serialiseProp(Ctxt, "mapBases", ovTY_U64, Count, &Bases[1]);
  orvy_serialiseProp(Ctxt, "mapLengths", ovTY_U64, Count, &Lengths[1]);
  orvy_serialiseProp(Ctxt, "mapDevices", ovTY_Obj, Count, &Devices[1]);
  orvy_serialiseProp(Ctxt, "mapIfaces", ovTY_String, Count, &Ifaces[1]);
}

void serialiseAttrs(MemorySpace &S, void *Ctxt) {
  std::vector<uint64_t> Addrs, Lengths;
  std::vector<uint16_t> Bits;
  S.Attrs.forEachRun([&](uint64_t Addr, uint64_t Len, AttributeMap::Bits B) {
    Addrs.push_back(Addr);
    Lengths.push_back(Len);
    Bits.push_back(B);
  });
  if (Addrs.empty())
    return;
  auto Count = static_cast<int>(Addrs.size());
  orvy_serialiseProp(Ctxt, "attrAddrs", ovTY_U64, Count, Addrs.data());
  orvy_serialiseProp(Ctxt, "attrLengths", ovTY_U64, Count, Lengths.data());
  orvy_serialiseProp(Ctxt, "attrBits", ovTY_U16, Count, Bits.data());
}

void serialise(void *Obj, const char *, void *Ctxt) {
  serialiseMap(spaceOf(Obj), Ctxt);
  serialiseAttrs(spaceOf(Obj), Ctxt);
}

void deserialiseRegion(void *Obj, void *Ctxt, uint32_t Idx, uint64_t Base, uint64_t Len) {
  orvy_Propval Device = orvy_checkpointGetValue(Ctxt, "mapDevices", Idx);
  orvy_Propval Iface = orvy_checkpointGetValue(Ctxt, "mapIfaces", Idx);
  const char *Name = Iface.Typ == ovTY_String && Iface.String ? Iface.String : "";
  if (Device.Typ != ovTY_Obj || !Device.Obj)
    orvy_logError(Obj, "the checkpoint maps a device at 0x%lx that does not exist",
                  static_cast<unsigned long>(Base));
  else if (*Name)
    mapNamedIface(Obj, Base, Len, Device.Obj, Name, 0);
  else
    mapDevice(Obj, Base, Len, Device.Obj, 0);
  if (Iface.Typ == ovTY_String)
    std::free(const_cast<char *>(Iface.String));
}

void deserialiseAttrs(MemorySpace &S, void *Ctxt) {
  constexpr uint64_t MaxPages = 1 << 22; // a damaged checkpoint must not use up the memory
  const models::SavedNumbers Addrs(Ctxt, "attrAddrs"), Lengths(Ctxt, "attrLengths"),
      Bits(Ctxt, "attrBits");
  uint64_t Pages = 0;
  for (size_t Idx = 0; Idx < Addrs.size(); ++Idx) {
    uint64_t Len = Lengths.at(Idx);
    Pages += Len / ORVY_PAGE_SIZE + 1;
    if (Pages > MaxPages) {
      orvy_logError(&S, "the checkpoint has attributes of more memory than there can be");
      return;
    }
    S.Attrs.set(Addrs.at(Idx), Len, static_cast<AttributeMap::Bits>(Bits.at(Idx)));
  }
  if (!S.Attrs.empty())
    publish(S);
}

/// Removes the present mappings: a component maps its devices when a restore creates it.
void unmapAll(MemorySpace &S) {
  revoke(S, 0, UINT64_MAX - 1);
  for (void *Device : S.Devices)
    S.Map.removeDevice(Device);
}

void deserialise(void *Obj, const char *, void *Ctxt) {
  const models::SavedNumbers Bases(Ctxt, "mapBases"), Lengths(Ctxt, "mapLengths");
  if (Bases.isThere())
    unmapAll(spaceOf(Obj));
  for (size_t Idx = 0; Idx < Bases.size(); ++Idx)
    deserialiseRegion(Obj, Ctxt, static_cast<uint32_t>(Idx), Bases.at(Idx), Lengths.at(Idx));
  deserialiseAttrs(spaceOf(Obj), Ctxt);
}

ObjectIface ObjectTable = {serialise, deserialise, nullptr, nullptr, printObject};

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  if (orvy_readCreateArgs("MemorySpace", Name, Argc, Args, nullptr, 0) != 0)
    return nullptr;
  return new MemorySpace{};
}

void dispose(void *Obj) {
  MemorySpace &S = spaceOf(Obj);
  Survival::end();
  for (void *Device : S.Devices)
    orvy_unsubscribeNotificationArg("orvy.objectWillBeDisposed", Device, deviceDisposed, &S);
  revoke(S, 0, UINT64_MAX - 1);
  delete &S;
}

} // namespace

void registerMemorySpace() {
  static void *Table[] = {&AccessTable, &BlockTable};
  orvy_Class *Cls = orvy_registerClass("MemorySpace", create, dispose);
  orvy_qualifyAsMemory(Cls);
  orvy_setVTable(Cls, Table);
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &AccessTable, 0, "Single accesses");
  orvy_addInterface(Cls, "MemoryIface", "MemoryIface", &BlockTable, 0, "Block accesses");
  orvy_addInterface(Cls, "MemorySpaceIface", "MemorySpaceIface", &SpaceTable, 0,
                    "Mapping and attributes");
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &ObjectTable, 0, "");
}

} // namespace memory
