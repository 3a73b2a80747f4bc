#include "Images/LoaderElf.h"

#include "Images/ElfMachines.h"

#include "orvy/Support/Loader.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string_view>

using namespace orvy;

namespace {

[[noreturn]] void fail(const std::string &Why) {
  throw std::runtime_error(Why);
}

template <typename... Fields> void convert(Fields &...F) {
  ((F = elf::fromFile(F)), ...);
}

struct FreeBytes {
  void operator()(uint8_t *Bytes) const { std::free(Bytes); }
};
using ByteBlock = std::unique_ptr<uint8_t[], FreeBytes>;

/// Contents of a segment, with its size in memory. calloc commits no host memory for the part that
/// is not in the file, so that a damaged header cannot use up the memory.
ByteBlock segmentBytes(const ElfFile &File, const Elf32_Phdr &Segment) {
  if (!File.holds(Segment.p_offset, Segment.p_filesz))
    fail("Could not read section");
  size_t Size = std::max(Segment.p_filesz, Segment.p_memsz);
  ByteBlock Bytes(static_cast<uint8_t *>(std::calloc(Size ? Size : 1, 1)));
  if (!Bytes)
    throw std::bad_alloc();
  File.readSection(Segment.p_offset, Bytes.get(), Segment.p_filesz);
  return Bytes;
}

/// The address ranges that segments fill with bytes of the file.
class FileBytes {
public:
  /// Uses the part of the table that the file contains. Loading fails later if it is truncated.
  explicit FileBytes(const ElfFile &File) {
    for (unsigned Index = 0; Index < File.header().e_phnum && File.hasSegment(Index); ++Index) {
      const Elf32_Phdr P = File.segment(Index);
      if (uint64_t Size = std::min(P.p_filesz, P.p_memsz))
        Ranges.push_back({P.p_paddr, P.p_paddr + Size, Index + 1});
    }
    std::ranges::sort(Ranges, {}, &Range::Start);
    // Extend each range to the end of any earlier one that ends after it, so that find need only
    // look at one range.
    for (size_t Index = 1; Index < Ranges.size(); ++Index)
      if (const Range &Before = Ranges[Index - 1]; Before.End > Ranges[Index].End)
        Ranges[Index].End = Before.End, Ranges[Index].Number = Before.Number;
  }

  /// The number of a segment that has bytes in a range; 0 for none.
  unsigned find(uint64_t Start, uint64_t End) const {
    auto Above = std::ranges::lower_bound(Ranges, End, {}, &Range::Start);
    bool Overlaps = Start < End && Above != Ranges.begin() && std::prev(Above)->End > Start;
    return Overlaps ? std::prev(Above)->Number : 0;
  }

private:
  struct Range {
    uint64_t Start, End;
    unsigned Number;
  };
  std::vector<Range> Ranges;
};

/// The number of bytes of a segment to write. The zeros of thread-local storage are part of each
/// thread's copy; in the image other data may follow the storage.
uint32_t writtenSize(void *Mem, const FileBytes &Others, unsigned Number,
                     const Elf32_Phdr &Segment) {
  if (Segment.p_type != PT_TLS)
    return Segment.p_memsz;
  const uint64_t Start = Segment.p_paddr;
  const unsigned Following = Others.find(Start + Segment.p_filesz, Start + Segment.p_memsz);
  if (!Following)
    return Segment.p_memsz;
  orvy_logInfo(Mem,
               "segment %u is thread-local storage: its zeros at pa = 0x%.8x - 0x%.8x are left "
               "out, segment %u has data there",
               Number, Segment.p_paddr + Segment.p_filesz, Segment.p_paddr + Segment.p_memsz,
               Following);
  return Segment.p_filesz;
}

void loadSegment(void *Mem, const ElfFile &File, const FileBytes &Others, unsigned Index) {
  Elf32_Phdr Segment = File.segment(Index);
  ByteBlock Bytes = segmentBytes(File, Segment);
  uint32_t Size = Segment.p_memsz;
  orvy_logInfo(Mem, "loading segment %d/%d va = 0x%.8x - 0x%.8x pa = 0x%.8x - 0x%.8x",
               static_cast<int>(Index) + 1, File.header().e_phnum, Segment.p_vaddr,
               Segment.p_vaddr + Size, Segment.p_paddr, Segment.p_paddr + Size);
  orvy_memoryWrite(Mem, Segment.p_paddr, Bytes.get(), writtenSize(Mem, Others, Index + 1, Segment),
                   0);
}

void load(void *Mem, const char *Path, uint64_t &StartAddr) {
  ElfFile File(Path);
  StartAddr = File.header().e_entry;
  const char *Machine = elf::machineName(File.header().e_machine);
  if (!Machine)
    fail("Unknown architecture");
  orvy_logInfo(Mem, "loading %s %s %d-bit", "big-endian", Machine, 32);
  const FileBytes Others(File);
  for (unsigned Index = 0; Index < File.header().e_phnum; ++Index)
    loadSegment(Mem, File, Others, Index);
}

} // namespace

ElfFile::ElfFile(const std::string &Path) : File(Path.c_str()) {
  if (!File.isOpen())
    fail(Path);
  readHeader();
  readNames();
}

void ElfFile::readHeader() {
  if (!File.readAt(0, &Header, sizeof(Header)))
    fail("Unreadable Header");
  if (std::memcmp(Header.e_ident, ELFMAG, SELFMAG) != 0)
    fail("Invalid ELF magic");
  if (Header.e_ident[EI_CLASS] != ELFCLASS32)
    fail("Only 32 bit supported");
  if (Header.e_ident[EI_DATA] != ELFDATA2MSB)
    fail("Only big-endian supported at present");
  convert(Header.e_type, Header.e_machine, Header.e_version, Header.e_entry, Header.e_phoff,
          Header.e_shoff, Header.e_flags, Header.e_ehsize, Header.e_phentsize, Header.e_phnum,
          Header.e_shentsize, Header.e_shnum, Header.e_shstrndx);
}

void ElfFile::readNames() {
  if (Header.e_shstrndx >= Header.e_shnum) {
    if (Header.e_shstrndx != 0)
      fail("Section name string table out of bounds");
    return;
  }
  Elf32_Shdr Section = section(Header.e_shstrndx);
  // The section is all zeros and contains no names, so one zero is enough.
  if (Section.sh_type == SHT_NOBITS)
    Names.assign(Section.sh_size != 0, 0);
  else
    sectionData(Section, Names);
  if (!Names.empty() && Names.back() != 0)
    fail("Section name string table not 0-terminated");
}

Elf32_Shdr ElfFile::section(unsigned Index) const {
  Elf32_Shdr S;
  if (!File.readAt(uint64_t{Header.e_shoff} + uint64_t{sizeof(S)} * Index, &S, sizeof(S)))
    fail("Could not read section header");
  convert(S.sh_name, S.sh_type, S.sh_flags, S.sh_addr, S.sh_offset, S.sh_size, S.sh_link, S.sh_info,
          S.sh_addralign, S.sh_entsize);
  return S;
}

Elf32_Phdr ElfFile::segment(unsigned Index) const {
  Elf32_Phdr P;
  if (!File.readAt(uint64_t{Header.e_phoff} + uint64_t{sizeof(P)} * Index, &P, sizeof(P)))
    fail("Could not read program header");
  convert(P.p_type, P.p_offset, P.p_vaddr, P.p_paddr, P.p_filesz, P.p_memsz, P.p_flags, P.p_align);
  return P;
}

std::optional<Elf32_Shdr> ElfFile::findSection(std::string_view Name) const {
  for (unsigned Index = 0; !Names.empty() && Index < Header.e_shnum; ++Index) {
    Elf32_Shdr S = section(Index);
    if (S.sh_name != 0 && S.sh_name < Names.size() && Name == &Names[S.sh_name])
      return S;
  }
  return std::nullopt;
}

void ElfFile::checkSection(const Elf32_Shdr &Section, size_t ElementSize) const {
  uint64_t Offset = Section.sh_type == SHT_NOBITS ? 0 : Section.sh_offset;
  // A section without contents must not be larger than the file either: this bounds its memory.
  if (Section.sh_size % ElementSize != 0 || !File.holds(Offset, Section.sh_size))
    fail("Could not read section");
}

void ElfFile::readSection(uint64_t Offset, void *Data, uint32_t Bytes) const {
  if (!File.readAt(Offset, Data, Bytes))
    fail("Could not read section");
}

std::set<std::pair<uint64_t, uint64_t>> orvy::getELFRanges(const char *Path) {
  try {
    std::set<std::pair<uint64_t, uint64_t>> Ranges;
    ElfFile File(Path);
    for (unsigned Index = 0; Index < File.header().e_phnum; ++Index) {
      Elf32_Phdr Segment = File.segment(Index);
      if (!File.holds(Segment.p_offset, Segment.p_filesz))
        fail("Could not read section");
      Ranges.emplace(Segment.p_paddr, uint64_t{Segment.p_paddr} + Segment.p_memsz);
    }
    return Ranges;
  } catch (const std::exception &) {
    return {};
  }
}

int orvy_loadElfImageAndStartAddr(void *Mem, const char *Path, uint64_t *StartAddr) {
  try {
    load(Mem, Path, *StartAddr);
    return 0;
  } catch (const std::exception &) {
    orvy_logError(Mem, "'%s' is not a readable elf-file", Path);
    return -1;
  }
}

int orvy_loadElfImage(void *Mem, const char *Path, uint64_t) {
  uint64_t StartAddr = 0;
  return orvy_loadElfImageAndStartAddr(Mem, Path, &StartAddr);
}

int orvy_elfHasDwarf(const char *Path) {
  return ElfFile(Path).findSection(".debug_info").has_value();
}
