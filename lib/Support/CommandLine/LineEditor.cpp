#include "CommandLine/LineEditor.h"

#include "Base/UniqueDescriptor.h"
#include "CommandLine/Characters.h"
#include "CommandLine/TextCommands.h"
#include "orvy/Support/Completion.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/TerminalReader.h"
#include "orvy/Support/Tokeniser.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <unistd.h>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

static constexpr int HistorySize = 50;

// libedit requires writable text.

static char *mainPrompt(EditLine *) {
  static char Text[] = "orvy> ";
  return Text;
}

static char *contPrompt(EditLine *) {
  static char Text[] = "... ";
  return Text;
}

LineEditor::LineEditor(const char *ProgramName)
    : Editor(el_init(ProgramName, stdin, stdout, stderr)), Lines(history_init()),
      HistoryPath(getHistoryFilePath()) {
  setPrompt(Prompt::Main);
  el_set(Editor, EL_EDITOR, "emacs");
  history(Lines, &Event, H_SETSIZE, HistorySize);
  history(Lines, &Event, H_SETUNIQUE, 1);
  if (!HistoryPath.empty())
    history(Lines, &Event, H_LOAD, HistoryPath.c_str());
  el_set(Editor, EL_HIST, history, Lines);
  el_set(Editor, EL_ADDFN, "ed-complete", "Complete argument", complete);
  el_set(Editor, EL_BIND, "^I", "ed-complete", nullptr);
  el_set(Editor, EL_GETCFN, readKey);
  isResized();
  // ^C and ^Z are keys while a line is edited, and signals while a command runs.
  el_set(Editor, EL_CLIENTDATA, this);
  el_set(Editor, EL_ADDFN, "ed-drop-line", "Drop the line", dropLine);
  el_set(Editor, EL_BIND, "^C", "ed-drop-line", nullptr);
  el_set(Editor, EL_ADDFN, "ed-suspend", "Suspend the program", suspend);
  el_set(Editor, EL_BIND, "^Z", "ed-suspend", nullptr);
  el_set(Editor, EL_SETTY, "-d", "-isig", nullptr);
}

LineEditor::~LineEditor() {
  if (!HistoryPath.empty())
    history(Lines, &Event, H_SAVE, HistoryPath.c_str());
  history(Lines, &Event, H_CLEAR);
  history_end(Lines);
  el_end(Editor);
}

void LineEditor::setPrompt(Prompt Which) {
  el_set(Editor, EL_PROMPT, Which == Prompt::Main ? mainPrompt : contPrompt);
}

std::optional<std::string_view> LineEditor::read() {
  int Count = 0;
  IsDropped = false;
  outs().flush();
  // Switch the terminal before the prompt appears, so that a ^C typed at it is a key.
  el_set(Editor, EL_PREP_TERM, 1);
  const char *Text = el_gets(Editor, &Count);
  if (IsDropped)
    return std::string_view();
  if (Text)
    return std::string_view(Text, Count > 0 ? static_cast<size_t>(Count) : 0);
  if (Count < 0 && errno == EINTR)
    return std::string_view();
  return std::nullopt;
}

void LineEditor::remember(const std::string &Text) {
  history(Lines, &Event, H_ENTER, Text.c_str());
}

// Keys.

LineEditor &LineEditor::of(EditLine *Editor) {
  void *This = nullptr;
  el_get(Editor, EL_CLIENTDATA, &This);
  return *static_cast<LineEditor *>(This);
}

// Whether the window size has changed since the last call.
bool LineEditor::isResized() {
  winsize Now = {};
  if (ioctl(STDIN_FILENO, TIOCGWINSZ, &Now) != 0)
    return false;
  const winsize Before = std::exchange(Window, Now);
  return Now.ws_col != Before.ws_col || Now.ws_row != Before.ws_row;
}

// Reads a character as libedit does. Returns 1, or the result of read at the end or on an error.
static int readCharacter(wchar_t *Character) {
  std::mbstate_t State = {};
  for (;;) {
    char Byte = 0;
    const ssize_t Count = retryOnSignal([&] { return ::read(STDIN_FILENO, &Byte, 1); });
    if (Count != 1)
      return static_cast<int>(Count);
    const size_t Length = std::mbrtowc(Character, &Byte, 1, &State);
    if (Length <= 1)
      return 1;
    if (Length == static_cast<size_t>(-1)) // not a character of the locale
      State = {};
  }
}

// Redraws the line if the window was resized, as the terminal has moved it.
int LineEditor::readKey(EditLine *Editor, wchar_t *Key) {
  const int Result = readCharacter(Key);
  if (of(Editor).isResized()) {
    outs() << "\n";
    outs().flush();
    el_resize(Editor);
    el_set(Editor, EL_REFRESH);
  }
  return Result;
}

unsigned char LineEditor::dropLine(EditLine *Editor, int) {
  of(Editor).IsDropped = true;
  outs() << "^C\n";
  outs().flush();
  return CC_NEWLINE;
}

unsigned char LineEditor::suspend(EditLine *Editor, int) {
  el_set(Editor, EL_PREP_TERM, 0);
  std::raise(SIGTSTP);
  el_set(Editor, EL_PREP_TERM, 1);
  return CC_REDISPLAY;
}

// Completion.

static void list(std::string_view Partial, const Suffixes &Candidates) {
  outs() << "\n\033[JCompletions:";
  for (const std::string &Each : Candidates)
    outs() << "\n\t" << Partial << Each;
  outs() << "\n";
  outs().flush();
}

// Inserts the common prefix, and lists the candidates if there are several.
static unsigned char present(EditLine *Editor, std::string_view Partial,
                             const Suffixes &Candidates) {
  el_insertstr(Editor, getCommonPrefix(Candidates).c_str());
  if (Candidates.size() == 1)
    return CC_REFRESH;
  list(Partial, Candidates);
  return CC_REDISPLAY;
}

static unsigned char completeFirstWord(EditLine *Editor, std::string_view Partial) {
  const Suffixes Candidates = completeCommand(Partial);
  return Candidates.empty() ? CC_REDISPLAY : present(Editor, Partial, Candidates);
}

// The keys of a command, and the words that it completes.
static Suffixes keysAndWords(std::string_view CmdName, std::string_view Partial) {
  Suffixes Found = completeKey(CmdName, Partial);
  const Suffixes Words = completeWord(CmdName, Partial);
  Found.insert(Found.end(), Words.begin(), Words.end());
  return Found;
}

// Lists what a command takes; only its keys if that is too much to read.
static unsigned char listArguments(std::string_view CmdName) {
  constexpr size_t MaxListed = 100;
  Suffixes Candidates = keysAndWords(CmdName, "");
  if (Candidates.size() > MaxListed)
    Candidates = completeKey(CmdName, "");
  if (!Candidates.empty())
    list("", Candidates);
  return CC_REDISPLAY;
}

static unsigned char completeArgument(EditLine *Editor, const std::string &CmdName,
                                      std::string_view Word) {
  const size_t Equals = Word.find('=', 1);
  const bool IsValue = Equals != Word.npos;
  const std::string_view Partial = IsValue ? Word.substr(Equals + 1) : Word;
  const Suffixes Candidates = IsValue ? completeValue(CmdName, Word.substr(0, Equals), Partial)
                                      : keysAndWords(CmdName, Partial);
  return Candidates.empty() ? CC_ERROR : present(Editor, Partial, Candidates);
}

unsigned char orvy::cl::complete(EditLine *Editor, int) {
  const LineInfo *Info = el_line(Editor);
  const std::string Text(Info->buffer, Info->cursor);
  size_t First = Text.size();
  while (First > 0 && !isSpace(Text[First - 1]))
    --First;
  if (Text.find_first_not_of(" \t\n") >= First)
    return completeFirstWord(Editor, std::string_view(Text).substr(First));

  const std::string_view Word = std::string_view(Text).substr(First);
  if (const auto Typed = splitTextCommand(Text))
    return Word.empty() ? listArguments(Typed->front())
                        : completeArgument(Editor, Typed->front(), Word);
  Tokeniser Words;
  const int Result = Words.tokString(Text.data(), Text.data() + Text.size());
  if (Result < 0 || Words.getTokens().empty())
    return CC_ERROR;
  const std::vector<std::string> &Tokens = Words.getTokens();
  return Word.empty() ? listArguments(Tokens[0])
                      : completeArgument(Editor, Tokens[0], Tokens.back());
}
