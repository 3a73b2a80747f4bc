// Motorola S-records: one record per line of text.

#include "orvy/Support/Loader.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

using namespace orvy;

namespace {

constexpr unsigned InvalidLine = 10;
constexpr size_t AddressAt = 4;
constexpr size_t ChecksumDigits = 2;
constexpr size_t MaxRecord = 4 + 2 * 255;
/// Digits of the address, by line type; 0 for types without an address.
constexpr size_t AddressDigits[] = {0, 4, 6, 8, 0, 0, 0, 8, 6, 4};

bool isHexDigit(char C) {
  return (C >= '0' && C <= '9') || (C >= 'a' && C <= 'f') || (C >= 'A' && C <= 'F');
}

/// Value of up to that many hexadecimal digits.
uint32_t hex(std::string_view Line, size_t At, size_t Digits) {
  uint32_t Value = 0;
  const char *From = Line.data() + std::min(At, Line.size());
  std::from_chars(From, Line.data() + std::min(At + Digits, Line.size()), Value, 16);
  return Value;
}

struct CloseFile {
  void operator()(std::FILE *File) const { std::fclose(File); }
};
using UniqueFile = std::unique_ptr<std::FILE, CloseFile>;

/// Reads the next line without its line end. A line that is too long for a record is truncated, but
/// stays too long, so that a file without line ends does not fill the memory.
bool readLine(std::FILE &File, std::string &Line) {
  Line.clear();
  int C = getc_unlocked(&File);
  if (C == EOF)
    return false;
  for (; C != EOF && C != '\n'; C = getc_unlocked(&File)) {
    if (Line.size() <= MaxRecord)
      Line += static_cast<char>(C);
    else if (C != '\r')
      Line.back() = static_cast<char>(C);
  }
  Line.erase(Line.find_last_not_of('\r') + 1);
  return true;
}

class SrecLoader {
public:
  explicit SrecLoader(void *Mem) : Mem(Mem) {}

  void line(std::string_view Line) {
    ++Lines;
    switch (unsigned Type = srecLineType(Line)) {
    case 1:
    case 2:
    case 3:
      data(Line, AddressDigits[Type]);
      break;
    case 7:
    case 8:
    case 9:
      Start = hex(Line, AddressAt, AddressDigits[Type]);
      break;
    case InvalidLine:
      ++InvalidLines;
      break;
    default:
      break;
    }
  }

  uint32_t finish() const {
    orvy_logInfo(Mem, "loaded SREC with %u invalid lines out of %u lines", InvalidLines, Lines);
    orvy_logInfo(Mem, "start address is 0x%.8x", Start);
    return Start;
  }

private:
  void data(std::string_view Line, size_t Digits) {
    Bytes.clear();
    for (size_t At = AddressAt + Digits; At + ChecksumDigits < Line.size(); At += 2)
      Bytes.push_back(static_cast<uint8_t>(hex(Line, At, 2)));
    orvy_memoryWrite(Mem, hex(Line, AddressAt, Digits), Bytes.data(),
                     static_cast<uint32_t>(Bytes.size()), 0);
  }

  void *Mem;
  std::vector<uint8_t> Bytes;
  uint32_t Start = 0;
  uint32_t Lines = 0;
  uint32_t InvalidLines = 0;
};

} // namespace

unsigned orvy::srecLineType(std::string_view Line) {
  if (Line.size() < 8 || Line[0] != 'S')
    return InvalidLine;
  if (Line[1] < '0' || Line[1] > '9' || Line[1] == '4' || Line.size() % 2 != 0)
    return InvalidLine;
  if (!std::all_of(Line.begin() + 2, Line.end(), isHexDigit))
    return InvalidLine;
  if (hex(Line, 2, 2) != (Line.size() - 4) / 2)
    return InvalidLine;
  return static_cast<unsigned>(Line[1] - '0');
}

bool orvy::srecCrcCheck(std::string_view Line) {
  size_t End = Line.size() < ChecksumDigits ? 0 : Line.size() - ChecksumDigits;
  uint32_t Sum = 0;
  for (size_t At = 2; End >= 3 && At < End; At += 2)
    Sum += hex(Line, At, 2);
  return static_cast<uint8_t>(~Sum) == static_cast<uint8_t>(hex(Line, End, ChecksumDigits));
}

int orvy_loadSrecImageAndStartAddr(void *Mem, const char *Path, uint32_t *StartAddr) {
  UniqueFile File(std::fopen(Path ? Path : "", "re"));
  if (!File) {
    outs() << "could not open " << (Path ? Path : "") << "\n";
    return -1;
  }
  SrecLoader Loader(Mem);
  std::string Line;
  while (readLine(*File, Line))
    Loader.line(Line);
  *StartAddr = Loader.finish();
  return 0;
}

int orvy_loadSrecImage(void *Mem, const char *Path, uint64_t) {
  uint32_t StartAddr = 0;
  return orvy_loadSrecImageAndStartAddr(Mem, Path, &StartAddr);
}
