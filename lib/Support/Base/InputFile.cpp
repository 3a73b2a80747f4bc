#include "Base/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace orvy;

InputFile::InputFile(const char *Path)
    : Descriptor(::open(Path ? Path : "", O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat Info;
  if (!isOpen() || ::fstat(Descriptor.get(), &Info) != 0 || !S_ISREG(Info.st_mode))
    return;
  Size = static_cast<uint64_t>(Info.st_size);
  Plain = true;
}

bool InputFile::readAt(uint64_t Offset, void *Data, size_t Bytes) const {
  if (!holds(Offset, Bytes))
    return false;
  auto *To = static_cast<char *>(Data);
  while (Bytes > 0) {
    ssize_t Got = retryOnSignal(
        [&] { return ::pread(Descriptor.get(), To, Bytes, static_cast<off_t>(Offset)); });
    if (Got <= 0)
      return false;
    To += Got;
    Offset += static_cast<uint64_t>(Got);
    Bytes -= static_cast<size_t>(Got);
  }
  return true;
}
