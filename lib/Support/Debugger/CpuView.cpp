#include "Debugger/CpuView.h"

#include "Base/HexText.h"

#include "orvy/Support/Debugging.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Objsys.h"

#include <map>
#include <memory>

using namespace orvy;
using namespace orvy::debugger;
using source::Program;

namespace {

constexpr unsigned GprCount = 32, FprEnd = 64, YRegister = 64;

template <typename T> const T *tableOf(void *Obj, const char *Name) {
  return Obj ? static_cast<const T *>(orvy_getInterface(Obj, Name, 0)) : nullptr;
}

/// Registers of a SPARC beside the windows.
struct SparcSpecial {
  const char *Name;
  uint32_t (*Get)(void *);
  void (*Set)(void *, uint32_t);
};

const SparcSpecial SparcSpecials[] = {
    {"npc", orvy_sparcGetNPc, orvy_sparcSetNPc}, {"psr", orvy_sparcGetPsr, orvy_sparcSetPsr},
    {"wim", orvy_sparcGetWim, orvy_sparcSetWim}, {"tbr", orvy_sparcGetTbr, orvy_sparcSetTbr},
    {"y", orvy_sparcGetY, orvy_sparcSetY},
};

const SparcSpecial *findSpecial(const std::string &Name) {
  for (const SparcSpecial &Each : SparcSpecials)
    if (Name == Each.Name)
      return &Each;
  return nullptr;
}

} // namespace

CpuView::CpuView(void *Cpu)
    : Cpu(Cpu), Iface(tableOf<CpuIface>(Cpu, "CpuIface")),
      Sparc(tableOf<SparcIface>(Cpu, "SparcIface")),
      Memory(tableOf<MemoryIface>(Cpu, "MemoryIface")) {}

const char *CpuView::name() const {
  const char *Name = orvy_nameForObject(Cpu);
  return Name ? Name : "";
}

uint64_t CpuView::pc() const {
  return Iface && Iface->getPc ? Iface->getPc(Cpu) : 0;
}

bool CpuView::read(uint64_t Address, uint8_t *Into, size_t Length) const {
  return Length == 0 ||
         (Memory && Memory->readBytes && Length <= UINT32_MAX &&
          Memory->readBytes(Cpu, Into, Address, static_cast<uint32_t>(Length), 0) == Length);
}

bool CpuView::write(uint64_t Address, const uint8_t *From, size_t Length) const {
  return Length == 0 ||
         (Memory && Memory->writeBytes && Length <= UINT32_MAX &&
          Memory->writeBytes(Cpu, Address, static_cast<uint32_t>(Length), From, 0) == Length);
}

std::optional<uint32_t> CpuView::readWord(uint64_t Address) const {
  uint8_t Bytes[4];
  if (!read(Address, Bytes, sizeof(Bytes)))
    return std::nullopt;
  return uint32_t{Bytes[0]} << 24 | uint32_t{Bytes[1]} << 16 | uint32_t{Bytes[2]} << 8 | Bytes[3];
}

std::optional<uint64_t> CpuView::physical(uint64_t Address) const {
  if (!Iface || !Iface->translateAddress)
    return Address;
  uint32_t Flags = 0;
  const uint64_t Pa = Iface->translateAddress(Cpu, Address, &Flags);
  return Flags & 1 ? std::nullopt : std::optional(Pa);
}

void *CpuView::memorySpace() const {
  const orvy_Propref Space = orvy_getPropref(Cpu, "memorySpace");
  return Space.Typ == ovTY_IfaceRef ? static_cast<const orvy_IfaceRef *>(Space.Ptr)->Obj : nullptr;
}

uint32_t CpuView::windowOf(unsigned Distance) const {
  return (orvy_sparcGetPsr(Cpu) % 32 + Distance) % orvy_sparcGetWindowCount(Cpu);
}

bool CpuView::holdsWindow(unsigned Window) const {
  if (!Sparc || Window >= orvy_sparcGetWindowCount(Cpu))
    return false;
  const uint32_t Invalid = orvy_sparcGetWim(Cpu);
  for (unsigned Distance = 1; Distance <= Window; ++Distance)
    if (Invalid >> windowOf(Distance) & 1)
      return false;
  return true;
}

bool CpuView::hasRegister(unsigned Number) const {
  if (!Iface)
    return false;
  return Number < GprCount ? Iface->getGpr != nullptr
         : Number < FprEnd ? Iface->getFpr32 != nullptr
                           : Number == YRegister && Sparc;
}

std::optional<uint64_t> CpuView::readRegister(unsigned Number, unsigned Window) const {
  if (!hasRegister(Number))
    return std::nullopt;
  if (Number == YRegister)
    return orvy_sparcGetY(Cpu);
  if (Number >= GprCount)
    return Iface->getFpr32(Cpu, Number - GprCount);
  if (Sparc && Window != 0 && Number >= 8)
    return orvy_sparcGetWindowedReg(Cpu, windowOf(Window), Number);
  return Iface->getGpr(Cpu, Number) & UINT32_MAX;
}

bool CpuView::writeRegister(unsigned Number, unsigned Window, uint64_t Value) const {
  if (!Iface || Number >= YRegister)
    return false;
  if (Number >= GprCount) {
    if (Iface->setFpr32)
      Iface->setFpr32(Cpu, Number - GprCount, static_cast<uint32_t>(Value));
    return Iface->setFpr32 != nullptr;
  }
  if (Sparc && Window != 0 && Number >= 8)
    orvy_sparcSetWindowedReg(Cpu, windowOf(Window), Number, static_cast<uint32_t>(Value));
  else if (Iface->setGpr)
    Iface->setGpr(Cpu, Number, Value);
  return true;
}

std::optional<unsigned> CpuView::numberOf(const std::string &Name) {
  if (Name == "sp")
    return 14;
  if (Name == "fp")
    return 30;
  if (Name.size() < 2 || Name.size() > 3 || Name.find_first_not_of("0123456789", 1) != Name.npos)
    return std::nullopt;
  const unsigned Index = static_cast<unsigned>(std::stoul(Name.substr(1)));
  const size_t Group = std::string("goli").find(Name[0]);
  if (Group != std::string::npos)
    return Index < 8 ? std::optional(static_cast<unsigned>(8 * Group) + Index) : std::nullopt;
  if (Name[0] == 'r')
    return Index < GprCount ? std::optional(Index) : std::nullopt;
  if (Name[0] == 'f')
    return Index < FprEnd - GprCount ? std::optional(GprCount + Index) : std::nullopt;
  return std::nullopt;
}

std::optional<uint64_t> CpuView::readNamed(const std::string &Name) const {
  if (Name == "pc")
    return pc();
  if (const SparcSpecial *Special = Sparc ? findSpecial(Name) : nullptr)
    return Special->Get(Cpu);
  if (const auto Number = numberOf(Name); Number && Sparc)
    return readRegister(*Number, 0);
  const int Id = Iface && Iface->getRegId ? Iface->getRegId(Cpu, Name.c_str()) : -1;
  return Id >= 0 ? readRegister(static_cast<unsigned>(Id), 0) : std::nullopt;
}

bool CpuView::writeNamed(const std::string &Name, uint64_t Value) const {
  if (Name == "pc") {
    if (Iface && Iface->setPc)
      Iface->setPc(Cpu, Value);
    return Iface && Iface->setPc;
  }
  if (const SparcSpecial *Special = Sparc ? findSpecial(Name) : nullptr) {
    Special->Set(Cpu, static_cast<uint32_t>(Value));
    return true;
  }
  if (const auto Number = numberOf(Name); Number && Sparc)
    return writeRegister(*Number, 0, Value);
  const int Id = Iface && Iface->getRegId ? Iface->getRegId(Cpu, Name.c_str()) : -1;
  return Id >= 0 && writeRegister(static_cast<unsigned>(Id), 0, Value);
}

// Programs.

namespace {

/// What was read of a file, and the context that it was read for.
struct Loaded {
  uint64_t Context; ///< orvy::debugging::Ctxt::getSerial
  std::shared_ptr<Program> Code;
};

std::map<std::string, Loaded> Programs;

/// Forgets the programs whose contexts have gone.
void forgetOthers() {
  const auto &All = debugging::Manager::getDebuggingManager();
  std::erase_if(Programs, [&](const auto &Each) { return !All.find(Each.first); });
}

Program *programIn(const std::string &Path, const debugging::Ctxt &Context) {
  Loaded &Known = Programs[Path];
  if (Known.Context == Context.getSerial())
    return Known.Code.get();
  forgetOthers();
  Known.Context = Context.getSerial();
  Known.Code = nullptr;
  try {
    Known.Code = std::make_shared<Program>(Path);
  } catch (const std::exception &Why) {
    orvy_logWarning(nullptr, "'%s' cannot be read any more: %s", Path.c_str(), Why.what());
  }
  return Known.Code.get();
}

/// Calls Take with the program of each context of the memory of a processor, the current context
/// first, until it returns true. The memory counts as the processor's if the object is, too, what
/// its property "memorySpace" refers to.
template <typename Taker> Program *findProgram(const CpuView &At, Taker Take) {
  const void *Memory = At.memorySpace();
  auto &All = debugging::Manager::getDebuggingManager();
  for (const bool IsCurrent : {true, false})
    for (const auto &[Path, Context] : All.getAll()) {
      if ((Context.get() == All.getCurrent()) != IsCurrent ||
          (Memory && Context->getMemory() != Memory))
        continue;
      Program *Found = programIn(Path, *Context);
      if (Found && Take(*Found))
        return Found;
    }
  return nullptr;
}

} // namespace

source::Program *orvy::debugger::programAt(const CpuView &At, uint64_t Address) {
  return findProgram(At, [&](Program &Each) { return Each.covers(Address); });
}

source::Program *orvy::debugger::programOf(const CpuView &At) {
  if (Program *Found = programAt(At, At.pc()))
    return Found;
  return findProgram(At, [](Program &) { return true; });
}

std::string orvy::debugger::addressText(const CpuView &At, uint64_t Address) {
  std::string Text = "0x" + hexText(Address, 8);
  Program *Code = programAt(At, Address);
  if (!Code)
    return Text;
  const source::SymbolPlace Symbol = Code->symbolAt(Address);
  if (Symbol.Symbol)
    Text += " <" + Symbol.Symbol->Name +
            (Symbol.Offset ? "+" + std::to_string(Symbol.Offset) : std::string()) + ">";
  if (const source::SourcePlace Place = Code->placeOf(Address))
    Text += " at " + fs::fileNameComponent(Place.File->c_str()) + ":" + std::to_string(Place.Line);
  return Text;
}
