#include "orvy/Support/Debugging.h"

#include <cstdlib>
#include <cstring>

namespace {

bool isDigit(char C) {
  return C >= '0' && C <= '9';
}

/// Reads a whole text as a number, written as in C.
bool readNumber(const char *Text, int64_t &Number) {
  char *End = nullptr;
  Number = std::strtol(Text, &End, 0);
  return End != Text && *End == '\0';
}

orvy_BreakLoc parse(const char *Text) {
  orvy_BreakLoc Loc = {};
  if (isDigit(*Text) || *Text == '+' || *Text == '-') {
    if (readNumber(Text, Loc.Value))
      Loc.Kind = isDigit(*Text) ? ovBL_Line : ovBL_Relative;
    return Loc;
  }
  const char *Colon = std::strchr(Text, ':');
  Loc.Start = Text;
  if (!Colon) {
    Loc.Kind = ovBL_Function;
  } else if (Colon != Text && readNumber(Colon + 1, Loc.Line)) {
    Loc.Kind = ovBL_FileLine;
    Loc.End = Colon - 1;
  }
  return Loc;
}

} // namespace

void orvy_debugParseBreakStr(orvy_BreakLoc *Loc, const char *Text) {
  *Loc = Text ? parse(Text) : orvy_BreakLoc{};
}
