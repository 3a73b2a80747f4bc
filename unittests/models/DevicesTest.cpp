// The devices, driven as software and a test bench drive them: registers, time and lines.

#include "models/Board.h"

#include "Testing/LogCapture.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <sstream>

using namespace orvy::testing;
using testing::ElementsAre;

namespace {

/// The board with a processor asleep, so that time passes and nothing else happens.
class Devices : public ::testing::Test {
protected:
  Devices() {
    B.assemble(0, Board::RamBase, {"wr %g0, %g0, %asr19", "ba .-0x4", "or %g0, %g0, %g0"});
    orvy_sparcSetPsr(B.Cpus[0], 0x80); // traps off: interrupts wait
  }

  uint32_t get(uint64_t Addr) {
    uint32_t Word = 0;
    EXPECT_EQ(orvy_memoryReadPhys32(B.Space, Addr, &Word), 0u);
    return Word;
  }
  void set(uint64_t Addr, uint32_t Word) {
    EXPECT_EQ(orvy_memoryWritePhys32(B.Space, Addr, Word), 0u);
  }
  void pass(uint64_t Cycles) { orvy_cpuRun(B.Cpus[0], Cycles); }
  uint32_t pending() { return get(Board::IrqBase + 4); }
  uint32_t lines() { return static_cast<uint32_t>(Board::number(B.Cpus[0], "irqLines")); }

  LogCapture Log;
  Board B;
};

class TimerModel : public Devices {
protected:
  static constexpr uint64_t Base = Board::TimerBase;
  enum : uint32_t { Enable = 1, Restart = 2, Load = 4, Irq = 8, Pending = 16 };

  void start(uint32_t Scaler, uint32_t Reload, uint32_t Flags, unsigned Index = 0) {
    set(Base + 4, Scaler);
    set(Base + 0x14 + 0x10 * Index, Reload);
    set(Base + 0x18 + 0x10 * Index, Enable | Load | Flags);
  }
};

TEST_F(TimerModel, UnderflowsToTheCycle) {
  start(9, 4, Irq); // ten cycles a tick, five ticks to the underflow
  pass(49);
  EXPECT_EQ(pending(), 0u);
  EXPECT_EQ(get(Base + 0x10), 0u);
  pass(1);
  EXPECT_EQ(pending(), 1u << 8);
  EXPECT_EQ(get(Base + 0x18), uint32_t(Irq | Pending)); // without restart it has stopped
  set(Base + 0x18, Irq | Pending);
  EXPECT_EQ(get(Base + 0x18), uint32_t(Irq));
}

TEST_F(TimerModel, CountsDownOnTicksOfThePrescaler) {
  start(9, 100, 0);
  EXPECT_EQ(get(Base), 9u);
  EXPECT_EQ(get(Base + 0x10), 100u);
  pass(9);
  EXPECT_EQ(get(Base), 0u);
  EXPECT_EQ(get(Base + 0x10), 100u);
  pass(1);
  EXPECT_EQ(get(Base + 0x10), 99u);
  set(Base + 4, 0); // from now on every cycle
  pass(9);
  EXPECT_EQ(get(Base + 0x10), 90u);
  set(Base + 0x18, 0); // stops where it is
  pass(50);
  EXPECT_EQ(get(Base + 0x10), 90u);
  set(Base + 0x18, Enable);
  pass(1);
  EXPECT_EQ(get(Base + 0x10), 89u);
}

TEST_F(TimerModel, RestartsWithAPeriodOfReloadPlusOne) {
  start(0, 9, Restart | Irq, 1);
  for (int Round = 0; Round < 3; ++Round) {
    pass(9);
    EXPECT_EQ(pending(), 0u);
    pass(1);
    EXPECT_EQ(pending(), 1u << 9);
    set(Board::IrqBase + 0xc, 1u << 9);
  }
  EXPECT_EQ(get(Base + 8), 2u | 8u << 3);
  EXPECT_EQ(get(Base + 0x40), 0u);
}

TEST_F(TimerModel, TakesPeriodsBeyondTheEndOfTime) {
  start(UINT32_MAX, UINT32_MAX, Restart | Irq);
  pass(1000);
  EXPECT_EQ(pending(), 0u);
  EXPECT_EQ(get(Base + 0x10), UINT32_MAX);
}

TEST_F(TimerModel, SurvivesTimesOfADamagedCheckpoint) {
  for (const char *Name : {"scalerBase", "tickBase", "startTick0"})
    for (int64_t Time : {INT64_MIN, int64_t{-1}, INT64_MAX}) {
      start(0, 9, Restart | Irq);
      orvy_setValueI64(B.Timer, Name, Time, -1);
      get(Base);
      get(Base + 0x10);
      start(3, 9, Restart | Irq);
      pass(100);
    }
  start(0, 9, Restart | Irq);
  pass(10);
  EXPECT_EQ(pending() & 1u << 8, 1u << 8);
}

TEST_F(TimerModel, NeedsATimeSource) {
  void *Lone = make("GpTimer", "lone");
  orvy_memoryMap(B.Space, 0x90000000, 0x100, Lone, 0);
  set(0x90000014, 5);
  set(0x90000018, Enable | Load);
  EXPECT_EQ(Log.count("object.timeSource is not set"), 1);
  EXPECT_EQ(get(0x90000018), 0u);
}

TEST_F(TimerModel, StopsOnReset) {
  start(0, 9, Restart | Irq);
  static_cast<ResetIface *>(orvy_getInterface(B.Timer, "ResetIface", 0))->reset(B.Timer, 0);
  pass(100);
  EXPECT_EQ(pending(), 0u);
  EXPECT_EQ(get(Base + 0x18), 0u);
}

class IrqCtrlModel : public Devices {
protected:
  static constexpr uint64_t Base = Board::IrqBase;
  void raise(uint8_t Irq) {
    static_cast<IrqCtrlIface *>(orvy_getInterface(B.Irq, "IrqCtrlIface", 0))
        ->raiseInterrupt(B.Irq, Irq);
  }
  void acknowledge(uint8_t Irq) {
    static_cast<IrqClientIface *>(orvy_getInterface(B.Irq, "IrqClientIface", 0))
        ->irqAcknowledged(B.Irq, Irq);
  }
};

TEST_F(IrqCtrlModel, LetsThroughWhatIsNotMasked) {
  raise(5);
  EXPECT_EQ(pending(), 1u << 5);
  EXPECT_EQ(lines(), 0u);
  set(Base + 0x40, 1u << 5 | 1u << 6);
  EXPECT_EQ(lines(), 1u << 5);
  raise(6);
  EXPECT_EQ(lines(), 3u << 5);
  acknowledge(6);
  EXPECT_EQ(lines(), 1u << 5);
  set(Base + 0xc, 1u << 5);
  EXPECT_EQ(lines(), 0u);
  for (uint8_t None : {0, 16, 32, 40, 255})
    raise(None);
  EXPECT_EQ(pending(), 0u);
}

TEST_F(IrqCtrlModel, ForcesWithoutAMaskAndTakesForcedOnesBackFirst) {
  set(Base + 0x40, 1u << 3);
  raise(3);
  set(Base + 0x80, 1u << 3);
  EXPECT_EQ(get(Base + 8), 1u << 3);
  acknowledge(3);
  EXPECT_EQ(get(Base + 8), 0u);
  EXPECT_EQ(lines(), 1u << 3); // the pending one
  acknowledge(3);
  EXPECT_EQ(lines(), 0u);
  set(Base + 8, 1u << 4);
  EXPECT_EQ(lines(), 1u << 4);
  set(Base + 0x80, 1u << (16 + 4));
  EXPECT_EQ(lines(), 0u);
}

TEST_F(IrqCtrlModel, PutsALevelBeforeAllOthers) {
  set(Base + 0x40, 0xfffe);
  set(Base, 1u << 2);
  raise(9);
  EXPECT_EQ(lines(), 1u << 9);
  raise(2);
  EXPECT_EQ(lines(), 1u << 2);
  acknowledge(2);
  EXPECT_EQ(lines(), 1u << 9);
}

class UartModel : public Devices {
protected:
  static constexpr uint64_t Base = Board::UartBase;
  enum : uint32_t { RxOn = 1, TxOn = 2, RxIrq = 4, TxIrq = 8 };
  enum : uint32_t { Ready = 1, Idle = 2, Writable = 4, Overrun = 16 };

  void come(const char *Text) {
    orvy_Propval Value{ovTY_String, {}};
    Value.String = Text;
    orvy_writeValue(B.Uart, "input", Value, -1);
  }
};

TEST_F(UartModel, SendsAtOnceWhileItIsOn) {
  set(Base, 'x'); // off: lost
  set(Base + 8, TxOn | TxIrq);
  set(Base, 'o');
  orvy_MemTransaction Mt{};
  Mt.Pa = Base + 3; // the low byte of the register
  Mt.Value = 'k';
  EXPECT_EQ(orvy_memoryWriteTransaction(B.Space, &Mt), 0);
  EXPECT_EQ(B.output(), "ok");
  EXPECT_EQ(pending(), 1u << 3);
  EXPECT_EQ(get(Base + 4), uint32_t(Idle | Writable));
  Mt.Size = 3;
  EXPECT_EQ(orvy_memoryWriteTransaction(B.Space, &Mt), 1);
}

TEST_F(UartModel, TakesTimeForAByteAndLosesTheThird) {
  orvy_setValue(
      B.Uart, "config.cyclesPerByte",
      [] {
        orvy_Propval Value{ovTY_U64, {}};
        Value.u64 = 100;
        return Value;
      }(),
      -1);
  set(Base + 8, TxOn);
  set(Base, 'a');
  EXPECT_EQ(get(Base + 4), uint32_t(Writable));
  set(Base, 'b');
  EXPECT_EQ(get(Base + 4), 0u);
  set(Base, 'c');
  EXPECT_EQ(get(Base + 4), uint32_t(Overrun));
  set(Base + 4, 0);
  pass(99);
  EXPECT_EQ(B.output(), "");
  pass(1);
  EXPECT_EQ(B.output(), "a");
  EXPECT_EQ(get(Base + 4), uint32_t(Writable));
  pass(100);
  EXPECT_EQ(B.output(), "ab");
  EXPECT_EQ(get(Base + 4), uint32_t(Idle | Writable));
}

TEST_F(UartModel, ReceivesWhatIsWrittenToItsInput) {
  set(Base + 8, RxOn | RxIrq);
  EXPECT_EQ(get(Base), 0u);
  come("hi");
  EXPECT_EQ(pending(), 1u << 3);
  set(Board::IrqBase + 0xc, 1u << 3);
  EXPECT_TRUE(get(Base + 4) & Ready);
  EXPECT_EQ(get(Base), unsigned('h'));
  EXPECT_EQ(pending(), 1u << 3); // more has come
  EXPECT_STREQ(orvy_getValue(B.Uart, "input", -1).String, "i");
  EXPECT_EQ(get(Base), unsigned('i'));
  EXPECT_FALSE(get(Base + 4) & Ready);
}

TEST_F(UartModel, WritesToAFile) {
  std::string Path = testing::TempDir() + "uart-output";
  orvy_Propval Value{ovTY_String, {}};
  Value.String = Path.c_str();
  orvy_setValue(B.Uart, "config.file", Value, -1);
  set(Base + 8, TxOn);
  for (char C : std::string("file"))
    set(Base, static_cast<uint8_t>(C));
  Value.String = "";
  orvy_setValue(B.Uart, "config.file", Value, -1);
  std::stringstream Text;
  Text << std::ifstream(Path).rdbuf();
  EXPECT_EQ(Text.str(), "file");
  std::remove(Path.c_str());
  Value.String = "/nowhere/at/all";
  orvy_setValue(B.Uart, "config.file", Value, -1);
  EXPECT_EQ(Log.count("cannot write to '/nowhere/at/all'"), 1);
}

TEST_F(Devices, CannotBeRunFrom) {
  orvy_MemTransaction Mt{};
  Mt.Pa = Board::UartBase;
  Mt.Size = 2;
  EXPECT_EQ(orvy_memoryFetchTransaction(B.Space, &Mt), 1);
}

} // namespace
