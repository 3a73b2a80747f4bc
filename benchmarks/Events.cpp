// Events: a queue in which every event that fires is posted again at a random distance.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <map>
#include <memory>
#include <queue>
#include <string>
#include <vector>

namespace {

/// Distances up to a million, from the state of a xorshift generator.
class Distances {
public:
  uint64_t next() {
    State ^= State << 13;
    State ^= State >> 7;
    State ^= State << 17;
    return State;
  }
  int64_t distance() { return static_cast<int64_t>(next() % 1000000) + 1; }

private:
  uint64_t State = 88172645463325252;
};

/// A queue of the library with a number of events, all scheduled.
struct Population {
  orvy_EventQueue *Queue = orvy_allocateEventQueue();
  Distances Random;
  int64_t FirstId = 0; // the others follow: a table of them would be one more miss
  uint64_t Count;

  explicit Population(int Count) : Count(static_cast<uint64_t>(Count)) {
    for (int Index = 0; Index < Count; ++Index) {
      std::string Name = "bench" + std::to_string(Index);
      int64_t Id = orvy_eventPublish(Name.c_str(), this, postAgain);
      if (Index == 0)
        FirstId = Id;
      orvy_eventPtrNS(Id)->Data = this;
      orvy_eventPostAbsoluteInQueueInternal(Queue, Id, Random.distance());
    }
  }

  static void postAgain(orvy_Event *Event) {
    auto *P = static_cast<Population *>(Event->Data);
    orvy_eventPostAbsoluteInQueueInternal(P->Queue, Event->EventId,
                                          Event->Time + P->Random.distance());
  }

  /// Indices of events to post again. They are drawn in advance: who posts an event knows its id,
  /// as the function of one that fires does. A processor learns some hundred of them by heart.
  std::vector<int32_t> drawEvents(size_t Draws) {
    std::vector<int32_t> Indices(Draws);
    for (int32_t &Index : Indices)
      Index = static_cast<int32_t>((Random.next() >> 32) * Count >> 32);
    return Indices;
  }

  /// The population of a size; it goes on where the benchmark before has left it.
  static Population &of(int Count) {
    static std::map<int, std::unique_ptr<Population>> All;
    std::unique_ptr<Population> &P = All[Count];
    if (!P)
      P = std::make_unique<Population>(Count);
    return *P;
  }
};

struct Later {
  bool operator()(const orvy_Event *A, const orvy_Event *B) const { return A->Time > B->Time; }
};

/// The same in a bare priority queue of pointers.
struct PlainPopulation {
  std::vector<std::unique_ptr<orvy_Event>> Events;
  std::priority_queue<orvy_Event *, std::vector<orvy_Event *>, Later> Queue;
  Distances Random;

  explicit PlainPopulation(int Count) {
    for (int Index = 0; Index < Count; ++Index) {
      Events.push_back(std::make_unique<orvy_Event>());
      Events.back()->Time = Random.distance();
      Queue.push(Events.back().get());
    }
  }

  static PlainPopulation &of(int Count) {
    static std::map<int, std::unique_ptr<PlainPopulation>> All;
    std::unique_ptr<PlainPopulation> &P = All[Count];
    if (!P)
      P = std::make_unique<PlainPopulation>(Count);
    return *P;
  }
};

bench::Function popAndPost(int Count) {
  return [Count](benchmark::State &State) {
    orvy_EventQueue *Queue = Population::of(Count).Queue;
    for (auto _ : State)
      benchmark::DoNotOptimize(orvy_eventTriggerFirst(Queue));
  };
}

bench::Function popAndPushPlain(int Count) {
  return [Count](benchmark::State &State) {
    PlainPopulation &P = PlainPopulation::of(Count);
    for (auto _ : State) {
      orvy_Event *First = P.Queue.top();
      P.Queue.pop();
      First->Time += P.Random.distance();
      P.Queue.push(First);
    }
  };
}

bench::Function postScheduled(int Count) {
  return [Count](benchmark::State &State) {
    Population &P = Population::of(Count);
    const std::vector<int32_t> Draws = P.drawEvents(1 << 20);
    int64_t Now = orvy_eventGetFirstTime(P.Queue);
    size_t Next = 0;
    for (auto _ : State) {
      orvy_eventPostAbsoluteInQueueInternal(P.Queue, P.FirstId + Draws[Next],
                                            Now + P.Random.distance());
      if (++Next == Draws.size())
        Next = 0;
    }
  };
}

void firstTime(benchmark::State &State) {
  const orvy_EventQueue *Queue = Population::of(1000).Queue;
  for (auto _ : State)
    benchmark::DoNotOptimize(orvy_eventGetFirstTime(Queue));
}

int64_t firstTimePlain(const orvy_Event *Event) {
  return Event->Time;
}

void indirectCall(benchmark::State &State) {
  int64_t (*Call)(const orvy_Event *) = firstTimePlain;
  orvy_Event Event{};
  for (auto _ : State) {
    benchmark::DoNotOptimize(Call);
    benchmark::DoNotOptimize(Call(&Event));
  }
}

const int Rows[] = {
    bench::compare("pop and post, 10 pending", {1.3, 0}, popAndPost(10), popAndPushPlain(10)),
    bench::compare("pop and post, 1 000 pending", {1.0, 0}, popAndPost(1000),
                   popAndPushPlain(1000)),
    bench::compare("pop and post, 100 000 pending", {0.8, 0}, popAndPost(100000),
                   popAndPushPlain(100000)),
    // A post in use follows the pop of the same event, which is the yardstick here.
    bench::compare("post scheduled, 10 pending", {1.0, 0}, postScheduled(10), popAndPost(10)),
    bench::compare("post scheduled, 1 000 pending", {1.0, 0}, postScheduled(1000),
                   popAndPost(1000)),
    bench::compare("post scheduled, 100 000 pending", {1.0, 0}, postScheduled(100000),
                   popAndPost(100000)),
    bench::compare("orvy_eventGetFirstTime", {1.0, 2}, firstTime, indirectCall),
};

} // namespace
