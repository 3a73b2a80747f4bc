// Tells the order in which the singletons of the library die, and that streams and log work before
// their initialisers and after their destructors. Built once from the library's objects and once
// against the shared library, whose initialisers run before this program's.

#include "CommandLine/PythonInterpreter.h"
#include "Logging/LoggingEngine.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/PluginManager.h"
#include "orvy/Support/Orvy.h"
#include "orvy/Support/OutStream.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

struct Singleton {
  const char *Name;
  size_t Size;
  bool IsAwaited; // the next allocation of its size is the singleton
  void *Address;
};

// The commands of the library build their registry when it is loaded, the options their parser.
constinit Singleton Singletons[] = {
    {"CommandRegistry", sizeof(orvy::cl::CommandRegistry), true, nullptr},
    {"CommandLineParser", sizeof(orvy::cl::CommandLineParser), true, nullptr},
    {"ClassRegistry", sizeof(orvy::objsys::ClassRegistry), false, nullptr},
    {"PluginManager", sizeof(orvy::objsys::PluginManager), false, nullptr},
    {"LoggingEngine", sizeof(orvy::LoggingEngine), false, nullptr},
    {"PythonInterpreter", sizeof(orvy::PythonInterpreter), false, nullptr},
    {"Interpreter", sizeof(orvy::cl::Interpreter), false, nullptr},
    {"InterfaceTypes", sizeof(orvy::InterfaceTypes), false, nullptr},
    {"ObjectSystem", sizeof(orvy::ObjectSystem), false, nullptr},
    {"TypeSystem", sizeof(orvy::TypeSystem), false, nullptr},
};

void noteAllocation(void *Address, size_t Size) {
  for (Singleton &Each : Singletons)
    if (Each.IsAwaited && Each.Size == Size) {
      Each.IsAwaited = false;
      Each.Address = Address;
    }
}

void noteRelease(void *Address) {
  for (const Singleton &Each : Singletons)
    if (Address && Each.Address == Address)
      std::printf("%s dies\n", Each.Name);
}

template <typename Call> void build(Singleton &Which, Call FirstUse) {
  Which.IsAwaited = true;
  FirstUse();
  if (Which.IsAwaited)
    std::printf("%s was there before its first use\n", Which.Name);
  Which.IsAwaited = false;
}

// Set up before the initialisers of the library's objects, and so destroyed after them.
struct Witness {
  Witness() { orvy::outs() << "first initialiser\n"; }
  ~Witness() {
    orvy::outs() << "last destructor\n";
    orvy_logInfo(nullptr, "last words");
    orvy_logSetColour(0);
    orvy_logInfo(nullptr, "very last words");
  }
};
[[gnu::init_priority(102)]] Witness TheWitness;

} // namespace

void *operator new(size_t Size) {
  void *Address = std::malloc(Size);
  if (!Address)
    std::abort();
  noteAllocation(Address, Size);
  return Address;
}

void operator delete(void *Address) noexcept {
  noteRelease(Address);
  std::free(Address);
}

void operator delete(void *Address, size_t) noexcept {
  operator delete(Address);
}

int main() {
  // Built in an order that is not that of their death.
  build(Singletons[6], [] { orvy::cl::getGlobalInterpreter(); });
  build(Singletons[4], [] { orvy_logSetColour(0); });
  build(Singletons[2], [] { orvy_objectForName("x"); });
  build(Singletons[3], [] { orvy_pluginPathRemove("x"); });
  build(Singletons[5], [] {
    orvy_logSetLevel(ovLOG_Fatal); // there may be no Python, which does not matter here
    orvy::scripting::run(orvy::scripting::SL_Python, "");
    orvy_logSetLevel(ovLOG_Debug);
  });
  build(Singletons[8], [] { orvy::getObjectSystem(); });
  build(Singletons[9], [] { orvy_typesystemInitOrvyTypes(); });
  build(Singletons[7], [] { orvy_getInterfaceType("x"); });
  return 0;
}
