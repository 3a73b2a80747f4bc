// The class Unit: two boards, "a" and "b", that run together. The arguments are those of a board
// and apply to both; freqB is the frequency of the second one if it differs.
//
// The clocks of the unit are the groups of its boards, and the time source of each board is its own
// first processor. The unit delegates the boards' delegated interfaces and properties with a
// suffix, as IrqCtrlIface_a and cpus_b.

#include "Board.h"

#include <string>

namespace board {

namespace {

constexpr const char *Names[] = {"a", "b"};

void addClock(orvy_Component *C, void *Obj) {
  orvy_Propval Ref = {};
  Ref.Typ = ovTY_IfaceRef;
  Ref.IfaceRef = {Obj, orvy_getInterface(Obj, "ClockIface", 0)};
  orvy_vecPush(&C->Clocks, Ref);
}

void delegate(orvy_Component *C, void *Board, const std::string &Suffix) {
  for (const char *Name : {"MemAccessIface", "MemoryIface", "IrqCtrlIface"})
    if (orvy_IfaceRef Ref = orvy_getInterfaceRef(Board, Name, -1); Ref.Obj)
      orvy_componentAddDelegateIface(C, (Name + Suffix).c_str(), Ref);
  for (const char *Name : {"asiSpace", "memorySpace", "cpus"})
    if (orvy_PropName Prop = orvy_getPropName(Board, Name); Prop.Obj)
      orvy_componentAddDelegateProp(C, (Name + Suffix).c_str(), Prop.Obj, Prop.Name);
}

/// The arguments of a unit: those of a board, and freqB, which is 0 if it is not given.
bool readArguments(const char *Name, int Argc, const orvy_CreateArg *Args, Config &Wanted,
                   uint64_t &FreqB) {
  std::vector<orvy_ArgSpec> Specs;
  for (const orvy_ArgSpec &Spec : argumentsOf(Wanted))
    if (Spec.Key)
      Specs.push_back(Spec);
  Specs.push_back({"freqB", ovAK_Freq, &FreqB, 1, MaxFreq, "Frequency of the second board"});
  Specs.push_back({});
  return orvy_readCreateArgs("Unit", Name, Argc, Args, Specs.data(), 0) == 0;
}

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  Config Wanted;
  uint64_t FreqB = 0;
  if (!readArguments(Name, Argc, Args, Wanted, FreqB))
    return nullptr;
  const uint64_t Freqs[] = {Wanted.Freq, FreqB ? FreqB : Wanted.Freq};
  orvy_Component *C = orvy_componentCreate(Name);
  C->Quanta = Quanta;
  void *Boards[2];
  for (int Idx = 0; Idx < 2; ++Idx) {
    const Arguments Given = {
        {"cpus", Wanted.Cpus}, {"ramSize", Wanted.RamSize}, {"freq", Freqs[Idx]}};
    Boards[Idx] = orvy_createComponentObject(C, "Board", Given, "%s", Names[Idx]);
  }
  for (int Idx = 0; Idx < 2; ++Idx) {
    if (!Boards[Idx])
      continue;
    addClock(C, Boards[Idx]);
    delegate(C, Boards[Idx], std::string("_") + Names[Idx]);
    if (void *Cpu = orvy_componentGetObject(static_cast<orvy_Component *>(Boards[Idx]), "cpu0"))
      orvy_setTimeSource(Boards[Idx], Cpu);
  }
  return C;
}

} // namespace

void registerUnit() {
  orvy_registerComponent("Unit", create, nullptr);
}

} // namespace board
