#include "orvy/Support/Network.h"

#include "Base/UniqueDescriptor.h"

#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <netdb.h>
#include <stdexcept>
#include <sys/socket.h>
#include <utility>

namespace orvy {

static_assert(sizeof(sockaddr_storage) == AddrInfo::MaxLength);

namespace {

AddrInfo makeInfo(const addrinfo &Resolved) {
  AddrInfo Info{Resolved.ai_family,
                Resolved.ai_socktype,
                Resolved.ai_protocol,
                Resolved.ai_addrlen,
                {},
                Resolved.ai_canonname ? Resolved.ai_canonname : ""};
  Info.Length = static_cast<uint32_t>(std::min<size_t>(Info.Length, AddrInfo::MaxLength));
  std::copy_n(reinterpret_cast<const uint8_t *>(Resolved.ai_addr), Info.Length, Info.Address);
  return Info;
}

const sockaddr *addressOf(const uint8_t *Bytes) {
  return reinterpret_cast<const sockaddr *>(Bytes);
}

} // namespace

// Address

Address::Address(const std::string &Host, uint16_t Port, bool Datagram) {
  lookUp(Host.c_str(), Port, 0, Datagram);
}

Address::Address(uint16_t Port, bool Datagram) {
  lookUp(nullptr, Port, AI_PASSIVE, Datagram);
}

void Address::lookUp(const char *Host, uint16_t Port, int Flags, bool Datagram) {
  addrinfo Hints{};
  Hints.ai_flags = Flags;
  Hints.ai_family = AF_UNSPEC;
  Hints.ai_socktype = Datagram ? SOCK_DGRAM : SOCK_STREAM;
  addrinfo *First = nullptr;
  if (getaddrinfo(Host, std::to_string(Port).c_str(), &Hints, &First) != 0)
    throw std::runtime_error("could not lookup address");
  std::unique_ptr<addrinfo, void (*)(addrinfo *)> Owner(First, freeaddrinfo);
  for (const addrinfo *Each = First; Each; Each = Each->ai_next)
    Infos.push_back(makeInfo(*Each));
}

// Socket

Socket::~Socket() {
  if (Descriptor < 0)
    return;
  errs() << "closing socket " << Descriptor << "\n";
  close();
}

void Socket::close() {
  UniqueDescriptor(std::exchange(Descriptor, -1));
}

const AddrInfo *Socket::open(const Address &Candidates, OpenCall Call) {
  close();
  for (const AddrInfo &Info : Candidates.all()) {
    UniqueDescriptor Opened(::socket(Info.Family, Info.SocketType | SOCK_CLOEXEC, 0));
    if (!Opened.isOpen())
      continue;
    int On = 1;
    setsockopt(Opened.get(), SOL_SOCKET, SO_REUSEADDR, &On, sizeof(On));
    if (Call(Opened.get(), Info) != 0)
      continue;
    Descriptor = Opened.release();
    return &Info;
  }
  return nullptr;
}

int Socket::bindTo(int Descriptor, const AddrInfo &Info) {
  return ::bind(Descriptor, addressOf(Info.Address), Info.Length);
}

int Socket::connectTo(int Descriptor, const AddrInfo &Info) {
  return ::connect(Descriptor, addressOf(Info.Address), Info.Length);
}

void Socket::report(const char *What, const std::string &Host, uint16_t Port,
                    const AddrInfo &Info) {
  errs() << What << Host << ":" << Port << " " << Info.Family << " " << Info.CanonicalName << "\n";
}

bool Socket::openAndReport(const char *What, const std::string &Host, uint16_t Port,
                           const Address &Candidates, OpenCall Call) {
  const AddrInfo *Info = open(Candidates, Call);
  if (Info)
    report(What, Host, Port, *Info);
  return Info;
}

// TCPSocket

bool TCPSocket::bind(uint16_t Port) {
  return openAndReport("tcp/bind ", "", Port, Address(Port, false), bindTo);
}

bool TCPSocket::bind(const std::string &Host, uint16_t Port) {
  return openAndReport("tcp/bind ", Host, Port, Address(Host, Port, false), bindTo);
}

bool TCPSocket::connect(const std::string &Host, uint16_t Port) {
  return openAndReport("tcp/connect ", Host, Port, Address(Host, Port, false), connectTo);
}

bool TCPSocket::listen(int Backlog) {
  return ::listen(descriptor(), Backlog) == 0;
}

bool TCPSocket::accept() {
  int Peer =
      retryOnSignal([this] { return ::accept4(descriptor(), nullptr, nullptr, SOCK_CLOEXEC); });
  UniqueDescriptor Connection(Peer);
  if (!Connection.isOpen())
    return false;
  ::shutdown(Connection.get(), SHUT_RDWR);
  return true;
}

int TCPSocket::readData(std::vector<uint8_t> &, size_t) {
  return 0;
}

int TCPSocket::readData(std::string &, size_t) {
  return 0;
}

int TCPSocket::readData(uint8_t &, size_t) {
  return 0;
}

void TCPSocket::writeData(const std::vector<uint8_t> &) {}

void TCPSocket::writeData(const std::string &) {}

void TCPSocket::writeData(uint8_t) {}

// UDPSocket

bool UDPSocket::bind(uint16_t Port) {
  return openAndReport("udp/bind ", "", Port, Address(Port, true), bindTo);
}

bool UDPSocket::bind(const std::string &Host, uint16_t Port) {
  return openAndReport("udp/bind ", Host, Port, Address(Host, Port, true), bindTo);
}

bool UDPSocket::connect(const std::string &Host, uint16_t Port) {
  Address Candidates(Host, Port, true);
  const AddrInfo *Info = open(Candidates, connectTo);
  PeerLength = Info ? Info->Length : 0;
  if (!Info)
    return false;
  std::copy_n(Info->Address, Info->Length, PeerAddress);
  report("connect ", Host, Port, *Info);
  return true;
}

bool UDPSocket::writeDatagram(const std::vector<uint8_t> &Data) {
  return writeDatagram(Data.size(), Data.data());
}

bool UDPSocket::writeDatagram(size_t Length, const uint8_t *Data) {
  const sockaddr *Peer = PeerLength ? addressOf(PeerAddress) : nullptr;
  auto Sent =
      retryOnSignal([&] { return ::sendto(descriptor(), Data, Length, 0, Peer, PeerLength); });
  if (Sent >= 0)
    return true;
  errs() << "write datagram failed\n";
  return false;
}

std::vector<uint8_t> UDPSocket::receiveDatagram() {
  std::vector<uint8_t> Data(ReceiveSize);
  auto Received = retryOnSignal(
      [&] { return ::recvfrom(descriptor(), Data.data(), Data.size(), 0, nullptr, nullptr); });
  if (Received < 0) {
    std::perror("recvfrom");
    errs() << "received " << Received << " bytes\n";
    return {};
  }
  Data.resize(static_cast<size_t>(Received));
  return Data;
}

} // namespace orvy
