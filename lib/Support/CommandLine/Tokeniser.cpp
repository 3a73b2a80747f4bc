#include "orvy/Support/Tokeniser.h"

#include <cstring>
#include <utility>

using namespace orvy::cl;

Tokeniser::Tokeniser(std::string Delimiters, std::string SpecialChars)
    : Delimiters(std::move(Delimiters)), SpecialChars(std::move(SpecialChars)) {
  for (const char Character : this->Delimiters)
    Delimits[static_cast<unsigned char>(Character)] = true;
}

int Tokeniser::tokString(const char *Begin, const char *End) {
  if (!End)
    End = Begin ? Begin + strlen(Begin) : Begin;
  for (const char *Next = Begin;;) {
    Next = keepRun(Next, End);
    const char Character = Next == End ? '\0' : *Next++;
    if (const std::optional<int> Result = take(Character))
      return *Result;
  }
}

void Tokeniser::reset() {
  Tokens.clear();
  Current.clear();
  StartLine = Line;
}

std::vector<std::string> Tokeniser::takeTokens() {
  return std::exchange(Tokens, {});
}

// Keeps all characters from Next on that mean nothing in the present state.
const char *Tokeniser::keepRun(const char *Next, const char *End) {
  const char *const Begin = Next;
  while (Next != End && isPlain(*Next))
    ++Next;
  if (Next != Begin) {
    Current.append(Begin, Next);
    Continuation = false;
  }
  return Next;
}

// Quotes set Force when they are opened, so that what they keep need not do it again.
bool Tokeniser::isPlain(char Character) const {
  if (Character == '\0' || Character == '\n')
    return false;
  switch (Mode) {
  case Normal:
    return Character != '"' && Character != '\'' && Character != '\\' &&
           !Delimits[static_cast<unsigned char>(Character)];
  case SingleQuoted:
    return Character != '\'';
  case DoubleQuoted:
    return Character != '"' && Character != '\\';
  case Escaped:
  case EscapedInQuotes:
    return false;
  }
  return false;
}

// The result if the text ends here.
std::optional<int> Tokeniser::take(char Character) {
  const bool Continued = std::exchange(Continuation, false);
  Force |= Character == '"' || Character == '\'' || Character == '\\';
  Line += Character == '\n';
  switch (Mode) {
  case Normal:
    return takeNormal(Character, Continued);
  case SingleQuoted:
    if (Character == '\0')
      return NeedsSingleQuote;
    return takeSingleQuoted(Character), std::nullopt;
  case DoubleQuoted:
    if (Character == '\0')
      return NeedsDoubleQuote;
    return takeDoubleQuoted(Character), std::nullopt;
  case Escaped:
    return takeEscaped(Character, Normal), std::nullopt;
  case EscapedInQuotes:
    return takeEscaped(Character, DoubleQuoted), std::nullopt;
  }
  return -1;
}

std::optional<int> Tokeniser::takeNormal(char Character, bool Continued) {
  switch (Character) {
  case '"':
    Mode = DoubleQuoted;
    break;
  case '\'':
    Mode = SingleQuoted;
    break;
  case '\\':
    Mode = Escaped;
    break;
  case '\0':
    if (Continued)
      return NeedsNextLine;
    [[fallthrough]];
  case '\n':
    finishWord();
    return Complete;
  default: // a delimiter, as the others are kept in runs
    finishWord();
  }
  return std::nullopt;
}

void Tokeniser::takeSingleQuoted(char Character) {
  if (Character == '\'')
    Mode = Normal;
  else
    Current += Character;
}

void Tokeniser::takeDoubleQuoted(char Character) {
  if (Character == '"')
    Mode = Normal;
  else if (Character == '\\')
    Mode = EscapedInQuotes;
  else
    Current += Character;
}

// Inside quotes the backslash only goes where it protects a quote, a backslash or the end; the
// rest is left to the expansion of the argument.
void Tokeniser::takeEscaped(char Character, State Back) {
  constexpr std::string_view Protected("\"'\\\0", 4);
  Mode = Back;
  if (Character == '\n') {
    Continuation = true;
    return;
  }
  if (Back == DoubleQuoted && Protected.find(Character) == Protected.npos)
    Current += '\\';
  Current += Character;
}

void Tokeniser::finishWord() {
  const bool IsBlank = Current.find_first_not_of(" \t\n\v\f\r") == Current.npos;
  if (!Current.empty() && (Force || !IsBlank))
    Tokens.push_back(std::move(Current));
  Current.clear();
  Force = false;
}
