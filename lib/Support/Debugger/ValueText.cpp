#include "Debugger/ValueText.h"

#include "Base/HexText.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>

using namespace orvy;
using namespace orvy::debugger;
using namespace orvy::source;

namespace {

constexpr unsigned MaxNesting = 50; // of structures and arrays
constexpr const char *Lost = "<optimized out>";

std::string format(const char *Format, double Number) {
  char Text[64];
  std::snprintf(Text, sizeof(Text), Format, Number);
  return Text;
}

/// Whether a type of one byte is written as a character too.
bool isText(const Type &T) {
  const Type &Under = T.stripped();
  return (Under.Kind == TypeKind::Char || Under.Kind == TypeKind::Integer) && Under.size() == 1;
}

std::string escaped(uint8_t C, char Quote) {
  switch (C) {
  case '\a':
    return "\\a";
  case '\b':
    return "\\b";
  case '\f':
    return "\\f";
  case '\n':
    return "\\n";
  case '\r':
    return "\\r";
  case '\t':
    return "\\t";
  case '\v':
    return "\\v";
  case '\033':
    return "\\033";
  default:
    break;
  }
  if (C == static_cast<uint8_t>(Quote) || C == '\\')
    return std::string("\\") + static_cast<char>(C);
  if (C >= 32 && C < 127)
    return std::string(1, static_cast<char>(C));
  char Text[8];
  std::snprintf(Text, sizeof(Text), "\\%03o", C);
  return Text;
}

std::string characterText(uint64_t Code) {
  return "'" + escaped(static_cast<uint8_t>(Code), '\'') + "'";
}

std::string realText(double Number, uint64_t Size) {
  if (std::isnan(Number)) {
    const uint64_t Bits = Size == 4 ? uint64_t{std::bit_cast<uint32_t>(static_cast<float>(Number))}
                                    : std::bit_cast<uint64_t>(Number);
    const uint64_t Mantissa = Size == 4 ? Bits & 0x7fffff : Bits & 0xfffffffffffff;
    return std::string(std::signbit(Number) ? "-" : "") + "nan(0x" + hexText(Mantissa, 1) + ")";
  }
  return format(Size == 4 ? "%.9g" : "%.17g", Number);
}

std::string octalText(uint64_t Bits) {
  char Text[32];
  std::snprintf(Text, sizeof(Text), Bits == 0 ? "%lo" : "0%lo", static_cast<unsigned long>(Bits));
  return Text;
}

std::string binaryText(uint64_t Bits) {
  std::string Text;
  for (; Bits != 0 || Text.empty(); Bits >>= 1)
    Text.insert(Text.begin(), Bits & 1 ? '1' : '0');
  return Text;
}

/// Whether the values of an enumeration are bits to be joined: each has one of its own.
bool isFlags(const std::vector<Enumerator> &Values) {
  uint64_t Seen = 0;
  for (const Enumerator &E : Values) {
    const auto Bits = static_cast<uint64_t>(E.Value);
    if (E.Value < 0)
      return false;
    if (Bits == 0)
      continue;
    if ((Seen & Bits) || (Bits & (Bits - 1)))
      return false;
    Seen |= Bits;
  }
  return true;
}

/// Writes values.
class Printer {
public:
  Printer(Stopped &In, const ValueFormat &As) : In(In), As(As) {}

  std::string text(const Value &V, bool IsTop, unsigned Nesting = 0);

private:
  std::string shownSafely(const Value &V, bool IsTop, unsigned Nesting);
  std::string scalar(const Value &V);
  std::string formatted(const Value &V);
  std::string pointer(const Value &V, bool IsTop);
  std::string symbolic(uint64_t Address);
  std::string enumeration(const Type &T, uint64_t Bits);
  std::string array(const Value &V, unsigned Nesting);
  std::string structure(const Value &V, unsigned Nesting);
  std::string textAt(uint64_t Address);

  Stopped &In;
  const ValueFormat &As;
};

std::string Printer::text(const Value &V, bool IsTop, unsigned Nesting) {
  try {
    return shownSafely(V, IsTop, Nesting);
  } catch (const EvaluationError &Why) {
    if (IsTop && Nesting == 0)
      throw;
    return std::string("<error: ") + Why.what() + ">";
  }
}

std::string Printer::shownSafely(const Value &V, bool IsTop, unsigned Nesting) {
  if (V.isOptimisedOut())
    return V.problem().empty() ? Lost : "<" + V.problem() + ">";
  if (Nesting > MaxNesting)
    return "{...}";
  const Type &T = V.type().stripped();
  switch (T.Kind) {
  case TypeKind::Void:
    if (V.place() == Value::Place::Memory) // a symbol without debug information
      return "<data at 0x" + hexText(V.address(), 1) + " of unknown type; cast it to its type>";
    return "void";
  case TypeKind::Structure:
  case TypeKind::Union:
    return As.IsSummary ? "..." : structure(V, Nesting);
  case TypeKind::Array:
    return As.IsSummary ? "..." : array(V, Nesting);
  case TypeKind::Function:
    return "{" + V.type().text() + "} 0x" + hexText(V.address(), 1) + symbolic(V.address());
  case TypeKind::Complex: {
    const uint64_t Half = T.size() / 2;
    const Type &Part = In.types().number(Half == 4 ? "float" : "double");
    Member M;
    M.Of = &Part;
    const std::string First = scalar(V.member(M, In));
    M.BitOffset = 8 * Half;
    return First + " + " + scalar(V.member(M, In)) + "i";
  }
  case TypeKind::Unknown:
    return "<value of a type that is not described>";
  case TypeKind::Pointer:
  case TypeKind::Reference:
    return As.Letter && As.Letter != 's' ? formatted(V) : pointer(V, IsTop);
  default:
    return As.Letter && As.Letter != 's' ? formatted(V) : scalar(V);
  }
}

std::string Printer::scalar(const Value &V) {
  const Type &T = V.type().stripped();
  if (T.Kind == TypeKind::Real)
    return realText(V.real(In), T.size());
  const uint64_t Bits = V.bits(In);
  if (T.Kind == TypeKind::Enumeration)
    return enumeration(T, Bits);
  if (T.Kind == TypeKind::Bool)
    return Bits == 0 ? "false" : Bits == 1 ? "true" : std::to_string(Bits);
  const std::string Number =
      T.IsSigned ? std::to_string(static_cast<int64_t>(Bits)) : std::to_string(Bits);
  return isText(T) ? Number + " " + characterText(Bits) : Number;
}

/// A number in the format that was asked for.
std::string Printer::formatted(const Value &V) {
  const Type &T = V.type().stripped();
  const uint64_t Size = T.size();
  if (T.Kind == TypeKind::Real && As.Letter != 'f')
    return formatted(V.asBits(In));
  const uint64_t Whole = V.bits(In);
  const bool IsWide = Size >= 8;
  const uint64_t Bits = IsWide ? Whole : Whole & ((uint64_t{1} << 8 * Size) - 1);
  const unsigned Shift = IsWide ? 0 : 64 - 8 * static_cast<unsigned>(Size);
  const int64_t Signed = static_cast<int64_t>(Bits << Shift) >> Shift;
  switch (As.Letter) {
  case 'x':
    return "0x" + hexText(Bits, 1);
  case 'z':
    return "0x" + hexText(Bits, static_cast<int>(2 * Size));
  case 'd':
    return std::to_string(Signed);
  case 'u':
    return std::to_string(Bits);
  case 'o':
    return octalText(Bits);
  case 't':
    return binaryText(Bits);
  case 'c': {
    const auto Code = static_cast<int8_t>(Bits);
    return std::to_string(T.IsSigned ? int{Code} : int{static_cast<uint8_t>(Bits)}) + " " +
           characterText(Bits);
  }
  case 'a':
    return "0x" + hexText(Bits & UINT32_MAX, 1) + symbolic(Bits & UINT32_MAX);
  case 'f':
    if (T.Kind == TypeKind::Real)
      return scalar(V);
    if (Size == 4 || Size == 8)
      return scalar(Value::ofInteger(In.types().number(Size == 4 ? "float" : "double"), Bits));
    return std::to_string(Signed);
  default:
    return scalar(V);
  }
}

std::string Printer::symbolic(uint64_t Address) {
  Program *Code = programAt(In.target(), Address);
  const SymbolPlace Found = Code ? Code->symbolAt(Address) : SymbolPlace();
  if (!Found.Symbol)
    return {};
  return " <" + Found.Symbol->Name +
         (Found.Offset ? "+" + std::to_string(Found.Offset) : std::string()) + ">";
}

std::string Printer::enumeration(const Type &T, uint64_t Bits) {
  const std::vector<Enumerator> &Values = T.enumerators();
  const auto Signed = static_cast<int64_t>(Bits);
  for (const Enumerator &E : Values)
    if (E.Value == Signed)
      return E.Name;
  if (!isFlags(Values))
    return std::to_string(Signed);
  if (Bits == 0)
    return "0";
  std::string Text;
  for (const Enumerator &E : Values)
    if (Bits & static_cast<uint64_t>(E.Value)) {
      Text += (Text.empty() ? "(" : " | ") + E.Name;
      Bits &= ~static_cast<uint64_t>(E.Value);
    }
  if (Bits != 0)
    Text += (Text.empty() ? "(unknown: 0x" : " | unknown: 0x") + hexText(Bits, 1);
  return Text + ")";
}

/// The text that a pointer to characters refers to.
std::string Printer::textAt(uint64_t Address) {
  std::vector<uint8_t> Characters;
  bool IsCut = true;
  while (Characters.size() < As.MaxElements) {
    uint8_t C = 0;
    if (!In.target().read(Address + Characters.size(), &C, 1)) {
      const std::string Problem = "<error: Cannot access memory at address 0x" +
                                  hexText(Address + Characters.size(), 1) + ">";
      return Characters.empty() ? Problem : quotedText(Characters, false, As) + Problem;
    }
    if (C == 0) {
      IsCut = false;
      break;
    }
    Characters.push_back(C);
  }
  return quotedText(Characters, IsCut, As);
}

std::string Printer::pointer(const Value &V, bool IsTop) {
  if (V.isSynthetic())
    return (IsTop && As.NamesType ? "(" + V.type().text() + ") " : std::string()) +
           "<synthetic pointer>";
  const uint64_t Address = V.bits(In) & UINT32_MAX;
  const Type &To = V.type().stripped().target();
  std::string Text;
  const bool IsPlainText = V.type().unqualified().Kind == TypeKind::Pointer &&
                           To.unqualified().Kind == TypeKind::Char &&
                           To.unqualified().Name == "char";
  if (IsTop && As.NamesType && !IsPlainText)
    Text = "(" + V.type().text() + ") ";
  Text += "0x" + hexText(Address, 1) + symbolic(Address);
  if (isText(To) && Address != 0)
    Text += " " + textAt(Address);
  return Text;
}

std::string Printer::array(const Value &V, unsigned Nesting) {
  const Type &T = V.type().stripped();
  const Type &Element = T.target();
  const uint64_t Size = Element.size();
  if (!T.Count || Size == 0) {
    if (V.place() != Value::Place::Memory)
      return "{}";
    std::string Text = "0x" + hexText(V.address(), 1) + symbolic(V.address());
    return isText(Element) ? Text + " " + textAt(V.address()) : Text;
  }
  const std::vector<uint8_t> &Bytes = V.bytes(In);
  const uint64_t Count = std::min(*T.Count, Bytes.size() / Size);
  if (isText(Element) && (As.Letter == 0 || As.Letter == 's') && !V.isLost(0, Bytes.size())) {
    std::vector<uint8_t> Characters(Bytes.begin(),
                                    Bytes.begin() + static_cast<std::ptrdiff_t>(Count));
    if (!Characters.empty() && Characters.back() == 0)
      Characters.pop_back();
    return quotedText(Characters, false, As);
  }
  std::string Text = "{";
  uint64_t Index = 0;
  unsigned Printed = 0;
  while (Index < Count && Printed < As.MaxElements) {
    uint64_t Next = Index + 1;
    const auto isSame = [&] {
      return std::equal(Bytes.begin() + static_cast<std::ptrdiff_t>(Index * Size),
                        Bytes.begin() + static_cast<std::ptrdiff_t>((Index + 1) * Size),
                        Bytes.begin() + static_cast<std::ptrdiff_t>(Next * Size)) &&
             V.isLost(Index * Size, Size) == V.isLost(Next * Size, Size);
    };
    while (Next < Count && isSame())
      ++Next;
    Text += (Index ? ", " : "") + text(V.element(Index, In), false, Nesting + 1);
    if (Next - Index >= As.MinRepeats) {
      Text += " <repeats " + std::to_string(Next - Index) + " times>";
      Printed += As.MinRepeats;
      Index = Next;
    } else {
      ++Printed;
      ++Index;
    }
  }
  return Text + (Index < Count ? "...}" : "}");
}

std::string Printer::structure(const Value &V, unsigned Nesting) {
  const Type &T = V.type().stripped();
  if (T.IsIncomplete)
    return "<incomplete type>";
  std::string Text = "{";
  for (const Member &M : T.members()) {
    if (M.Name.empty() && !M.Of->isAggregate())
      continue; // padding
    if (Text.size() > 1)
      Text += ", ";
    if (M.IsBase)
      Text += "<" + M.Of->text() + "> = ";
    else if (!M.Name.empty())
      Text += M.Name + " = ";
    std::string Inner;
    try {
      Inner = text(V.member(M, In), false, Nesting + 1);
    } catch (const EvaluationError &Why) {
      Inner = std::string("<error: ") + Why.what() + ">";
    }
    Text += Inner;
  }
  return Text.size() == 1 ? "{<No data fields>}" : Text + "}";
}

} // namespace

bool ValueFormat::isLetter(char Letter) {
  return Letter != '\0' && std::strchr("xduotcafsz", Letter);
}

std::string orvy::debugger::quotedText(const std::vector<uint8_t> &Characters, bool IsCut,
                                       const ValueFormat &As) {
  if (Characters.empty())
    return IsCut ? "\"\"..." : "\"\"";
  std::string Text;
  bool IsOpen = false;
  size_t Index = 0;
  unsigned Printed = 0;
  while (Index < Characters.size() && Printed < As.MaxElements) {
    size_t Next = Index + 1;
    while (Next < Characters.size() && Characters[Next] == Characters[Index])
      ++Next;
    const size_t Count = Next - Index;
    if (Count > As.MinRepeats) {
      Text += (IsOpen ? "\", " : Text.empty() ? "" : ", ");
      Text += characterText(Characters[Index]) + " <repeats " + std::to_string(Count) + " times>";
      IsOpen = false;
      Printed += As.MinRepeats;
    } else {
      for (size_t Each = 0; Each < Count; ++Each) {
        if (!IsOpen)
          Text += Text.empty() ? "\"" : ", \"";
        IsOpen = true;
        Text += escaped(Characters[Index], '"');
      }
      Printed += static_cast<unsigned>(Count);
    }
    Index = Next;
  }
  if (IsOpen)
    Text += "\"";
  return Text + (IsCut || Index < Characters.size() ? "..." : "");
}

std::string orvy::debugger::valueText(const Value &Of, Stopped &In, const ValueFormat &As) {
  return Printer(In, As).text(Of, true);
}
