// The devices, driven as software and a test bench drive them: registers, time and lines.

#include "models/Board.h"

#include "Testing/LogCapture.h"

#include <map>
#include <sstream>

using namespace orvy::testing;

namespace {

constexpr uint64_t Timer = Board::TimerBase, Irq = Board::IrqBase, Uart = Board::UartBase;
constexpr uint64_t Lone = 0x90000000; // a timer that one case has

const std::map<std::string, uint64_t> Registers = {
    {"scaler", Timer},           {"scalerReload", Timer + 4},
    {"config", Timer + 8},       {"count0", Timer + 0x10},
    {"reload0", Timer + 0x14},   {"ctrl0", Timer + 0x18},
    {"reload1", Timer + 0x24},   {"ctrl1", Timer + 0x28},
    {"none", Timer + 0x40},      {"level", Irq},
    {"pending", Irq + 4},        {"force", Irq + 8},
    {"clear", Irq + 0xc},        {"mask", Irq + 0x40},
    {"forceCpu", Irq + 0x80},    {"data", Uart},
    {"status", Uart + 4},        {"uart", Uart + 8},
    {"loneReload", Lone + 0x14}, {"loneCtrl", Lone + 0x18}};

/// What a case does, word by word: register=value stores, register?value loads and compares, +cycles
/// lets time pass; raise, ack, reset and out speak to the devices from outside. Numbers are
/// hexadecimal, cycles decimal.
struct Case {
  const char *Name;
  const char *Script;
};

/// The board with a processor asleep, so that time passes and nothing else happens.
class Devices : public ::testing::TestWithParam<Case> {
protected:
  Devices() {
    B.assemble(0, Board::RamBase, {"wr %g0, %g0, %asr19", "ba .-0x4", "or %g0, %g0, %g0"});
    orvy_sparcSetPsr(B.Cpus[0], 0x80); // traps off: interrupts wait
  }

  void run(const std::string &Script) {
    std::istringstream Words(Script);
    for (std::string Word; Words >> Word;) {
      SCOPED_TRACE(Word + " in " + Script);
      const size_t At = Word.find_first_of("=?+");
      const std::string Name = Word.substr(0, At), Value = Word.substr(At + 1);
      if (Word[At] == '+')
        orvy_cpuRun(B.Cpus[0], std::stoul(Value));
      else if (Name == "out")
        EXPECT_EQ(B.output(), Value);
      else if (Word[At] == '=')
        put(Name, static_cast<uint32_t>(std::stoul(Value, nullptr, 16)));
      else
        EXPECT_EQ(get(Name), std::stoul(Value, nullptr, 16));
    }
  }

  uint64_t get(const std::string &Name) {
    uint32_t Word = 0;
    if (Name == "lines")
      return Board::number(B.Cpus[0], "irqLines");
    EXPECT_EQ(orvy_memoryReadPhys32(B.Space, Registers.at(Name), &Word), 0u);
    return Word;
  }

  void put(const std::string &Name, uint32_t Value) {
    if (Name == "raise")
      iface<IrqCtrlIface>(B.Irq, "IrqCtrlIface")->raiseInterrupt(B.Irq, uint8_t(Value));
    else if (Name == "ack")
      iface<IrqClientIface>(B.Irq, "IrqClientIface")->irqAcknowledged(B.Irq, uint8_t(Value));
    else if (Name == "reset")
      iface<ResetIface>(B.Timer, "ResetIface")->reset(B.Timer, int(Value));
    else
      EXPECT_EQ(orvy_memoryWritePhys32(B.Space, Registers.at(Name), Value), 0u);
  }

  template <typename T> static T *iface(void *Obj, const char *Name) {
    return static_cast<T *>(orvy_getInterface(Obj, Name, 0));
  }
  static void setText(void *Obj, const char *Property, const std::string &Text) {
    orvy_writeValue(Obj, Property, {.Typ = ovTY_String, .String = Text.c_str()}, -1);
  }

  LogCapture Log;
  Board B;
};

TEST_P(Devices, FollowTheirRegisters) {
  run(GetParam().Script);
}

// Of ctrl: 1 enables, 2 restarts, 4 loads, 8 interrupts, 10 is pending. Of the Uart's status: 1 is
// ready, 2 idle, 4 writable, 10 overrun.
const Case Cases[] = {
    {"TimerUnderflowsToTheCycle", "scalerReload=9 reload0=4 ctrl0=d +49 pending?0 count0?0 "
                                  "+1 pending?100 ctrl0?18 ctrl0=18 ctrl0?8"},
    {"TimerCountsTicksOfThePrescaler", "scalerReload=9 reload0=64 ctrl0=5 scaler?9 count0?64 "
                                       "+9 scaler?0 count0?64 +1 count0?63 "
                                       "scalerReload=0 +9 count0?5a "
                                       "ctrl0=0 +50 count0?5a ctrl0=1 +1 count0?59"},
    {"TimerRestartsWithAPeriodOfReloadPlusOne",
     "scalerReload=0 reload1=9 ctrl1=f +9 pending?0 +1 pending?200 clear=200 "
     "+9 pending?0 +1 pending?200 clear=200 +10 pending?200 config?42 none?0"},
    {"TimerTakesPeriodsBeyondTheEndOfTime",
     "scalerReload=ffffffff reload0=ffffffff ctrl0=f +1000 pending?0 count0?ffffffff"},
    {"TimerStopsOnReset", "scalerReload=0 reload0=9 ctrl0=f reset=0 +100 pending?0 ctrl0?0"},
    {"InterruptsPassTheMask", "raise=5 pending?20 lines?0 mask=60 lines?20 raise=6 lines?60 "
                              "ack=6 lines?20 clear=20 lines?0 "
                              "raise=0 raise=10 raise=20 raise=28 raise=ff pending?0"},
    {"ForcedInterruptsAreTakenBackFirst",
     "mask=8 raise=3 forceCpu=8 force?8 ack=3 force?0 lines?8 ack=3 lines?0 "
     "force=10 lines?10 forceCpu=100000 lines?0"},
    {"ALevelGoesBeforeAllOthers",
     "mask=fffe level=4 raise=9 lines?200 raise=2 lines?4 ack=2 lines?200"},
    {"UartSendsAtOnceWhileItIsOn", "data=78 uart=a data=6f data=6b out?ok pending?8 status?6"},
};

INSTANTIATE_TEST_SUITE_P(Cases, Devices, ::testing::ValuesIn(Cases),
                         [](const auto &Info) { return Info.param.Name; });

TEST_F(Devices, TimerSurvivesTimesOfADamagedCheckpoint) {
  for (const char *Name : {"scalerBase", "tickBase", "startTick0"})
    for (int64_t Time : {INT64_MIN, int64_t{-1}, INT64_MAX}) {
      run("scalerReload=0 reload0=9 ctrl0=f");
      orvy_setValueI64(B.Timer, Name, Time, -1);
      get("scaler");
      get("count0");
      run("scalerReload=3 reload0=9 ctrl0=f +100");
    }
  run("scalerReload=0 reload0=9 ctrl0=f clear=ffff +10 pending?100");
}

TEST_F(Devices, TimerNeedsATimeSource) {
  B.map(Lone, 0x100, make("GpTimer", "lone"));
  run("loneReload=5 loneCtrl=5 loneCtrl?0");
  EXPECT_EQ(Log.count("object.timeSource is not set"), 1);
}

TEST_F(Devices, UartTakesTimeForAByteAndLosesTheThird) {
  orvy_setValueU64(B.Uart, "config.cyclesPerByte", 100, -1);
  run("uart=2 data=61 status?4 data=62 status?0 data=63 status?10 status=0 +99");
  EXPECT_EQ(B.output(), "");
  run("+1 out?a status?4 +100 out?ab status?6");
}

TEST_F(Devices, UartReceivesWhatIsWrittenToItsInput) {
  run("uart=5 data?0");
  setText(B.Uart, "input", "hi");
  run("pending?8 clear=8 status?7 data?68 pending?8"); // more has come
  EXPECT_STREQ(orvy_getValue(B.Uart, "input", -1).String, "i");
  run("data?69 status?6");
}

TEST_F(Devices, UartReportsAFileThatCannotBeWritten) {
  setText(B.Uart, "config.file", "/nowhere/at/all");
  EXPECT_EQ(Log.count("cannot write to '/nowhere/at/all'"), 1);
}

TEST_F(Devices, TakeBytesAtTheEndOfTheirRegistersAndWordsAndNoFetches) {
  const struct {
    uint64_t Pa;
    uint8_t Size;
    int (*Access)(void *, orvy_MemTransaction *);
    int Result;
  } Rows[] = {{Uart + 3, 0, orvy_memoryWriteTransaction, 0},
              {Uart + 3, 3, orvy_memoryWriteTransaction, 1},
              {Uart, 2, orvy_memoryFetchTransaction, 1}};
  run("uart=2");
  for (const auto &Row : Rows) {
    orvy_MemTransaction Mt{};
    Mt.Pa = Row.Pa;
    Mt.Size = Row.Size;
    Mt.Value = 'k';
    EXPECT_EQ(Row.Access(B.Space, &Mt), Row.Result);
  }
  EXPECT_EQ(B.output(), "k");
}

} // namespace
