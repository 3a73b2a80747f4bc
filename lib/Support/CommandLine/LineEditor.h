// LineEditor.h - line editing on the terminal: prompts, history and the Tab key.

#ifndef ORVY_LIB_LINEEDITOR_H
#define ORVY_LIB_LINEEDITOR_H

#include <histedit.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/ioctl.h>

namespace orvy::cl {

/// Edits lines on the terminal of the process with libedit.
class LineEditor {
public:
  enum class Prompt { Main, Continuation };

  /// Takes over the standard streams and loads the history.
  explicit LineEditor(const char *ProgramName);
  /// Saves the history.
  ~LineEditor();
  LineEditor(const LineEditor &) = delete;
  LineEditor &operator=(const LineEditor &) = delete;

  void setPrompt(Prompt Which);
  /// The next line with its line feed, valid until the next call. Empty if the user dropped the
  /// line with ^C; nothing at the end of the input.
  std::optional<std::string_view> read();
  /// Adds a line to the history.
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
  std::string HistoryPath; // empty if the history cannot be saved
  winsize Window = {};     // the size known to the editor
  bool IsDropped = false;  // whether the user dropped the current line
};

/// Handles the Tab key: completes the word before the cursor, or lists what may follow. Returns one
/// of libedit's codes.
unsigned char complete(EditLine *Editor, int Character);

} // namespace orvy::cl

#endif
