// UniqueDescriptor.h - a file descriptor that closes itself.

#ifndef ORVY_LIB_UNIQUEDESCRIPTOR_H
#define ORVY_LIB_UNIQUEDESCRIPTOR_H

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace orvy {

/// Repeats a system call while a signal interrupts it.
template <typename Call> auto retryOnSignal(Call Make) {
  auto Result = Make();
  while (Result == decltype(Result)(-1) && errno == EINTR)
    Result = Make();
  return Result;
}

/// Owns an open descriptor, or none (-1).
class UniqueDescriptor {
public:
  explicit UniqueDescriptor(int Descriptor) : Descriptor(Descriptor) {}
  UniqueDescriptor(const UniqueDescriptor &) = delete;
  UniqueDescriptor &operator=(const UniqueDescriptor &) = delete;
  ~UniqueDescriptor() { reset(-1); }

  /// Closes the descriptor and owns another one.
  void reset(int New) {
    if (isOpen())
      retryOnSignal([this] { return close(Descriptor); });
    Descriptor = New;
  }

  bool isOpen() const { return Descriptor >= 0; }
  int get() const { return Descriptor; }
  int release() { return std::exchange(Descriptor, -1); }

private:
  int Descriptor;
};

} // namespace orvy

#endif
