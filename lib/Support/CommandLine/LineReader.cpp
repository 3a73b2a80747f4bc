#include "orvy/Support/LineReader.h"

#include "CommandLine/Characters.h"
#include "CommandLine/TextCommands.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <utility>

using namespace orvy;
using namespace orvy::cl;

LineReader::~LineReader() = default;

LineReader::Ending LineReader::getEnding() const {
  return Ending::Command;
}

// Scripts.

static bool endsCommand(char Character) {
  return Character == '#' || Character == '\r' || Character == '\n';
}

std::vector<std::string> ScriptReader::takeCommand() {
  Words.reset();
  const char *const Begin = Cursor;
  const std::string_view Text = cutText();
  if (auto Typed = splitTextCommand({Begin, Cursor})) {
    LastEnding = Ending::Command;
    skipBlanksAndComments();
    return *std::move(Typed);
  }
  const bool IsComplete =
      Words.tokString(Text.data(), Text.data() + Text.size()) == Tokeniser::Complete;
  LastEnding = IsComplete ? Ending::Command : Ending::OpenQuote;
  std::vector<std::string> Taken = Words.takeTokens();
  if (!IsComplete)
    Words = Tokeniser();
  skipBlanksAndComments();
  return Taken;
}

void ScriptReader::skipBlanksAndComments() {
  for (; Cursor != End; ++Cursor) {
    if (*Cursor == '#')
      Cursor = std::find(Cursor, End, '\n');
    if (Cursor == End)
      return;
    if (*Cursor == '\n')
      ++Line;
    else if (!isSpace(*Cursor))
      return;
  }
}

// The text of the command at Cursor. Moves Cursor to the end of the command. Text without a
// backslash, which is by far the most common, is not copied.
std::string_view ScriptReader::cutText() {
  const char *const Begin = Cursor;
  Cursor = std::find_if(Begin, End, [](char C) { return C == '\\' || endsCommand(C); });
  if (Cursor == End || *Cursor != '\\')
    return {Begin, Cursor};
  Rewritten.assign(Begin, Cursor);
  while (Cursor != End && !endsCommand(*Cursor)) {
    if (*Cursor == '\\')
      takeBackslash();
    else
      Rewritten += *Cursor++;
  }
  return Rewritten;
}

// Doubles a backslash at the end of a line, unless another one protects it, so that it stands for
// itself.
void ScriptReader::takeBackslash() {
  const char *const Next = Cursor + 1;
  if (Next != End && *Next == '#') {
    Rewritten += '#';
    Cursor = Next + 1;
    return;
  }
  if (Next == End || endsCommand(*Next)) {
    const size_t Plain = Rewritten.find_last_not_of('\\') + 1; // 0 if all are backslashes
    const bool IsProtected = (Rewritten.size() - Plain) % 2 != 0;
    Rewritten += IsProtected ? "" : "\\";
  }
  Rewritten += '\\';
  Cursor = Next;
}

BufferLineReader::BufferLineReader(std::unique_ptr<MemoryBuffer> Script)
    : Buffer(std::move(Script)) {
  if (!Buffer)
    return;
  Cursor = Buffer->begin();
  End = Buffer->end();
  skipBlanksAndComments();
}

// Copies the script: if it is truncated while it runs, reading a mapped file would end the process.
static std::unique_ptr<MemoryBuffer> readScript(const char *Path) {
  const std::unique_ptr<MemoryBuffer> Mapped = MemoryBuffer::mapFile(Path);
  return Mapped ? MemoryBuffer::getBufferCopy(Mapped->begin(), Mapped->end() - 1) : nullptr;
}

BufferLineReader::BufferLineReader(const char *Path) : BufferLineReader(readScript(Path)) {}

BufferLineReader::BufferLineReader(size_t Length, const char *Text)
    : BufferLineReader(Length ? MemoryBuffer::getBuffer(Text, Text + Length - 1) : nullptr) {}

std::vector<std::string> BufferLineReader::readLine() {
  return takeCommand();
}

static bool isFile(FILE *Stream) {
  struct stat Status;
  return fstat(fileno(Stream), &Status) == 0 && S_ISREG(Status.st_mode);
}

StreamLineReader::StreamLineReader(FILE *Stream) : Stream(Stream), IsFile(isFile(Stream)) {}

StreamLineReader::~StreamLineReader() {
  std::free(Text);
}

std::vector<std::string> StreamLineReader::readLine() {
  if (Cursor == End && !fetchLine()) {
    LastEnding = Ending::Input;
    return {};
  }
  return takeCommand();
}

bool StreamLineReader::fetchLine() {
  if (!IsFile) { // the writer of the commands may be waiting for the output
    outs().flush();
    std::fflush(stdout);
  }
  ssize_t Length;
  do {
    clearerr(Stream);
    errno = 0;
    Length = getline(&Text, &Capacity, Stream);
  } while (Length < 0 && errno == EINTR);
  if (Length < 0)
    return false;
  Cursor = Text;
  End = Text + Length;
  return true;
}
