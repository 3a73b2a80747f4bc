#include "orvy/Support/Symtab.h"

#include "Images/LoaderElf.h"

#include "orvy/Support/Logging.h"

#include <exception>
#include <memory>
#include <stdexcept>
#include <tuple>

using namespace orvy;

namespace {

Symtab::Range orZeros(const Symtab::Range *Found) {
  return Found ? *Found : Symtab::Range{};
}

} // namespace

void Symtab::addGlobalFunc(std::string_view Name, uint64_t Addr, uint64_t Size) {
  Functions.Global.add({}, Name, {Addr, Size});
}

void Symtab::addWeakFunc(std::string_view Name, uint64_t Addr, uint64_t Size) {
  Functions.Weak.add({}, Name, {Addr, Size});
}

void Symtab::addLocalFunc(std::string_view File, std::string_view Name, uint64_t Addr,
                          uint64_t Size) {
  Functions.Local.add(File, Name, {Addr, Size});
}

void Symtab::addGlobalData(std::string_view Name, uint64_t Addr, uint64_t Size) {
  Data.Global.add({}, Name, {Addr, Size});
}

void Symtab::addWeakData(std::string_view Name, uint64_t Addr, uint64_t Size) {
  Data.Weak.add({}, Name, {Addr, Size});
}

void Symtab::addLocalData(std::string_view File, std::string_view Name, uint64_t Addr,
                          uint64_t Size) {
  Data.Local.add(File, Name, {Addr, Size});
}

void Symtab::index() {
  for (Kind *K : {&Functions, &Data})
    for (Class *C : {&K->Global, &K->Weak, &K->Local})
      C->index();
}

const char *Symtab::globalFunctionNameForAddress(uint64_t Addr) const {
  return nameIn(Functions.Global, Addr);
}

const char *Symtab::weakFunctionNameForAddress(uint64_t Addr) const {
  return nameIn(Functions.Weak, Addr);
}

const char *Symtab::globalDataNameForAddress(uint64_t Addr) const {
  return nameIn(Data.Global, Addr);
}

const char *Symtab::weakDataNameForAddress(uint64_t Addr) const {
  return nameIn(Data.Weak, Addr);
}

Symtab::FileAndName Symtab::localFunctionNameForAddress(uint64_t Addr) const {
  return localIn(Functions.Local, Addr);
}

Symtab::FileAndName Symtab::localDataNameForAddress(uint64_t Addr) const {
  return localIn(Data.Local, Addr);
}

Symtab::FileAndName Symtab::getFunction(uint64_t Addr) const {
  return Functions.find(Addr);
}

Symtab::FileAndName Symtab::getData(uint64_t Addr) const {
  return Data.find(Addr);
}

Symtab::Range Symtab::getFunctionRange(std::string_view Name) const {
  return Functions.range(Name);
}

Symtab::Range Symtab::getObjectRange(std::string_view Name) const {
  return Data.range(Name);
}

Symtab::Range Symtab::getLocalFunctionRange(std::string_view File, std::string_view Name) const {
  return orZeros(Functions.Local.range(File, Name));
}

Symtab::Range Symtab::getLocalObjectRange(std::string_view File, std::string_view Name) const {
  return orZeros(Data.Local.range(File, Name));
}

const char *Symtab::nameIn(const Class &Symbols, uint64_t Addr) {
  const Class::Entry *Found = Symbols.find(Addr);
  return Found ? Found->first.second.c_str() : nullptr;
}

Symtab::FileAndName Symtab::localIn(const Class &Symbols, uint64_t Addr) {
  const Class::Entry *Found = Symbols.find(Addr);
  if (!Found)
    return {nullptr, nullptr};
  return {Found->first.first.c_str(), Found->first.second.c_str()};
}

Symtab::FileAndName Symtab::Kind::find(uint64_t Addr) const {
  if (FileAndName Found = localIn(Local, Addr); Found.second)
    return Found;
  const char *Name = nameIn(Global, Addr);
  return {nullptr, Name ? Name : nameIn(Weak, Addr)};
}

Symtab::Range Symtab::Kind::range(std::string_view Name) const {
  const Range *Found = Global.range({}, Name);
  return orZeros(Found ? Found : Weak.range({}, Name));
}

void Symtab::Class::add(std::string_view File, std::string_view Name, Range R) {
  auto Place = Ranges.lower_bound(Less::Views(File, Name));
  if (Place == Ranges.end() || Place->first.first != File || Place->first.second != Name)
    Place = Ranges.emplace_hint(Place, Key(File, Name), R);
  Place->second = R;
  Addrs[R.first] = &*Place;
  Starts.clear();
  Entries.clear();
}

void Symtab::Class::index() {
  Starts.clear();
  Entries.clear();
  Starts.reserve(Addrs.size());
  Entries.reserve(Addrs.size());
  for (const auto &[Addr, Symbol] : Addrs) {
    Starts.push_back(Addr);
    Entries.push_back(Symbol);
  }
}

void Symtab::Class::visit(const Visit &V) const {
  for (const auto &[Name, R] : Ranges)
    V(Name.first, Name.second, R);
}

const Symtab::Class::Entry *Symtab::Class::find(uint64_t Addr) const {
  const Entry *Symbol = nearest(Addr);
  if (!Symbol)
    return nullptr;
  auto [Start, Size] = Symbol->second;
  return Start <= Addr && Addr - Start < Size ? Symbol : nullptr;
}

/// The symbol with the greatest start that is not above an address.
const Symtab::Class::Entry *Symtab::Class::nearest(uint64_t Addr) const {
  if (Starts.empty()) {
    auto Above = Addrs.upper_bound(Addr);
    return Above == Addrs.begin() ? nullptr : std::prev(Above)->second;
  }
  // A binary search without conditional branches, which would be unpredictable.
  const uint64_t *Base = Starts.data();
  for (size_t Left = Starts.size(); Left > 1; Left -= Left / 2)
    Base += Base[Left / 2] <= Addr ? Left / 2 : 0;
  return *Base <= Addr ? Entries[static_cast<size_t>(Base - Starts.data())] : nullptr;
}

const Symtab::Range *Symtab::Class::range(std::string_view File, std::string_view Name) const {
  auto Found = Ranges.find(Less::Views(File, Name));
  return Found == Ranges.end() ? nullptr : &Found->second;
}

namespace {

template <typename T> std::vector<T> contents(const ElfFile &File, std::string_view Section) {
  std::vector<T> Data;
  if (auto Header = File.findSection(Section))
    File.sectionData(*Header, Data);
  return Data;
}

/// The text at an offset of a string table. It ends at the end of the table if it is not
/// terminated.
std::string_view textAt(const std::vector<char> &Strings, uint32_t Offset) {
  if (Offset >= Strings.size())
    throw std::runtime_error("name of a symbol out of bounds");
  std::string_view Rest(Strings.data() + Offset, Strings.size() - Offset);
  return Rest.substr(0, Rest.find('\0'));
}

/// Adds a symbol by its type and binding.
void add(Symtab &Table, std::string_view File, std::string_view Name, const Elf32_Sym &Symbol) {
  uint64_t Addr = elf::fromFile(Symbol.st_value), Size = elf::fromFile(Symbol.st_size);
  switch (ELF32_ST_TYPE(Symbol.st_info) << 4 | ELF32_ST_BIND(Symbol.st_info)) {
  case STT_FUNC << 4 | STB_LOCAL:
    return Table.addLocalFunc(File, Name, Addr, Size);
  case STT_FUNC << 4 | STB_GLOBAL:
    return Table.addGlobalFunc(Name, Addr, Size);
  case STT_FUNC << 4 | STB_WEAK:
    return Table.addWeakFunc(Name, Addr, Size);
  case STT_OBJECT << 4 | STB_LOCAL:
    return Table.addLocalData(File, Name, Addr, Size);
  case STT_OBJECT << 4 | STB_GLOBAL:
    return Table.addGlobalData(Name, Addr, Size);
  case STT_OBJECT << 4 | STB_WEAK:
    return Table.addWeakData(Name, Addr, Size);
  default:
    break;
  }
}

/// The symbol table of a file; null if the file has no symbols.
std::unique_ptr<Symtab> load(const char *Path) {
  ElfFile File(Path);
  std::vector<char> Strings = contents<char>(File, ".strtab");
  std::vector<Elf32_Sym> Symbols = contents<Elf32_Sym>(File, ".symtab");
  if (Strings.empty() || Symbols.empty())
    return nullptr;
  auto Table = std::make_unique<Symtab>();
  std::string_view Source = Path;
  for (const Elf32_Sym &Symbol : Symbols) {
    std::string_view Name = textAt(Strings, elf::fromFile(Symbol.st_name));
    if (ELF32_ST_TYPE(Symbol.st_info) == STT_FILE)
      Source = Name;
    else
      add(*Table, Source, Name, Symbol);
  }
  Table->index();
  return Table;
}

const Symtab &table(orvy_Symtab Handle) {
  return *reinterpret_cast<const Symtab *>(Handle);
}

int storeRange(Symtab::Range Found, uint64_t *Addr, uint64_t *Size) {
  if (Found.second == 0)
    return -1;
  *Addr = Found.first;
  *Size = Found.second;
  return 0;
}

} // namespace

int orvy_loadSymtab(const char *Path, orvy_Symtab *Table) {
  try {
    std::unique_ptr<Symtab> Loaded = load(Path);
    if (!Loaded)
      return -1;
    *Table = reinterpret_cast<orvy_Symtab>(Loaded.release());
    return 0;
  } catch (const std::exception &) {
    orvy_logError(nullptr, "'%s' is not a readable elf-file", Path);
    return -1;
  }
}

void orvy_disposeSymtab(orvy_Symtab Table) {
  delete reinterpret_cast<Symtab *>(Table);
}

void orvy_symtabGetFuncName(orvy_Symtab Table, const char **File, const char **Name,
                            uint64_t Addr) {
  std::tie(*File, *Name) = table(Table).getFunction(Addr);
}

void orvy_symtabGetObjName(orvy_Symtab Table, const char **File, const char **Name, uint64_t Addr) {
  std::tie(*File, *Name) = table(Table).getData(Addr);
}

int orvy_symtabGetGlobalFuncRange(orvy_Symtab Table, const char *Name, uint64_t *Addr,
                                  uint64_t *Size) {
  return storeRange(table(Table).getFunctionRange(Name), Addr, Size);
}

int orvy_symtabGetLocalFuncRange(orvy_Symtab Table, const char *File, const char *Name,
                                 uint64_t *Addr, uint64_t *Size) {
  return storeRange(table(Table).getLocalFunctionRange(File, Name), Addr, Size);
}

int orvy_symtabGetGlobalObjRange(orvy_Symtab Table, const char *Name, uint64_t *Addr,
                                 uint64_t *Size) {
  return storeRange(table(Table).getObjectRange(Name), Addr, Size);
}

int orvy_symtabGetLocalObjRange(orvy_Symtab Table, const char *File, const char *Name,
                                uint64_t *Addr, uint64_t *Size) {
  return storeRange(table(Table).getLocalObjectRange(File, Name), Addr, Size);
}
