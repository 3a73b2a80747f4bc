// The time server as scripts use it: from its plug-in, on the board, over the network of the host.

#include "models/Board.h"

#include "Testing/UdpReceiver.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace orvy::testing;
using testing::ElementsAre;

namespace {

TEST(TimeServerPlugin, SendsTheTimeOfTheBoard) {
  UdpReceiver Far;
  ASSERT_TRUE(Far.isBound());
  Board B;
  ASSERT_EQ(orvy_loadPlugin("TimeServer"), 0);
  B.assemble(0, Board::RamBase, {"wr %g0, %g0, %asr19", "ba .-0x4", "nop"});
  void *Server = make("ZodTimeServer", "time");
  orvy_setTimeSource(Server, B.Cpus[0]);
  std::string Host = "127.0.0.1:" + std::to_string(Far.port());
  orvy_Propval Value{ovTY_String, {}};
  Value.String = Host.c_str();
  orvy_writeValue(Server, "hostname", Value, -1);
  orvy_writeValueU8(Server, "coarseTimeBytes", 4, -1);
  orvy_writeValueU8(Server, "fineTimeBytes", 4, -1);
  Value = {ovTY_Double, {}};
  Value.d = 0.125;
  orvy_writeValue(Server, "period", Value, -1);
  orvy_writeValueU8(Server, "enable", 1, -1);

  // The whole seconds and the fraction of each datagram, as one number.
  std::vector<uint64_t> Times;
  orvy_simRunNanos(1100000000);
  while (auto Sent = Far.take()) {
    ASSERT_EQ(Sent->size(), 10u);
    uint64_t Time = 0;
    for (size_t Index = 2; Index < 10; ++Index)
      Time = Time << 8 | Sent->at(Index);
    Times.push_back(Time);
  }
  EXPECT_THAT(Times, ElementsAre(0x20000000, 0x40000000, 0x60000000, 0x80000000, 0xA0000000,
                                 0xC0000000, 0xE0000000, 0x100000000));
}

} // namespace
