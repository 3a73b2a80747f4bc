// Words of a command, in two pieces of text, and their match with options of every kind.

#include "Fuzz.h"

#include "orvy/Support/Commands.h"
#include "orvy/Support/Tokeniser.h"

using namespace orvy::cl;

namespace {

Command &command() {
  static auto &Cmd = *new Command(
      "fuzz",
      {
          {"s", OK_String, false},
          {"i", OK_Int, true, "", "A"},
          {"d", OK_Double, false},
          {"o", OK_Object, false, "", "", true},
          {"p", OK_Prop, false},
          {"f", OK_Iface, false},
          {"r", OK_Reg, false},
          {"c", OK_Class, false},
      },
      [](Command &, Interpreter *) { return 0; }, "");
  return Cmd;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  orvy::fuzz::memory();
  Var::setVariable("A", "1$A");
  Tokeniser Words;
  const char *Begin = reinterpret_cast<const char *>(Data);
  const char *Middle = Begin + Size / 2;
  const int First = Words.tokString(Begin, Middle);
  const int Second = Words.tokString(Middle, Begin + Size);
  orvy::fuzz::require(First >= 0 && First <= 3 && Second >= 0 && Second <= 3, "a known result");
  size_t Kept = 0;
  for (const std::string &Word : Words.getTokens())
    Kept += Word.size();
  orvy::fuzz::require(Kept <= Size + 2, "no more than the text and a zero for each piece");

  const std::string Self = "memory";
  command().parseOptions(Words.getTokens(), &Self);
  command().clearOptions();
  return 0;
}
