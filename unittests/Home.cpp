// Home.cpp - gives each process of tests a home of its own: tests run beside each other, and what
// the user has at home is neither read nor written. It has a .config, which the library does not
// make.

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

class Home {
public:
  Home() {
    if (!mkdtemp(Path.data()) || !std::filesystem::create_directory(Path + "/.config"))
      std::abort();
    setenv("HOME", Path.c_str(), 1);
  }
  ~Home() {
    std::error_code Ignored;
    if (getpid() == Owner) // and not a forked child
      std::filesystem::remove_all(Path, Ignored);
  }

private:
  std::string Path = std::filesystem::temp_directory_path() / "orvy-home-XXXXXX";
  const pid_t Owner = getpid();
} TheHome;

} // namespace
