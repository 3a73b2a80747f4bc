// CheckpointFile.h - the text of a checkpoint: written object by object, and read back.

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

/// Tells a user at a terminal how far a long operation has come, once it takes more than a second.
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

/// A file that takes the place of another one when it is complete.
class ReplacementFile {
public:
  /// Opens a new file beside what the path leads to, with the rights of that; what is no plain
  /// file, or stands for an open one as /dev/stdout does, or lies where no other file can be made
  /// or put in its place, is written to itself. Throws std::system_error.
  explicit ReplacementFile(const char *Path);
  /// Without commit(), all is as it was before.
  ~ReplacementFile();
  ReplacementFile(const ReplacementFile &) = delete;
  ReplacementFile &operator=(const ReplacementFile &) = delete;

  void write(const char *Data, size_t Size);
  void commit();

private:
  /// Leaves the file closed if there can be none, with errno telling why.
  void openBeside(const std::string &Path);

  std::string Target;
  std::string Temporary; ///< empty if the path is written to directly
  UniqueDescriptor File{-1};
};

/// Writes JSON as the library does with an indentation of 2, without having all of it at once.
class Writer {
public:
  explicit Writer(ReplacementFile &File);

  /// The text of a value that begins behind Indent blanks.
  void value(const Json &Value, unsigned Indent);
  void text(std::string_view Text);
  /// A string in quotes.
  void string(const std::string &Text);
  void newLine(unsigned Indent);
  /// Hands everything over to the file.
  void flush();

private:
  void object(const Json::object_t &Object, unsigned Indent);
  void array(const Json::array_t &Array, unsigned Indent);
  template <typename Number> void numbers(const Json::binary_t &Packed, unsigned Indent);
  void packed(const Json::binary_t &Packed, unsigned Indent);
  /// Room for that many bytes behind the present end.
  char *room(size_t Bytes);

  ReplacementFile &File;
  Progress Shown;
  std::unique_ptr<char[]> Buffer;
  size_t Used = 0;
};

/// The document in a file, with its long arrays of unsigned numbers packed. Throws the library's
/// exceptions, and others for what cannot be read.
Json readDocument(int Descriptor);

/// As orvy_deserialiseJSON, but a file that cannot be read or is no checkpoint is told on the error
/// stream and changes nothing.
int restoreIfCheckpoint(const char *Path);

} // namespace orvy::checkpoint

#endif
