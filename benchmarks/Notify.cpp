// Notifications: issuing one to subscribers that do next to nothing.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <string>
#include <vector>

namespace {

void count(void *Arg, void *, void *Info) {
  *static_cast<uint64_t *>(Arg) += Info != nullptr;
}

bench::Function notify(int Subscribers) {
  return [Subscribers](benchmark::State &State) {
    static int Instance = 0;
    std::string Name = "bench" + std::to_string(Instance++);
    int64_t Id = orvy_publishNotification(Name.c_str(), nullptr);
    uint64_t Counter = 0;
    for (int Index = 0; Index < Subscribers; ++Index)
      orvy_subscribeNotification(Name.c_str(), nullptr, &Counter, count);
    for (auto _ : State)
      orvy_notify(Id, &Counter);
    benchmark::DoNotOptimize(Counter);
    orvy_unsubscribeNotification(Name.c_str(), nullptr, count);
  };
}

bench::Function callsPlain(int Subscribers) {
  return [Subscribers](benchmark::State &State) {
    struct Entry {
      orvy_NotificationFunc Func;
      void *Arg;
    };
    uint64_t Counter = 0;
    std::vector<Entry> Entries(static_cast<size_t>(Subscribers), Entry{count, &Counter});
    for (auto _ : State) {
      benchmark::DoNotOptimize(Entries.data());
      for (const Entry &E : Entries)
        E.Func(E.Arg, nullptr, &Counter);
      benchmark::ClobberMemory();
    }
  };
}

int row(int Subscribers) {
  return bench::compare("notify, " + std::to_string(Subscribers) + " subscribers",
                        bench::below(6 + 4 * Subscribers), notify(Subscribers),
                        callsPlain(Subscribers));
}

const int Rows[] = {row(0), row(1), row(4), row(16)};

} // namespace
