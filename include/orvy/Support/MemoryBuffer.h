// MemoryBuffer.h - the bytes of a file or a text, for readers.

#ifndef ORVY_SUPPORT_MEMORYBUFFER_H
#define ORVY_SUPPORT_MEMORYBUFFER_H

#include "orvy/Support/Export.h"

#include <memory>
#include <vector>

namespace orvy {

/// A view of bytes; it owns none, its subclasses do.
class ORVY_API MemoryBuffer {
public:
  MemoryBuffer(const char *Begin, const char *End) : Begin(Begin), End(End) {}
  MemoryBuffer(const MemoryBuffer &) = delete;
  MemoryBuffer &operator=(const MemoryBuffer &) = delete;
  virtual ~MemoryBuffer();

  const char *begin() const { return Begin; }
  /// One past the last byte.
  const char *end() const { return End; }
  size_t size() const { return static_cast<size_t>(End - Begin); }

  /// The file mapped into memory; null if it is empty or cannot be mapped.
  static std::unique_ptr<MemoryBuffer> mapFile(const char *Path);
  /// The file read into memory; null if it cannot be read.
  static std::unique_ptr<MemoryBuffer> readFile(const char *Path);
  /// A view from First to Last, both inclusive; null if First lies above Last.
  static std::unique_ptr<MemoryBuffer> getBuffer(const char *First, const char *Last);
  /// A copy from First to Last, both inclusive; null if First lies above Last.
  static std::unique_ptr<MemoryBuffer> getBufferCopy(const char *First, const char *Last);

protected:
  MemoryBuffer() = default;

  const char *Begin = nullptr;
  const char *End = nullptr;
};

/// A read-only private mapping of a whole file.
class MappedMemoryBuffer final : public MemoryBuffer {
public:
  /// Throws std::length_error for an empty or missing file, std::system_error on other failures.
  ORVY_API explicit MappedMemoryBuffer(const char *Path);
  ORVY_API ~MappedMemoryBuffer() override;

private:
  int32_t Descriptor = -1;
};

/// A private copy of bytes.
class ORVY_API DataMemoryBuffer final : public MemoryBuffer {
public:
  DataMemoryBuffer(const char *Data, size_t Size);

private:
  std::vector<char> Bytes;
};

/// The contents of a file.
class ORVY_API FileMemoryBuffer final : public MemoryBuffer {
public:
  /// Throws std::runtime_error if the file cannot be opened.
  explicit FileMemoryBuffer(const char *Path);

private:
  std::vector<char> Bytes;
};

} // namespace orvy

#endif
