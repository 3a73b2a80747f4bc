#include "Commands/RunReport.h"

#include "Base/TimeUnits.h"

#include "orvy/Support/Propval.h"
#include "orvy/Support/Time.h"

using namespace orvy;
using namespace orvy::cl;

// Prefers the processor's property, whose type is up to the model, to the value from its interface.
static int64_t counterOf(void *Cpu, const char *PropName, uint64_t Default) {
  const orvy_Propval Pv = orvy_getValue(Cpu, PropName, 0);
  return orvy_isNumber(Pv) ? orvy_asInteger(Pv) : static_cast<int64_t>(Default);
}

RunReport::Counts RunReport::countsOf(Target<CpuIface> Cpu) {
  return {counterOf(Cpu.Obj, "steps", Cpu->getSteps(Cpu.Obj)),
          counterOf(Cpu.Obj, "cycles", Cpu->getCycles(Cpu.Obj))};
}

RunReport::Counts RunReport::countsSince(const Runner &R) {
  if (!R.Cpu.exists())
    return {};
  const Counts Now = countsOf(R.Cpu);
  return {Now.Steps - R.Start.Steps, Now.Cycles - R.Start.Cycles};
}

RunReport::RunReport(const std::vector<Target<CpuIface>> &Cpus) {
  for (const Target<CpuIface> &Cpu : Cpus)
    Runners.push_back({Cpu, countsOf(Cpu)});
  StartNanos = orvy_timeGetThreadWct();
}

double RunReport::elapsedSecs() const {
  return static_cast<double>(orvy_timeGetThreadWct() - StartNanos) / NanosPerSecond;
}

void RunReport::printRates(Counts Done, double Secs) {
  outs() << static_cast<double>(Done.Steps) / 1e6 / Secs << " MIPS, "
         << static_cast<double>(Done.Cycles) / 1e6 / Secs << " MCycles/s\n";
}

void RunReport::printProcessor() const {
  const double Secs = elapsedSecs();
  outs() << "Execution time: " << Secs << "s, ";
  printRates(countsSince(Runners.front()), Secs);
}

void RunReport::printMachine(uint64_t SimulatedNanos) const {
  const double Secs = elapsedSecs();
  Counts Total = {};
  for (const Runner &R : Runners) {
    const Counts Done = countsSince(R);
    Total = {Total.Steps + Done.Steps, Total.Cycles + Done.Cycles};
    if (!R.Cpu.exists())
      continue;
    outs() << R.Cpu.name() << " execution time: "
           << " ";
    printRates(Done, Secs);
  }
  outs() << "Total execution time: " << Secs << "s (wct), "
         << static_cast<double>(SimulatedNanos) / NanosPerSecond << "s (srt), ";
  printRates(Total, Secs);
}
