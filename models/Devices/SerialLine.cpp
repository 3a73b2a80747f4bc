#include "SerialLine.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace devices {

const char *SerialLine::open(const std::string &Name) {
  close();
  if (Name.empty())
    return nullptr;
  const char *Error = Name == "pty" ? openPseudoTerminal() : openPath(Name.c_str());
  if (Error)
    close();
  return Error;
}

/// Opens a raw pseudo terminal, without echo, line editing and signals.
const char *SerialLine::openPseudoTerminal() {
  Fd = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  char Path[64];
  if (Fd < 0 || grantpt(Fd) != 0 || unlockpt(Fd) != 0 || ptsname_r(Fd, Path, sizeof(Path)) != 0)
    return std::strerror(errno);
  OwnFarEnd = ::open(Path, O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios Settings;
  if (OwnFarEnd < 0 || tcgetattr(OwnFarEnd, &Settings) != 0)
    return std::strerror(errno);
  cfmakeraw(&Settings);
  tcsetattr(OwnFarEnd, TCSANOW, &Settings);
  IsTerminal = true;
  FarEnd = Path;
  return nullptr;
}

const char *SerialLine::openPath(const char *Path) {
  Fd = ::open(Path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  struct stat Info;
  if (Fd < 0 || fstat(Fd, &Info) != 0)
    return std::strerror(errno);
  IsTerminal = isatty(Fd);
  if (!IsTerminal && !S_ISFIFO(Info.st_mode))
    return "neither a terminal nor a pipe";
  FarEnd = Path;
  return nullptr;
}

void SerialLine::close() {
  pause();
  for (int *Each : {&Fd, &OwnFarEnd})
    if (*Each >= 0)
      ::close(std::exchange(*Each, -1));
  IsTerminal = false;
  FarEnd.clear();
}

void SerialLine::listen(void *Holder, orvy_ThreadSafeCb Func, void *Arg) {
  pause();
  if (!isOpen())
    return;
  orvy_asyncSocketAdd(Holder, Fd, ovAS_Read, Func, Arg);
  IsListening = true;
}

void SerialLine::pause() {
  if (std::exchange(IsListening, false))
    orvy_asyncSocketRemove(Fd, ovAS_Read);
}

int SerialLine::read(char *Bytes, size_t Room) {
  auto Count = ::read(Fd, Bytes, Room);
  if (Count > 0)
    return static_cast<int>(Count);
  return Count < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : -1;
}

void SerialLine::write(uint8_t Byte) {
  if (IsTerminal && ::write(Fd, &Byte, 1) < 0)
    errno = 0; // the other end does not read
}

} // namespace devices
