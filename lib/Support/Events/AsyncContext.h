// AsyncContext.h - the background thread that waits on descriptors, and what it waits for.

#ifndef ORVY_LIB_ASYNCCONTEXT_H
#define ORVY_LIB_ASYNCCONTEXT_H

#include "Base/UniqueDescriptor.h"

#include "orvy/Support/AsyncEvents.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sys/types.h>
#include <thread>

namespace orvy {

enum class AsyncKind : uint32_t { Read = 0, Write = 1, Timer = 2, Notifier = 3 };

/// What the thread waits for.
struct AsyncEvent {
  AsyncKind Kind;
  void *Holder; ///< the queue holder that gets the callback
  int Fd;
  uint32_t Flags;
  orvy_ThreadSafeCb Func;
  void *Arg;
  uint64_t Key; ///< its place among all entries, and the data word of its reports

  /// What to wait for, always in one-shot mode: once reported, an entry is silent until it is armed
  /// again.
  uint32_t mask() const;
  /// Waits for the next report.
  void rearm(int EpollFd) const;
};

/// The entries and the thread. A report finds its entry by key, as one may still come for an entry
/// that is gone. An entry that was taken off the table has no other user once the thread has gone
/// round its loop and the callback was removed from the queue.
class AsyncContext {
public:
  AsyncContext();
  AsyncContext(const AsyncContext &) = delete;
  AsyncContext &operator=(const AsyncContext &) = delete;
  ~AsyncContext();

  /// The one context. Null after its end, and in a forked child, which has no thread.
  static AsyncContext *get();

  int addSocket(const AsyncEvent &Entry);
  int addTimer(AsyncEvent Entry, double Seconds);
  void signalSocketDeletion(int Fd, uint32_t Flags);
  void signalTimerDeletion(int Fd);
  /// Removes all entries of a holder that goes away.
  void forgetHolder(const void *Holder);

  /// The body of the thread.
  void loop();
  /// Ends a delivery: arms the entry again, or destroys a timer that fires once.
  void endDelivery(AsyncEvent *Entry);

private:
  using Owned = std::unique_ptr<AsyncEvent>;
  using Entries = std::map<uint64_t, Owned>;

  bool makeNotifier(AsyncEvent &Notifier, int Fd);
  void startThread();
  bool add(const AsyncEvent &Entry);
  Owned takeNewest(int Fd, const std::function<bool(const AsyncEvent &)> &IsWanted);
  Owned take(Entries::iterator Where);
  bool isRegistered(Entries::const_iterator Where) const;
  void removeEvent(int Fd) const;
  void retire(Owned Entry);
  void awaitThread();

  bool handle(uint64_t Key, uint32_t Conditions, bool &HasDeletions);
  void post(uint64_t Key, uint32_t Conditions);
  void confirmDeletions();
  void rearmDeleteNotifications();

  std::mutex EventLock;            // guards Events and Serial
  std::mutex DeleteLock;           // guards Requested, Confirmed and HasEnded
  std::condition_variable Deleted; // one of these has changed
  std::thread Thread;
  Entries Events; // by descriptor, then by age
  UniqueDescriptor EpollFd;
  UniqueDescriptor TerminateFd;
  AsyncEvent TerminateEvent{};
  UniqueDescriptor DeleteFd;
  AsyncEvent DeleteEvent{};
  uint32_t Serial = 0;
  uint64_t Requested = 0;       // deletions asked for
  uint64_t Confirmed = 0;       // deletions that the thread has seen
  bool HasEnded = false;        // of the thread
  std::atomic<size_t> Count{0}; // of Events
  const pid_t Process;
};

/// The callback of every entry, which is its argument. Runs on the simulation thread.
void eventCb(void *Entry);

} // namespace orvy

#endif
