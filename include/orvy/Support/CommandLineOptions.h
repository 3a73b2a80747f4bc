/* CommandLineOptions.h - options on the command line of the host process.
 *
 * A source declares an option as a global object, which enters the one parser when it is built; the
 * host hands over its arguments, and the option is then read like a variable:
 *
 *     static orvy::cl::opt<int> Port(orvy::cl::longName("port"), orvy::cl::shortName('p'),
 *                                    orvy::cl::description("Port to listen on"),
 *                                    orvy::cl::initialiser<int>(4711));
 *
 * A long option reads --name value or --name=value (names of three characters or more), a short one
 * -n value or -n=value; any other word is positional. Parsing and reading belong to the start-up
 * thread. */

#ifndef ORVY_SUPPORT_COMMANDLINEOPTIONS_H
#define ORVY_SUPPORT_COMMANDLINEOPTIONS_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/**
 * Parses the arguments of the host process. Stops at the first word that is wrong, without a
 * message.
 * @param argc  number of arguments, the program's name among them
 * @return 0, or 1 on failure
 */
ORVY_API int orvy_parseCommandLineOptions(int argc, const char **argv);
/** Writes the usage line and all options to the standard error stream. */
ORVY_API void orvy_printCommandLineHelp(void);

ORVY_END_C

#ifdef __cplusplus

#include <concepts>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::cl {

/// What all options have, whatever their type. The object must live as long as something may be
/// parsed or printed; it leaves the parser when it is destroyed.
class ORVY_API Option2 {
public:
  Option2() = default;
  Option2(const Option2 &) = delete;
  Option2 &operator=(const Option2 &) = delete;
  virtual ~Option2();

  /// Takes one value. Whether it was accepted.
  virtual bool parse(const char *Text) = 0;

  void setLongName(const char *Name);
  void setShortName(char Name);
  /// Makes this the option that takes the positional words. There can be only one.
  void setPositional();
  void setDescription(std::string Text) { Description = std::move(Text); }
  void setCategory(std::string Name) { Category = std::move(Name); }
  void setValueName(std::string Name) { ValueName = std::move(Name); }
  void setPosition(uint32_t Index) { Position = Index; }

  /// Index of the word, the program's name not counted, at which the option was last met.
  uint32_t getPosition() const { return Position; }
  const std::string &getValueName() const { return ValueName; }
  const std::string &getLongName() const { return LongName; }
  /// 0 if there is none.
  char getShortName() const { return ShortName; }
  const std::string &getDescription() const { return Description; }
  const std::string &getCategory() const { return Category; }
  bool takesValue() const { return TakesValue; }
  /// Whether the last parse accepted its value; false before the first.
  bool isGiven() const { return Given; }

protected:
  uint32_t Position = 0;
  std::string ValueName = "value";
  std::string LongName;
  char ShortName = 0;
  std::string Description;
  std::string Category = "General";
  bool TakesValue = false;
  bool Given = false;
};

template <typename T>
concept OptionValue =
    std::same_as<T, bool> || std::same_as<T, int> || std::same_as<T, unsigned int> ||
    std::same_as<T, char> || std::same_as<T, double> || std::same_as<T, std::string>;

/// Reads values of one type from text.
template <OptionValue T> class parser {
public:
  explicit parser(const Option2 &Option) : Owner(&Option) {}
  /// Whether the text is a value. A number that is followed by other characters is stored all the
  /// same, and a text that is not a single character stores 0.
  bool parse(const char *Text, T &Value) const;

private:
  const Option2 *Owner;
};

template <> ORVY_API bool parser<bool>::parse(const char *Text, bool &Value) const;
template <> ORVY_API bool parser<int>::parse(const char *Text, int &Value) const;
template <> ORVY_API bool parser<unsigned int>::parse(const char *Text, unsigned int &Value) const;
template <> ORVY_API bool parser<char>::parse(const char *Text, char &Value) const;
template <> ORVY_API bool parser<double>::parse(const char *Text, double &Value) const;
template <> ORVY_API bool parser<std::string>::parse(const char *Text, std::string &Value) const;

template <OptionValue T> class opt;

// What a declaration may give, in any order.

struct longName {
  explicit longName(const char *Name) : Name(Name) {}
  void apply(Option2 &Option) const { Option.setLongName(Name); }
  const char *Name;
};
struct shortName {
  explicit shortName(char Name) : Name(Name) {}
  void apply(Option2 &Option) const { Option.setShortName(Name); }
  char Name;
};
struct positional {
  void apply(Option2 &Option) const { Option.setPositional(); }
};
struct description {
  explicit description(const char *Text) : Text(Text) {}
  void apply(Option2 &Option) const { Option.setDescription(Text); }
  const char *Text;
};
struct category {
  explicit category(const char *Name) : Name(Name) {}
  void apply(Option2 &Option) const { Option.setCategory(Name); }
  const char *Name;
};
struct valueName {
  explicit valueName(const char *Name) : Name(Name) {}
  void apply(Option2 &Option) const { Option.setValueName(Name); }
  const char *Name;
};
/// The value that an option has before it is given.
template <OptionValue T> struct initialiser {
  explicit initialiser(T Value = T()) : Value(std::move(Value)) {}
  void apply(opt<T> &Option) const { Option.setInitial(*this); }
  T Value;
};

/// An option with one value; the last one given counts. A bool takes no value: it is true when
/// given, or what --name=yes or --name=no says.
template <OptionValue T> class opt final : public Option2 {
public:
  template <typename... Modifiers> explicit opt(const Modifiers &...Given) : Parser(*this) {
    init();
    (Given.apply(*this), ...);
    done();
  }

  void init() {
    TakesValue = !std::same_as<T, bool>;
    Category = "General";
    Value = Initial.Value;
  }
  void setInitial(const initialiser<T> &First) {
    Initial = First;
    Value = Initial.Value;
  }
  bool parse(const char *Text) override { return Given = Parser.parse(Text, Value); }
  operator T &() { return Value; }
  operator const T &() const { return Value; }
  /// Ends a declaration.
  void done() {}

private:
  T Value;
  parser<T> Parser;
  initialiser<T> Initial;
};

/// Splits a text at the commas outside single and double quotes, which are dropped.
ORVY_API std::vector<std::string> splitListValue(const char *Text);

/// An option with any number of values, separated by commas or given by repeating the option.
template <OptionValue T>
requires(!std::same_as<T, bool>) class list final : public Option2 {
public:
  template <typename... Modifiers> explicit list(const Modifiers &...Given) : Parser(*this) {
    init();
    (Given.apply(*this), ...);
    done();
  }

  void init() {
    TakesValue = true;
    Category = "General";
    clear();
  }
  bool parse(const char *Text) override {
    Given = true;
    for (const std::string &Piece : splitListValue(Text)) {
      T Value{};
      if (!Parser.parse(Piece.c_str(), Value)) {
        Given = false;
        continue;
      }
      Positions.push_back(Position);
      Values.push_back(std::move(Value));
    }
    return Given;
  }
  /// Ends a declaration.
  void done() {}

  T &operator[](size_t Index) { return Values[Index]; }
  size_t size() const { return Values.size(); }
  auto begin() { return Values.begin(); }
  auto end() { return Values.end(); }
  auto cbegin() const { return Values.cbegin(); }
  auto cend() const { return Values.cend(); }
  /// Index of the word that brought a value.
  uint64_t position(size_t Index) const { return Positions[Index]; }
  void clear() {
    Values.clear();
    Positions.clear();
  }
  operator std::vector<T> &() { return Values; }
  operator const std::vector<T> &() const { return Values; }

private:
  std::vector<T> Values;
  std::vector<uint64_t> Positions;
  parser<T> Parser;
};

/// Knows the options of the process, which it does not own, and gives them their values.
class CommandLineParser {
public:
  /// Enters an option under a long name; a later one of the same name replaces it there.
  ORVY_API void addOption(const char *Name, Option2 *Option);
  /// Enters an option under a short name; a later one of the same name replaces it there.
  ORVY_API void addOption(char Name, Option2 *Option);
  /// Makes an option the positional one. A second one is an internal error.
  ORVY_API void addOption(Option2 *Option);
  /// Takes an option out wherever it is entered.
  ORVY_API void removeOption(Option2 *Option);

  /// Whether all words were right; stops at the first that is not.
  ORVY_API bool parseCommandLineOptions(int argc, const char **argv);
  /// The word at which the last parse stopped; empty if all were right.
  const std::string &getWrongWord() const { return WrongWord; }
  ORVY_API void printHelp() const;
  /// Every word that was taken as positional, in order.
  const std::vector<std::string> &getPositionalWords() const { return PositionalWords; }

private:
  using Words = std::vector<std::string>;
  bool parseLong(const Words &All, size_t &Index);
  bool parseShort(const Words &All, size_t &Index);
  bool parsePositional(const std::string &Word, size_t Index);
  Option2 *findLong(std::string_view Name) const;
  Option2 *findShort(char Name) const;

  Option2 *PositionalOption = nullptr;
  Words PositionalWords;
  std::string WrongWord;
  std::map<std::string, Option2 *, std::less<>> LongNames;
  std::map<char, Option2 *> ShortNames;
  std::set<Option2 *> AllOptions;
  std::string ProgramName;
};

/// The parser of the process, with all options of the library and the host.
ORVY_API bool parseCommandLineOptions(int argc, const char **argv);
ORVY_API const std::string &getWrongWord();
ORVY_API void printHelp();

/// Splits a text into words at blanks, tabs, line feeds and carriage returns. A backslash takes the
/// next character as it stands, quotes group text. A word or quote that is open at the end of the
/// text ends there, and a backslash at the end stands for itself.
ORVY_API void tokenizeCommandLine(std::string &Text, std::vector<std::string> &Words);

} // namespace orvy::cl

#endif

#endif
