#include "Checkpoint/CheckpointFile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace orvy::checkpoint {

namespace {

constexpr size_t BufferSize = 1 << 20;
/// A document nested deeper than this is refused: the code that reads it is recursive.
constexpr size_t MaxDepth = 512;

[[noreturn]] void fail() {
  throw std::system_error(errno, std::generic_category());
}

/// Unsigned numbers stored in the smallest width that fits them all.
class NumberArray {
public:
  size_t size() const { return Used / Width; }

  void push(uint32_t Number) {
    if (Number > (uint64_t{1} << (8 * Width)) - 1)
      widen(Number > UINT16_MAX ? 4 : 2);
    if (Bytes.size() < Used + 4)
      Bytes.resize(std::max<size_t>(256, 2 * Bytes.size()));
    std::memcpy(Bytes.data() + Used, &Number, 4);
    Used += Width;
  }

  uint32_t at(size_t Idx) const {
    uint32_t Number = 0;
    std::memcpy(&Number, Bytes.data() + Idx * Width, Width);
    return Number;
  }

  Json take() {
    Bytes.resize(Used);
    return Json::binary(std::move(Bytes), Width);
  }

private:
  void widen(unsigned To) {
    NumberArray Wide;
    Wide.Width = To;
    for (size_t Idx = 0; Idx < size(); ++Idx)
      Wide.push(at(Idx));
    *this = std::move(Wide);
  }

  Json::binary_t::container_type Bytes;
  size_t Used = 0;
  unsigned Width = 1;
};

/// The text between two numbers. It is usually the same throughout an array, so that comparing it
/// in words is faster than scanning it.
class Gap {
public:
  void set(const char *Text, size_t Length) {
    Size = Length <= sizeof(Words) ? Length : 0;
    Words = {};
    Masks = {};
    std::memcpy(Words.data(), Text, Size);
    std::memset(Masks.data(), 0xFF, Size);
  }
  size_t size() const { return Size; }

  /// Whether a text of at least 32 bytes begins with the gap.
  bool begins(const char *Text) const {
    uint64_t Differs = 0;
    for (size_t At = 0; At < Words.size(); ++At) {
      uint64_t Word;
      std::memcpy(&Word, Text + At * sizeof(Word), sizeof(Word));
      Differs |= (Word ^ Words[At]) & Masks[At];
    }
    return Differs == 0;
  }

private:
  std::array<uint64_t, 4> Words{};
  std::array<uint64_t, 4> Masks{};
  size_t Size = 0;
};

bool isBlank(char C) {
  return C == ' ' || C == '\n' || C == '\r' || C == '\t';
}
bool isDigit(char C) {
  return C >= '0' && C <= '9';
}

/// Cuts the long arrays of unsigned numbers out of the text of a document. Each leaves "[]" in its
/// place and is identified by its number among all arrays. The library parses the rest.
class Scanner {
public:
  struct Cut {
    size_t Ordinal;
    NumberArray Numbers;
  };

  explicit Scanner(int Descriptor)
      : Descriptor(Descriptor), Shown("restoring", sizeOf(Descriptor)),
        Buffer(std::make_unique_for_overwrite<char[]>(BufferSize)) {
    At = End = Buffer.get();
    while (At != End || refill())
      IsInString ? scanString() : scanOutside();
  }

  std::string Rest;
  std::vector<Cut> Cuts;

private:
  /// The number of bytes that a number and the gap before it take at most.
  static constexpr size_t Lookahead = 64;

  static uint64_t sizeOf(int Descriptor) {
    struct stat Info;
    bool IsPlain = fstat(Descriptor, &Info) == 0 && S_ISREG(Info.st_mode);
    return IsPlain ? static_cast<uint64_t>(Info.st_size) : 0;
  }

  /// Appends more of the file to the unread text. Returns false at the end of the file.
  bool refill() {
    auto Left = static_cast<size_t>(End - At);
    std::memmove(Buffer.get(), At, Left);
    At = Buffer.get();
    ssize_t Got = retryOnSignal([&] { return ::read(Descriptor, At + Left, BufferSize - Left); });
    if (Got < 0)
      fail();
    End = At + Left + Got;
    Shown.advance(static_cast<size_t>(Got));
    return Got > 0;
  }

  bool has(size_t Bytes) {
    while (static_cast<size_t>(End - At) < Bytes)
      if (!refill())
        return false;
    return true;
  }

  void keep(char *To) {
    Rest.append(At, static_cast<size_t>(To - At));
    At = To;
  }

  void scanOutside() {
    char *To = std::find_if(At, End, [](char C) { return C == '"' || C == '['; });
    keep(To);
    if (At == End)
      return;
    if (*At == '[')
      return ++At, scanArray();
    IsInString = true;
    keep(At + 1);
  }

  void scanString() {
    char *To = std::find_if(At, End, [](char C) { return C == '"' || C == '\\'; });
    keep(To);
    if (At == End)
      return;
    if (*At == '"')
      IsInString = false;
    else if (!has(2))
      return keep(End);
    else
      keep(At + 1);
    keep(At + 1);
  }

  enum class Ended { Whole, BeforeNumber, AfterNumber };

  void scanArray() {
    size_t Ordinal = Arrays++;
    NumberArray Numbers;
    Ended How = scanNumbers(Numbers);
    if (How == Ended::Whole && Numbers.size() >= PackedFrom) {
      Rest += "[]";
      Cuts.push_back({Ordinal, std::move(Numbers)});
      return;
    }
    Rest += '[';
    for (size_t Idx = 0; Idx < Numbers.size(); ++Idx) {
      Rest += std::to_string(Numbers.at(Idx));
      bool IsLast = Idx + 1 == Numbers.size();
      Rest += !IsLast || How == Ended::BeforeNumber ? ',' : ' ';
    }
    if (How == Ended::Whole)
      Rest += ']';
  }

  /// Skips blanks. Returns false at the end of the file.
  bool skipBlanks() {
    for (;;) {
      At = std::find_if_not(At, End, isBlank);
      if (At != End)
        return true;
      if (!refill())
        return false;
    }
  }

  /// Skips the gap before a number, and remembers it for the next one.
  bool skipGap(Gap &Known) {
    bool IsNear = has(Lookahead);
    if (IsNear && Known.size() && Known.begins(At) && !isBlank(At[Known.size()]))
      return At += Known.size(), true;
    const char *First = std::find_if_not(At, End, isBlank);
    if (IsNear && First != End)
      Known.set(At, static_cast<size_t>(First - At));
    return skipBlanks();
  }

  /// Reads numbers up to the end of the array or to an element that is not a plain number.
  Ended scanNumbers(NumberArray &Numbers) {
    Gap Known;
    if (skipGap(Known) && *At == ']')
      return ++At, Ended::Whole;
    for (;;) {
      if (!scanNumber(Numbers))
        return Ended::BeforeNumber;
      if (At == End || (*At != ',' && *At != ']'))
        if (!skipBlanks() || (*At != ',' && *At != ']'))
          return Ended::AfterNumber;
      if (*At++ == ']')
        return Ended::Whole;
      if (!skipGap(Known))
        return Ended::BeforeNumber;
    }
  }

  /// Reads a 32-bit number. Returns false and reads nothing if there is no plain number.
  bool scanNumber(NumberArray &Numbers) {
    constexpr ptrdiff_t MaxDigits = 10;
    has(Lookahead);
    uint64_t Number = 0;
    char *Last = At;
    while (Last != End && isDigit(*Last) && Last - At < MaxDigits)
      Number = Number * 10 + static_cast<unsigned>(*Last++ - '0');
    bool IsWhole = Last == End || isBlank(*Last) || *Last == ',' || *Last == ']';
    if (Last == At || !IsWhole || Number > UINT32_MAX || (*At == '0' && Last - At > 1))
      return false;
    Numbers.push(static_cast<uint32_t>(Number));
    At = Last;
    return true;
  }

  int Descriptor;
  Progress Shown;
  std::unique_ptr<char[]> Buffer;
  char *At;
  char *End;
  size_t Arrays = 0;
  bool IsInString = false;
};

/// Throws the library's errors as its own document parser does.
struct ThrowingSax : nlohmann::json_sax<Json> {
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t &) override { return true; }
  bool string(string_t &) override { return true; }
  bool binary(binary_t &) override { return true; }
  bool start_object(size_t) override { return true; }
  bool key(string_t &) override { return true; }
  bool end_object() override { return true; }
  bool start_array(size_t) override { return true; }
  bool end_array() override { return true; }
  bool parse_error(size_t, const std::string &, const Json::exception &Why) override {
    throw Json::exception(Why);
  }
};

/// Builds the document from a scanner's remaining text and the arrays that it has cut out.
class Builder final : public ThrowingSax {
public:
  explicit Builder(std::vector<Scanner::Cut> &Cuts) : Next(Cuts.begin()), Last(Cuts.end()) {}

  bool null() override { return add(nullptr); }
  bool boolean(bool Value) override { return add(Value); }
  bool number_integer(number_integer_t Value) override { return add(Value); }
  bool number_unsigned(number_unsigned_t Value) override { return add(Value); }
  bool number_float(number_float_t Value, const string_t &) override { return add(Value); }
  bool string(string_t &Value) override { return add(std::move(Value)); }
  bool start_object(size_t) override { return open(Json::object()); }
  bool key(string_t &Value) override {
    Member = &(*Open.back())[std::move(Value)];
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(size_t) override {
    bool IsCut = Next != Last && Next->Ordinal == Arrays;
    ++Arrays;
    return open(IsCut ? (Next++)->Numbers.take() : Json::array());
  }
  bool end_array() override { return close(); }

  Json Document;

private:
  Json &place(Json Value) {
    if (Open.empty())
      return Document = std::move(Value);
    if (Open.back()->is_array())
      return Open.back()->emplace_back(std::move(Value));
    return *Member = std::move(Value);
  }
  bool add(Json Value) {
    place(std::move(Value));
    return true;
  }
  bool open(Json Value) {
    if (Open.size() >= MaxDepth)
      throw Unfit("the document is nested too deeply");
    Open.push_back(&place(std::move(Value)));
    return true;
  }
  bool close() {
    Open.pop_back();
    return true;
  }

  std::vector<Scanner::Cut>::iterator Next;
  std::vector<Scanner::Cut>::iterator Last;
  size_t Arrays = 0;
  std::vector<Json *> Open;
  Json *Member = nullptr;
};

/// Parses the whole file again, if it can be read again, so that the position in the library's
/// error message is right.
void judgeWhole(int Descriptor) {
  if (lseek(Descriptor, 0, SEEK_SET) != 0)
    return;
  std::unique_ptr<std::FILE, int (*)(std::FILE *)> File(fdopen(dup(Descriptor), "r"), std::fclose);
  ThrowingSax Judge;
  if (File)
    Json::sax_parse(File.get(), &Judge);
}

} // namespace

Json readDocument(int Descriptor) {
  Scanner Text(Descriptor);
  Builder Parts(Text.Cuts);
  try {
    Json::sax_parse(Text.Rest, &Parts);
  } catch (const Json::exception &) {
    judgeWhole(Descriptor);
    throw;
  }
  return std::move(Parts.Document);
}

} // namespace orvy::checkpoint
