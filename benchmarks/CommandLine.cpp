// CommandLine: scripts of trivial commands beside the like script in tclsh, and completion over
// many objects beside a copy of their names. Without tclsh the rows of scripts are left out.

#include "Table.h"

#include "orvy/Support/Completion.h"
#include "orvy/Support/Interpreter.h"
#include "orvy/Support/Orvy.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int Lines = 100000;

/// A script of one line over and over.
class Script {
public:
  explicit Script(const std::string &Line) {
    Descriptor = mkstemp(Path);
    std::ofstream File(Path);
    for (int Count = 0; Count < Lines; ++Count)
      File << Line << "\n";
  }
  ~Script() {
    close(Descriptor);
    std::remove(Path);
  }
  Script(const Script &) = delete;
  Script &operator=(const Script &) = delete;
  const char *path() const { return Path; }

private:
  char Path[32] = "/tmp/orvy-bench-XXXXXX";
  int Descriptor;
};

/// Sends the standard output nowhere for its time.
class Silence {
public:
  Silence() : Former(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int Null = open("/dev/null", O_WRONLY);
    dup2(Null, STDOUT_FILENO);
    close(Null);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(Former, STDOUT_FILENO);
    close(Former);
  }
  Silence(const Silence &) = delete;
  Silence &operator=(const Silence &) = delete;

private:
  int Former;
};

bench::Function script(const char *Line) {
  return [Line](benchmark::State &State) {
    const Script Source(Line);
    const Silence Quiet;
    for (auto _ : State)
      orvy_execCommandFile(Source.path());
    State.SetItemsProcessed(State.iterations() * Lines);
  };
}

/// The microseconds that tclsh says a script took, without its own start; 0 if there is no tclsh.
double timeTclScript(const char *Path) {
  const std::string Command = std::string("echo 'puts stderr [lindex [time {source ") + Path +
                              "}] 0]' | tclsh 2>&1 >/dev/null";
  FILE *Pipe = popen(Command.c_str(), "r");
  double Micros = 0;
  if (!Pipe || std::fscanf(Pipe, "%lf", &Micros) != 1)
    Micros = 0;
  if (Pipe)
    pclose(Pipe);
  return Micros;
}

/// Runs once for each measurement: the time is tclsh's own.
bench::Function tclScript(const char *Line) {
  return [Line](benchmark::State &State) {
    const Script Source(Line);
    const double Micros = timeTclScript(Source.path());
    if (Micros == 0)
      State.SkipWithError("no tclsh, hence no row for this script");
    for (auto _ : State)
      benchmark::ClobberMemory();
    State.counters["items_per_second"] = Lines * 1e6 / Micros;
  };
}

constexpr int Objects = 10000;

std::string objectName(int Index) {
  return "benchCompletion" + std::to_string(Index);
}

void complete(benchmark::State &State) {
  for (int Index = 0; Index < Objects; ++Index)
    orvy_createObject("Clock", objectName(Index).c_str(), nullptr);
  for (auto _ : State)
    benchmark::DoNotOptimize(orvy::cl::completeValue("object-run", "obj", "benchComp"));
  for (int Index = 0; Index < Objects; ++Index)
    orvy_disposeObject(orvy_objectForName(objectName(Index).c_str()));
}

void copyNames(benchmark::State &State) {
  std::vector<std::string> Names;
  for (int Index = 0; Index < Objects; ++Index)
    Names.push_back(objectName(Index));
  for (auto _ : State)
    benchmark::DoNotOptimize(std::vector<std::string>(Names));
}

const int Rows[] = {
    bench::compare("script line, var-set", {1, 0}, script("var-set var=abc val=def"),
                   tclScript("set abc def")),
    bench::compare("script line, echo", {1, 0}, script("echo hello world"),
                   tclScript("puts \"hello world\"")),
    bench::compare("completion of 10000 objects", bench::below(10e6), complete, copyNames),
};

} // namespace
