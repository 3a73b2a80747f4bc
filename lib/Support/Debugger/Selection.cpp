#include "Debugger/Selection.h"

#include "Base/HexText.h"
#include "Debugger/SourceExpression.h"
#include "Debugger/ValueText.h"

#include "orvy/Support/FileSystem.h"

using namespace orvy;
using namespace orvy::cl;
using namespace orvy::debugger;

namespace {

std::string ChosenCpu; // by name, as an object may be made anew by a restore

struct {
  std::string Cpu;
  uint64_t Steps = 0, Pc = 0;
  unsigned Level = 0;
} ChosenFrame;

void *asCpu(void *Obj) {
  return Obj && orvy_isCpu(Obj) ? Obj : nullptr;
}

void *namedBy(const char *VariableName) {
  const Var *Variable = Var::findVariable(VariableName);
  return Variable ? orvy_objectForName(Variable->getValue().c_str()) : nullptr;
}

void *currentOf(void *Obj) {
  if (void *Cpu = asCpu(Obj))
    return Cpu;
  const auto *Machine =
      Obj ? static_cast<const MachineIface *>(orvy_getInterface(Obj, "MachineIface", 0)) : nullptr;
  return Machine && Machine->getCurrentCpu ? asCpu(Machine->getCurrentCpu(Obj).Obj) : nullptr;
}

uint64_t stepsOf(void *Cpu) {
  const auto *Iface = static_cast<const CpuIface *>(orvy_getInterface(Cpu, "CpuIface", 0));
  return Iface && Iface->getSteps ? Iface->getSteps(Cpu) : 0;
}

} // namespace

void *orvy::debugger::selectedCpu() {
  if (!ChosenCpu.empty())
    if (void *Cpu = asCpu(orvy_objectForName(ChosenCpu.c_str())))
      return Cpu;
  if (void *Cpu = asCpu(namedBy("DEFAULT_CPU")))
    return Cpu;
  if (void *Cpu = currentOf(namedBy("DEFAULT_RUNNABLE")))
    return Cpu;
  return orvy_getProcessorCount() > 0 ? orvy_getProcessors()[0] : nullptr;
}

void orvy::debugger::selectCpu(void *Cpu) {
  ChosenCpu = orvy_nameForObject(Cpu);
}

void *orvy::debugger::requireCpu(Command &Cmd) {
  const Option &Opt = Cmd.getOption("cpu");
  if (Opt.Valid) {
    void *Cpu = asCpu(Opt.getValue<void *>());
    if (!Cpu)
      errs() << "'" << Opt.Value << "' is not a processor\n";
    return Cpu;
  }
  void *Cpu = selectedCpu();
  if (!Cpu)
    errs() << "there is no processor\n";
  return Cpu;
}

unsigned orvy::debugger::selectedLevel(void *Cpu) {
  const bool IsSame = ChosenFrame.Cpu == orvy_nameForObject(Cpu) &&
                      ChosenFrame.Steps == stepsOf(Cpu) && ChosenFrame.Pc == orvy_cpuGetPc(Cpu);
  return IsSame ? ChosenFrame.Level : 0;
}

void orvy::debugger::selectLevel(void *Cpu, unsigned Level) {
  ChosenFrame = {orvy_nameForObject(Cpu), stepsOf(Cpu), orvy_cpuGetPc(Cpu), Level};
}

Listing &orvy::debugger::listing() {
  static Listing Place;
  return Place;
}

std::string orvy::debugger::fileName(const source::SourcePlace &Place) {
  return Place.File ? fs::fileNameComponent(Place.File->c_str()) : std::string();
}

std::string orvy::debugger::frameText(Stopped &In, Backtrace &Trace, const Frame &Of,
                                      bool WithArguments) {
  std::string Text = "#" + std::to_string(Of.Level);
  Text.resize(std::max<size_t>(Text.size() + 1, 4), ' ');
  // The address says nothing where the place in the source does, at the start of a line.
  if (!Of.Place.IsStart && !Of.IsInlined && !Of.HasInlined)
    Text += "0x" + hexText(Of.Pc, 8) + " in ";
  Text += Trace.functionName(Of) + " (";
  ValueFormat Short;
  Short.NamesType = false;
  Short.IsSummary = true;
  if (WithArguments) {
    const char *Comma = "";
    for (const Variable &Parameter : parametersOf(In)) {
      Text += Comma + Parameter.Name + "=";
      try {
        Text += valueText(valueOf(*Parameter.Entry, In), In, Short);
      } catch (const EvaluationError &Why) {
        Text += std::string("<error: ") + Why.what() + ">";
      }
      Comma = ", ";
    }
  }
  Text += ")";
  if (const std::string File = fileName(Of.Place); !File.empty() && Of.Place.Line)
    Text += " at " + File + ":" + std::to_string(Of.Place.Line);
  return Of.IsTrap ? Text + " <trap handler>" : Text;
}
