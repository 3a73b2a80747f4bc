// Main.cpp - hot paths of the library and its models, each beside a plain yardstick in the same
// run.
//
// usage: benchmarks [options of Google Benchmark]

#include "Table.h"

#include "orvy/Support/Orvy.h"

#include <cstdio>
#include <vector>

namespace {

/// The options, after the defaults that they may override. Repetitions of a path and of its
/// yardstick alternate, so that what else the machine does falls on both.
std::vector<char *> withDefaults(int argc, char **argv) {
  static char Repetitions[] = "--benchmark_repetitions=25";
  static char Interleaving[] = "--benchmark_enable_random_interleaving=true";
  static char MinTime[] = "--benchmark_min_time=0.02";
  std::vector<char *> Args = {argv[0], Repetitions, Interleaving, MinTime};
  Args.insert(Args.end(), argv + 1, argv + argc);
  return Args;
}

const char *Program;

bool startLibrary() {
  orvy_initPathSupport(Program);
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy_logSetLevel(ovLOG_Error);
  if (orvy_loadPlugin("Memory") == 0 && orvy_loadPlugin("SparcV8") == 0 &&
      orvy_loadPlugin("Devices") == 0)
    return true;
  std::fprintf(stderr, "benchmarks: a model could not be loaded\n");
  return false;
}

} // namespace

int main(int argc, char **argv) {
  std::vector<char *> Args = withDefaults(argc, argv);
  int Count = static_cast<int>(Args.size());
  benchmark::Initialize(&Count, Args.data());
  if (benchmark::ReportUnrecognizedArguments(Count, Args.data()))
    return 1;
  Program = argv[0];
  return bench::runAll(startLibrary) ? 0 : 1;
}
