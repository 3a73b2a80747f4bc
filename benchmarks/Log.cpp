// Log: a line with a time, an object and two values, to /dev/null, and a line that is filtered out.

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

/// A processor, whose time heads its lines, and where the lines go.
struct World {
  FILE *Null = std::fopen("/dev/null", "w");
  void *Cpu = orvy_createObject("SparcV8", "benchLogger", nullptr);

  World() { orvy_logSetDefaultFile(Null); }
  ~World() {
    orvy_logSetDefaultFile(stderr);
    orvy_disposeObject(Cpu);
    std::fclose(Null);
  }
};

void line(benchmark::State &State) {
  World W;
  uint32_t Value = 0;
  for (auto _ : State)
    orvy_logError(W.Cpu, "wrote %u to 0x%.8x", ++Value, 0x80000100);
}

void filtered(benchmark::State &State) {
  World W;
  uint32_t Value = 0;
  for (auto _ : State)
    orvy_logInfo(W.Cpu, "wrote %u to 0x%.8x", ++Value, 0x80000100);
}

/// Passes the engine and ends at the object's own threshold, with a hundred other objects about.
void filteredByObject(benchmark::State &State) {
  World W;
  std::vector<void *> Others;
  for (int Index = 0; Index < 100; ++Index)
    Others.push_back(
        orvy_createObject("Ram", ("benchRam" + std::to_string(Index)).c_str(), nullptr));
  orvy_logSetLevel(ovLOG_Debug);
  orvy_objectSetLogLevel(W.Cpu, 0, ovLOG_Error);
  uint32_t Value = 0;
  for (auto _ : State)
    orvy_logInfo(W.Cpu, "wrote %u to 0x%.8x", ++Value, 0x80000100);
  orvy_logSetLevel(ovLOG_Error);
  for (void *Other : Others)
    orvy_disposeObject(Other);
}

void printPlain(benchmark::State &State) {
  World W;
  uint32_t Value = 0;
  double Time = 0;
  for (auto _ : State) {
    char Text[256];
    benchmark::DoNotOptimize(Time);
    int Length = std::snprintf(Text, sizeof(Text), "%f: %s: %s : ", Time, "error", "benchLogger");
    std::snprintf(Text + Length, sizeof(Text) - static_cast<size_t>(Length), "wrote %u to 0x%.8x\n",
                  ++Value, 0x80000100);
    std::fputs(Text, W.Null);
  }
}

[[gnu::noinline, gnu::format(printf, 2, 3)]] void ignore(const void *Obj, const char *Fmt, ...) {
  benchmark::DoNotOptimize(Obj);
  benchmark::DoNotOptimize(Fmt);
}

void callPlain(benchmark::State &State) {
  void (*Call)(const void *, const char *, ...) = ignore;
  uint32_t Value = 0;
  for (auto _ : State) {
    benchmark::DoNotOptimize(Call);
    Call(nullptr, "wrote %u to 0x%.8x", ++Value, 0x80000100);
  }
}

const int Rows[] = {
    bench::compare("log line", bench::below(500), line, printPlain),
    bench::compare("log line that is filtered out", bench::below(10), filtered, callPlain),
    bench::compare("log line that its object filters out", bench::below(10), filteredByObject,
                   callPlain),
};

} // namespace
