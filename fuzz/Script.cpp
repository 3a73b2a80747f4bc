// A script: every command of it as an interpreter reads it, and its words as options. What it says
// is not run, so that it reaches neither files nor the process.

#include "Fuzz.h"

#include "orvy/Support/Commands.h"
#include "orvy/Support/LineReader.h"

#include <algorithm>

using namespace orvy::cl;

namespace {

Command &command() {
  static auto &Cmd = *new Command(
      "fuzz", {{"s", OK_String, false}, {"i", OK_Int, true, "", "A"}},
      [](Command &, Interpreter *) { return 0; }, "");
  return Cmd;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  orvy::fuzz::memory();
  Var::setVariable("A", "1$A");
  const std::string_view Text = orvy::fuzz::textOf(Data, Size);
  const auto Lines = static_cast<uint32_t>(std::count(Text.begin(), Text.end(), '\n')) + 1;
  BufferLineReader Reader(Size, Text.data());
  size_t Kept = 0;
  for (size_t Commands = 0; Reader.good() && !Reader.eof(); ++Commands) {
    orvy::fuzz::require(Commands <= Size, "each command moves on");
    const std::vector<std::string> Words = Reader.readLine();
    for (const std::string &Word : Words)
      Kept += Word.size();
    command().parseOptions(Words, nullptr);
    command().clearOptions();
  }
  orvy::fuzz::require(Kept <= 2 * Size, "no more than the text, its last backslashes doubled");
  orvy::fuzz::require(Reader.getLine() <= Lines, "no more lines than there are");
  return 0;
}
