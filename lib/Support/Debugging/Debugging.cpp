#include "orvy/Support/Debugging.h"

#include "Debugging/AccessHooks.h"

#include "Base/HexText.h"
#include "Images/LoaderElf.h"

#include "orvy/Support/Loader.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"

#include <cstring>
#include <stdexcept>

using namespace orvy;
using namespace orvy::debugging;

Object::~Object() = default;
Function::~Function() = default;

std::string Function::getSource() const {
  return {};
}

// Contexts.

static uint64_t LastSerial = 0;

Ctxt::Ctxt(void *Memory, const char *Path, Kind From)
    : Ranges(getELFRanges(Path)), From(From), Serial(++LastSerial) {
  if (const char *Name = orvy_nameForObject(Memory))
    MemoryName = Name;
  if (From == Kind::Dwarf) {
    if (orvy_loadDebugInfo(Path, &Debug) != 0)
      throw std::invalid_argument("file lacks dwarf info");
    return;
  }
  if (orvy_loadSymtab(Path, &Symbols) != 0) {
    errs() << "file " << Path << " does not have symtabs\n";
    throw std::invalid_argument("file lacks symtabs");
  }
}

void Ctxt::addSymtab(const char *Path) {
  if (!Symbols && orvy_loadSymtab(Path, &Symbols) != 0)
    Symbols = nullptr;
}

Ctxt::~Ctxt() {
  orvy_disposeSymtab(Symbols);
  orvy_disposeDebugInfo(Debug);
}

void *Ctxt::getMemory() const {
  return MemoryName.empty() ? nullptr : orvy_objectForName(MemoryName.c_str());
}

namespace {

/// The symbol table's accessors, either for functions or for data.
struct Kinds {
  int (*LocalRange)(orvy_Symtab, const char *, const char *, uint64_t *, uint64_t *);
  int (*GlobalRange)(orvy_Symtab, const char *, uint64_t *, uint64_t *);
  void (*NameAt)(orvy_Symtab, const char **, const char **, uint64_t);
};

constexpr Kinds Functions = {orvy_symtabGetLocalFuncRange, orvy_symtabGetGlobalFuncRange,
                             orvy_symtabGetFuncName};
constexpr Kinds DataObjects = {orvy_symtabGetLocalObjRange, orvy_symtabGetGlobalObjRange,
                               orvy_symtabGetObjName};

/// Finds the range of "file::name" as a local symbol, or else of the whole name as a global one.
bool findRange(orvy_Symtab Symbols, const Kinds &K, const char *Name, uint64_t &Start,
               uint64_t &Size) {
  if (const char *Colons = std::strstr(Name, "::")) {
    const std::string File(Name, Colons);
    if (K.LocalRange(Symbols, File.c_str(), Colons + 2, &Start, &Size) == 0)
      return true;
  }
  return K.GlobalRange(Symbols, Name, &Start, &Size) == 0;
}

template <typename T>
std::optional<T> findNamed(orvy_Symtab Symbols, const Kinds &K, const char *Name) {
  uint64_t Start = 0, Size = 0;
  if (!Symbols || !findRange(Symbols, K, Name, Start, Size))
    return std::nullopt;
  const char *File = nullptr, *Found = nullptr;
  K.NameAt(Symbols, &File, &Found, Start);
  return T(Found, File, Start, Size);
}

} // namespace

std::optional<Function> Ctxt::getFunc(const char *Name) const {
  return From == Kind::Symtab ? findNamed<Function>(Symbols, Functions, Name) : std::nullopt;
}

std::optional<Object> Ctxt::getObj(const char *Name) const {
  return From == Kind::Symtab ? findNamed<Object>(Symbols, DataObjects, Name) : std::nullopt;
}

std::optional<Function> Ctxt::getFunc(uint64_t Addr) const {
  if (From != Kind::Symtab)
    return std::nullopt;
  const char *File = nullptr, *Name = nullptr;
  uint64_t Start = 0, Size = 0;
  orvy_symtabGetFuncName(Symbols, &File, &Name, Addr);
  if (!Name)
    return std::nullopt;
  const int Missed = File ? orvy_symtabGetLocalFuncRange(Symbols, File, Name, &Start, &Size)
                          : orvy_symtabGetGlobalFuncRange(Symbols, Name, &Start, &Size);
  return Missed ? std::nullopt : std::optional<Function>(Function(Name, File, Start, Size));
}

std::pair<uint64_t, uint64_t> Ctxt::getFuncRange(const char *Name) const {
  const std::optional<Function> Found = getFunc(Name);
  return Found ? Found->getRange() : std::pair<uint64_t, uint64_t>();
}

std::optional<std::pair<uint64_t, uint64_t>> Ctxt::findFuncRange(const char *Name) const {
  orvy_AddrRange Range = {};
  if (Debug && orvy_dwarfGetNamedAddressRange(Debug, Name, &Range) == 0)
    return std::pair(Range.Low, Range.High - Range.Low);
  const auto Found = findNamed<Function>(Symbols, Functions, Name);
  return Found ? std::optional(Found->getRange()) : std::nullopt;
}

void Ctxt::setBreak(const char *Name) const {
  uint64_t Addr = 0;
  if (std::strchr(Name, ':') || !Debug || orvy_debugGetEntryPoint(Debug, Name, &Addr) != 0)
    return;
  errs() << "set break for " << Name << " at address: " << hexText(Addr, 1) << "\n";
}

std::string Ctxt::disassemble(uint64_t, int) const {
  return {};
}

// The manager.

std::unique_ptr<Manager> Manager::s_DBM;
bool Manager::ResumeWatchpoints = false;

/// Sets the hooks again after a restore: the memory spaces have those of the checkpoint.
static void restoreAll(void *, void *, void *) {
  restoreHooks();
}

Manager::Manager() {
  orvy_publishNotification("orvy.checkpointRestored", nullptr);
  orvy_subscribeNotification("orvy.checkpointRestored", nullptr, nullptr, restoreAll);
}

Manager &Manager::getDebuggingManager() {
  if (!s_DBM)
    s_DBM = std::make_unique<Manager>();
  return *s_DBM;
}

Ctxt &Manager::add(const std::string &Path, std::unique_ptr<Ctxt> Context) {
  std::unique_ptr<Ctxt> &Place = Contexts[Path];
  Place = std::move(Context);
  Current = Place.get();
  return *Current;
}

Ctxt *Manager::find(std::string_view Path) const {
  auto Found = Contexts.find(Path);
  return Found == Contexts.end() ? nullptr : Found->second.get();
}

void Manager::dispose(std::string_view Path) {
  auto Found = Contexts.find(Path);
  if (Found == Contexts.end())
    return;
  if (Found->second.get() == Current)
    Current = nullptr;
  Contexts.erase(Found);
}

bool Manager::setCurrent(std::string_view Path) {
  Ctxt *Found = find(Path);
  if (Found)
    Current = Found;
  return Found;
}
