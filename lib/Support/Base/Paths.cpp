#include "orvy/Support/Paths.h"

#include "orvy/Support/OutStream.h"

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace orvy;

// The candidate roots of the installation in the order in which they were found.
static std::vector<std::string> Paths;

static void debugLine(const char *Opening, const std::string &Subject) {
  if (std::getenv("ORVY_DEBUG_PATH_DISCOVERY"))
    errs() << Opening << Subject << "'\n";
}

static bool hasModeAndExecute(const char *Path, mode_t Kind) {
  struct stat Info;
  return stat(Path, &Info) == 0 && (Info.st_mode & S_IFMT) == Kind && (Info.st_mode & 0111);
}

bool os::path::isExecutable(const char *Path) {
  return hasModeAndExecute(Path, S_IFREG);
}
bool os::path::isDirectory(const char *Path) {
  return hasModeAndExecute(Path, S_IFDIR);
}

// Roots.

static void addRootOfPath(const std::string &Dir) {
  if (std::getenv("ORVY_DEBUG_BUILD"))
    Paths.push_back(Dir + "/../..");
  debugLine("path-debug relative/absolute append: '", Dir + "/..");
  Paths.push_back(Dir + "/..");
}

// A directory of PATH gives a root if it holds the command.
static void addRootOfSearch(const std::string &Dir, const std::string &Command, bool IsLast) {
  const std::string Candidate = Dir + "/" + Command;
  const std::string Root = Dir + "/..";
  debugLine(IsLast ? "path-debug last path test: '" : "path-debug PATH search: '", Candidate);
  if (!os::path::isExecutable(Candidate.c_str()))
    return;
  if (IsLast)
    debugLine("path-debug contains exec: '", Root);
  else
    debugLine("path-debug is exec: '", Candidate);
  Paths.push_back(Root);
}

static void searchCommand(std::string_view Search, const std::string &Command) {
  for (size_t Colon = Search.find(':'); Colon != Search.npos; Colon = Search.find(':')) {
    addRootOfSearch(std::string(Search.substr(0, Colon)), Command, false);
    Search.remove_prefix(Colon + 1);
  }
  addRootOfSearch(std::string(Search), Command, true);
}

void os::path::addInstallPathForCommand(const std::string &Command) {
  debugLine("path-debug: command = '", Command);
  const size_t Slash = Command.rfind('/');
  if (Slash != Command.npos)
    addRootOfPath(Command.substr(0, Slash));
  else if (const char *Search = std::getenv("PATH"))
    searchCommand(Search, Command);
  else
    errs() << "$PATH is not set\n";
}

void os::path::printPaths() {
  for (const std::string &Root : Paths)
    outs() << Root << "\n";
}

// Look-ups.

static std::string findBelowRoots(const std::string &Suffix, bool (*Accepts)(const char *)) {
  for (const std::string &Root : Paths)
    if (std::string Candidate = Root + Suffix; Accepts(Candidate.c_str()))
      return Candidate;
  return {};
}

// The same for a directory whose look-up can be followed; What names it in the texts.
static std::string findTraced(const std::string &Suffix, const std::string &What) {
  for (const std::string &Root : Paths) {
    std::string Candidate = Root + Suffix;
    debugLine(("path-debug find " + What + ": '").c_str(), Candidate);
    if (!os::path::isDirectory(Candidate.c_str()))
      continue;
    debugLine(("path-debug " + What + " is dir: '").c_str(), Candidate);
    return Candidate;
  }
  if (std::getenv("ORVY_DEBUG_PATH_DISCOVERY"))
    errs() << "path-debug did not find " << What << "\n";
  return {};
}

std::string os::path::getLibDir() {
  return findTraced("/lib", "lib dir");
}

std::string os::path::findWrapperDir(const std::string &Name) {
  return findTraced("/share/orvy/wrappers/" + Name, "wrapper dir");
}

std::string os::path::findTool(const std::string &Name) {
  return findBelowRoots("/bin/" + Name, isExecutable);
}

std::string os::path::findSupportTool(const std::string &Name) {
  return findBelowRoots("/libexec/orvy/" + Name, isExecutable);
}

std::string os::path::findResourceDir(const std::string &Name) {
  return findBelowRoots("/share/orvy/" + Name, isDirectory);
}

// The user.

static std::string homeOfEffectiveUser() {
  const long Advised = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> Buffer(Advised > 0 ? static_cast<size_t>(Advised) : 1024);
  passwd Entry;
  passwd *Found = nullptr;
  while (getpwuid_r(geteuid(), &Entry, Buffer.data(), Buffer.size(), &Found) == ERANGE)
    Buffer.resize(Buffer.size() * 2);
  return Found && Found->pw_dir ? Found->pw_dir : "";
}

std::string os::path::getHomeDir() {
  const char *Home = std::getenv("HOME");
  return Home ? Home : homeOfEffectiveUser();
}

std::string os::path::getConfDir() {
  const std::string Home = getHomeDir();
  return Home.empty() ? Home : Home + "/.config/orvy/";
}
