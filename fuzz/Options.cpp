// The options of the process: a word for each line of the input, then the words that the tokeniser
// makes of it.

#include "orvy/Support/CommandLineOptions.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

using namespace orvy::cl;

namespace {

void parse(const std::vector<std::string> &Words) {
  CommandLineParser Parser;
  opt<bool> Flag;
  opt<int> Number;
  opt<unsigned int> Count;
  opt<char> Letter;
  opt<double> Real;
  list<std::string> Names;
  list<int> Rest;
  Parser.addOption("flag", &Flag);
  Parser.addOption('f', &Flag);
  Parser.addOption("number", &Number);
  Parser.addOption('n', &Number);
  Parser.addOption("count", &Count);
  Parser.addOption('l', &Letter);
  Parser.addOption("real", &Real);
  Parser.addOption("names", &Names);
  Parser.addOption(&Rest);

  std::vector<const char *> Arguments = {"program"};
  for (const std::string &Word : Words)
    Arguments.push_back(Word.c_str());
  Parser.parseCommandLineOptions(static_cast<int>(Arguments.size()), Arguments.data());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  std::string Text(reinterpret_cast<const char *>(Data), Size);
  std::vector<std::string> Words;
  std::istringstream Lines(Text);
  for (std::string Word; std::getline(Lines, Word);)
    Words.push_back(Word);
  parse(Words);

  Words.clear();
  tokenizeCommandLine(Text, Words);
  parse(Words);
  return 0;
}
