// LoaderElf.h - reads 32-bit big-endian ELF files.

#ifndef ORVY_LIB_LOADERELF_H
#define ORVY_LIB_LOADERELF_H

#include "Base/InputFile.h"

#include <bit>
#include <cstdint>
#include <elf.h>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orvy::elf {

// Fields are big-endian in the file.
static_assert(std::endian::native == std::endian::little);
inline uint16_t fromFile(uint16_t Value) {
  return __builtin_bswap16(Value);
}
inline uint32_t fromFile(uint32_t Value) {
  return __builtin_bswap32(Value);
}

} // namespace orvy::elf

namespace orvy {

/// An open ELF file whose header has been checked. Header fields are in host byte order, contents
/// of sections in that of the file. Throws std::runtime_error if something cannot be read.
class ElfFile {
public:
  /// Opens and checks a file.
  explicit ElfFile(const std::string &Path);

  const Elf32_Ehdr &header() const { return Header; }

  /// Section header with an index below e_shnum.
  Elf32_Shdr section(unsigned Index) const;
  /// Program header with an index below e_phnum.
  Elf32_Phdr segment(unsigned Index) const;
  /// Whether the file contains that program header.
  bool hasSegment(unsigned Index) const {
    return holds(uint64_t{Header.e_phoff} + sizeof(Elf32_Phdr) * uint64_t{Index},
                 sizeof(Elf32_Phdr));
  }
  /// The first section with that name.
  std::optional<Elf32_Shdr> findSection(std::string_view Name) const;

  /// Contents of a section, which must consist of whole elements. A section without contents in the
  /// file (SHT_NOBITS) reads as zeros.
  template <typename T> void sectionData(const Elf32_Shdr &Section, std::vector<T> &Data) const {
    Data.clear();
    checkSection(Section, sizeof(T));
    Data.resize(Section.sh_size / sizeof(T));
    if (Section.sh_type != SHT_NOBITS)
      readSection(Section.sh_offset, Data.data(), Section.sh_size);
  }

  /// Reads contents at an offset of the file.
  void readSection(uint64_t Offset, void *Data, uint32_t Bytes) const;
  /// Whether the file contains that many bytes at an offset.
  bool holds(uint64_t Offset, uint32_t Bytes) const { return File.holds(Offset, Bytes); }

private:
  void readHeader();
  void readNames();
  void checkSection(const Elf32_Shdr &Section, size_t ElementSize) const;

  InputFile File;
  Elf32_Ehdr Header{};
  std::vector<char> Names;
};

/// The physical addresses that the image would fill: the first and one past the last of each
/// segment. Empty if the file cannot be read.
std::set<std::pair<uint64_t, uint64_t>> getELFRanges(const char *Path);

} // namespace orvy

#endif
