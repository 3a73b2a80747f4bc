// CheckpointFile.h - writes the text of a checkpoint object by object, and reads it back.

#ifndef ORVY_LIB_CHECKPOINTFILE_H
#define ORVY_LIB_CHECKPOINTFILE_H

#include "Base/UniqueDescriptor.h"
#include "Checkpoint/CheckpointNodes.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::checkpoint {

/// Shows the progress of an operation on a terminal once it takes more than a second.
class Progress {
public:
  /// The total is in bytes; 0 if it is not known.
  Progress(const char *What, uint64_t Total);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  void advance(size_t Bytes);

private:
  using Time = std::chrono::steady_clock::time_point;

  const char *What;
  uint64_t Total;
  uint64_t Done = 0;
  Time Next;
  bool IsTerminal;
  bool IsShown = false;
};

/// A file that replaces another one when it is complete.
class ReplacementFile {
public:
  /// Opens a new file in the directory of the path's target, with the target's permissions. Writes
  /// to the target directly if it is not a regular file, stands for an open file as /dev/stdout
  /// does, or cannot be replaced where it is. Throws std::system_error.
  explicit ReplacementFile(const char *Path);
  /// Removes the new file unless it was committed.
  ~ReplacementFile();
  ReplacementFile(const ReplacementFile &) = delete;
  ReplacementFile &operator=(const ReplacementFile &) = delete;

  void write(const char *Data, size_t Size);
  void commit();

private:
  /// Leaves the file closed, with errno set, if it cannot be created.
  void openBeside(const std::string &Path);

  std::string Target;
  std::string Temporary; ///< empty if the path is written to directly
  UniqueDescriptor File{-1};
};

/// Writes the same JSON as the library with an indentation of 2, but never holds the whole text.
class Writer {
public:
  explicit Writer(ReplacementFile &File);

  /// Writes a value on a line that is indented by Indent blanks.
  void value(const Json &Value, unsigned Indent);
  void text(std::string_view Text);
  /// Writes a string in quotes.
  void string(const std::string &Text);
  void newLine(unsigned Indent);
  /// Writes the buffer to the file.
  void flush();

private:
  void object(const Json::object_t &Object, unsigned Indent);
  void array(const Json::array_t &Array, unsigned Indent);
  template <typename Number> void numbers(const Json::binary_t &Packed, unsigned Indent);
  void packed(const Json::binary_t &Packed, unsigned Indent);
  /// Makes room for that many bytes at the end of the buffer.
  char *room(size_t Bytes);

  ReplacementFile &File;
  Progress Shown;
  std::unique_ptr<char[]> Buffer;
  size_t Used = 0;
};

/// The document in a file, with its long arrays of unsigned numbers packed. Throws the library's
/// exceptions for invalid JSON, and others if the file cannot be read.
Json readDocument(int Descriptor);

/// Like orvy_deserialiseJSON, but a file that cannot be read or is not a checkpoint is reported on
/// the error stream and changes nothing.
int restoreIfCheckpoint(const char *Path);

} // namespace orvy::checkpoint

#endif
