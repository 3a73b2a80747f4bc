#include "orvy/Support/Loader.h"

#include "Base/InputFile.h"

#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"

#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

using namespace orvy;

namespace {

constexpr char ElfMagic[] = {0x7f, 'E', 'L', 'F'};

/// The format for a file's extension, which is case-sensitive.
std::optional<orvy_FileType> typeByExtension(std::string_view Path) {
  static const std::map<std::string_view, orvy_FileType> FileExts = {
      {".s19", ovFT_Srec}, {".s28", ovFT_Srec}, {".s37", ovFT_Srec},   {".s1", ovFT_Srec},
      {".s2", ovFT_Srec},  {".s3", ovFT_Srec},  {".srec", ovFT_Srec},  {".SX", ovFT_Srec},
      {".mot", ovFT_Srec}, {".elf", ovFT_Elf},  {".bin", ovFT_Binary}, {".dat", ovFT_Binary}};
  size_t Dot = Path.rfind('.');
  if (Dot == std::string_view::npos)
    return std::nullopt;
  auto Found = FileExts.find(Path.substr(Dot));
  return Found == FileExts.end() ? std::nullopt : std::optional(Found->second);
}

orvy_FileType typeByContent(const char *Path) {
  InputFile File(Path);
  char Head[5];
  if (!File.readAt(0, Head, sizeof(Head)))
    return ovFT_Binary;
  if (Head[0] == 'S')
    return ovFT_Srec;
  return std::memcmp(Head, ElfMagic, sizeof(ElfMagic)) == 0 ? ovFT_Elf : ovFT_Binary;
}

} // namespace

orvy_FileType orvy_identifyImageFormat(const char *Path) {
  if (!Path)
    return ovFT_Binary;
  std::optional<orvy_FileType> Known = typeByExtension(Path);
  return Known ? *Known : typeByContent(Path);
}

int orvy_imageIsELF(const char *Path) {
  return orvy_identifyImageFormat(Path) == ovFT_Elf;
}

int orvy_loadImage(void *Mem, const char *Path) {
  return orvy_loadRelocatedImage(Mem, Path, 0);
}

int orvy_loadImageAndStartAddr(void *Mem, const char *Path, uint64_t *StartAddr) {
  switch (orvy_identifyImageFormat(Path)) {
  case ovFT_Srec: {
    uint32_t Start = 0;
    int Result = orvy_loadSrecImageAndStartAddr(Mem, Path, &Start);
    *StartAddr = Start;
    return Result;
  }
  case ovFT_Elf:
    return orvy_loadElfImageAndStartAddr(Mem, Path, StartAddr);
  case ovFT_Binary:
    *StartAddr = 0;
    return orvy_loadBinaryImage(Mem, Path, 0);
  }
  return -1;
}

int orvy_loadRelocatedImage(void *Mem, const char *Path, uint64_t Addr) {
  switch (orvy_identifyImageFormat(Path)) {
  case ovFT_Srec:
    return orvy_loadSrecImage(Mem, Path, Addr);
  case ovFT_Elf:
    return orvy_loadElfImage(Mem, Path, Addr);
  case ovFT_Binary:
    return orvy_loadBinaryImage(Mem, Path, Addr);
  }
  return -1;
}

int orvy_loadBinaryImage(void *Mem, const char *Path, uint64_t Addr) {
  InputFile File(Path);
  if (!File.isPlain())
    return -1;
  if (File.size() > UINT32_MAX) {
    orvy_logError(Mem, "'%s' is larger than 4 GiB", Path);
    return -1;
  }
  auto Size = static_cast<uint32_t>(File.size());
  std::unique_ptr<uint8_t[]> Bytes(new (std::nothrow) uint8_t[Size]);
  if (!Bytes || !File.readAt(0, Bytes.get(), Size)) {
    orvy_logError(Mem, "'%s' cannot be read", Path);
    return -1;
  }
  orvy_memoryWrite(Mem, Addr, Bytes.get(), Size, 0);
  return 0;
}
