#include "orvy/Support/TerminalReader.h"

#include "CommandLine/Characters.h"
#include "CommandLine/LineEditor.h"
#include "CommandLine/TextCommands.h"
#include "orvy/Support/FileSystem.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

TerminalReader::TerminalReader(const char *ProgramName) : ProgramName(ProgramName) {}
TerminalReader::~TerminalReader() = default;

LineEditor &TerminalReader::editor() {
  if (!Editor)
    Editor = std::make_unique<LineEditor>(ProgramName.c_str());
  return *Editor;
}

LibEditLineReader::LibEditLineReader(const char *ProgramName) : TerminalReader(ProgramName) {}
LibEditLineReader::~LibEditLineReader() = default;

// Copies lines up to a comment. A quote that is open at the end of a line is open in the next.
namespace {
class CommentCutter {
public:
  std::string cut(std::string_view Line) {
    std::string Kept;
    for (size_t Next = 0; Next < Line.size(); ++Next) {
      const char Character = Line[Next];
      if (Character == '#' && !Quote)
        break;
      Kept += Character;
      if (Character == '\\' && Next + 1 < Line.size())
        Kept += Line[++Next];
      else if (Character == '"' || Character == '\'')
        follow(Character);
    }
    return Kept;
  }

private:
  void follow(char Character) {
    if (!Quote)
      Quote = Character;
    else if (Quote == Character)
      Quote = 0;
  }

  char Quote = 0;
};
} // namespace

static bool isBlank(std::string_view Text) {
  return std::all_of(Text.begin(), Text.end(), isSpace);
}

// The text after a '!' is passed to the script runner unchanged.
static std::vector<std::string> splitScriptText(std::string_view Line) {
  const auto First = std::find_if_not(Line.begin() + 1, Line.end(), isSpace);
  return {"!", std::string(First, Line.end())};
}

std::vector<std::string> LibEditLineReader::readLine() {
  Words = Tokeniser();
  CommentCutter Comments;
  editor().setPrompt(LineEditor::Prompt::Main);
  for (;;) {
    const std::optional<std::string_view> Read = editor().read();
    LastEnding = Read ? Ending::Command : Ending::Input;
    if (!Read || Read->empty())
      return {};
    if (Read->front() == '#')
      continue;
    if (Read->front() == '!')
      return splitScriptText(*Read);
    const std::string Text = Comments.cut(*Read);
    if (!isBlank(Text))
      editor().remember(Text);
    if (Words.getTokens().empty())
      if (auto Typed = splitTextCommand(Text))
        return *std::move(Typed);
    if (Words.tokString(Text.c_str()) <= Tokeniser::Complete)
      return Words.takeTokens();
    ++Line;
    editor().setPrompt(LineEditor::Prompt::Continuation);
  }
}

LibEditWithParserLineReader::LibEditWithParserLineReader(const char *ProgramName)
    : TerminalReader(ProgramName), Input(Text, Tracing::Off) {}
LibEditWithParserLineReader::~LibEditWithParserLineReader() = default;

std::vector<std::string> LibEditWithParserLineReader::readLine() {
  Text.clear();
  editor().setPrompt(LineEditor::Prompt::Main);
  do {
    const std::optional<std::string_view> Read = editor().read();
    LastEnding = Read ? Ending::Command : Ending::Input;
    if (!Read || Read->empty())
      return {};
    if (Read->ends_with('\n'))
      errs() << "linefeed\n";
    if (Read->ends_with("\\\n"))
      errs() << "escaped\n";
    Text += *Read;
    ++Line;
  } while (wantsMore());
  return {Text};
}

// Parses the whole command, without messages, because any token but the first may be incomplete.
bool LibEditWithParserLineReader::wantsMore() {
  Input.restart(Text);
  Input.consumeToken();
  Input.parseCommand();
  if (!Input.wantsMore())
    return false;
  errs() << "line reader expects more\n";
  editor().setPrompt(LineEditor::Prompt::Continuation);
  return true;
}

// Paths of the user's files.

std::string orvy::cl::homeDirectory() {
  const char *Home = std::getenv("HOME");
  return Home ? Home : "";
}

std::string orvy::cl::resolvePath(const std::string &Path) {
  if (!Path.starts_with('~'))
    return Path;
  const std::string Home = homeDirectory();
  const size_t Last = Home.rfind('/');
  if (Last == Home.npos)
    return Path;
  if (Path.size() == 1 || Path[1] == '/')
    return Home + Path.substr(1);
  return Home.substr(0, Last + 1) + Path.substr(1);
}

static bool isOpenable(const std::string &Dir) {
  DIR *Opened = opendir(Dir.c_str());
  if (Opened)
    closedir(Opened);
  return Opened != nullptr;
}

std::string orvy::cl::getHistoryFilePath() {
  std::string Path = resolvePath("~/.config/orvy/command-history");
  for (size_t Slash = Path.find('/'); Slash != Path.npos; Slash = Path.find('/', Slash + 1)) {
    const std::string Dir = Path.substr(0, Slash + 1);
    if (isOpenable(Dir) || fs::mkdir(Dir.c_str(), false))
      continue;
    errs() << "could not create '" << Dir << "'\n";
    return "";
  }
  return Path;
}
