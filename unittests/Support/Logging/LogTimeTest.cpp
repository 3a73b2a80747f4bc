#include "Testing/LogCapture.h"
#include "orvy/Support/Orvy.h"

#include <cstdlib>
#include <gmock/gmock.h>

using orvy::testing::LogCapture;
using ::testing::ElementsAre;

namespace {

template <typename T> void *makeHeader(const char *, int, const orvy_CreateArg *) {
  return calloc(1, sizeof(T));
}

// A machine whose time the test sets, and which may log when it is asked.
struct Machine {
  orvy_Object Super;
  uint64_t Nanos;
  bool Complains;
};

uint64_t machineTime(void *Obj) {
  auto *Self = static_cast<Machine *>(Obj);
  if (Self->Complains)
    orvy_logWarning(Obj, "asked");
  return Self->Nanos;
}

class LogTime : public ::testing::Test {
protected:
  LogTime() {
    orvy_registerClass("Device", makeHeader<orvy_Object>, free);
    static MachineIface Iface = [] {
      MachineIface Table = {};
      Table.getTime = machineTime;
      return Table;
    }();
    static void *Tables[] = {&Iface, nullptr};
    orvy_Class *Cls = orvy_registerClass("Machine", makeHeader<Machine>, free);
    orvy_setVTable(Cls, Tables);
    orvy_qualifyAsMachine(Cls);
  }
  ~LogTime() override { orvy_objsysClear(); }

  void *makeDevice(const char *Name) { return orvy_createObject("Device", Name, nullptr); }
  Machine *makeMachine(const char *Name, uint64_t Nanos) {
    auto *Made = static_cast<Machine *>(orvy_createObject("Machine", Name, nullptr));
    Made->Nanos = Nanos;
    return Made;
  }
  static void setTimeSource(void *Obj, void *Source) {
    static_cast<orvy_Object *>(Obj)->TimeSource = Source;
  }

  LogCapture Log;
};

TEST_F(LogTime, ComesFromTheTimeSource) {
  Machine *Fast = makeMachine("fast", 1500000000);
  Machine *Slow = makeMachine("slow", 2000001);
  void *Obj = makeDevice("obj");
  orvy_logSimWarning(Obj, "text");
  setTimeSource(Obj, Slow);
  orvy_logSimWarning(Obj, "text");
  setTimeSource(Fast, Slow);
  orvy_logSimWarning(Fast, "its own");
  EXPECT_THAT(Log.take(),
              ElementsAre(":sim/warning: obj : text", "0.002000: sim/warning: obj : text",
                          "1.500000: sim/warning: fast : its own"));
}

TEST_F(LogTime, IsLeftOutWhereTheSourceTellsNone) {
  void *Obj = makeDevice("obj");
  setTimeSource(Obj, Obj);
  orvy_logError(Obj, "own source");
  Machine *Gone = makeMachine("gone", 1);
  setTimeSource(Obj, Gone);
  orvy_disposeObject(Gone);
  orvy_logError(Obj, "dangling source");
  EXPECT_THAT(Log.take(), ElementsAre(":error: obj : own source", ":error: obj : dangling source"));
}

TEST_F(LogTime, ASourceMayLogWhenItIsAsked) {
  Machine *Chatty = makeMachine("chatty", 1000000000);
  Chatty->Complains = true;
  orvy_logError(Chatty, "text");
  EXPECT_THAT(Log.take(),
              ElementsAre(":warning: chatty : asked", "1.000000: error: chatty : text"));
}

} // namespace
