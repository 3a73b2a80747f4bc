// UdpReceiver.h - the far end of a datagram connection on this host, made of bare system calls.

#ifndef ORVY_UNITTESTS_UDPRECEIVER_H
#define ORVY_UNITTESTS_UDPRECEIVER_H

#include <arpa/inet.h>
#include <cstdint>
#include <cstring>
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace orvy::testing {

class UdpReceiver {
public:
  /// On a loopback address, at a port that is free.
  explicit UdpReceiver(int Family = AF_INET, int Type = SOCK_DGRAM)
      : Fd(socket(Family, Type | SOCK_CLOEXEC, 0)) {
    sockaddr_storage Address{};
    socklen_t Length = sizeof(sockaddr_in);
    Address.ss_family = static_cast<sa_family_t>(Family);
    if (Family == AF_INET6) {
      reinterpret_cast<sockaddr_in6 &>(Address).sin6_addr = in6addr_loopback;
      Length = sizeof(sockaddr_in6);
    } else {
      reinterpret_cast<sockaddr_in &>(Address).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    IsBound = Fd >= 0 && bind(Fd, reinterpret_cast<sockaddr *>(&Address), Length) == 0;
  }
  ~UdpReceiver() { close(Fd); }
  UdpReceiver(const UdpReceiver &) = delete;
  UdpReceiver &operator=(const UdpReceiver &) = delete;

  /// False where the host has no such loopback address.
  bool isBound() const { return IsBound; }
  int descriptor() const { return Fd; }
  uint16_t port() const { return portOf(Fd); }

  static uint16_t portOf(int Descriptor) {
    sockaddr_storage Address{};
    socklen_t Length = sizeof(Address);
    getsockname(Descriptor, reinterpret_cast<sockaddr *>(&Address), &Length);
    return ntohs(reinterpret_cast<sockaddr_in &>(Address).sin_port); // at the same place in both
  }

  /// A datagram that has arrived; nothing if there is none.
  std::optional<std::vector<uint8_t>> take() {
    std::vector<uint8_t> Data(4096);
    ssize_t Size = recv(Fd, Data.data(), Data.size(), MSG_DONTWAIT);
    if (Size < 0)
      return std::nullopt;
    Data.resize(static_cast<size_t>(Size));
    return Data;
  }

private:
  int Fd;
  bool IsBound;
};

} // namespace orvy::testing

#endif
