// RunReport.h - how fast processors ran.

#ifndef ORVY_LIB_RUNREPORT_H
#define ORVY_LIB_RUNREPORT_H

#include "CommandLine/Handlers.h"

#include <cstdint>
#include <vector>

namespace orvy::cl {

/// Measures from its construction until it is printed, on the standard stream.
class RunReport {
public:
  explicit RunReport(const std::vector<Target<CpuIface>> &Cpus);

  /// The line of the first processor alone.
  void printProcessor() const;
  /// A line for each processor, and the total over so many simulated nanoseconds.
  void printMachine(uint64_t SimulatedNanos) const;

private:
  struct Counts {
    int64_t Steps;
    int64_t Cycles;
  };
  struct Runner {
    Target<CpuIface> Cpu;
    Counts Start;
  };

  static Counts countsOf(Target<CpuIface> Cpu);
  static Counts countsSince(const Runner &R);
  static void printRates(Counts Done, double Secs);
  double elapsedSecs() const;

  std::vector<Runner> Runners;
  uint64_t StartNanos; // of the thread's wall clock
};

} // namespace orvy::cl

#endif
