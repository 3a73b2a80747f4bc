#include "Base/ListingGuard.h"

#include <atomic>

using orvy::ListingGuard;

namespace {

constinit std::atomic<bool> IsActive{false};
constinit std::atomic<bool> HasCome{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void interrupt(int) {
  HasCome = true;
}

} // namespace

ListingGuard::ListingGuard() {
  if (IsActive)
    return;
  sigaction(SIGINT, nullptr, &Former);
  if (Former.sa_handler == SIG_DFL || Former.sa_handler == SIG_IGN)
    return;
  IsOutermost = IsActive = true;
  HasCome = false;
  struct sigaction Action = {};
  Action.sa_handler = interrupt;
  Action.sa_flags = SA_RESTART;
  sigemptyset(&Action.sa_mask);
  sigaction(SIGINT, &Action, nullptr);
}

ListingGuard::~ListingGuard() {
  if (!IsOutermost)
    return;
  sigaction(SIGINT, &Former, nullptr);
  const bool HadCome = HasCome;
  IsActive = HasCome = false;
  if (HadCome)
    std::raise(SIGINT); // for whoever has called the command, such as Python
}

bool ListingGuard::isInterrupted() {
  return HasCome;
}
