// Network.h - a thin layer over sockets, for models that exchange data with the outside world.
//
// Datagrams are carried out in full; of streams only the set-up is. Every call does its work before
// it returns, and nothing is locked: a socket belongs to one thread at a time. What happens is told
// on the error stream.

#ifndef ORVY_SUPPORT_NETWORK_H
#define ORVY_SUPPORT_NETWORK_H

#include "orvy/Support/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orvy {

/// One resolved address.
struct AddrInfo {
  static constexpr size_t MaxLength = 128;

  int Family;
  int SocketType;
  int Protocol;
  uint32_t Length; ///< bytes used of Address
  alignas(8) uint8_t Address[MaxLength];
  std::string CanonicalName; ///< empty if the resolver gave none
};

/// What a host and a port resolve to, in the resolver's order.
class Address {
public:
  /// @throws std::runtime_error if the look-up fails
  ORVY_API Address(const std::string &Host, uint16_t Port, bool Datagram);
  /// The addresses of this host to listen on.
  ORVY_API Address(uint16_t Port, bool Datagram);

  const std::vector<AddrInfo> &all() const { return Infos; }

protected:
  std::vector<AddrInfo> Infos;

private:
  void lookUp(const char *Host, uint16_t Port, int Flags, bool Datagram);
};

/// A socket that is not open until it is bound or connected; doing so again opens it anew.
class ORVY_API Socket {
public:
  Socket() = default;
  Socket(const Socket &) = delete;
  Socket &operator=(const Socket &) = delete;
  /// Closes the socket, with a line on the error stream if it was open.
  virtual ~Socket();

  /// Opens the socket on the first local address that can be bound. False if there is none.
  /// The look-up of all three throws as Address does.
  virtual bool bind(uint16_t Port) = 0;
  virtual bool bind(const std::string &Host, uint16_t Port) = 0;
  /// Opens the socket towards the first address that can be connected to. False if there is none.
  virtual bool connect(const std::string &Host, uint16_t Port) = 0;

  /// Does nothing.
  void setBlocking(bool) {}
  /// The descriptor, which stays the socket's; -1 while it is not open.
  int descriptor() const { return Descriptor; }

protected:
  using OpenCall = int (*)(int Descriptor, const AddrInfo &Info);

  /// Opens the first of some addresses with which a call succeeds. Null if there is none.
  const AddrInfo *open(const Address &Candidates, OpenCall Call);
  /// The same, with a line on the error stream on success.
  bool openAndReport(const char *What, const std::string &Host, uint16_t Port,
                     const Address &Candidates, OpenCall Call);
  static int bindTo(int Descriptor, const AddrInfo &Info);
  static int connectTo(int Descriptor, const AddrInfo &Info);
  static void report(const char *What, const std::string &Host, uint16_t Port,
                     const AddrInfo &Info);
  void close();

private:
  int Descriptor = -1;
};

/// A stream. Its data transfer is not carried out.
class ORVY_API TCPSocket : public Socket {
public:
  bool bind(uint16_t Port) override;
  bool bind(const std::string &Host, uint16_t Port) override;
  bool connect(const std::string &Host, uint16_t Port) override;

  /// Lets peers connect. False on failure.
  bool listen(int Backlog);
  /// Waits for a peer and closes the connection at once. False if there was none.
  bool accept();

  /// Nothing is read: 0.
  int readData(std::vector<uint8_t> &Buffer, size_t Length);
  int readData(std::string &Buffer, size_t Length);
  int readData(uint8_t &Buffer, size_t Length);
  /// Nothing is written.
  void writeData(const std::vector<uint8_t> &Data);
  void writeData(const std::string &Data);
  void writeData(uint8_t Data);
};

/// Datagrams, sent to the peer that the socket was connected to.
class ORVY_API UDPSocket : public Socket {
public:
  bool bind(uint16_t Port) override;
  bool bind(const std::string &Host, uint16_t Port) override;
  bool connect(const std::string &Host, uint16_t Port) override;

  /// Always true.
  bool hasPendingDataGrams() const { return true; }
  /// Sends a datagram. False, with a line on the error stream, on failure.
  bool writeDatagram(const std::vector<uint8_t> &Data);
  bool writeDatagram(size_t Length, const uint8_t *Data);
  /// Waits for a datagram. One that is longer than 1024 bytes loses its tail; empty on failure.
  std::vector<uint8_t> receiveDatagram();

private:
  alignas(8) uint8_t PeerAddress[AddrInfo::MaxLength] = {};
  uint32_t PeerLength = 0;
  size_t ReceiveSize = 1024;
};

} // namespace orvy

#endif
