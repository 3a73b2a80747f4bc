// The component classes Board and Unit.

#include "Board.h"

#include "Testing/LogCapture.h"

#include <gtest/gtest.h>

namespace orvy::testing {

namespace {

const ClockIface *clockOf(void *Obj) {
  return static_cast<const ClockIface *>(orvy_getInterface(Obj, "ClockIface", 0));
}

TEST(ModelArguments, AreRejectedWhereTheClassDoesNotTakeThem) {
  loadModels();
  orvy_loadPlugin("TimeServer");
  struct {
    const char *Cls, *Key, *Value, *Why;
  } Rows[] = {
      {"Ram", "siz", "4096",
       "there is no argument 'siz', it takes 'size' (Bytes of the memory: bytes, as in 4096 or "
       "64KiB; 1 to 68719476736)"},
      {"Rom", "size", "4M", "argument 'size' takes bytes, as in 4096 or 64KiB, not \"4M\""},
      {"Ram", "size", "0", "argument 'size' takes 1 to 68719476736, not \"0\""},
      {"Uart", "irq", "256", "argument 'irq' takes 0 to 255, not \"256\""},
      {"GpTimer", "level", "8", "there is no argument 'level', it takes 'irq'"},
      {"IrqCtrl", "irq", "1", "there is no argument 'irq', it takes no arguments"},
      {"MemorySpace", "size", "1", "there is no argument 'size', it takes no arguments"},
      {"SparcV8", "freq", "fast", "argument 'freq' takes hertz, as in 50000000 or 50MHz, not"},
      {"SparcV8", "id", "-1", "argument 'id' takes a whole number, not \"-1\""},
      {"Board", "cpus", "5", "argument 'cpus' takes 1 to 4, not \"5\""},
      {"Board", "colour", "7", "there is no argument 'colour', it takes 'cpus'"},
      {"Unit", "freqB", "0", "argument 'freqB' takes 1 to 9000000000, not \"0\""},
      {"Clock", "freq", "fast", "argument 'freq' takes a number, not \"fast\""},
      {"ZodTimeServer", "port", "1", "there is no argument 'port', it takes no arguments"},
  };
  const size_t Before = orvy_getObjectCount();
  for (const auto &[Cls, Key, Value, Why] : Rows) {
    LogCapture Log;
    orvy_CreateArg Args[2] = {};
    Args[0] = {Key, {.Typ = ovTY_String, .String = Value}};
    EXPECT_EQ(orvy_createObject(Cls, "x", Args), nullptr) << Cls;
    EXPECT_EQ(Log.count("'x' of class '" + std::string(Cls) + "' is not created: " + Why), 1)
        << (Log.all().empty() ? "nothing" : Log.all()[0]);
    EXPECT_EQ(Log.all().size(), 1u) << "no part was made, and nothing else is wrong";
  }
  EXPECT_EQ(orvy_getObjectCount(), Before);
}

TEST(BoardComponent, IsMadeAsItsArgumentsSay) {
  loadModels();
  LogCapture Log;
  orvy_CreateArg Args[] = {{"ramSize", {.Typ = ovTY_String, .String = "64KiB"}},
                           {"freq", {.Typ = ovTY_U64, .u64 = 1000000}},
                           {}};
  auto *C = static_cast<orvy_Component *>(orvy_createObject("Board", "small", Args));
  EXPECT_EQ(orvy_vecGetSize(&C->Clocks), 1u);
  EXPECT_EQ(clockOf(C)->getFreq(C), 1e6);
  void *Space = orvy_componentGetObject(C, "memory");
  uint32_t Word = 0;
  EXPECT_EQ(orvy_memoryReadPhys32(Space, 0x4000FFFC, &Word), 0u);
  EXPECT_NE(orvy_memoryReadPhys32(Space, 0x40010000, &Word), 0u);

  // A part whose name is taken leaves a board that stands still, and is told of.
  make("Uart", "broken-uart");
  EXPECT_NE(orvy_createObject("Board", "broken", nullptr), nullptr);
  EXPECT_EQ(Log.count("board 'broken' lacks parts"), 1);
  orvy_objsysClearObjects();
}

/// What the boards of a unit delegate is reached through the unit.
TEST(UnitComponent, DelegatesToItsBoards) {
  loadModels();
  auto *U = static_cast<orvy_Component *>(make("Unit", "unit", "freqB", 25000000));
  void *CpuA = orvy_objectForName("unit-a-cpu0"), *CpuB = orvy_objectForName("unit-b-cpu0");
  EXPECT_EQ(Board::number(CpuA, "freq"), 50000000u);
  EXPECT_EQ(Board::number(CpuB, "freq"), 25000000u);
  for (const char *Name : {"a", "b"})
    EXPECT_EQ(static_cast<orvy_Object *>(orvy_componentGetObject(U, Name))->TimeSource,
              orvy_objectForName((std::string("unit-") + Name + "-cpu0").c_str()));

  // Board a sees the memory of board b in its other address spaces.
  Board::connect(U, "asiSpace_a", U, "MemAccessIface_b");
  EXPECT_EQ(orvy_getValue(CpuA, "asiSpace", -1).IfaceRef.Obj, orvy_objectForName("unit-b-memory"));
  // A processor of b is the second one of the interrupt controller of a.
  Board::connect(U, "cpus_a", CpuB, "IrqIface");
  void *IrqA = orvy_objectForName("unit-a-irqctrl");
  EXPECT_EQ(orvy_getValue(IrqA, "cpus", 1).IfaceRef.Obj, CpuB);
  EXPECT_EQ(orvy_getInterfaceRef(U, "IrqCtrlIface_a", -1).Obj, IrqA);

  // The steps of a group are not counted; its time is that of its first clock.
  LogCapture Log;
  EXPECT_EQ(clockOf(U)->step(U, 5), 0);
  EXPECT_EQ(Log.count("counts no steps"), 1);
  clockOf(U)->setCycles(U, 777);
  EXPECT_EQ(Board::number(CpuB, "cycles"), 777u);
  EXPECT_EQ(clockOf(U)->getNanos(U), 15540u);
  orvy_objsysClearObjects();
}

/// The processor as one of the clocks of a component.
TEST(ProcessorClock, CountsAndSetsTheTimeOfTheProcessor) {
  Board B;
  B.assemble(0, Board::RamBase, {"add %g1, 1, %g1", "ba .-4", "nop"});
  void *Cpu = B.Cpus[0];
  const ClockIface *Clock = clockOf(Cpu);
  EXPECT_EQ(Clock->step(Cpu, 4), 0);
  EXPECT_EQ(Clock->advanceCycles(Cpu, 10), 0);
  EXPECT_EQ(Clock->advanceToCycles(Cpu, 20), 0);
  EXPECT_EQ(Clock->stepUntil(Cpu, 100, 25), 0);
  EXPECT_EQ(Clock->getCycles(Cpu), 25u);
  EXPECT_EQ(Clock->getSteps(Cpu), 25u);
  EXPECT_EQ(Clock->getNanos(Cpu), 500u);
  EXPECT_DOUBLE_EQ(Clock->getSecs(Cpu), 500e-9);
  Clock->setNanos(Cpu, 2000);
  EXPECT_EQ(B.cycles(), 100u);
  Clock->setSecs(Cpu, 1.5);
  Clock->setSteps(Cpu, 9);
  Clock->setFreq(Cpu, 1e6);
  EXPECT_EQ(B.cycles(), 75000000u);
  EXPECT_EQ(B.steps(), 9u);
  EXPECT_EQ(Clock->getNanos(Cpu), 75000000000u);
  // A halt is told once; then time passes for the others.
  B.assemble(0, Board::RamBase, {"ta 0"});
  EXPECT_EQ(Clock->advanceCycles(Cpu, 10), int(ovCER_Halt));
  EXPECT_EQ(Clock->advanceCycles(Cpu, 10), 0);
  EXPECT_EQ(Clock->step(Cpu, 1), int(ovCER_Halt));
}

} // namespace

} // namespace orvy::testing
