#include "LineEditor.h"

#include "orvy/Support/TerminalReader.h"

#include <cerrno>
#include <cstdio>

using namespace orvy::cl;

static constexpr int HistorySize = 50;

// libedit wants text that may be written to.

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
  const char *Text = el_gets(Editor, &Count);
  if (Text)
    return std::string_view(Text, Count > 0 ? static_cast<size_t>(Count) : 0);
  if (Count < 0 && errno == EINTR)
    return std::string_view();
  return std::nullopt;
}

void LineEditor::remember(const std::string &Text) {
  history(Lines, &Event, H_ENTER, Text.c_str());
}
