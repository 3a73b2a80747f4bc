// LineReader.h - where an interpreter takes its commands from: a script, a stream or the terminal.

#ifndef ORVY_SUPPORT_LINEREADER_H
#define ORVY_SUPPORT_LINEREADER_H

#include "orvy/Support/Export.h"
#include "orvy/Support/MemoryBuffer.h"
#include "orvy/Support/Tokeniser.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace orvy::cl {

/// Gives the words of one command after the other. One thread at a time.
class ORVY_API LineReader {
public:
  /// How the last readLine ended.
  enum class Ending {
    Command,   ///< with a whole command, which may be empty
    OpenQuote, ///< in a script line that leaves a quote open
    Input      ///< because nothing more will come
  };

  LineReader() = default;
  LineReader(const LineReader &) = delete;
  LineReader &operator=(const LineReader &) = delete;
  virtual ~LineReader();

  /// Whether there is something to read from.
  virtual bool good() const = 0;
  virtual bool bad() const = 0;
  /// Whether everything was read. A terminal never says so.
  virtual bool eof() const = 0;
  /// The words of the next command; empty for a blank line and at the end.
  virtual std::vector<std::string> readLine() = 0;
  virtual Ending getEnding() const;

  /// The line, from 1, of the text that will be read next.
  uint32_t getLine() const { return Line; }

protected:
  uint32_t Line = 1;
};

/// What scripts have in common: a command ends with its line, a '#' outside "\#" begins a comment,
/// quotes or not, and a backslash at the end of a line is a plain backslash.
class ORVY_API ScriptReader : public LineReader {
public:
  Ending getEnding() const override { return LastEnding; }

protected:
  /// Takes the command at Cursor, and the blanks, line ends and comments after it.
  std::vector<std::string> takeCommand();
  void skipBlanksAndComments();

  const char *Cursor = nullptr;
  const char *End = nullptr;
  Ending LastEnding = Ending::Command;

private:
  ORVY_LOCAL std::string_view cutText();
  ORVY_LOCAL void takeBackslash();

  Tokeniser Words;
  std::string Rewritten; // the text of a command that has backslashes
};

/// Reads a script from memory.
class ORVY_API BufferLineReader final : public ScriptReader {
public:
  /// Maps a file. Not good if that fails, as it does for an empty one.
  explicit BufferLineReader(const char *Path);
  /// Reads a text in place; it must outlive the reader. Not good for a length of 0.
  BufferLineReader(size_t Length, const char *Text);

  bool good() const override { return Buffer != nullptr; }
  bool bad() const override { return Buffer == nullptr; }
  bool eof() const override { return good() && Cursor >= End; }
  std::vector<std::string> readLine() override;

private:
  ORVY_LOCAL explicit BufferLineReader(std::unique_ptr<MemoryBuffer> Script);

  std::unique_ptr<MemoryBuffer> Buffer;
};

/// Reads a script from a stream as it comes in: each line can be run before the next is there.
/// Unless the stream is a file, the standard output is flushed before a line is waited for.
class ORVY_API StreamLineReader final : public ScriptReader {
public:
  /// The stream must outlive the reader.
  explicit StreamLineReader(FILE *Stream);
  ~StreamLineReader() override;

  bool good() const override { return true; }
  bool bad() const override { return false; }
  bool eof() const override { return LastEnding == Ending::Input; }
  std::vector<std::string> readLine() override;

private:
  ORVY_LOCAL bool fetchLine();

  FILE *Stream;
  bool IsFile;
  char *Text = nullptr; // of getline
  size_t Capacity = 0;
};

} // namespace orvy::cl

#endif
