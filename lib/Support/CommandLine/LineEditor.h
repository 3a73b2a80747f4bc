// LineEditor.h - line editing on the terminal: prompts, history and the Tab key.

#ifndef ORVY_LIB_LINEEDITOR_H
#define ORVY_LIB_LINEEDITOR_H

#include <histedit.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/ioctl.h>

namespace orvy::cl {

/// The terminal of the process, through libedit.
class LineEditor {
public:
  enum class Prompt { Main, Continuation };

  /// Takes over the standard streams and loads the history.
  explicit LineEditor(const char *ProgramName);
  /// Writes the history back.
  ~LineEditor();
  LineEditor(const LineEditor &) = delete;
  LineEditor &operator=(const LineEditor &) = delete;

  void setPrompt(Prompt Which);
  /// The next line with its line feed, valid until the next call; empty if the user has dropped it
  /// with ^C, nothing at the end of the input.
  std::optional<std::string_view> read();
  /// Enters a line in the history.
  void remember(const std::string &Text);

private:
  static LineEditor &of(EditLine *Editor);
  static int readKey(EditLine *Editor, wchar_t *Key);
  static unsigned char dropLine(EditLine *Editor, int);
  static unsigned char suspend(EditLine *Editor, int);
  bool isResized();

  EditLine *Editor;
  History *Lines;
  HistEvent Event = {};
  std::string HistoryPath; // empty if there is no place for one
  winsize Window = {};     // as the editor knows it
  bool IsDropped = false;  // the line being read
};

/// What the Tab key does: completes the word ahead of the cursor, or lists what may follow. One of
/// libedit's codes.
unsigned char complete(EditLine *Editor, int Character);

} // namespace orvy::cl

#endif
