#include "Checkpoint/CheckpointFile.h"

#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace orvy::checkpoint {

namespace {

constexpr size_t BufferSize = 1 << 20;
constexpr auto FirstReport = std::chrono::seconds(1);
constexpr auto NextReport = std::chrono::milliseconds(200);

[[noreturn]] void fail() {
  throw std::system_error(errno, std::generic_category());
}

} // namespace

// Progress

Progress::Progress(const char *What, uint64_t Total)
    : What(What), Total(Total), Next(std::chrono::steady_clock::now() + FirstReport),
      IsTerminal(isatty(STDERR_FILENO)) {}

Progress::~Progress() {
  if (!IsShown)
    return;
  errs() << "\r\033[K";
  errs().flush();
}

void Progress::advance(size_t Bytes) {
  Done += Bytes;
  if (!IsTerminal)
    return;
  auto Now = std::chrono::steady_clock::now();
  if (Now < Next)
    return;
  Next = Now + NextReport;
  IsShown = true;
  errs() << "\r" << What << " checkpoint: ";
  if (Total)
    errs() << Done * 100 / Total << " %";
  else
    errs() << (Done >> 20) << " MiB";
  errs().flush();
}

// ReplacementFile

namespace {

std::string resolved(const char *Path) {
  std::unique_ptr<char, void (*)(void *)> Real(realpath(Path, nullptr), std::free);
  return Real ? Real.get() : Path;
}

int openFile(const std::string &Path, int Flags, mode_t Mode) {
  return retryOnSignal([&] { return open(Path.c_str(), Flags | O_WRONLY | O_CLOEXEC, Mode); });
}

/// The open descriptor that a path stands for; -1 for any other path. Opening the path instead
/// would overwrite the file from its start.
int descriptorOf(std::string_view Path) {
  if (Path == "/dev/stdout")
    return STDOUT_FILENO;
  if (Path == "/dev/stderr")
    return STDERR_FILENO;
  for (std::string_view Dir : {"/dev/fd/", "/proc/self/fd/"}) {
    int Number = -1;
    if (Path.substr(0, Dir.size()) == Dir)
      std::from_chars(Path.data() + Dir.size(), Path.data() + Path.size(), Number);
    if (Number >= 0)
      return Number;
  }
  return -1;
}

std::string directoryOf(const std::string &Path) {
  size_t Slash = Path.rfind('/');
  return Slash == Path.npos ? "." : Path.substr(0, Slash + 1);
}

/// Whether the sticky bit of the directory prevents us from replacing the file.
bool isKept(const std::string &Path, const struct stat &File) {
  struct stat Dir;
  return stat(directoryOf(Path).c_str(), &Dir) == 0 && (Dir.st_mode & S_ISVTX) &&
         File.st_uid != geteuid() && Dir.st_uid != geteuid();
}

bool isLink(const std::string &Path) {
  struct stat Info;
  return lstat(Path.c_str(), &Info) == 0 && S_ISLNK(Info.st_mode);
}

/// Makes the new directory entry durable. Not every file system supports this.
void syncDirectory(const std::string &Path) {
  UniqueDescriptor Opened(open(directoryOf(Path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (Opened.isOpen())
    fsync(Opened.get());
}

/// The process that writes a temporary file for Base, from the file's name; 0 for any other file.
pid_t writerOf(std::string_view Name, std::string_view Base) {
  constexpr std::string_view Part = ".part";
  if (!Name.starts_with(Base) || !Name.substr(Base.size()).starts_with(Part))
    return 0;
  const char *End = Name.data() + Name.size();
  pid_t Writer = 0;
  unsigned Number = 0;
  auto First = std::from_chars(Name.data() + Base.size() + Part.size(), End, Writer);
  if (First.ec != std::errc() || First.ptr == End || *First.ptr != '-' || Writer <= 0)
    return 0;
  auto Last = std::from_chars(First.ptr + 1, End, Number);
  return Last.ec == std::errc() && Last.ptr == End ? Writer : 0;
}

/// Removes a temporary file unless it is locked: its writer may run on another machine.
void removeAbandoned(const std::string &Path) {
  UniqueDescriptor Left(open(Path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat Info;
  bool IsOurs = Left.isOpen() && fstat(Left.get(), &Info) == 0 && S_ISREG(Info.st_mode) &&
                Info.st_uid == geteuid();
  if (IsOurs && flock(Left.get(), LOCK_EX | LOCK_NB) == 0)
    unlink(Path.c_str());
}

/// Removes the temporary files of saves that were killed.
void removeLeftOvers(const std::string &Path) {
  const std::string Dir = directoryOf(Path), Base = Path.substr(Path.rfind('/') + 1);
  std::unique_ptr<DIR, int (*)(DIR *)> Opened(opendir(Dir.c_str()), closedir);
  if (!Opened)
    return;
  while (const dirent *Entry = readdir(Opened.get()))
    if (pid_t Writer = writerOf(Entry->d_name, Base);
        Writer && kill(Writer, 0) != 0 && errno == ESRCH)
      removeAbandoned((Dir == "." ? "./" : Dir) + Entry->d_name);
}

} // namespace

ReplacementFile::ReplacementFile(const char *Path) : Target(resolved(Path)) {
  if (int Present = descriptorOf(Path); Present >= 0) {
    outs().flush();
    File.reset(fcntl(Present, F_DUPFD_CLOEXEC, 0));
    if (!File.isOpen())
      fail();
    return;
  }
  struct stat Info;
  bool Exists = stat(Target.c_str(), &Info) == 0;
  // Write through a dangling link rather than replace it.
  if (Exists ? !S_ISREG(Info.st_mode) || isKept(Target, Info) : isLink(Target)) {
    File.reset(openFile(Target, O_TRUNC | (Exists ? 0 : O_CREAT), 0666));
    if (!File.isOpen())
      fail();
    return;
  }
  // Do not replace a file that is write-protected, even if the directory is writable.
  if (Exists && access(Target.c_str(), W_OK) != 0)
    fail();
  removeLeftOvers(Target);
  openBeside(Target);
  // No file can be created in the directory, but the target itself may be writable.
  if (!File.isOpen() && (errno == EACCES || errno == EPERM || errno == ENAMETOOLONG))
    File.reset(openFile(Target, O_CREAT | O_TRUNC, 0666));
  if (!File.isOpen())
    fail();
  if (Exists)
    fchmod(File.get(), Info.st_mode & 0777); // cannot fail on a new file of our own
}

void ReplacementFile::openBeside(const std::string &Path) {
  constexpr unsigned MaxNames = 100;
  for (unsigned Number = 0; Number < MaxNames; ++Number) {
    Temporary = Path + ".part" + std::to_string(getpid()) + "-" + std::to_string(Number);
    File.reset(openFile(Temporary, O_CREAT | O_EXCL, 0666));
    if (File.isOpen()) {
      flock(File.get(), LOCK_EX | LOCK_NB); // held while the file is written
      return;
    }
    if (errno != EEXIST)
      break;
  }
  Temporary.clear();
}

ReplacementFile::~ReplacementFile() {
  if (!Temporary.empty())
    unlink(Temporary.c_str());
}

void ReplacementFile::write(const char *Data, size_t Size) {
  while (Size > 0) {
    ssize_t Written = retryOnSignal([&] { return ::write(File.get(), Data, Size); });
    if (Written < 0)
      fail();
    Data += Written;
    Size -= static_cast<size_t>(Written);
  }
}

void ReplacementFile::commit() {
  if (Temporary.empty())
    return;
  if (fsync(File.get()) != 0 || rename(Temporary.c_str(), Target.c_str()) != 0)
    fail();
  Temporary.clear();
  syncDirectory(Target);
}

// Writer

namespace {

/// The longest 64-bit number has 20 characters.
constexpr size_t MaxDigits = 24;

bool isPlainText(const std::string &Text) {
  for (char C : Text)
    if (C < ' ' || C == '"' || C == '\\' || C == '\x7f')
      return false; // bytes above 0x7f are negative
  return true;
}

/// A line end and the indentation of the next line.
std::string lineStart(const char *Before, unsigned Indent) {
  return std::string(Before) + "\n" + std::string(Indent, ' ');
}

} // namespace

Writer::Writer(ReplacementFile &File)
    : File(File), Shown("saving", 0), Buffer(std::make_unique_for_overwrite<char[]>(BufferSize)) {}

void Writer::flush() {
  File.write(Buffer.get(), Used);
  Shown.advance(Used);
  Used = 0;
}

char *Writer::room(size_t Bytes) {
  if (BufferSize - Used < Bytes)
    flush();
  return Buffer.get() + Used;
}

void Writer::text(std::string_view Text) {
  if (Text.size() > BufferSize / 2) {
    flush();
    File.write(Text.data(), Text.size());
    return;
  }
  std::memcpy(room(Text.size()), Text.data(), Text.size());
  Used += Text.size();
}

void Writer::string(const std::string &Text) {
  if (!isPlainText(Text))
    return text(Json(Text).dump());
  text("\"");
  text(Text);
  text("\"");
}

void Writer::newLine(unsigned Indent) {
  text(lineStart("", Indent));
}

void Writer::value(const Json &Value, unsigned Indent) {
  switch (Value.type()) {
  case Json::value_t::object:
    return object(Value.get_ref<const Json::object_t &>(), Indent);
  case Json::value_t::array:
    return array(Value.get_ref<const Json::array_t &>(), Indent);
  case Json::value_t::binary:
    return packed(Value.get_binary(), Indent);
  case Json::value_t::string:
    return string(Value.get_ref<const std::string &>());
  case Json::value_t::number_unsigned: {
    char *To = room(MaxDigits);
    Used += static_cast<size_t>(std::to_chars(To, To + MaxDigits, Value.get<uint64_t>()).ptr - To);
    return;
  }
  default:
    return text(Value.dump());
  }
}

void Writer::object(const Json::object_t &Object, unsigned Indent) {
  if (Object.empty())
    return text("{}");
  const std::string Start = lineStart(",", Indent + 2);
  text("{");
  std::string_view Separator = std::string_view(Start).substr(1);
  for (const auto &[Key, Value] : Object) {
    text(Separator);
    string(Key);
    text(": ");
    value(Value, Indent + 2);
    Separator = Start;
  }
  newLine(Indent);
  text("}");
}

void Writer::array(const Json::array_t &Array, unsigned Indent) {
  if (Array.empty())
    return text("[]");
  const std::string Start = lineStart(",", Indent + 2);
  text("[");
  std::string_view Separator = std::string_view(Start).substr(1);
  for (const Json &Value : Array) {
    text(Separator);
    value(Value, Indent + 2);
    Separator = Start;
  }
  newLine(Indent);
  text("]");
}

template <typename Number> void Writer::numbers(const Json::binary_t &Packed, unsigned Indent) {
  // Copies of a fixed size are faster; the surplus is overwritten.
  constexpr size_t Copied = 32;
  const std::string Start = lineStart(",", Indent + 2);
  std::array<char, Copied> Fixed{};
  const bool IsShort = Start.size() <= Copied;
  if (IsShort)
    std::ranges::copy(Start, Fixed.begin());
  char Opening = '[';
  for (size_t At = 0; At < Packed.size(); At += sizeof(Number)) {
    char *To = room(std::max(Start.size(), Copied) + MaxDigits);
    if (IsShort)
      std::memcpy(To, Fixed.data(), Copied);
    else
      std::ranges::copy(Start, To);
    *To = std::exchange(Opening, ',');
    Number Value;
    std::memcpy(&Value, Packed.data() + At, sizeof(Number));
    char *Digits = To + Start.size();
    char *End = std::to_chars(Digits, Digits + MaxDigits, Value).ptr;
    Used += static_cast<size_t>(End - To);
  }
  newLine(Indent);
  text("]");
}

void Writer::packed(const Json::binary_t &Packed, unsigned Indent) {
  if (Packed.empty())
    return text("[]");
  if (Packed.subtype() == 1)
    numbers<uint8_t>(Packed, Indent);
  else if (Packed.subtype() == 2)
    numbers<uint16_t>(Packed, Indent);
  else
    numbers<uint32_t>(Packed, Indent);
}

} // namespace orvy::checkpoint
