#include "Logging/LogSources.h"

#include <cmath>

using namespace orvy;

namespace {

constinit LogSources Sources = {
    [](const void *) -> const char * { return nullptr; },
    [](const void *) -> orvy_Object * { return nullptr; },
    [](const void *, uint32_t) -> const char * { return nullptr; },
    [](const void *) -> void * { return nullptr; },
};
using AskTime = double (*)(void *TimeSource);
constinit AskTime SecondsOf = [](void *) { return std::nan(""); };

} // namespace

void orvy::setLogSources(const LogSources &Answers) {
  Sources = Answers;
}

void orvy::setLogTime(double (*Seconds)(void *TimeSource)) {
  SecondsOf = Seconds;
}

const LogSources &orvy::logSources() {
  return Sources;
}

double orvy::logSecondsOf(const void *Obj) {
  static thread_local bool Asking = false;
  void *Source = Asking ? nullptr : Sources.timeSourceOf(Obj);
  if (!Source)
    return std::nan("");
  Asking = true;
  const double Secs = SecondsOf(Source);
  Asking = false;
  return Secs;
}
