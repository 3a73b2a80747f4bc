// Soak.cpp - random operations on objects, events, notifications and connections without end: what
// comes and goes must leave nothing behind.
//
// usage: Soak [SECONDS [SEED]]
//
// Ends with status 0 if the memory of the process did not grow after the first third of the time.

#include "Testing/Model.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

using namespace orvy::testing;

namespace {

constexpr size_t MostObjects = 300;
constexpr size_t ClockCount = 4;
constexpr size_t BytesOfNoise = 256 << 10; // by which the process grows and shrinks all the time

std::mt19937 Random;
uint64_t Counts[3]; // objects, events, operations

size_t below(size_t Limit) {
  return Random() % Limit;
}

std::vector<Model *> Units;
std::map<Model *, std::vector<int64_t>> Published;
void *Clocks[ClockCount];

void count(void *Obj, void *) {
  ++static_cast<Model *>(Obj)->U64[0];
}

void fire(orvy_Event *Event) {
  count(Event->Obj, nullptr);
}

void hear(void *Arg, void *, void *) {
  ++*static_cast<uint64_t *>(Arg);
}

orvy_EventQueue *queueOf(void *Clock) {
  return *reinterpret_cast<orvy_EventQueue **>(static_cast<orvy_Object *>(Clock) + 1);
}

Model *anyUnit() {
  return Units[below(Units.size())];
}

void *anyClock() {
  return Clocks[below(ClockCount)];
}

// Operations; each finds at least one unit

void create() {
  if (Units.size() >= MostObjects)
    return;
  const std::string Name = "u" + std::to_string(Counts[0]++);
  Model *U = createModel(Name.c_str());
  orvy_setTimeSource(U, anyClock());
  Units.push_back(U);
}

/// Subscribers stay when a source goes.
void unsubscribe(Model *U) {
  orvy_unsubscribeNotification("orvy.objectDisposed", U, hear);
}

void dispose() {
  if (Units.size() < 2)
    return;
  std::swap(Units[below(Units.size())], Units.back());
  Model *Gone = Units.back();
  Units.pop_back();
  for (Model *U : Units) // as a host must do that knows of references
    if (U->Ref.Obj == Gone)
      U->Ref = {};
  unsubscribe(Gone);
  Published.erase(Gone);
  orvy_disposeObject(Gone);
}

void publish() {
  Model *U = anyUnit();
  const std::string Name =
      below(4) ? "e" + std::to_string(below(8)) : "once" + std::to_string(Counts[1]);
  ++Counts[1];
  Published[U].push_back(below(3) ? orvy_eventPublish(Name.c_str(), U, fire)
                                  : orvy_eventPublishOldStyle(Name.c_str(), U, count));
}

void depublish() {
  std::vector<int64_t> &Events = Published[anyUnit()];
  if (Events.empty())
    return;
  orvy_eventDepublish(Events.back());
  Events.pop_back();
}

void post() {
  Model *U = anyUnit();
  const std::vector<int64_t> &Events = Published[U];
  if (Events.empty())
    return;
  const int64_t Id = Events[below(Events.size())];
  orvy_eventSetPeriodCycles(Id, below(4) ? 0 : 1 + static_cast<int64_t>(below(500)));
  if (orvy_eventIsScheduled(Id))
    orvy_eventDeschedule(Id);
  if (below(5))
    orvy_eventPostNanos(U->Super.TimeSource, Id, static_cast<int64_t>(below(1000)), ovSE_Cpu);
  else
    orvy_eventPostStack(anyClock(), Id, ovSE_Cpu);
}

void shoot() {
  void *Clock = anyClock();
  orvy_eventPostOneShotInternal(queueOf(Clock), anyUnit(), fire,
                                orvy_getCycles(Clock) + static_cast<int64_t>(below(2000)));
}

void postCallback() {
  static uint64_t Called;
  const orvy_ThreadSafeCb Call = [](void *) { ++Called; };
  void *Clock = anyClock();
  orvy_eventPostAsync(Clock, Call, &Called, ovSE_Cpu);
  if (below(2))
    orvy_eventRemoveAsync(Clock, Call, &Called, ovSE_Cpu);
}

void notifyOne() {
  static uint64_t Heard;
  Model *U = anyUnit();
  const int64_t Id = orvy_publishNotification("soak.event", U);
  orvy_subscribeNotification("soak.event", U, &Heard, hear);
  orvy_subscribeNotification("orvy.objectDisposed", U, &Heard, hear);
  orvy_notify(Id, nullptr);
  orvy_unsubscribeNotification("soak.event", U, hear);
}

void connect() {
  orvy_connect(anyUnit(), "ref[0]", anyUnit(), "echo");
  Model *U = anyUnit();
  if (orvy_ifaceRefArraySize(&U->Dynamic) < 20)
    orvy_connect(U, "dynamic", U, "echo");
}

void setProperties() {
  Model *U = anyUnit();
  orvy_writeValue(U, "u64", u64(Random()), 0);
  const std::string Text(below(200), 'x');
  orvy_writeValue(U, "string", text(Text.c_str()), -1);
  if (orvy_readValue(U, "string", -1).String != Text)
    std::abort();
}

void advance() {
  const auto *Iface =
      static_cast<const ClockIface *>(orvy_getInterface(anyClock(), "ClockIface", 0));
  for (void *Clock : Clocks)
    Iface->advanceCycles(Clock, 1 + below(300));
}

void replaceClock() {
  if (below(50))
    return;
  const size_t Index = below(ClockCount);
  orvy_disposeObject(Clocks[Index]);
  const std::string Name = "c" + std::to_string(Counts[0]++);
  Clocks[Index] = orvy_createObject("Clock", Name.c_str(), nullptr);
  for (Model *U : Units)
    orvy_setTimeSource(U, anyClock());
}

void begin() {
  Units.clear();
  Published.clear();
  for (void *&Clock : Clocks)
    Clock = orvy_createObject("Clock", ("c" + std::to_string(Counts[0]++)).c_str(), nullptr);
  create();
}

void clear() {
  if (below(2000))
    return;
  std::for_each(Units.begin(), Units.end(), unsubscribe);
  orvy_objsysClearObjects();
  begin();
}

size_t residentBytes() {
  size_t Pages = 0;
  std::ifstream("/proc/self/statm") >> Pages >> Pages;
  return Pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

int main(int argc, char **argv) {
  using Clock = std::chrono::steady_clock;
  const double Seconds = argc > 1 ? std::atof(argv[1]) : 3;
  Random.seed(argc > 2 ? static_cast<unsigned>(std::atol(argv[2])) : std::random_device()());
  orvy_initPathSupport(argv[0]);
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy_logSetLevel(ovLOG_Error);
  begin();
  void (*const Operations[])() = {
      create, create,       dispose,   publish, publish,       depublish, post,         post,
      shoot,  postCallback, notifyOne, connect, setProperties, advance,   replaceClock, clear};
  const auto Start = Clock::now();
  size_t Warm = 0;
  size_t Most = 0;
  for (double Passed = 0; Passed < Seconds;) {
    for (int Round = 0; Round < 10000; ++Round)
      Operations[below(std::size(Operations))]();
    Counts[2] += 10000;
    Passed = std::chrono::duration<double>(Clock::now() - Start).count();
    (Passed < Seconds / 3 ? Warm : Most) =
        std::max(Passed < Seconds / 3 ? Warm : Most, residentBytes());
  }
  orvy_objsysClear();
  std::printf("%llu operations, %llu objects, %llu events: %zu KiB after a third, %zu KiB at most "
              "since\n",
              static_cast<unsigned long long>(Counts[2]),
              static_cast<unsigned long long>(Counts[0]),
              static_cast<unsigned long long>(Counts[1]), Warm >> 10, Most >> 10);
#ifdef __SANITIZE_ADDRESS__
  return 0; // what is freed stays for a while
#endif
  return Most <= Warm + BytesOfNoise ? 0 : 1;
}
