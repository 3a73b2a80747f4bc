// ListingGuard.h - ^C while a command writes a long listing.

#ifndef ORVY_LIB_LISTINGGUARD_H
#define ORVY_LIB_LISTINGGUARD_H

#include <csignal>

namespace orvy {

/// Handles the interrupt signal while a command runs: from then on the standard stream writes nothing
/// but the rest of the present line, so that a listing ends at once whatever command writes it. Runs
/// and Python have handlers of their own. The former handler is called at the end, too. Does nothing
/// inside another guard, and if the program has left the signal to its default or ignores it.
class ListingGuard {
public:
  ListingGuard();
  ~ListingGuard();
  ListingGuard(const ListingGuard &) = delete;
  ListingGuard &operator=(const ListingGuard &) = delete;

  /// Whether the signal has come since the outermost guard was made: long listings ask this.
  static bool isInterrupted();

private:
  bool IsOutermost = false;
  struct sigaction Former;
};

} // namespace orvy

#endif
