// TerminalReader.h - reads commands from the terminal, with line editing, history and completion.

#ifndef ORVY_SUPPORT_TERMINALREADER_H
#define ORVY_SUPPORT_TERMINALREADER_H

#include "orvy/Support/Export.h"
#include "orvy/Support/LineReader.h"
#include "orvy/Support/Parser.h"

#include <memory>
#include <string>
#include <vector>

namespace orvy::cl {

class LineEditor;

/// Reads from the process's standard input. The terminal is set up at the first readLine; the
/// history is written when the reader dies.
class ORVY_API TerminalReader : public LineReader {
public:
  ~TerminalReader() override;
  bool good() const override { return true; }
  bool bad() const override { return false; }
  bool eof() const override { return false; }
  Ending getEnding() const override { return LastEnding; }

protected:
  explicit TerminalReader(const char *ProgramName);
  /// The editor, which is set up on first use.
  LineEditor &editor();

  Ending LastEnding = Ending::Command;

private:
  std::string ProgramName;
  std::unique_ptr<LineEditor> Editor;
};

/// Gives the words of a command, over as many lines as quotes and backslashes ask for.
class LibEditLineReader final : public TerminalReader {
public:
  ORVY_API explicit LibEditLineReader(const char *ProgramName);
  ORVY_API ~LibEditLineReader() override;
  ORVY_API std::vector<std::string> readLine() override;

private:
  Tokeniser Words;
};

/// Gives the text of an expression as one string, over as many lines as quotes, blocks and
/// backslashes ask for.
class LibEditWithParserLineReader final : public TerminalReader {
public:
  ORVY_API explicit LibEditWithParserLineReader(const char *ProgramName);
  ORVY_API ~LibEditWithParserLineReader() override;
  ORVY_API std::vector<std::string> readLine() override;

private:
  bool wantsMore();

  std::string Text; // of the input so far
  Parser Input;     // over the text, to see whether it is complete
};

/// The file of the history, whose directories are made if need be; empty, with a message on the
/// error stream, if they cannot be.
ORVY_API std::string getHistoryFilePath();
/// The environment variable HOME; empty without it.
ORVY_API std::string homeDirectory();
/// The path with a leading "~" or "~name" expanded, the latter to a sibling of the user's home.
ORVY_API std::string resolvePath(const std::string &Path);

} // namespace orvy::cl

#endif
