// TextCommands.h - lines whose command takes the rest of the line as it was typed.

#ifndef ORVY_LIB_TEXTCOMMANDS_H
#define ORVY_LIB_TEXTCOMMANDS_H

#include "orvy/Support/Commands.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvy::cl {

/// A command that takes text.
class TextCommand final : public Command {
public:
  TextCommand(const char *Name, std::initializer_list<Option> Options, Handler Func,
              const char *Help, std::initializer_list<std::string> Aliases = {},
              Completer With = nullptr)
      : Command(Name, Options, std::move(Func), Help, Aliases) {
    takeText().completeWords(With);
  }
};

/// The name and the text of a line that begins with a command that takes text; nothing for any
/// other line.
inline std::optional<std::vector<std::string>> splitTextCommand(std::string_view Line) {
  constexpr const char *Blanks = " \t\r\n";
  const size_t First = Line.find_first_not_of(Blanks);
  if (First == Line.npos)
    return std::nullopt;
  const size_t End = std::min(Line.find_first_of(" \t\r\n/", First), Line.size());
  const std::string_view Word = Line.substr(First, End - First);
  const size_t Dot = Word.find('.');
  const Command *Cmd = Command::findCommand(Word.substr(Dot == Word.npos ? 0 : Dot + 1));
  if (!Cmd || !Cmd->takesText())
    return std::nullopt;
  std::vector<std::string> Words = {std::string(Word)};
  const size_t Text = Line.find_first_not_of(Blanks, End);
  if (Text != Line.npos)
    Words.emplace_back(Line.substr(Text, Line.find_last_not_of(Blanks) + 1 - Text));
  return Words;
}

} // namespace orvy::cl

#endif
