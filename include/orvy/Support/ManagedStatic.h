// ManagedStatic.h - holder of a process-wide singleton, built on first use.

#ifndef ORVY_SUPPORT_MANAGEDSTATIC_H
#define ORVY_SUPPORT_MANAGEDSTATIC_H

#include "orvy/Support/Export.h"

#include <atomic>
#include <mutex>

namespace orvy {

/// The one mutex under which every managed singleton is built. It is not recursive: the constructor
/// of a managed singleton must not be the first user of another one.
ORVY_API std::mutex &getManagedStaticLock();

/// Holds a singleton of type T. Zero-initialised data, so that it works before the initialisers of
/// its own source file have run; the object dies with the holder, in the reverse order of the
/// source files. Any thread may dereference; the first to do so builds the object while the others
/// wait.
template <typename T> class ManagedStatic {
public:
  constexpr ManagedStatic() = default;
  ManagedStatic(const ManagedStatic &) = delete;
  ManagedStatic &operator=(const ManagedStatic &) = delete;
  ~ManagedStatic() { delete Ptr.exchange(nullptr); }

  T &operator*() {
    if (T *Present = Ptr.load(std::memory_order_acquire))
      return *Present;
    return build();
  }
  T *operator->() { return &**this; }

  /// Whether the object exists at present.
  bool isBuilt() const { return Ptr.load(std::memory_order_acquire) != nullptr; }

private:
  T &build() {
    std::lock_guard<std::mutex> Guard(getManagedStaticLock());
    T *Present = Ptr.load(std::memory_order_relaxed);
    if (!Present) {
      Present = new T();
      Ptr.store(Present, std::memory_order_release);
    }
    return *Present;
  }

  std::atomic<T *> Ptr{nullptr};
};

} // namespace orvy

#endif
