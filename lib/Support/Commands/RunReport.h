// RunReport.h - reports the speed of processors.

#ifndef ORVY_LIB_RUNREPORT_H
#define ORVY_LIB_RUNREPORT_H

#include "Base/TimeUnits.h"
#include "CommandLine/Handlers.h"

#include <cstdint>
#include <vector>

namespace orvy::cl {

/// Measures the time since its construction. Prints on the standard stream.
class RunReport {
public:
  explicit RunReport(const std::vector<Target<CpuIface>> &Cpus);

  /// Prints a line for the first processor.
  void printProcessor() const;
  /// Prints a line for each processor, and the total.
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
  uint64_t StartNanos; // on the thread's wall clock
};

} // namespace orvy::cl

#endif
