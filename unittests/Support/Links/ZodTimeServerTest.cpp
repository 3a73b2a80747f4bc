#include "orvy/Support/ZodTimeServer.h"

#include "Testing/LogCapture.h"
#include "Testing/Model.h"
#include "Testing/ScriptedCpu.h"
#include "Testing/UdpReceiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace orvy::testing;
using testing::ElementsAre;
using testing::Optional;

namespace {

/// A time server on a processor of 1 MHz, and who it serves.
class TimeServer : public ::testing::Test {
protected:
  TimeServer() {
    orvy::zod::init();
    Server = orvy_createObject("ZodTimeServer", "server", nullptr);
    orvy_setTimeSource(Server, Cpu);
    testing::internal::CaptureStderr();
  }
  ~TimeServer() override {
    orvy_objsysClear();
    testing::internal::GetCapturedStderr();
  }

  void set(const char *Name, orvy_Propval Value) { orvy_writeValue(Server, Name, Value, -1); }
  void connect() { setHost("127.0.0.1:" + std::to_string(Far.port())); }
  void setHost(const std::string &Host) { set("hostname", text(Host.c_str())); }
  void setBytes(uint8_t Coarse, uint8_t Fine) {
    set("coarseTimeBytes", u8(Coarse));
    set("fineTimeBytes", u8(Fine));
  }
  /// Serves from one period on.
  void start(double Period) {
    connect();
    set("period", real(Period));
    set("enable", u8(1));
  }
  void runTo(int64_t Cycle) { orvy_cpuRun(Cpu, static_cast<uint64_t>(Cycle - Cpu->Cycles)); }
  /// The number of events that wait on the time source.
  bool isWaiting() const { return orvy_eventGetFirstTime(Cpu->Queue) >= 0; }

  LogCapture Log;
  ScriptedCpu *Cpu = ScriptedCpu::make("cpu", 1000000);
  void *Server;
  UdpReceiver Far;
};

TEST_F(TimeServer, SendsAtItsTimesToTheCycle) {
  setBytes(4, 2);
  start(1.5);
  runTo(1499999);
  EXPECT_FALSE(Far.take());
  runTo(1500000);
  EXPECT_THAT(Far.take(), Optional(ElementsAre(11, 1, 0, 0, 0, 1, 128, 0)));
  runTo(2999999);
  EXPECT_FALSE(Far.take());
  runTo(4500000);
  EXPECT_THAT(Far.take(), Optional(ElementsAre(11, 1, 0, 0, 0, 3, 0, 0)));
  EXPECT_THAT(Far.take(), Optional(ElementsAre(11, 1, 0, 0, 0, 4, 128, 0)));
  EXPECT_FALSE(Far.take());
}

TEST_F(TimeServer, SendsTheBytesThatAreWanted) {
  constexpr int64_t Then = 0x01020304LL * 1000000 + 625000; // and 0.625 s, 0xA0000000
  const struct {
    uint8_t Coarse, Fine;
    std::vector<uint8_t> Wanted;
  } Cases[] = {
      {0, 0, {11, 1}},
      {1, 1, {11, 1, 1, 0xA0}},
      {2, 3, {11, 1, 1, 2, 0xA0, 0, 0}},
      {9, 9, {11, 1, 1, 2, 3, 4, 0xA0, 0, 0, 0}}, // stored as 4
  };
  for (const auto &C : Cases) {
    Cpu->Cycles = Then - 1000000;
    setBytes(C.Coarse, C.Fine);
    start(1);
    runTo(Then);
    EXPECT_EQ(Far.take(), C.Wanted);
  }
  EXPECT_EQ(orvy_asUnsigned(orvy_getValue(Server, "coarseTimeBytes", -1)), 4u);
  orvy_setValueU8(Server, "coarseTimeBytes", 255, -1); // past the write action
  runTo(Then + 1000000);
  EXPECT_EQ(Far.take()->size(), 10u);
}

TEST_F(TimeServer, EnablingAgainStartsTheIntervalAnew) {
  setBytes(1, 4);
  start(0.5);
  runTo(400000);
  set("enable", u8(1));
  runTo(899999);
  EXPECT_FALSE(Far.take());
  runTo(900000);
  EXPECT_TRUE(Far.take());
  set("enable", u8(0));
  EXPECT_FALSE(isWaiting());
  runTo(3000000);
  EXPECT_FALSE(Far.take());
}

TEST_F(TimeServer, ANewPeriodStartsTheIntervalAnew) {
  connect();
  set("period", real(0.5));
  EXPECT_FALSE(isWaiting()); // not enabled
  set("enable", u8(1));
  runTo(400000);
  set("period", real(0.25));
  runTo(649999);
  EXPECT_FALSE(Far.take());
  runTo(1150000);
  for (int Count = 0; Count < 3; ++Count)
    EXPECT_TRUE(Far.take());
  EXPECT_FALSE(Far.take());
}

TEST_F(TimeServer, RejectsPeriodsThatWouldNotLetTimePass) {
  connect();
  set("enable", u8(1)); // the period is still 0
  for (double Period : {0.0, -1.0, std::nan(""), double(INFINITY)}) {
    set("period", real(Period));
    EXPECT_FALSE(isWaiting());
  }
  EXPECT_EQ(Log.count("server : no time is sent with a period of"), 5);
  set("period", real(1e-9)); // less than a cycle
  runTo(1000);
  EXPECT_EQ(Log.count("the period of 1e-09 s is below the resolution of the time source"), 1);
  EXPECT_FALSE(isWaiting());
  set("period", real(0.001));
  EXPECT_TRUE(isWaiting());
}

TEST_F(TimeServer, DoesNotStartWithoutAPeerOrATime) {
  set("period", real(1));
  set("enable", u8(1));
  EXPECT_EQ(Log.count("cannot be enabled before \"hostname\" is set"), 1);
  static_cast<orvy_Object *>(Server)->TimeSource = nullptr;
  connect();
  set("enable", u8(1));
  EXPECT_EQ(Log.count("cannot be enabled before a time source is set"), 1);
  EXPECT_FALSE(isWaiting());
}

TEST_F(TimeServer, TakesHostsWithAndWithoutAPort) {
  const struct {
    const char *Name;
    const char *Says; // on the error stream
  } Good[] = {
      {"127.0.0.1:5000", "connect 127.0.0.1:5000 2 \n"},
      {"127.0.0.1", "closing socket N\nconnect 127.0.0.1:4765 2 \n"},
      {"127.0.0.1:65535", "closing socket N\nconnect 127.0.0.1:65535 2 \n"},
  };
  testing::internal::GetCapturedStderr();
  for (const auto &C : Good) {
    testing::internal::CaptureStderr();
    setHost(C.Name);
    std::string Said = testing::internal::GetCapturedStderr();
    size_t Number = Said.find("socket ");
    if (Number != Said.npos)
      Said.replace(Number + 7, Said.find('\n') - Number - 7, "N");
    EXPECT_EQ(Said, C.Says);
  }
  testing::internal::CaptureStderr();
  set("hostname", text(nullptr));
  EXPECT_THAT(Log.take(), ElementsAre());
}

TEST_F(TimeServer, SaysWhichHostsAndPortsAreWrong) {
  for (const char *Name : {"127.0.0.1:", "127.0.0.1:http", "127.0.0.1:1x", "127.0.0.1:65536",
                           "127.0.0.1:0", "127.0.0.1:-1", "[::1]5000"}) {
    setHost(Name);
    EXPECT_EQ(Log.count(std::string("no port number behind the host in '") + Name + "'"), 1);
  }
  Log.clear();
  setHost("no such host:80");
  EXPECT_EQ(Log.count("server : could not connect to no such host:80"), 1);
  setHost(":80");
  EXPECT_EQ(Log.count("could not connect to :80"), 1);
  set("enable", u8(1));
  EXPECT_EQ(Log.count("cannot be enabled"), 1);
}

TEST_F(TimeServer, ABadHostClearsTheFormerOne) {
  setBytes(1, 0);
  start(1);
  setHost("no such host");
  runTo(1000000);
  EXPECT_FALSE(Far.take());
  connect(); // and it goes on in step
  runTo(1999999);
  EXPECT_FALSE(Far.take());
  runTo(2000000);
  EXPECT_THAT(Far.take(), Optional(ElementsAre(11, 1, 0)));
}

TEST_F(TimeServer, ServesOverTheNewerProtocolToo) {
  UdpReceiver Newer(AF_INET6);
  if (!Newer.isBound())
    GTEST_SKIP() << "no such address on this host";
  setBytes(0, 1);
  setHost("[::1]:" + std::to_string(Newer.port()));
  set("period", real(0.75));
  set("enable", u8(1));
  runTo(750000);
  EXPECT_THAT(Newer.take(), Optional(ElementsAre(11, 1, 0xC0)));
}

TEST_F(TimeServer, GoesOnSendingWhenNobodyListens) {
  uint16_t Port;
  {
    UdpReceiver Gone;
    Port = Gone.port();
  }
  setHost("127.0.0.1:" + std::to_string(Port));
  set("period", real(0.1));
  set("enable", u8(1));
  runTo(1000000);
  EXPECT_TRUE(isWaiting());
}

TEST_F(TimeServer, CannotBeEnabledAfterItsTimeSourceIsDisposed) {
  start(1);
  orvy_disposeObject(Cpu);
  set("enable", u8(1));
  EXPECT_EQ(Log.count("server : cannot be enabled before a time source is set"), 1);
  set("period", real(2));
  Cpu = ScriptedCpu::make("cpu", 1000000);
  orvy_setTimeSource(Server, Cpu);
  set("enable", u8(1));
  EXPECT_TRUE(isWaiting());

  static_cast<orvy_Object *>(Server)->TimeSource = nullptr; // as its property may be set to
  runTo(5000000);
  EXPECT_EQ(Far.take(), std::nullopt);
  EXPECT_FALSE(isWaiting());
}

} // namespace
