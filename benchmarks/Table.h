// Table.h - rows of a hot path and the yardstick beside it.

#ifndef ORVY_BENCHMARKS_TABLE_H
#define ORVY_BENCHMARKS_TABLE_H

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace bench {

/// Repeats an operation for as long as the state keeps running.
using Function = std::function<void(benchmark::State &)>;

/// What a path is allowed: Times its yardstick and Plus nanoseconds.
struct Goal {
  double Times;
  double Plus;
};

constexpr Goal below(double Nanos) {
  return {0, Nanos};
}

/// Enters a row of the table: a hot path, and the yardstick that runs beside it. Where an iteration
/// is more than one operation, both set the number of items processed. Returns 0, for a static.
int compare(std::string Row, Goal Allowed, Function Path, Function Yardstick);

/// Runs the rows that the program's options choose, each in a process of its own, which Start gets
/// ready: what one does to the library is not felt by the next. Prints the table, from the medians
/// of the thread's processor time. False, with a line on the standard error, if a row failed.
bool runAll(bool (*Start)());

} // namespace bench

#endif
