// SerialLine.h - the host's end of a serial line: a terminal, a pseudo terminal or a pipe.

#ifndef ORVY_MODELS_DEVICES_SERIALLINE_H
#define ORVY_MODELS_DEVICES_SERIALLINE_H

#include "orvy/Support/AsyncEvents.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace devices {

class SerialLine {
public:
  SerialLine() = default;
  SerialLine(const SerialLine &) = delete;
  SerialLine &operator=(const SerialLine &) = delete;
  ~SerialLine() { close(); }

  /// Opens "pty", a new pseudo terminal, or the path of a terminal or pipe. An empty name opens
  /// nothing. Returns null, or the error.
  const char *open(const std::string &Name);
  void close();
  bool isOpen() const { return Fd >= 0; }
  /// The path that a program of the host opens for the other end; empty while nothing is open.
  const std::string &farEnd() const { return FarEnd; }

  /// Calls a function on the simulation thread whenever bytes have been received.
  void listen(void *Holder, orvy_ThreadSafeCb Func, void *Arg);
  /// Leaves received bytes on the host until listen is called again.
  void pause();
  bool isListening() const { return IsListening; }

  /// Reads received bytes. Returns their number, 0 if there are none, or -1 if the line was closed.
  int read(char *Bytes, size_t Room);
  /// Sends a byte to a terminal. The byte is lost if the terminal's buffer is full.
  void write(uint8_t Byte);

private:
  const char *openPseudoTerminal();
  const char *openPath(const char *Path);

  int Fd = -1;
  int OwnFarEnd = -1; // kept open: without an open far end the pseudo terminal reports its end
  bool IsTerminal = false;
  bool IsListening = false;
  std::string FarEnd;
};

} // namespace devices

#endif
