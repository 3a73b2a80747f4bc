// ElfBuilder.h - ELF files for tests, 32 bits and big-endian, good ones and ones that lie.
//
//     ElfBuilder Elf;
//     Elf.segment(0x40000000, "text", 64).section(".debug_info", "x").close();
//     Elf.Segments[0].p_filesz = 0xffffffff;
//     Files.file("image", Elf.bytes());

#ifndef ORVY_UNITTESTS_TESTING_ELFBUILDER_H
#define ORVY_UNITTESTS_TESTING_ELFBUILDER_H

#include <cstdint>
#include <elf.h>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::testing {

/// Appends a number of as many bytes as its type has, most significant first.
template <typename T> void appendBig(std::string &To, T Value) {
  for (int Shift = 8 * (int{sizeof(T)} - 1); Shift >= 0; Shift -= 8)
    To += static_cast<char>(Value >> Shift);
}

/// The file is laid out as header, program headers, contents of segments and of sections, section
/// names, section headers. The public fields are in host order; close() sets the places and sizes
/// in them, and whatever is changed afterwards is written as it stands.
class ElfBuilder {
public:
  Elf32_Ehdr Header = {.e_ident = {0x7f, 'E', 'L', 'F', ELFCLASS32, ELFDATA2MSB, EV_CURRENT},
                       .e_type = ET_EXEC,
                       .e_machine = EM_SPARC,
                       .e_version = EV_CURRENT,
                       .e_ehsize = sizeof(Elf32_Ehdr),
                       .e_phentsize = sizeof(Elf32_Phdr),
                       .e_shentsize = sizeof(Elf32_Shdr)};
  std::vector<Elf32_Phdr> Segments;
  /// The first is the empty one; close() appends the names. None for a file without sections.
  std::vector<Elf32_Shdr> Sections;
  std::string Names = std::string(1, '\0');

  /// Adds a segment at an address. Its size in memory is that of its bytes unless given.
  ElfBuilder &segment(uint32_t Addr, std::string_view Bytes, uint32_t MemSize, uint32_t Type) {
    auto FileSize = static_cast<uint32_t>(Bytes.size());
    Segments.push_back({.p_type = Type,
                        .p_vaddr = Addr,
                        .p_paddr = Addr,
                        .p_filesz = FileSize,
                        .p_memsz = MemSize});
    SegmentBytes += Bytes;
    return *this;
  }
  ElfBuilder &segment(uint32_t Addr, std::string_view Bytes, uint32_t MemSize) {
    return segment(Addr, Bytes, MemSize, PT_LOAD);
  }
  ElfBuilder &segment(uint32_t Addr, std::string_view Bytes) {
    return segment(Addr, Bytes, static_cast<uint32_t>(Bytes.size()));
  }

  /// Adds a section.
  ElfBuilder &section(std::string_view Name, std::string_view Bytes, uint32_t Type = SHT_PROGBITS) {
    if (Sections.empty())
      Sections.push_back({});
    Sections.push_back({.sh_name = static_cast<uint32_t>(Names.size()),
                        .sh_type = Type,
                        .sh_size = static_cast<uint32_t>(Bytes.size())});
    (Names += Name) += '\0';
    SectionBytes += Bytes;
    return *this;
  }

  /// Ends the file and tells everything in it where it lies.
  ElfBuilder &close() {
    if (!Sections.empty()) {
      std::string All = Names + ".shstrtab" + '\0';
      section(".shstrtab", All, SHT_STRTAB);
    }
    Header.e_phnum = static_cast<uint16_t>(Segments.size());
    Header.e_phoff = Segments.empty() ? 0 : sizeof(Elf32_Ehdr);
    auto At = static_cast<uint32_t>(sizeof(Elf32_Ehdr) + Segments.size() * sizeof(Elf32_Phdr));
    for (Elf32_Phdr &S : Segments)
      S.p_offset = At, At += S.p_filesz;
    for (Elf32_Shdr &S : Sections)
      S.sh_offset = At, At += S.sh_size;
    Header.e_shnum = static_cast<uint16_t>(Sections.size());
    Header.e_shoff = Sections.empty() ? 0 : At;
    Header.e_shstrndx = static_cast<uint16_t>(Sections.empty() ? 0 : Sections.size() - 1);
    return *this;
  }

  std::string bytes() const {
    std::string File(reinterpret_cast<const char *>(Header.e_ident), EI_NIDENT);
    append(File, Header.e_type, Header.e_machine, Header.e_version, Header.e_entry, Header.e_phoff,
           Header.e_shoff, Header.e_flags, Header.e_ehsize, Header.e_phentsize, Header.e_phnum,
           Header.e_shentsize, Header.e_shnum, Header.e_shstrndx);
    for (const Elf32_Phdr &S : Segments)
      append(File, S.p_type, S.p_offset, S.p_vaddr, S.p_paddr, S.p_filesz, S.p_memsz, S.p_flags,
             S.p_align);
    File += SegmentBytes + SectionBytes;
    for (const Elf32_Shdr &S : Sections)
      append(File, S.sh_name, S.sh_type, S.sh_flags, S.sh_addr, S.sh_offset, S.sh_size, S.sh_link,
             S.sh_info, S.sh_addralign, S.sh_entsize);
    return File;
  }

private:
  template <typename... Fields> static void append(std::string &To, Fields... Values) {
    (appendBig(To, Values), ...);
  }

  std::string SegmentBytes;
  std::string SectionBytes;
};

} // namespace orvy::testing

#endif
