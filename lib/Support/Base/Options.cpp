#include "orvy/Support/CommandLineOptions.h"

#include "Base/InternalError.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/ManagedStatic.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

static ManagedStatic<CommandLineParser> TheParser;

// Values.

// The number at the start of a text, and whether it is the whole text.
template <typename Number, typename Convert>
static bool parseNumber(const char *Text, Number &Value, Convert Read) {
  char *End;
  Value = static_cast<Number>(Read(Text, &End));
  return *End == '\0';
}

template <> bool parser<bool>::parse(const char *Text, bool &Value) const {
  const std::string_view Word = Text;
  if (Word == "yes" || Word == "true" || Word == "1" || (Word.empty() && !Owner->takesValue()))
    return Value = true;
  if (Word != "no" && Word != "false" && Word != "0")
    return false;
  Value = false;
  return true;
}

template <> bool parser<int>::parse(const char *Text, int &Value) const {
  return parseNumber(Text, Value, [](const char *In, char **End) { return strtol(In, End, 0); });
}

template <> bool parser<unsigned int>::parse(const char *Text, unsigned int &Value) const {
  return parseNumber(Text, Value, [](const char *In, char **End) { return strtoul(In, End, 0); });
}

template <> bool parser<double>::parse(const char *Text, double &Value) const {
  return parseNumber(Text, Value, [](const char *In, char **End) { return strtod(In, End); });
}

template <> bool parser<char>::parse(const char *Text, char &Value) const {
  const bool Single = Text[0] != '\0' && Text[1] == '\0';
  Value = Single ? Text[0] : '\0';
  return Single;
}

template <> bool parser<std::string>::parse(const char *Text, std::string &Value) const {
  Value = Text;
  return true;
}

std::vector<std::string> orvy::cl::splitListValue(const char *Text) {
  std::vector<std::string> Pieces(1);
  char Quote = 0;
  for (; *Text; ++Text) {
    if (Quote ? *Text == Quote : *Text == '"' || *Text == '\'')
      Quote = Quote ? 0 : *Text;
    else if (*Text == ',' && !Quote)
      Pieces.emplace_back();
    else
      Pieces.back() += *Text;
  }
  return Pieces;
}

// Options.

Option2::~Option2() {
  if (TheParser.isBuilt())
    TheParser->removeOption(this);
}

void Option2::setLongName(const char *Name) {
  LongName = Name;
  TheParser->addOption(Name, this);
}

void Option2::setShortName(char Name) {
  ShortName = Name;
  TheParser->addOption(Name, this);
}

void Option2::setPositional() {
  TheParser->addOption(this);
}

// The parser.

void CommandLineParser::addOption(const char *Name, Option2 *Option) {
  LongNames[Name] = Option;
  AllOptions.insert(Option);
}

void CommandLineParser::addOption(char Name, Option2 *Option) {
  ShortNames[Name] = Option;
  AllOptions.insert(Option);
}

void CommandLineParser::addOption(Option2 *Option) {
  if (PositionalOption) {
    errs() << "multiple positional opts not supported\n";
    ORVY_INTERNAL_ERROR("a second positional option");
  }
  PositionalOption = Option;
}

void CommandLineParser::removeOption(Option2 *Option) {
  const auto IsMeant = [&](const auto &Entry) { return Entry.second == Option; };
  std::erase_if(LongNames, IsMeant);
  std::erase_if(ShortNames, IsMeant);
  AllOptions.erase(Option);
  if (PositionalOption == Option)
    PositionalOption = nullptr;
}

Option2 *CommandLineParser::findLong(std::string_view Name) const {
  auto Found = LongNames.find(Name);
  return Found == LongNames.end() ? nullptr : Found->second;
}

Option2 *CommandLineParser::findShort(char Name) const {
  auto Found = ShortNames.find(Name);
  return Found == ShortNames.end() ? nullptr : Found->second;
}

bool CommandLineParser::parseCommandLineOptions(int argc, const char **argv) {
  if (argc < 1)
    return true;
  ProgramName = fs::fileNameComponent(argv[0]);
  WrongWord.clear();
  const Words All(argv + 1, argv + argc);
  for (size_t Index = 0; Index < All.size(); ++Index) {
    const std::string &Word = All[Index];
    const bool Right = Word.starts_with("--")  ? parseLong(All, Index)
                       : Word.starts_with("-") ? parseShort(All, Index)
                                               : parsePositional(Word, Index);
    if (!Right) {
      WrongWord = Word;
      return false;
    }
  }
  return true;
}

static bool giveValue(Option2 &Option, size_t Index, const char *Value) {
  Option.setPosition(static_cast<uint32_t>(Index));
  return Option.parse(Value);
}

// An option without '=': one that takes a value consumes the next word.
static bool giveNextWord(Option2 *Option, const std::vector<std::string> &All, size_t &Index) {
  if (!Option)
    return false;
  const size_t Own = Index;
  if (!Option->takesValue())
    return giveValue(*Option, Own, "");
  if (++Index == All.size())
    return false;
  return giveValue(*Option, Own, All[Index].c_str());
}

bool CommandLineParser::parseLong(const Words &All, size_t &Index) {
  const std::string_view Text = std::string_view(All[Index]).substr(2);
  const size_t Equals = Text.find('=');
  if (Equals == Text.npos)
    return giveNextWord(findLong(Text), All, Index);
  if (Equals < 3)
    return false;
  Option2 *Option = findLong(Text.substr(0, Equals));
  return Option && giveValue(*Option, Index, Text.data() + Equals + 1);
}

bool CommandLineParser::parseShort(const Words &All, size_t &Index) {
  const std::string_view Text = std::string_view(All[Index]).substr(1);
  const size_t Equals = Text.find('=');
  if (Text.empty() || (Equals != Text.npos && Equals != 1))
    return false;
  Option2 *Option = findShort(Text[0]);
  if (Equals == Text.npos)
    return giveNextWord(Option, All, Index);
  return Option && giveValue(*Option, Index, Text.data() + Equals + 1);
}

bool CommandLineParser::parsePositional(const std::string &Word, size_t Index) {
  PositionalWords.push_back(Word);
  return !PositionalOption || giveValue(*PositionalOption, Index, Word.c_str());
}

static std::string sortKey(const Option2 &Option) {
  return Option.getShortName() ? std::string(1, Option.getShortName()) : Option.getLongName();
}

static void printOption(const Option2 &Option) {
  errs() << "  ";
  if (Option.getShortName())
    errs() << "-" << Option.getShortName();
  if (Option.getShortName() && !Option.getLongName().empty())
    errs() << " | ";
  if (!Option.getLongName().empty())
    errs() << "--" << Option.getLongName();
  if (Option.takesValue())
    errs() << "=<" << Option.getValueName() << ">";
  errs() << ": " << Option.getDescription() << "\n";
}

void CommandLineParser::printHelp() const {
  errs() << "USAGE: " << ProgramName << " [options]";
  if (PositionalOption)
    errs() << " <" << PositionalOption->getValueName() << ">...";
  errs() << "\nOPTIONS:\n";
  if (PositionalOption)
    errs() << "\nPositional:\n  <" << PositionalOption->getValueName()
           << ">: " << PositionalOption->getDescription() << "\n";

  // Two options of one key, where one has lost its name to the other, keep the order of their
  // names.
  using Key = std::pair<std::string, std::string>;
  std::map<std::string, std::multimap<Key, const Option2 *>> Categories;
  for (const Option2 *Option : AllOptions)
    Categories[Option->getCategory()].emplace(Key(sortKey(*Option), Option->getLongName()), Option);
  for (const auto &[Category, Options] : Categories) {
    errs() << "\n" << Category << ":\n\n";
    for (const auto &[Name, Option] : Options)
      printOption(*Option);
  }
}

bool orvy::cl::parseCommandLineOptions(int argc, const char **argv) {
  return TheParser->parseCommandLineOptions(argc, argv);
}

const std::string &orvy::cl::getWrongWord() {
  return TheParser->getWrongWord();
}

void orvy::cl::printHelp() {
  TheParser->printHelp();
}

// Appends to Word what stands at Next, a quoted text or a single character, and moves past it.
static void takePiece(std::string_view Text, size_t &Next, std::string &Word) {
  const auto takeCharacter = [&] {
    if (Text[Next] == '\\' && Next + 1 < Text.size())
      ++Next;
    Word += Text[Next++];
  };
  const char Quote = Text[Next];
  if (Quote != '"' && Quote != '\'')
    return takeCharacter();
  for (++Next; Next < Text.size() && Text[Next] != Quote;)
    takeCharacter();
  Next += Next < Text.size();
}

void orvy::cl::tokenizeCommandLine(std::string &Text, std::vector<std::string> &Words) {
  constexpr std::string_view Blanks = " \t\n\r";
  const auto isBlank = [&](char Character) { return Blanks.find(Character) != Blanks.npos; };
  for (size_t Next = 0; Next < Text.size();) {
    if (isBlank(Text[Next])) {
      ++Next;
      continue;
    }
    std::string Word;
    while (Next < Text.size() && !isBlank(Text[Next]))
      takePiece(Text, Next, Word);
    Words.push_back(std::move(Word));
  }
}

int orvy_parseCommandLineOptions(int argc, const char **argv) {
  return parseCommandLineOptions(argc, argv) ? 0 : 1;
}

void orvy_printCommandLineHelp() {
  printHelp();
}
