#include "orvy/Support/Debugging.h"

#include "CommandLine/Characters.h"

#include <cstdlib>
#include <cstring>

namespace {

using orvy::cl::isDigit;

/// Reads a text as a number in C notation. Returns false if it is not a number as a whole.
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
