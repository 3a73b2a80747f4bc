#include "orvy/Support/MemoryBuffer.h"

#include "Base/UniqueDescriptor.h"
#include "orvy/Support/FileSystem.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/mman.h>
#include <system_error>

using namespace orvy;

MemoryBuffer::~MemoryBuffer() = default;

// What the constructor throws becomes a null result.
template <typename Buffer> static std::unique_ptr<MemoryBuffer> tryOpen(const char *Path) {
  try {
    return std::make_unique<Buffer>(Path);
  } catch (...) {
    return nullptr;
  }
}

std::unique_ptr<MemoryBuffer> MemoryBuffer::mapFile(const char *Path) {
  return tryOpen<MappedMemoryBuffer>(Path);
}

std::unique_ptr<MemoryBuffer> MemoryBuffer::readFile(const char *Path) {
  return tryOpen<FileMemoryBuffer>(Path);
}

std::unique_ptr<MemoryBuffer> MemoryBuffer::getBuffer(const char *First, const char *Last) {
  return First > Last ? nullptr : std::make_unique<MemoryBuffer>(First, Last + 1);
}

std::unique_ptr<MemoryBuffer> MemoryBuffer::getBufferCopy(const char *First, const char *Last) {
  if (First > Last)
    return nullptr;
  return std::make_unique<DataMemoryBuffer>(First, static_cast<size_t>(Last - First) + 1);
}

[[noreturn]] static void throwSystemError() {
  throw std::system_error(errno, std::system_category());
}

MappedMemoryBuffer::MappedMemoryBuffer(const char *Path) {
  const uint64_t Size = fs::size(Path);
  if (Size == 0)
    throw std::length_error("mapped file has no length");
  UniqueDescriptor File(retryOnSignal([&] { return open(Path, O_RDONLY | O_CLOEXEC); }));
  if (!File.isOpen())
    throwSystemError();
  void *Mapped =
      retryOnSignal([&] { return mmap(nullptr, Size, PROT_READ, MAP_PRIVATE, File.get(), 0); });
  if (Mapped == MAP_FAILED)
    throwSystemError();
  Begin = static_cast<const char *>(Mapped);
  End = Begin + Size;
  Descriptor = File.release();
}

MappedMemoryBuffer::~MappedMemoryBuffer() {
  retryOnSignal([this] { return munmap(const_cast<char *>(Begin), size()); });
  retryOnSignal([this] { return close(Descriptor); });
}

DataMemoryBuffer::DataMemoryBuffer(const char *Data, size_t Size) : Bytes(Data, Data + Size) {
  Begin = Bytes.data();
  End = Begin + Bytes.size();
}

FileMemoryBuffer::FileMemoryBuffer(const char *Path) {
  std::ifstream File(Path, std::ios::binary);
  if (!File)
    throw std::runtime_error("could not open file");
  Bytes.assign(std::istreambuf_iterator<char>(File), {});
  Begin = Bytes.data();
  End = Begin + Bytes.size();
}
