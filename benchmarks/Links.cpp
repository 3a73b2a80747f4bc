// Links: the CRC and the decoder of RMAP packets, and callbacks that reach the simulation thread
// from another one.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// CRC

std::array<uint8_t, 256> makeTable() {
  std::array<uint8_t, 256> Table;
  for (unsigned Byte = 0; Byte < 256; ++Byte)
    Table[Byte] = orvy_spwRmapCRCNextCode(0, static_cast<uint8_t>(Byte));
  return Table;
}

std::vector<uint8_t> bytesOf(size_t Size) {
  std::vector<uint8_t> Bytes(Size);
  for (size_t Index = 0; Index < Size; ++Index)
    Bytes[Index] = static_cast<uint8_t>(Index * 37);
  return Bytes;
}

bench::Function crc(size_t Size) {
  return [Size](benchmark::State &State) {
    auto Bytes = bytesOf(Size);
    for (auto _ : State)
      benchmark::DoNotOptimize(orvy_spwRmapCRC(Bytes.data(), static_cast<uint32_t>(Size)));
    State.SetItemsProcessed(State.iterations());
  };
}

/// One table, a byte at a time.
bench::Function crcPlain(size_t Size) {
  return [Size](benchmark::State &State) {
    static const std::array<uint8_t, 256> Table = makeTable();
    auto Bytes = bytesOf(Size);
    for (auto _ : State) {
      uint8_t Code = 0;
      for (uint8_t Byte : Bytes)
        Code = Table[Code ^ Byte];
      benchmark::DoNotOptimize(Code);
    }
    State.SetItemsProcessed(State.iterations());
  };
}

/// 1.5 bytes in a nanosecond.
int crcRow(size_t Size) {
  return bench::compare("CRC of " + std::to_string(Size) + " bytes",
                        bench::below(static_cast<double>(Size) / 1.5), crc(Size), crcPlain(Size));
}

// Decoding

struct Packet {
  explicit Packet(std::vector<uint8_t> Bytes)
      : Buffer(orvy_buffCreate(static_cast<uint32_t>(Bytes.size()))) {
    std::memcpy(orvy_buffWritableData(&Buffer), Bytes.data(), Bytes.size());
  }
  ~Packet() { orvy_buffDispose(&Buffer); }
  Packet(const Packet &) = delete;
  Packet &operator=(const Packet &) = delete;

  orvy_Buff Buffer;
};

const std::vector<uint8_t> Write = {0xFE, 0x01, 0x6D, 0x00, 0,    0,    2,    1,
                                    0x67, 0x00, 0x00, 0x00, 0xA0, 0x00, 0x00, 0x00,
                                    0x00, 0x00, 0x02, 0x9F, 0x01, 0x23, 0};
const std::vector<uint8_t> Read = {0xFE, 0x01, 0x4C, 0x00, 0x67, 0x00, 0x01, 0x00,
                                   0xA0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0xC9};
const std::vector<uint8_t> Reply = {0x67, 0x01, 0x0C, 0x00, 0xFE, 0x00, 0x01, 0x00,
                                    0x00, 0x00, 0x02, 0x6D, 0x01, 0x23, 0x56};

bench::Function decode(const std::vector<uint8_t> &Bytes) {
  return [&Bytes](benchmark::State &State) {
    Packet P(Bytes);
    orvy_SpwRmapDecodedPacket Decoded;
    for (auto _ : State) {
      benchmark::DoNotOptimize(orvy_spwRmapDecodeBuffer(&P.Buffer, &Decoded));
      benchmark::ClobberMemory();
    }
  };
}

/// The record, cleared.
void clearRecord(benchmark::State &State) {
  orvy_SpwRmapDecodedPacket Decoded;
  for (auto _ : State) {
    std::memset(&Decoded, 0, sizeof(Decoded));
    benchmark::DoNotOptimize(&Decoded);
    benchmark::ClobberMemory();
  }
}

// Posting from another thread

/// A clock whose callbacks are run by a thread of its own for as long as this lives.
class SimulationThread {
public:
  SimulationThread() {
    orvy::clockmodel::registerClock();
    Clock = orvy_createObject("Clock", "benchClock", nullptr);
    Iface = static_cast<ClockIface *>(orvy_getInterface(Clock, "ClockIface", 0));
    Thread = std::thread([this] {
      while (!IsOver)
        Iface->advanceCycles(Clock, 1);
    });
  }
  ~SimulationThread() {
    IsOver = true;
    Thread.join();
    orvy_disposeObject(Clock);
  }
  SimulationThread(const SimulationThread &) = delete;
  SimulationThread &operator=(const SimulationThread &) = delete;

  void *Clock;

private:
  ClockIface *Iface;
  std::atomic<bool> IsOver{false};
  std::thread Thread;
};

void count(void *Arg) {
  ++*static_cast<uint64_t *>(Arg);
}

void post(benchmark::State &State) {
  uint64_t Calls = 0;
  SimulationThread Sim;
  for (auto _ : State)
    orvy_eventPostAsync(Sim.Clock, count, &Calls, ovSE_Cpu);
}

/// A list behind a mutex, emptied by another thread.
void postPlain(benchmark::State &State) {
  std::mutex Mutex;
  std::vector<std::pair<orvy_ThreadSafeCb, void *>> List;
  std::atomic<bool> IsOver{false};
  uint64_t Calls = 0;
  std::thread Thread([&] {
    std::vector<std::pair<orvy_ThreadSafeCb, void *>> Taken;
    while (!IsOver) {
      {
        std::lock_guard<std::mutex> Guard(Mutex);
        Taken.swap(List);
      }
      for (auto [Func, Arg] : Taken)
        Func(Arg);
      Taken.clear();
    }
  });
  for (auto _ : State) {
    std::lock_guard<std::mutex> Guard(Mutex);
    List.emplace_back(count, &Calls);
  }
  IsOver = true;
  Thread.join();
}

/// The simulation's side: a trigger while another thread posts as fast as it can. An item is a
/// trigger together with a callback for each that it took.
bench::Function triggerUnderPosts(bool WithPoster) {
  return [WithPoster](benchmark::State &State) {
    orvy_EventQueue *Queue = orvy_allocateEventQueue();
    uint64_t Calls = 0;
    std::atomic<bool> IsOver{!WithPoster};
    std::thread Poster([&] {
      while (!IsOver)
        orvy_postCallbackInQueue(Queue, count, &Calls);
    });
    int64_t Triggers = 0;
    for (auto _ : State) {
      orvy_eventTrigger(Queue, 0);
      ++Triggers;
    }
    IsOver = true;
    Poster.join();
    State.SetItemsProcessed(Triggers + static_cast<int64_t>(Calls));
    orvy_disposeEventQueue(Queue);
  };
}

const int Rows[] = {
    crcRow(64),
    crcRow(256),
    crcRow(4096),
    bench::compare("decode a write command", bench::below(30), decode(Write), clearRecord),
    bench::compare("decode a read command", bench::below(30), decode(Read), clearRecord),
    bench::compare("decode a read reply", bench::below(30), decode(Reply), clearRecord),
    bench::compare("callback posted from another thread", bench::below(200), post, postPlain),
    bench::compare("trigger while another thread posts", bench::below(200), triggerUnderPosts(true),
                   triggerUnderPosts(false)),
};

} // namespace
