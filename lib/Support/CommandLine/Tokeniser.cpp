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

// Appends the characters from Next on that have no special meaning in the current state.
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

// A quote sets Force when it opens, so that the characters inside need not.
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

// Handles a character. Returns the result if the text ends here.
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
  default: // a delimiter, as keepRun takes all others
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

// Inside quotes a backslash is removed only before a quote, a backslash or the end. The expansion
// of the argument handles the others.
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
