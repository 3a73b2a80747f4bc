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

  /// Opens what a name stands for: "pty" for a pseudo terminal of its own, or the path of a
  /// terminal or pipe. An empty name stands for none. Null, or what is wrong.
  const char *open(const std::string &Name);
  void close();
  bool isOpen() const { return Fd >= 0; }
  /// What a program of the host opens to be at the other end; empty while nothing is open.
  const std::string &farEnd() const { return FarEnd; }

  /// Has a function called on the simulation thread whenever bytes have come.
  void listen(void *Holder, orvy_ThreadSafeCb Func, void *Arg);
  /// Lets bytes wait on the host until listen is called again.
  void pause();
  bool isListening() const { return IsListening; }

  /// Takes bytes that have come, as many as fit. 0 if there are none, -1 at the end of the line.
  int read(char *Bytes, size_t Room);
  /// Sends a byte to a terminal. One that it has no room for is lost.
  void write(uint8_t Byte);

private:
  const char *openPseudoTerminal();
  const char *openPath(const char *Path);

  int Fd = -1;
  int OwnFarEnd = -1; // held open: a pseudo terminal without one has ended
  bool IsTerminal = false;
  bool IsListening = false;
  std::string FarEnd;
};

} // namespace devices

#endif
