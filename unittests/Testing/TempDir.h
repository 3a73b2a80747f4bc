// TempDir.h - a directory of a test's own, and environment variables for its time.

#ifndef ORVY_UNITTESTS_TEMPDIR_H
#define ORVY_UNITTESTS_TEMPDIR_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace orvy::testing {

/// A fresh directory, removed with all its content at the end.
class TempDir {
public:
  TempDir() {
    char Template[] = "/tmp/orvy-test-XXXXXX";
    Root = mkdtemp(Template);
  }
  ~TempDir() {
    std::error_code Ignored;
    std::filesystem::remove_all(Root, Ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return Root; }
  std::string path(std::string_view Below) const { return Root + "/" + std::string(Below); }

  /// Writes a file, making its directories; returns its path.
  std::string file(std::string_view Below, std::string_view Text = "") const {
    const std::string Path = path(Below);
    std::filesystem::create_directories(std::filesystem::path(Path).parent_path());
    std::ofstream(Path, std::ios::binary) << Text;
    return Path;
  }
  /// The bytes of a file anywhere; none if it is not there.
  static std::string contentsOf(const std::string &Path) {
    std::ifstream File(Path, std::ios::binary);
    return {std::istreambuf_iterator<char>(File), {}};
  }
  std::string executable(std::string_view Below) const {
    const std::string Path = file(Below, "#!/bin/sh\n");
    std::filesystem::permissions(Path, std::filesystem::perms::owner_all);
    return Path;
  }
  std::string dir(std::string_view Below) const {
    std::filesystem::create_directories(path(Below));
    return path(Below);
  }

private:
  std::string Root;
};

/// Sets an environment variable, or unsets it with a null value, until the end of the test.
class Environment {
public:
  Environment(const char *Name, const char *Value) : Name(Name) {
    if (const char *Old = std::getenv(Name))
      Former = Old;
    set(Value);
  }
  ~Environment() { set(Former ? Former->c_str() : nullptr); }
  Environment(const Environment &) = delete;
  Environment &operator=(const Environment &) = delete;

private:
  void set(const char *Value) { Value ? setenv(Name, Value, 1) : unsetenv(Name); }

  const char *Name;
  std::optional<std::string> Former;
};

} // namespace orvy::testing

#endif
