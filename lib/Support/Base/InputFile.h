// InputFile.h - a file of the host that is read at positions, each checked against its size first.

#ifndef ORVY_LIB_INPUTFILE_H
#define ORVY_LIB_INPUTFILE_H

#include "Base/UniqueDescriptor.h"

#include <cstddef>
#include <cstdint>

namespace orvy {

class InputFile {
public:
  /// Opens a file for reading; isOpen() tells whether that worked. Does not wait for the other end
  /// of a pipe. A null path opens nothing.
  explicit InputFile(const char *Path);

  bool isOpen() const { return Descriptor.isOpen(); }
  /// Bytes in the file when it was opened; 0 if it has no size, as a directory.
  uint64_t size() const { return Size; }
  /// Whether it is a regular file: only then the size is meaningful.
  bool isPlain() const { return Plain; }
  /// Whether that many bytes lie at an offset. Always true for a size of 0.
  bool holds(uint64_t Offset, uint64_t Bytes) const {
    return Bytes == 0 || (Offset <= Size && Size - Offset >= Bytes);
  }

  /// Reads bytes at an offset. Returns false if they do not all lie inside, or cannot be read.
  bool readAt(uint64_t Offset, void *Data, size_t Bytes) const;

private:
  UniqueDescriptor Descriptor;
  uint64_t Size = 0;
  bool Plain = false;
};

} // namespace orvy

#endif
