#include "Source/Program.h"

#include "Images/LoaderElf.h"

#include "orvy/Support/FileSystem.h"
#include "orvy/Support/Logging.h"

#include <algorithm>
#include <cstring>

using namespace orvy;
using namespace orvy::source;
using namespace orvy::dwarf;

namespace {

Section contents(const ElfFile &File, const char *Name, uint64_t *Address = nullptr) {
  Section Bytes;
  if (const auto Header = File.findSection(Name); Header && Header->sh_type != SHT_NOBITS) {
    File.sectionData(*Header, Bytes);
    if (Address)
      *Address = Header->sh_addr;
  }
  return Bytes;
}

/// Whether a path ends in the parts of a name.
bool endsInParts(const std::string &Path, const std::string &Name) {
  return Path.ends_with(Name) && (Path.size() == Name.size() || Name.front() == '/' ||
                                  Path[Path.size() - Name.size() - 1] == '/');
}

std::unique_ptr<DebugInfo> loadInfo(const std::string &Path) try {
  return DebugInfo::load(Path.c_str(), true);
} catch (...) {
  orvy_logWarning(nullptr, "'%s': its debug information cannot be read", Path.c_str());
  return nullptr;
}

} // namespace

Program::Program(const std::string &Path) : Path(Path) {
  readSymbols();
  readFrames();
  Info = loadInfo(Path);
  Types.setDefinitions(
      [](void *Arg, const char *Name, uint64_t Tag) {
        return static_cast<Program *>(Arg)->typeNamed(Name, Tag);
      },
      this);
}

Program::~Program() = default;

void Program::readFrames() {
  const ElfFile File(Path);
  uint64_t EhAddress = 0;
  Section Eh = contents(File, ".eh_frame", &EhAddress);
  Frames = std::make_unique<CallFrames>(contents(File, ".debug_frame"), std::move(Eh), EhAddress);
}

// Symbols.

void Program::readSymbols() {
  const ElfFile File(Path);
  for (unsigned Index = 0; Index < File.header().e_shnum; ++Index) {
    const Elf32_Shdr Header = File.section(Index);
    if ((Header.sh_flags & SHF_ALLOC) && Header.sh_size != 0)
      Sections.push_back({Header.sh_addr, uint64_t{Header.sh_addr} + Header.sh_size});
  }
  const auto Table = File.findSection(".symtab");
  if (!Table || Table->sh_link >= File.header().e_shnum)
    return;
  std::vector<Elf32_Sym> Entries;
  std::vector<char> Names;
  File.sectionData(*Table, Entries);
  File.sectionData(File.section(Table->sh_link), Names);
  if (Names.empty() || Names.back() != '\0')
    return;
  std::string SourceFile;
  for (const Elf32_Sym &Entry : Entries) {
    const uint32_t NameAt = elf::fromFile(Entry.st_name);
    const uint16_t In = elf::fromFile(Entry.st_shndx);
    const unsigned Kind = ELF32_ST_TYPE(Entry.st_info);
    const bool IsLocal = ELF32_ST_BIND(Entry.st_info) == STB_LOCAL;
    if (NameAt >= Names.size())
      continue;
    const char *Name = Names.data() + NameAt;
    if (Kind == STT_FILE)
      SourceFile = Name;
    if (Kind > STT_FUNC || !*Name || In == SHN_UNDEF || In >= SHN_LORESERVE)
      continue;
    Symbols.push_back({elf::fromFile(Entry.st_value), elf::fromFile(Entry.st_size), Name,
                       IsLocal ? SourceFile : std::string(), Kind == STT_FUNC, !IsLocal});
  }
  std::ranges::stable_sort(Symbols, {}, &ElfSymbol::Address);
  for (size_t Index = 0; Index < Symbols.size(); ++Index)
    ByName.emplace(Symbols[Index].Name, Index);
}

bool Program::covers(uint64_t Address) const {
  return std::ranges::any_of(Sections, [&](const AddressRange &R) { return R.contains(Address); });
}

SymbolPlace Program::symbolAt(uint64_t Address) const {
  if (!covers(Address))
    return {};
  auto Next = std::ranges::upper_bound(Symbols, Address, {}, &ElfSymbol::Address);
  if (Next == Symbols.begin())
    return {};
  // Of several at one address one with a size counts before one without.
  const uint64_t Start = std::prev(Next)->Address;
  const ElfSymbol *Found = nullptr;
  for (auto At = Next; At != Symbols.begin() && std::prev(At)->Address == Start; --At) {
    const ElfSymbol &Each = *std::prev(At);
    if (!Found || (Found->Size == 0 && Each.Size != 0))
      Found = &Each;
  }
  const uint64_t Offset = Address - Start;
  if (Found->Size != 0 && Offset >= Found->Size)
    return {};
  return {Found, Offset};
}

std::vector<const ElfSymbol *> Program::symbolsNamed(std::string_view Name) const {
  std::vector<const ElfSymbol *> Found;
  for (auto [At, End] = ByName.equal_range(Name); At != End; ++At)
    Found.push_back(&Symbols[At->second]);
  std::ranges::stable_sort(Found, std::greater<>(), &ElfSymbol::IsGlobal);
  return Found;
}

// Functions, variables and types by name.

void Program::indexCode() {
  if (IsIndexed)
    return;
  IsIndexed = true;
  if (!Info)
    return;
  for (const auto &Unit : Info->getCompUnits())
    indexUnit(*Unit);
  std::ranges::stable_sort(Code, {}, [](const CodeRange &C) { return C.Range.Low; });
}

void Program::indexFunction(DebugInfoEntry &Entry) {
  const std::vector<AddressRange> Ranges = rangesOf(Entry);
  for (const AddressRange &Range : Ranges)
    if (Range.Low != 0) // a linker that drops a function leaves it at address 0
      Code.push_back({Range, &Entry});
  const char *Name = Ranges.empty() || Ranges.front().Low == 0 ? nullptr : nameOf(Entry);
  if (Name) {
    Functions.emplace(Name, &Entry);
    AllFunctions.push_back(&Entry);
  }
}

void Program::indexVariable(DebugInfoEntry &Entry) {
  DebugInfoEntry *Parent = Entry.getParent();
  const uint64_t In = Parent ? Parent->getTag() : 0;
  const bool IsOutside =
      In == DW_TAG_compile_unit || In == DW_TAG_partial_unit || In == DW_TAG_namespace;
  if (!IsOutside || (!Entry.find(DW_AT_location) && !Entry.find(DW_AT_const_value)))
    return;
  if (const char *Name = nameOf(Entry)) {
    Globals.emplace(Name, &Entry);
    AllGlobals.push_back(&Entry);
  }
}

void Program::indexUnit(CompilationUnit &Unit) {
  for (DebugInfoEntry *Entry : Unit.getDIEList())
    switch (Entry->getTag()) {
    case DW_TAG_subprogram:
      indexFunction(*Entry);
      break;
    case DW_TAG_inlined_subroutine:
      if (const char *Name = nameOf(*Entry))
        Inlined.emplace(Name, Entry);
      break;
    case DW_TAG_variable:
      indexVariable(*Entry);
      break;
    case DW_TAG_enumerator:
      if (const char *Name = nameOf(*Entry))
        Enumerators.emplace(Name, Entry);
      break;
    case DW_TAG_structure_type:
    case DW_TAG_class_type:
    case DW_TAG_union_type:
    case DW_TAG_enumeration_type:
    case DW_TAG_typedef:
    case DW_TAG_base_type:
      if (const char *Name = Entry->getName(); Name && !Entry->find(DW_AT_declaration))
        NamedTypes.emplace(Name, Entry);
      break;
    default:
      break;
    }
}

DebugInfoEntry *Program::functionAt(uint64_t Address) {
  indexCode();
  auto Next =
      std::ranges::upper_bound(Code, Address, {}, [](const CodeRange &C) { return C.Range.Low; });
  if (Next == Code.begin() || !std::prev(Next)->Range.contains(Address))
    return nullptr;
  return std::prev(Next)->Entry;
}

Program::KnownScopes &Program::knownAt(uint64_t Address) {
  KnownScopes &Known = LastScopes[Address / 4 % LastScopes.size()];
  if (Known.Address != Address)
    Known = {Address, findScopes(Address), {}};
  return Known;
}

DebugInfoEntry *Program::localAt(uint64_t Address, const std::string &Name) {
  KnownScopes &Known = knownAt(Address);
  const auto [At, IsNew] = Known.Locals.try_emplace(Name, nullptr);
  for (auto Scope = Known.Scopes.rbegin(); IsNew && Scope != Known.Scopes.rend(); ++Scope) {
    At->second = variableIn(**Scope, Name);
    if (At->second || isCall(**Scope))
      break;
  }
  return At->second;
}

std::vector<DebugInfoEntry *> Program::findScopes(uint64_t Address) {
  std::vector<DebugInfoEntry *> Scopes;
  for (DebugInfoEntry *Inner = functionAt(Address); Inner;) {
    Scopes.push_back(Inner);
    DebugInfoEntry *Child = Inner->getFirstChild();
    Inner = nullptr;
    for (; Child && !Child->isNull() && !Inner; Child = Child->getNext()) {
      const uint64_t Tag = Child->getTag();
      if (Tag != DW_TAG_lexical_block && Tag != DW_TAG_inlined_subroutine)
        continue;
      const std::vector<AddressRange> Ranges = rangesOf(*Child);
      if (std::ranges::any_of(Ranges, [&](const auto &R) { return R.contains(Address); }))
        Inner = Child;
    }
  }
  return Scopes;
}

DebugInfoEntry *Program::instanceAt(uint64_t Address) {
  DebugInfoEntry *Found = nullptr;
  for (DebugInfoEntry *Scope : scopesAt(Address))
    if (isCall(*Scope))
      Found = Scope;
  return Found;
}

std::vector<DebugInfoEntry *> Program::functionsNamed(std::string_view Name) {
  indexCode();
  std::vector<DebugInfoEntry *> Found;
  for (auto [At, End] = Functions.equal_range(Name); At != End; ++At)
    Found.push_back(At->second);
  for (auto [At, End] = Inlined.equal_range(Name); At != End; ++At)
    if (!rangesOf(*At->second).empty())
      Found.push_back(At->second);
  return Found;
}

std::vector<DebugInfoEntry *> Program::globalsNamed(std::string_view Name, std::string_view File) {
  indexCode();
  std::vector<DebugInfoEntry *> Found;
  for (auto [At, End] = Globals.equal_range(Name); At != End; ++At)
    Found.push_back(At->second);
  if (!File.empty())
    std::stable_partition(Found.begin(), Found.end(), [&](DebugInfoEntry *Entry) {
      return endsInParts(unitPath(*Entry), std::string(File));
    });
  return Found;
}

DebugInfoEntry *Program::typeNamed(std::string_view Name, uint64_t Tag) {
  indexCode();
  for (auto [At, End] = NamedTypes.equal_range(Name); At != End; ++At)
    if (Tag == 0 || At->second->getTag() == Tag)
      return At->second;
  return nullptr;
}

DebugInfoEntry *Program::enumeratorNamed(std::string_view Name) {
  indexCode();
  const auto Found = Enumerators.find(Name);
  return Found == Enumerators.end() ? nullptr : Found->second;
}

std::set<std::string> Program::namesFrom(std::string_view Beginning, bool IsOfCode) {
  indexCode();
  std::set<std::string> Found;
  const auto Add = [&](const auto &Names, auto IsWanted) {
    for (auto Next = Names.lower_bound(Beginning);
         Next != Names.end() && Next->first.starts_with(Beginning); ++Next)
      if (IsWanted(Next->second))
        Found.emplace(Next->first);
  };
  const auto Always = [](auto) { return true; };
  Add(ByName, [&](size_t Index) { return !IsOfCode || Symbols[Index].IsFunction; });
  Add(Functions, Always);
  Add(Inlined, Always);
  if (!IsOfCode) {
    Add(Globals, Always);
    Add(Enumerators, Always);
  }
  return Found;
}

const std::vector<DebugInfoEntry *> &Program::allGlobals() {
  indexCode();
  return AllGlobals;
}

const std::vector<DebugInfoEntry *> &Program::allFunctions() {
  indexCode();
  return AllFunctions;
}

const std::string &Program::unitPath(DebugInfoEntry &Entry) {
  DebugInfoEntry *Unit = unitEntryOf(Entry);
  const auto [Known, IsNew] = UnitPaths.try_emplace(Unit);
  const char *Name = IsNew && Unit ? Unit->getName() : nullptr;
  if (!Name)
    return Known->second;
  const auto Dir = Unit->find(DW_AT_comp_dir);
  const char *DirText = Dir ? Dir->getCStr() : nullptr;
  const std::string Whole =
      *Name == '/' || !DirText ? std::string(Name) : std::string(DirText) + "/" + Name;
  return Known->second = fs::normalisePath(Whole.c_str());
}

// Lines.

void Program::indexLines() {
  if (HasLines)
    return;
  HasLines = true;
  if (!Info)
    return;
  for (const auto &Unit : Info->getCompUnits()) {
    const int64_t Offset = Unit->getLineNumberOffset();
    if (Offset < 0 || Tables.contains(static_cast<uint64_t>(Offset)))
      continue;
    const auto Dir = Unit->getUnitDIE()->find(DW_AT_comp_dir);
    std::unique_ptr<LineTable> &Table = Tables[static_cast<uint64_t>(Offset)];
    try {
      Table = std::make_unique<LineTable>(*Info, static_cast<uint64_t>(Offset),
                                          Dir ? Dir->getCStr() : nullptr);
    } catch (...) {
      orvy_logWarning(nullptr, "'%s': the line table at 0x%llx cannot be read", Path.c_str(),
                      static_cast<unsigned long long>(Offset));
      continue;
    }
    for (const LineSequence &Sequence : Table->getSequences())
      Lines.push_back({{Sequence.Low, Sequence.High}, Table.get(), &Sequence});
  }
  std::ranges::stable_sort(Lines, {}, [](const LineRange &L) { return L.Range.Low; });
}

const LineRow *Program::rowAt(uint64_t Address, const LineRange **In) {
  indexLines();
  auto Next =
      std::ranges::upper_bound(Lines, Address, {}, [](const LineRange &L) { return L.Range.Low; });
  if (Next == Lines.begin() || !std::prev(Next)->Range.contains(Address))
    return nullptr;
  const LineRange &Found = *std::prev(Next);
  const auto Rows = Found.Table->getRows().begin();
  auto Row = std::upper_bound(Rows + Found.Sequence->First, Rows + Found.Sequence->End, Address,
                              [](uint64_t At, const LineRow &R) { return At < R.Address; });
  --Row;
  if (In)
    *In = &Found;
  // A row of the same address that begins a statement counts before one that does not.
  for (auto Other = Row; !Row->IsStatement && Other != Rows + Found.Sequence->First &&
                         std::prev(Other)->Address == Row->Address;
       --Other)
    if (std::prev(Other)->IsStatement)
      return &*std::prev(Other);
  return &*Row;
}

SourcePlace Program::placeOf(uint64_t Address) {
  const LineRange *In = nullptr;
  const LineRow *Row = rowAt(Address, &In);
  if (!Row || Row->Line == 0 || Row->File >= In->Table->getFiles().size())
    return {};
  return {&In->Table->getFiles()[Row->File], Row->Line, Row->Column,
          Row->Address == Address && Row->IsStatement};
}

AddressRange Program::lineRange(uint64_t Address) {
  const LineRange *In = nullptr;
  const LineRow *Row = rowAt(Address, &In);
  if (!Row)
    return {Address, Address};
  const LineRow *const First = &In->Table->getRows()[In->Sequence->First];
  const LineRow *const End = &In->Table->getRows()[In->Sequence->End - 1u];
  const auto isSame = [&](const LineRow &R) { return R.Line == Row->Line && R.File == Row->File; };
  const LineRow *Low = Row, *High = Row + 1;
  while (Low != First && isSame(Low[-1]))
    --Low;
  while (High != End && isSame(*High))
    ++High;
  return {Low->Address, High->Address};
}

std::set<std::string> Program::allFiles() {
  indexLines();
  std::set<std::string> Files;
  for (const auto &[Offset, Table] : Tables)
    if (Table)
      Files.insert(Table->getFiles().begin(), Table->getFiles().end());
  return Files;
}

std::vector<std::string> Program::filesNamed(const std::string &Name) {
  std::vector<std::string> Found;
  for (const std::string &File : allFiles())
    if (endsInParts(File, Name))
      Found.push_back(File);
  return Found;
}

/// Calls Take with each row that is a statement of a file, and the one after it.
template <typename Taker> void Program::forEachRow(const std::string &File, Taker Take) const {
  std::map<const LineTable *, std::vector<bool>> Wanted; // the numbers of the file in each table
  for (const auto &[Offset, Table] : Tables)
    if (Table)
      for (const std::string &Each : Table->getFiles())
        Wanted[Table.get()].push_back(Each == File);
  for (const LineRange &In : Lines) {
    const std::vector<bool> &IsWanted = Wanted[In.Table];
    const std::vector<LineRow> &Rows = In.Table->getRows();
    for (uint32_t Index = In.Sequence->First; Index + 1 < In.Sequence->End; ++Index)
      if (const LineRow &Row = Rows[Index];
          Row.IsStatement && Row.File < IsWanted.size() && IsWanted[Row.File])
        Take(In, Row, Rows[Index + 1]);
  }
}

std::vector<LinePlace> Program::placesOfLine(const std::string &File, uint32_t Line) {
  indexLines();
  // The line itself, else the next one that has code.
  uint32_t Best = UINT32_MAX;
  forEachRow(File, [&](const LineRange &, const LineRow &Row, const LineRow &) {
    if (Row.Line >= Line)
      Best = std::min<uint32_t>(Best, Row.Line);
  });
  // Its first address in each function, and in each place where one is inlined.
  std::map<DebugInfoEntry *, LinePlace> ByInstance;
  forEachRow(File, [&](const LineRange &In, const LineRow &Row, const LineRow &Next) {
    if (Row.Line != Best || Next.Address == Row.Address)
      return;
    const auto [Place, IsNew] = ByInstance.try_emplace(
        instanceAt(Row.Address), LinePlace{Row.Address, &In.Table->getFiles()[Row.File], Best});
    if (!IsNew && Row.Address < Place->second.Address)
      Place->second.Address = Row.Address;
  });
  std::vector<LinePlace> Places;
  for (const auto &[Instance, Place] : ByInstance) {
    Places.push_back(Place);
    // A break point at the line on which a function begins belongs after its prologue.
    if (Instance && Instance->getTag() == DW_TAG_subprogram &&
        entryPointOf(*Instance) == Place.Address)
      Places.back().Address = afterPrologue(*Instance);
  }
  std::ranges::sort(Places, {}, &LinePlace::Address);
  return Places;
}

uint64_t Program::afterPrologue(DebugInfoEntry &Function) {
  const auto Entry = entryPointOf(Function);
  if (!Entry)
    return 0;
  // With location lists the parameters can be seen everywhere; an inlined function has no prologue.
  bool HasLists = Function.getTag() != DW_TAG_subprogram;
  for (auto *Child = Function.getFirstChild(); Child && !Child->isNull() && !HasLists;
       Child = Child->getNext())
    if (Child->getTag() == DW_TAG_formal_parameter)
      HasLists = locationOf(*Child, DW_AT_location, *Entry).IsList;
  const LineRange *In = nullptr;
  const LineRow *Row = HasLists ? nullptr : rowAt(*Entry, &In);
  if (!Row)
    return *Entry;
  const std::vector<AddressRange> Ranges = rangesOf(Function);
  const LineRow *const End = &In->Table->getRows()[In->Sequence->End - 1u];
  for (const LineRow *Next = Row + 1; Next < End; ++Next) {
    if (Next->Address == *Entry || !Next->IsStatement)
      continue;
    const bool IsInside = std::ranges::any_of(
        Ranges, [&](const AddressRange &R) { return R.contains(Next->Address); });
    return IsInside ? Next->Address : *Entry;
  }
  return *Entry;
}

const std::string *Program::fileOf(DebugInfoEntry &Entry, uint64_t Number) {
  indexLines();
  auto *Unit = dynamic_cast<CompilationUnit *>(Entry.getUnit());
  const auto Table =
      Unit ? Tables.find(static_cast<uint64_t>(Unit->getLineNumberOffset())) : Tables.end();
  if (Table == Tables.end() || !Table->second)
    return nullptr;
  const size_t Index = Table->second->fileOf(Number);
  return Index == SIZE_MAX ? nullptr : &Table->second->getFiles()[Index];
}
