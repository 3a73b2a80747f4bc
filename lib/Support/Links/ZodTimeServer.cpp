#include "orvy/Support/ZodTimeServer.h"

#include "orvy/Support/CreateArgs.h"
#include "orvy/Support/Events.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Network.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"
#include "orvy/Support/Time.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace orvy::zod {

namespace {

constexpr uint16_t DefaultPort = 4765;
constexpr uint8_t MaxTimeBytes = 4;

struct TimeServer {
  orvy_Object Super;
  double Period; // simulated seconds
  int64_t PingEvent;
  uint8_t CoarseTimeBytes;
  uint8_t FineTimeBytes;
  uint8_t Datagram[2 + 2 * MaxTimeBytes];
  bool Enabled;
  UDPSocket *Socket; // owned; null until an address is set

  void ping();
  void send();
  void restart();
  void post();
  void enable(bool On);
  void setHostName(const char *Name);
  void setAddress(const std::string &Host, uint16_t Port);
};

static_assert(std::is_standard_layout_v<TimeServer>, "properties are found by their offsets");

TimeServer &serverOf(void *Obj) {
  return *static_cast<TimeServer *>(Obj);
}

/// Writes the most significant bytes of a word, in big-endian order.
uint8_t *putHigh(uint8_t *Dest, uint32_t Word, uint8_t Count) {
  Count = std::min(Count, MaxTimeBytes); // the set route stores unchecked values
  for (; Count > 0; --Count, Word <<= 8)
    *Dest++ = static_cast<uint8_t>(Word >> 24);
  return Dest;
}

void TimeServer::send() {
  double Now = orvy_getSecs(Super.TimeSource);
  auto Seconds = static_cast<uint64_t>(Now);
  auto Fraction = static_cast<uint32_t>((Now - static_cast<double>(Seconds)) * 4294967296.0);
  Datagram[0] = 11;
  Datagram[1] = 1;
  uint8_t *End = putHigh(Datagram + 2, static_cast<uint32_t>(Seconds), CoarseTimeBytes);
  End = putHigh(End, Fraction, FineTimeBytes);
  Socket->writeDatagram(static_cast<size_t>(End - Datagram), Datagram);
}

/// Schedules the next ping even if this datagram is not sent.
void TimeServer::ping() {
  int64_t Time = orvy_eventGetRawTime(PingEvent);
  if (Socket && Super.TimeSource)
    send();
  post();
  if (orvy_eventIsScheduled(PingEvent) && orvy_eventGetRawTime(PingEvent) <= Time) {
    orvy_eventDeschedule(PingEvent);
    orvy_logError(this, "the period of %g s is below the resolution of the time source", Period);
  }
}

void TimeServer::post() {
  if (Period > 0 && std::isfinite(Period))
    orvy_eventPostSecs(Super.TimeSource, PingEvent, Period, ovSE_Cpu);
  else
    orvy_logError(this, "no time is sent with a period of %g s", Period);
}

/// Starts a new interval if enabled, else cancels the current one.
void TimeServer::restart() {
  orvy_eventDeschedule(PingEvent);
  if (Enabled)
    post();
}

void TimeServer::enable(bool On) {
  const char *Missing = !Socket ? "\"hostname\"" : !Super.TimeSource ? "a time source" : nullptr;
  if (On && Missing) {
    orvy_logError(this, "cannot be enabled before %s is set", Missing);
    return;
  }
  Enabled = On;
  restart();
}

struct HostAndPort {
  std::string Host;
  uint16_t Port;
};

/// Splits a name at the first colon into host and port. An address that contains colons must be in
/// brackets. Returns nothing if the port is invalid.
std::optional<HostAndPort> parseHostName(std::string_view Name) {
  bool IsBracketed = Name.starts_with('[') && Name.find(']') != Name.npos;
  size_t HostEnd = IsBracketed ? Name.find(']') : std::min(Name.find(':'), Name.size());
  std::string Host(Name.substr(IsBracketed ? 1 : 0, HostEnd - (IsBracketed ? 1 : 0)));
  std::string_view Rest = Name.substr(HostEnd + (IsBracketed ? 1 : 0));
  if (Rest.empty())
    return HostAndPort{Host, DefaultPort};
  uint16_t Port = 0;
  const char *End = Rest.data() + Rest.size();
  auto [Stopped, Error] = std::from_chars(Rest.data() + 1, End, Port);
  if (Rest[0] != ':' || Error != std::errc() || Stopped != End || Port == 0)
    return std::nullopt;
  return HostAndPort{Host, Port};
}

void TimeServer::setHostName(const char *Name) {
  if (!Name)
    return;
  if (auto Parsed = parseHostName(Name))
    setAddress(Parsed->Host, Parsed->Port);
  else
    orvy_logError(this, "no port number behind the host in '%s'", Name);
}

bool connectTo(UDPSocket &Socket, const std::string &Host, uint16_t Port) {
  try {
    return Socket.connect(Host, Port);
  } catch (const std::runtime_error &) {
    return false; // the look-up failed
  }
}

void TimeServer::setAddress(const std::string &Host, uint16_t Port) {
  delete Socket;
  Socket = nullptr;
  auto Fresh = std::make_unique<UDPSocket>();
  if (connectTo(*Fresh, Host, Port))
    Socket = Fresh.release();
  else
    orvy_logError(this, "could not connect to %s:%u", Host.c_str(), static_cast<unsigned>(Port));
}

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  if (orvy_readCreateArgs("ZodTimeServer", Name, Argc, Args, nullptr, 0) != 0)
    return nullptr;
  auto *Server = new TimeServer{};
  Server->PingEvent =
      orvy_eventPublish("ping", Server, [](orvy_Event *E) { serverOf(E->Obj).ping(); });
  return Server;
}

void dispose(void *Obj) {
  TimeServer *Server = &serverOf(Obj);
  orvy_eventDepublish(Server->PingEvent);
  delete Server->Socket;
  delete Server;
}

template <uint8_t TimeServer::*Field> void writeCount(void *Obj, orvy_Propval Value, int) {
  serverOf(Obj).*Field =
      static_cast<uint8_t>(std::min<uint64_t>(orvy_asUnsigned(Value), MaxTimeBytes));
}

void writePeriod(void *Obj, orvy_Propval Value, int) {
  serverOf(Obj).Period = orvy_asDouble(Value);
  serverOf(Obj).restart();
}

void writeHostName(void *Obj, orvy_Propval Value, int) {
  serverOf(Obj).setHostName(Value.String);
}

void writeEnable(void *Obj, orvy_Propval Value, int) {
  serverOf(Obj).enable(orvy_asUnsigned(Value) != 0);
}

} // namespace

void init() {
  orvy_Class *Cls = orvy_registerClass("ZodTimeServer", create, dispose);
  if (!Cls)
    return;
  orvy_addProperty(Cls, "coarseTimeBytes", offsetof(TimeServer, CoarseTimeBytes), ovTY_U8, 1,
                   writeCount<&TimeServer::CoarseTimeBytes>, nullptr,
                   "Number of coarse time bytes [1,4]");
  orvy_addProperty(Cls, "fineTimeBytes", offsetof(TimeServer, FineTimeBytes), ovTY_U8, 1,
                   writeCount<&TimeServer::FineTimeBytes>, nullptr,
                   "Number of fine time bytes [1,4]");
  orvy_addProperty(Cls, "period", offsetof(TimeServer, Period), ovTY_Double, 1, writePeriod,
                   nullptr, "Time in simulated time between time datagrams");
  orvy_addPseudoProperty(Cls, "hostname", ovTY_String, 1, writeHostName, nullptr, nullptr, nullptr,
                         "Address to send time datagrams to.");
  orvy_addPseudoProperty(Cls, "enable", ovTY_U8, 1, writeEnable, nullptr, nullptr, nullptr,
                         "Set to 1 to enable time distribution.");
}

} // namespace orvy::zod
