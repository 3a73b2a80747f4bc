// Tokeniser.h - splits command text into words, with the quoting of a shell.

#ifndef ORVY_SUPPORT_TOKENISER_H
#define ORVY_SUPPORT_TOKENISER_H

#include "orvy/Support/Export.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace orvy::cl {

/// Collects the words of one command, which may take several pieces of text: a quote that is open
/// at the end of a piece, or a line feed after a backslash, asks for more.
///
///     Tokeniser Words;
///     Words.tokString("memory-load 'my file' base=0x1000");
///     Words.getTokens(); // memory-load, my file, base=0x1000
///
/// One thread at a time; a reset between commands keeps what is allocated.
class Tokeniser {
public:
  enum Result : int32_t {
    Complete = 0,         ///< the command ends here
    NeedsSingleQuote = 1, ///< a single quote is open
    NeedsDoubleQuote = 2, ///< a double quote is open
    NeedsNextLine = 3     ///< the text ends in a line feed after a backslash
  };

  ORVY_API explicit Tokeniser(std::string Delimiters = "\t \n",
                              std::string SpecialChars = "{}()[]<>");

  /// Takes text up to End, up to the terminating zero without one, and in either case no further
  /// than a line feed or a zero that ends the command. Above Complete the command goes on in the
  /// next call.
  ORVY_API int tokString(const char *Begin, const char *End = nullptr);
  /// Drops all words and the one being built. An open quote stays open.
  ORVY_API void reset();

  /// The words finished so far, in order.
  const std::vector<std::string> &getTokens() const { return Tokens; }
  /// Hands the words over and keeps none.
  ORVY_API std::vector<std::string> takeTokens();
  /// Characters that end a word in completion; they mean nothing here.
  const std::string &getSpecialChars() const { return SpecialChars; }
  /// Number of the line that is being read, from 1.
  uint32_t getLine() const { return Line; }
  /// Number of the line at the last reset.
  uint32_t getStartLine() const { return StartLine; }

private:
  enum State : uint32_t { Normal, SingleQuoted, DoubleQuoted, Escaped, EscapedInQuotes };

  const char *keepRun(const char *Next, const char *End);
  std::optional<int> take(char Character);
  std::optional<int> takeNormal(char Character, bool Continued);
  void takeSingleQuoted(char Character);
  void takeDoubleQuoted(char Character);
  void takeEscaped(char Character, State Back);
  bool isPlain(char Character) const;
  void finishWord();

  std::vector<std::string> Tokens;
  std::string Current;
  std::string Delimiters;
  std::string SpecialChars;
  bool Force = false;        // the word has a quote or a backslash
  bool Continuation = false; // the last that was read is a line feed after a backslash
  uint32_t Line = 1;
  uint32_t StartLine = 1;
  State Mode = Normal;
  std::array<bool, 256> Delimits{}; // whether a character is one of the delimiters
};

} // namespace orvy::cl

#endif
