#include "orvy/Support/Network.h"

#include "Testing/UdpReceiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

using namespace orvy;
using orvy::testing::UdpReceiver;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Bytes = std::vector<uint8_t>;

/// What a call says on the error stream.
template <typename Call> std::string said(Call Make) {
  ::testing::internal::CaptureStderr();
  Make();
  return ::testing::internal::GetCapturedStderr();
}

std::string text(int Number) {
  return std::to_string(Number);
}

TEST(Network, DatagramsReachTheirPeer) {
  const struct {
    const char *Host;
    int Family;
  } Cases[] = {
      {"127.0.0.1", AF_INET},
      {"::1", AF_INET6},
  };
  for (const auto &C : Cases) {
    UdpReceiver Far(C.Family);
    if (!Far.isBound())
      continue; // a host without that address family
    UDPSocket Near;
    std::string Told = said([&] { EXPECT_TRUE(Near.connect(C.Host, Far.port())); });
    EXPECT_EQ(Told, std::string("connect ") + C.Host + ":" + text(Far.port()) + " " +
                        text(C.Family) + " \n");
    EXPECT_TRUE(Near.writeDatagram(Bytes{1, 2, 3}));
    const uint8_t Two[] = {4, 5};
    EXPECT_TRUE(Near.writeDatagram(2, Two));
    EXPECT_TRUE(Near.writeDatagram(Bytes{}));
    EXPECT_THAT(*Far.take(), ElementsAre(1, 2, 3));
    EXPECT_THAT(*Far.take(), ElementsAre(4, 5));
    EXPECT_THAT(*Far.take(), IsEmpty());
    EXPECT_FALSE(Far.take());
  }
}

TEST(Network, ABoundSocketReceivesAsMuchAsItHasRoomFor) {
  UDPSocket Near;
  EXPECT_THAT(said([&] { EXPECT_TRUE(Near.bind("127.0.0.1", 0)); }), "udp/bind 127.0.0.1:0 2 \n");
  EXPECT_TRUE(Near.hasPendingDataGrams());
  UDPSocket Far;
  Far.connect("127.0.0.1", UdpReceiver::portOf(Near.descriptor()));
  for (size_t Size : {0u, 3u, 1024u, 1025u, 5000u}) {
    EXPECT_TRUE(Far.writeDatagram(Bytes(Size, 7)));
    EXPECT_EQ(Near.receiveDatagram(), Bytes(std::min<size_t>(Size, 1024), 7));
  }
}

TEST(Network, SayWhyNothingWasSentOrReceived) {
  UDPSocket Closed;
  EXPECT_EQ(said([&] { EXPECT_FALSE(Closed.writeDatagram(Bytes{1})); }), "write datagram failed\n");
  EXPECT_EQ(said([&] { EXPECT_THAT(Closed.receiveDatagram(), IsEmpty()); }),
            "recvfrom: Bad file descriptor\nreceived -1 bytes\n");
  UDPSocket Bound;
  said([&] { Bound.bind(0); });
  EXPECT_EQ(said([&] { EXPECT_FALSE(Bound.writeDatagram(Bytes{1})); }), "write datagram failed\n");
}

TEST(Network, TellWhenTheyClose) {
  auto S = std::make_unique<UDPSocket>();
  EXPECT_EQ(said([&] { S.reset(); }), "");
  S = std::make_unique<UDPSocket>();
  said([&] { S->bind(0); });
  int Fd = S->descriptor();
  ASSERT_GE(Fd, 0);
  EXPECT_EQ(said([&] { S.reset(); }), "closing socket " + text(Fd) + "\n");
}

TEST(Network, UnknownHostsThrow) {
  UDPSocket S;
  for (const char *Host : {"", "no such host", "256.1.1.1", "host.invalid"})
    try {
      S.connect(Host, 1);
      FAIL() << Host;
    } catch (const std::runtime_error &Error) {
      EXPECT_STREQ(Error.what(), "could not lookup address");
    }
  EXPECT_THROW(TCPSocket().bind("no such host", 1), std::runtime_error);
}

TEST(Network, StreamsConnectAndCarryNoData) {
  TCPSocket Server;
  EXPECT_FALSE(Server.listen(1));
  EXPECT_FALSE(Server.accept());
  EXPECT_EQ(said([&] { EXPECT_TRUE(Server.bind("127.0.0.1", 0)); }), "tcp/bind 127.0.0.1:0 2 \n");
  EXPECT_TRUE(Server.listen(1));
  uint16_t Port = UdpReceiver::portOf(Server.descriptor());
  TCPSocket Client;
  Client.setBlocking(false);
  EXPECT_EQ(said([&] { EXPECT_TRUE(Client.connect("127.0.0.1", Port)); }),
            "tcp/connect 127.0.0.1:" + text(Port) + " 2 \n");
  EXPECT_TRUE(Server.accept());
  char C;
  EXPECT_EQ(read(Client.descriptor(), &C, 1), 0); // closed at once

  Bytes Data(4, 7);
  std::string Text = "kept";
  uint8_t One = 7;
  EXPECT_EQ(Client.readData(Data, 4) + Client.readData(Text, 4) + Client.readData(One, 1), 0);
  Client.writeData(Data);
  Client.writeData(Text);
  Client.writeData(One);
  EXPECT_EQ(Data, Bytes(4, 7));
  EXPECT_EQ(Text, "kept");
  EXPECT_EQ(One, 7);
}

TEST(Network, FailToConnectWhereNobodyListens) {
  uint16_t Port;
  {
    UdpReceiver Gone(AF_INET, SOCK_STREAM);
    Port = Gone.port();
  }
  TCPSocket Client;
  EXPECT_EQ(said([&] { EXPECT_FALSE(Client.connect("127.0.0.1", Port)); }), "");
  EXPECT_EQ(Client.descriptor(), -1);
}

/// A name with two addresses, the first of which nobody listens at.
struct TwoAddresses : Address {
  TwoAddresses(uint16_t Closed, uint16_t Open) : Address("127.0.0.1", Closed, false) {
    const Address Second("127.0.0.1", Open, false);
    Infos.push_back(Second.all().at(0));
  }
};

struct Opener : TCPSocket {
  bool connectTo(const Address &Candidates) { return open(Candidates, Socket::connectTo); }
};

TEST(Network, TryTheNextAddressOfAName) {
  UdpReceiver Closed(AF_INET, SOCK_STREAM);
  UdpReceiver Server(AF_INET, SOCK_STREAM);
  ASSERT_EQ(listen(Server.descriptor(), 1), 0);
  Opener Client;
  EXPECT_TRUE(Client.connectTo(TwoAddresses(Closed.port(), Server.port())));
  EXPECT_GE(accept(Server.descriptor(), nullptr, nullptr), 0);
  EXPECT_FALSE(Client.connectTo(TwoAddresses(Closed.port(), Closed.port())));
}

} // namespace
