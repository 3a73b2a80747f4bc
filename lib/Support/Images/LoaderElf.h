// LoaderElf.h - the reader of ELF files: 32 bits, big-endian.

#ifndef ORVY_LIB_LOADERELF_H
#define ORVY_LIB_LOADERELF_H

#include "Base/InputFile.h"

#include <cstdint>
#include <elf.h>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orvy {

/// An open ELF file whose header has been checked. Header fields are in host order, contents of
/// sections as in the file. Everything that cannot be read throws std::runtime_error.
class ElfFile {
public:
  /// Opens and checks a file.
  explicit ElfFile(const std::string &Path);

  const Elf32_Ehdr &header() const { return Header; }

  /// Section header at an index below e_shnum.
  Elf32_Shdr section(unsigned Index) const;
  /// Program header at an index below e_phnum.
  Elf32_Phdr segment(unsigned Index) const;
  /// Whether the file holds that program header.
  bool hasSegment(unsigned Index) const {
    return holds(uint64_t{Header.e_phoff} + sizeof(Elf32_Phdr) * uint64_t{Index},
                 sizeof(Elf32_Phdr));
  }
  /// The first section of that name.
  std::optional<Elf32_Shdr> findSection(std::string_view Name) const;

  /// Contents of a section, which must be whole elements. One without contents in the file
  /// (SHT_NOBITS) reads as zeros.
  template <typename T> void sectionData(const Elf32_Shdr &Section, std::vector<T> &Data) const {
    Data.clear();
    checkSection(Section, sizeof(T));
    Data.resize(Section.sh_size / sizeof(T));
    if (Section.sh_type != SHT_NOBITS)
      readSection(Section.sh_offset, Data.data(), Section.sh_size);
  }

  /// Reads contents that lie at an offset of the file.
  void readSection(uint64_t Offset, void *Data, uint32_t Bytes) const;
  /// Whether contents of that size lie at an offset.
  bool holds(uint64_t Offset, uint32_t Bytes) const { return File.holds(Offset, Bytes); }

private:
  void readHeader();
  void readNames();
  void checkSection(const Elf32_Shdr &Section, size_t ElementSize) const;

  InputFile File;
  Elf32_Ehdr Header{};
  std::vector<char> Names;
};

/// Physical addresses that the image would fill: first and one past the last, of each segment.
/// Empty for a file that cannot be read.
std::set<std::pair<uint64_t, uint64_t>> getELFRanges(const char *Path);

} // namespace orvy

#endif
