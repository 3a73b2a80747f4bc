#include "orvy/Support/AsyncEvents.h"

#include "Base/InternalError.h"
#include "Base/TimeUnits.h"
#include "Events/AsyncContext.h"
#include "Objsys/Observers.h"

#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <new>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <system_error>
#include <utility>
#include <vector>

namespace orvy {

namespace {

std::atomic<AsyncContext *> Current{nullptr};

/// The newest key that an entry on a descriptor can have.
uint64_t lastKey(int Fd) {
  return uint64_t{static_cast<uint32_t>(Fd)} << 32 | UINT32_MAX;
}

int control(int EpollFd, int Operation, const AsyncEvent &Entry) {
  epoll_event Event{};
  Event.events = Entry.mask();
  Event.data.u64 = Entry.Key;
  return epoll_ctl(EpollFd, Operation, Entry.Fd, &Event);
}

/// Whether a call has failed because its descriptor was closed under us. Its number may stand for
/// another file by now.
bool isClosed(int Error) {
  return Error == EBADF || Error == ENOENT;
}

void raise(int EventFd) {
  uint64_t One = 1;
  retryOnSignal([&] { return write(EventFd, &One, sizeof(One)); });
}

/// Takes the counter of an eventfd or timerfd.
void takeCount(int Fd) {
  uint64_t Counter;
  retryOnSignal([&] { return read(Fd, &Counter, sizeof(Counter)); });
}

/// The argument of a timer. For a negative time or not a number it is invalid: the timer rejects it.
timespec timeOf(double Seconds) {
  constexpr double Longest = 1e18;
  if (!(Seconds >= 0))
    return {-1, 0};
  double Whole = std::floor(std::min(Seconds, Longest));
  auto Nanos = static_cast<long>((std::min(Seconds, Longest) - Whole) * orvy::NanosPerSecond);
  return {static_cast<time_t>(Whole), Nanos};
}

/// A call of a model's function, which may remove the entry that it is called for.
class Delivery {
public:
  explicit Delivery(AsyncEvent *Entry) : Entry(Entry), Outer(Innermost) { Innermost = this; }
  ~Delivery() { Innermost = Outer; }
  Delivery(const Delivery &) = delete;
  Delivery &operator=(const Delivery &) = delete;

  /// Null once the entry was removed on this thread.
  AsyncEvent *entry() const { return Entry; }

  static void forget(const AsyncEvent *Entry) {
    for (Delivery *Frame = Innermost; Frame; Frame = Frame->Outer)
      if (Frame->Entry == Entry)
        Frame->Entry = nullptr;
  }

private:
  AsyncEvent *Entry;
  Delivery *Outer;
  static thread_local Delivery *Innermost;
};

thread_local Delivery *Delivery::Innermost = nullptr;

} // namespace

// AsyncEvent

uint32_t AsyncEvent::mask() const {
  switch (Kind) {
  case AsyncKind::Read:
  case AsyncKind::Timer:
  case AsyncKind::Notifier:
    return EPOLLIN | EPOLLONESHOT;
  case AsyncKind::Write:
    return (Flags & ovAS_Write ? uint32_t{EPOLLOUT} : 0) | EPOLLONESHOT;
  }
  return EPOLLONESHOT;
}

void AsyncEvent::rearm(int EpollFd) const {
  if (Kind == AsyncKind::Notifier) {
    errs() << "asyncevent: rearming event fd\n"
           << "asyncevent: this is invalid, report this to kalvex\n";
    return;
  }
  if (control(EpollFd, EPOLL_CTL_MOD, *this) != 0 && !isClosed(errno))
    std::perror("epoll_ctl");
}

void eventCb(void *Arg) {
  auto *Entry = static_cast<AsyncEvent *>(Arg);
  Delivery Frame(Entry);
  if (Entry->Func)
    Entry->Func(Entry->Arg);
  AsyncContext *Context = AsyncContext::get();
  if (Context && Frame.entry())
    Context->endDelivery(Entry);
}

// AsyncContext: life

AsyncContext::AsyncContext()
    : EpollFd(epoll_create1(EPOLL_CLOEXEC)), TerminateFd(eventfd(0, EFD_CLOEXEC)),
      DeleteFd(eventfd(0, EFD_CLOEXEC)), Process(getpid()) {
  const bool CanEnd = makeNotifier(TerminateEvent, TerminateFd.get());
  const bool CanDelete = makeNotifier(DeleteEvent, DeleteFd.get());
  Current = this;
  // Without them the thread, and all requests to it, would wait for ever.
  if (CanEnd && CanDelete)
    startThread();
  else
    HasEnded = true;
}

AsyncContext::~AsyncContext() {
  Current = nullptr;
  if (getpid() != Process) {
    // The thread and the open files are the parent's. The handle of a thread that
    // is not here can be neither joined nor detached, only kept from its destructor.
    alignas(std::thread) static unsigned char Parents[sizeof(std::thread)];
    new (Parents) std::thread(std::move(Thread));
    return;
  }
  raise(TerminateFd.get());
  if (Thread.joinable())
    Thread.join();
  while (!Events.empty())
    take(Events.begin());
}

AsyncContext *AsyncContext::get() {
  AsyncContext *Context = Current;
  return Context && Context->Process == getpid() ? Context : nullptr;
}

bool AsyncContext::makeNotifier(AsyncEvent &Notifier, int Fd) {
  Notifier = {AsyncKind::Notifier, nullptr, Fd, 0, nullptr, nullptr, lastKey(Fd)};
  if (control(EpollFd.get(), EPOLL_CTL_ADD, Notifier) == 0)
    return true;
  std::perror("epollctl terminate event");
  return false;
}

/// Blocks signals in this thread: they go to the threads that expect them.
void AsyncContext::startThread() {
  sigset_t All;
  sigset_t Before;
  sigfillset(&All);
  pthread_sigmask(SIG_SETMASK, &All, &Before);
  try {
    Thread = std::thread(orvy_asyncLoop);
  } catch (const std::system_error &Error) {
    errno = Error.code().value();
    std::perror("asyncevent thread");
    HasEnded = true;
  }
  pthread_sigmask(SIG_SETMASK, &Before, nullptr);
}

// AsyncContext: adding

bool AsyncContext::add(const AsyncEvent &Entry) {
  std::lock_guard<std::mutex> Guard(EventLock);
  auto Added = std::make_unique<AsyncEvent>(Entry);
  Added->Key = uint64_t{static_cast<uint32_t>(Entry.Fd)} << 32 | Serial++;
  if (control(EpollFd.get(), EPOLL_CTL_ADD, *Added) != 0) {
    std::perror("epoll_ctl");
    return false;
  }
  uint64_t Key = Added->Key;
  Events[Key] = std::move(Added);
  Count = Events.size();
  return true;
}

int AsyncContext::addSocket(const AsyncEvent &Entry) {
  add(Entry);
  return Entry.Fd;
}

int AsyncContext::addTimer(AsyncEvent Entry, double Seconds) {
  UniqueDescriptor Timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  if (!Timer.isOpen()) {
    std::perror("timerfd_create");
    return -1;
  }
  Entry.Fd = Timer.get();
  if (!add(Entry))
    return -1;
  timespec First = timeOf(Seconds);
  itimerspec Times{Entry.Flags & ovAS_Repeat ? First : timespec{}, First};
  if (timerfd_settime(Timer.get(), 0, &Times, nullptr) != 0)
    std::perror("timerfd_settime");
  return Timer.release();
}

// AsyncContext: removing

/// Adding to a descriptor succeeds only if no entry is registered with it. So of several entries on
/// one, the newest is registered, and the descriptor was closed under the others.
bool AsyncContext::isRegistered(Entries::const_iterator Where) const {
  auto Next = std::next(Where);
  return Next == Events.end() || Next->second->Fd != Where->second->Fd;
}

void AsyncContext::removeEvent(int Fd) const {
  if (epoll_ctl(EpollFd.get(), EPOLL_CTL_DEL, Fd, nullptr) == 0 || isClosed(errno))
    return;
  std::perror("epoll_ctl(delete)");
  ORVY_INTERNAL_ERROR("a descriptor cannot be taken off");
}

/// Takes an entry off the table and its descriptor out of the wait. Needs the event lock.
AsyncContext::Owned AsyncContext::take(Entries::iterator Where) {
  if (isRegistered(Where))
    removeEvent(Where->second->Fd);
  Owned Entry = std::move(Where->second);
  Events.erase(Where);
  Count = Events.size();
  return Entry;
}

/// The newest entry of a kind on a descriptor, off the table. Null if there is none.
AsyncContext::Owned
AsyncContext::takeNewest(int Fd, const std::function<bool(const AsyncEvent &)> &IsWanted) {
  std::lock_guard<std::mutex> Guard(EventLock);
  for (auto Where = Events.upper_bound(lastKey(Fd)); Where != Events.begin();) {
    --Where;
    if (Where->second->Fd != Fd)
      break;
    if (IsWanted(*Where->second))
      return take(Where);
  }
  return nullptr;
}

/// Waits until the thread has gone round its loop: what it had begun for an entry that is off the
/// table is done by then.
void AsyncContext::awaitThread() {
  std::unique_lock<std::mutex> Lock(DeleteLock);
  uint64_t Ticket = ++Requested;
  raise(DeleteFd.get());
  Deleted.wait(Lock, [&] { return Confirmed >= Ticket || HasEnded; });
}

/// Destroys an entry that is off the table, and withdraws its callback if that was posted. On the
/// caller's thread: within a callback the queue is the caller's own, and the background thread
/// would wait for it in vain.
void AsyncContext::retire(Owned Entry) {
  if (!Entry)
    return;
  orvy_eventRemoveAsync(Entry->Holder, eventCb, Entry.get(), ovSE_Cpu);
  Delivery::forget(Entry.get());
}

void AsyncContext::signalSocketDeletion(int Fd, uint32_t Flags) {
  Owned Entry = takeNewest(Fd, [Flags](const AsyncEvent &Each) {
    return Each.Kind != AsyncKind::Timer && Each.Flags == Flags;
  });
  awaitThread();
  retire(std::move(Entry));
}

void AsyncContext::signalTimerDeletion(int Fd) {
  Owned Entry =
      takeNewest(Fd, [](const AsyncEvent &Each) { return Each.Kind == AsyncKind::Timer; });
  awaitThread();
  retire(std::move(Entry));
}

void AsyncContext::forgetHolder(const void *Holder) {
  if (Count == 0)
    return;
  std::vector<Owned> Taken;
  {
    std::lock_guard<std::mutex> Guard(EventLock);
    for (auto Where = Events.begin(); Where != Events.end();) {
      auto Each = Where++;
      if (Each->second->Holder == Holder)
        Taken.push_back(take(Each));
    }
  }
  if (Taken.empty())
    return;
  awaitThread();
  for (Owned &Entry : Taken)
    retire(std::move(Entry));
}

// AsyncContext: the thread

void AsyncContext::loop() {
  bool GoesOn = true;
  while (GoesOn) {
    epoll_event Ready[10];
    int Found =
        retryOnSignal([&] { return epoll_wait(EpollFd.get(), Ready, std::size(Ready), -1); });
    if (Found < 0)
      break;
    bool HasDeletions = false;
    for (int Index = 0; Index < Found && GoesOn; ++Index)
      GoesOn = handle(Ready[Index].data.u64, Ready[Index].events, HasDeletions);
    if (HasDeletions)
      confirmDeletions();
  }
  std::lock_guard<std::mutex> Guard(DeleteLock);
  HasEnded = true;
  Deleted.notify_all();
}

/// Acts on a report. False for the one that ends the thread.
bool AsyncContext::handle(uint64_t Key, uint32_t Conditions, bool &HasDeletions) {
  if (Key == TerminateEvent.Key) {
    takeCount(TerminateFd.get());
    return false;
  }
  if (Key == DeleteEvent.Key)
    HasDeletions = true;
  else
    post(Key, Conditions);
  return true;
}

/// Posts the callback of an entry. A report that carries only an error leaves it disarmed.
void AsyncContext::post(uint64_t Key, uint32_t Conditions) {
  std::unique_lock<std::mutex> Lock(EventLock);
  auto Found = Events.find(Key);
  if (Found == Events.end())
    return;
  AsyncEvent *Entry = Found->second.get();
  void *Holder = Entry->Holder;
  bool IsMet = Entry->Kind == AsyncKind::Timer || (Conditions & Entry->mask());
  Lock.unlock();
  // A thread that takes the entry off the table meanwhile waits for this one.
  if (IsMet)
    orvy_eventPostAsync(Holder, eventCb, Entry, ovSE_Cpu);
}

void AsyncContext::confirmDeletions() {
  takeCount(DeleteFd.get());
  std::lock_guard<std::mutex> Guard(DeleteLock);
  Confirmed = Requested;
  rearmDeleteNotifications();
  Deleted.notify_all();
}

void AsyncContext::rearmDeleteNotifications() {
  if (control(EpollFd.get(), EPOLL_CTL_MOD, DeleteEvent) != 0)
    std::perror("epoll_ctl");
}

void AsyncContext::endDelivery(AsyncEvent *Entry) {
  bool IsTimer = Entry->Kind == AsyncKind::Timer;
  if (IsTimer)
    takeCount(Entry->Fd);
  std::lock_guard<std::mutex> Guard(EventLock);
  auto Found = Events.find(Entry->Key);
  if (Found == Events.end() || !isRegistered(Found))
    return;
  if (!IsTimer || (Entry->Flags & ovAS_Repeat)) {
    Entry->rearm(EpollFd.get());
    return;
  }
  UniqueDescriptor Timer(Entry->Fd);
  take(Found);
}

namespace {

AsyncContext g_Ctxt;

const objsys::Observer WaitsEnd(
    [](void *Holder) {
      if (AsyncContext *Context = AsyncContext::get())
        Context->forgetHolder(Holder);
    },
    nullptr);

} // namespace

} // namespace orvy

using orvy::AsyncContext;
using orvy::AsyncKind;

int orvy_asyncSocketAdd(void *Holder, int Descriptor, uint32_t Flags, orvy_ThreadSafeCb Func,
                        void *Arg) {
  AsyncKind Kind = Flags & ovAS_Read ? AsyncKind::Read : AsyncKind::Write;
  if (AsyncContext *Context = AsyncContext::get())
    Context->addSocket({Kind, Holder, Descriptor, Flags, Func, Arg, 0});
  return Descriptor;
}

void orvy_asyncSocketRemove(int Descriptor, uint32_t Flags) {
  if (AsyncContext *Context = AsyncContext::get())
    Context->signalSocketDeletion(Descriptor, Flags);
}

int orvy_asyncTimerAdd(void *Holder, double Seconds, uint32_t Flags, orvy_ThreadSafeCb Func,
                       void *Arg) {
  AsyncContext *Context = AsyncContext::get();
  return Context ? Context->addTimer({AsyncKind::Timer, Holder, -1, Flags, Func, Arg, 0}, Seconds)
                 : -1;
}

void orvy_asyncTimerRemove(int Descriptor) {
  if (AsyncContext *Context = AsyncContext::get())
    Context->signalTimerDeletion(Descriptor);
}

void orvy_asyncLoop(void) {
  orvy::g_Ctxt.loop();
}
