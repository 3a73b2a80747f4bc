#include "Table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <regex>
#include <utility>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

struct Row {
  std::string Name;
  Goal Allowed;
  Function Path;
  Function Yardstick;
};

std::vector<Row> &rows() {
  static std::vector<Row> Rows;
  return Rows;
}

std::string pathName(const Row &R) {
  return R.Name;
}
std::string yardstickName(const Row &R) {
  return R.Name + " (yardstick)";
}

/// Collects the nanoseconds of an operation, of every repetition.
class Collector : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(const Context &) override { return true; }

  void ReportRuns(const std::vector<Run> &Runs) override {
    for (const Run &R : Runs)
      if (R.error_occurred)
        Error = R.error_message;
      else if (R.run_type == Run::RT_Iteration)
        Nanos[R.run_name.function_name].push_back(nanosPerItem(R));
  }

  /// Why a benchmark could not run; empty if all could.
  const std::string &error() const { return Error; }

  /// Median of a benchmark; 0 if it did not run.
  double median(const std::string &Name) {
    std::vector<double> &Times = Nanos[Name];
    if (Times.empty())
      return 0;
    auto Middle = Times.begin() + static_cast<std::ptrdiff_t>(Times.size() / 2);
    std::nth_element(Times.begin(), Middle, Times.end());
    return *Middle;
  }

private:
  static double nanosPerItem(const Run &R) {
    auto Items = R.counters.find("items_per_second");
    if (Items != R.counters.end())
      return 1e9 / Items->second;
    return R.cpu_accumulated_time * 1e9 / static_cast<double>(R.iterations);
  }

  std::map<std::string, std::vector<double>> Nanos;
  std::string Error;
};

std::string goalText(const Goal &G) {
  char Text[64];
  if (G.Times == 0)
    std::snprintf(Text, sizeof(Text), "%.3g ns", G.Plus);
  else if (G.Plus == 0)
    std::snprintf(Text, sizeof(Text), "%.3g x", G.Times);
  else
    std::snprintf(Text, sizeof(Text), "%.3g x + %.3g ns", G.Times, G.Plus);
  return Text;
}

void print(const Row &R, Collector &Results) {
  if (!Results.error().empty()) {
    std::printf("%-44s left out: %s\n", R.Name.c_str(), Results.error().c_str());
    return;
  }
  double Path = Results.median(pathName(R));
  double Yardstick = Results.median(yardstickName(R));
  if (Path == 0 || Yardstick == 0)
    return; // listed only
  bool IsMet = Path <= R.Allowed.Times * Yardstick + R.Allowed.Plus;
  std::printf("%-44s %9.2f %9.2f %7.2f  %s%s\n", R.Name.c_str(), Path, Yardstick, Path / Yardstick,
              goalText(R.Allowed).c_str(), IsMet ? "" : "  missed");
}

void runHere(const Row &R) {
  benchmark::RegisterBenchmark(pathName(R).c_str(), R.Path);
  benchmark::RegisterBenchmark(yardstickName(R).c_str(), R.Yardstick);
  Collector Results;
  benchmark::RunSpecifiedBenchmarks(&Results, "all");
  print(R, Results);
}

bool runAlone(const Row &R, bool (*Start)()) {
  std::fflush(stdout);
  const pid_t Child = fork();
  if (Child == 0) {
    if (!Start())
      std::exit(1);
    runHere(R);
    std::exit(0);
  }
  int Status = 0;
  if (Child > 0 && waitpid(Child, &Status, 0) == Child && Status == 0)
    return true;
  std::fprintf(stderr, "benchmarks: \"%s\" failed\n", R.Name.c_str());
  return false;
}

} // namespace

int compare(std::string Name, Goal Allowed, Function Path, Function Yardstick) {
  rows().push_back({std::move(Name), Allowed, std::move(Path), std::move(Yardstick)});
  return 0;
}

bool runAll(bool (*Start)()) {
  const std::string Filter = benchmark::GetBenchmarkFilter();
  std::regex Chosen;
  try {
    Chosen = Filter == "all" ? "" : Filter;
  } catch (const std::regex_error &) {
    std::fprintf(stderr, "benchmarks: '%s' is not a regular expression\n", Filter.c_str());
    return false;
  }
  std::printf("%-44s %9s %9s %7s  %s\n", "hot path", "ns", "yardstick", "ratio", "goal");
  bool AllRan = true;
  for (const Row &R : rows())
    if (std::regex_search(pathName(R), Chosen))
      AllRan &= runAlone(R, Start);
  return AllRan;
}

} // namespace bench
