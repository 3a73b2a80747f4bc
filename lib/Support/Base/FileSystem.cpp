#include "orvy/Support/FileSystem.h"

#include "Base/UniqueDescriptor.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sstream>
#include <sys/mman.h>
#include <sys/stat.h>

using namespace orvy;

namespace {

struct DirectoryCloser {
  void operator()(DIR *Dir) const { closedir(Dir); }
};
using Directory = std::unique_ptr<DIR, DirectoryCloser>;

// A read-only mapping of a whole open file; null data where there is none.
class Mapping {
public:
  Mapping(int Descriptor, size_t Size) : Size(Size) {
    void *Mapped = mmap(nullptr, Size, PROT_READ, MAP_PRIVATE, Descriptor, 0);
    Data = Mapped == MAP_FAILED ? nullptr : Mapped;
  }
  Mapping(const Mapping &) = delete;
  Mapping &operator=(const Mapping &) = delete;
  ~Mapping() {
    if (Data)
      retryOnSignal([this] { return munmap(Data, Size); });
  }
  const void *data() const { return Data; }

private:
  size_t Size;
  void *Data;
};

bool isDotEntry(const char *Name) {
  return std::strcmp(Name, ".") == 0 || std::strcmp(Name, "..") == 0;
}

} // namespace

bool fs::exists(const std::string &Path) {
  struct stat Info;
  return stat(Path.c_str(), &Info) == 0;
}

bool fs::isFile(const std::string &Path) {
  struct stat Info;
  return stat(Path.c_str(), &Info) == 0 && S_ISREG(Info.st_mode);
}

bool fs::isDir(const std::string &Path) {
  struct stat Info;
  return stat(Path.c_str(), &Info) == 0 && S_ISDIR(Info.st_mode);
}

bool fs::isEmpty(const char *Path) {
  if (isFile(Path))
    return size(Path) == 0;
  const std::vector<std::string> Names = isDir(Path) ? ls(Path) : std::vector<std::string>();
  return !Names.empty() && std::ranges::all_of(Names, [](const std::string &Name) {
    return isDotEntry(Name.c_str());
  });
}

bool fs::mv(const char *From, const char *To) {
  return rename(From, To) == 0;
}

bool fs::cp(const char *From, const char *To) {
  const UniqueDescriptor Source(open(From, O_RDONLY | O_CLOEXEC));
  struct stat Info;
  if (!Source.isOpen() || fstat(Source.get(), &Info) != 0)
    return false;
  const auto Size = static_cast<size_t>(Info.st_size);
  const Mapping Bytes(Source.get(), Size);
  if (!Bytes.data())
    return false;
  const UniqueDescriptor Target(open(To, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return Target.isOpen() &&
         write(Target.get(), Bytes.data(), Size) == static_cast<ssize_t>(Info.st_size);
}

bool fs::rm(const char *Path) {
  return unlink(Path) == 0;
}

std::string fs::tempDir() {
  return "/tmp";
}

std::string fs::cwd() {
  char Path[4096];
  return getcwd(Path, sizeof Path) ? Path : "";
}

uint64_t fs::size(const char *Path) {
  struct stat Info;
  return stat(Path, &Info) == 0 ? static_cast<uint64_t>(Info.st_size) : 0;
}

std::string fs::fileNameComponent(const char *Path) {
  const char *Slash = std::strrchr(Path, '/');
  return Slash ? Slash + 1 : Path;
}

std::string fs::directoryComponent(const char *Path) {
  return std::string(Path, std::strcspn(Path, "/"));
}

std::string fs::normalisePath(const char *Path) {
  std::string Result = Path;
  const auto areSlashes = [](char Left, char Right) { return Left == '/' && Right == '/'; };
  Result.erase(std::unique(Result.begin(), Result.end(), areSlashes), Result.end());
  return Result;
}

bool fs::isAbsolutePath(const char *Path) {
  return Path[0] == '/';
}
bool fs::isRelativePath(const char *Path) {
  return !isAbsolutePath(Path);
}

std::vector<std::string> fs::pathComponents(const char *Path) {
  std::vector<std::string> Components;
  std::istringstream Rest(Path);
  for (std::string Component; std::getline(Rest, Component, '/');)
    Components.push_back(Component);
  return Components;
}

static bool makeDirectory(const char *Path) {
  return ::mkdir(Path, 0700) == 0;
}

bool fs::mkdir(const char *Path, bool Recursive) {
  if (!Recursive)
    return makeDirectory(Path);
  std::string Growing = isAbsolutePath(Path) ? "/" : "";
  for (const std::string &Component : pathComponents(normalisePath(Path).c_str())) {
    if (Component.empty())
      continue;
    Growing += Component;
    if (!exists(Growing) && !makeDirectory(Growing.c_str()))
      return false;
    Growing += '/';
  }
  return true;
}

std::vector<std::string> fs::ls(const char *Path) {
  std::vector<std::string> Names;
  const Directory Dir(opendir(Path));
  if (!Dir)
    return Names;
  while (const dirent *Entry = readdir(Dir.get()))
    Names.emplace_back(Entry->d_name);
  return Names;
}
