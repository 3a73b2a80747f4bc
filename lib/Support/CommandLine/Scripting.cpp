#include "orvy/Support/Scripting.h"

#include "CommandLine/PythonInterpreter.h"
#include "orvy/Support/CommandLineOptions.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/ManagedStatic.h"
#include "orvy/Support/MemoryBuffer.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Paths.h"
#include "orvy/Support/Simulator.h"

#include <atomic>
#include <dlfcn.h>
#include <set>
#include <type_traits>

using namespace orvy;
using namespace orvy::scripting;

// Null until this file's initialisers have run, and never destroyed: Python may start before or
// after that.
static cl::list<std::string> *const PythonPath = new cl::list<std::string>(
    cl::longName("python-path"), cl::category("Scripting"), cl::valueName("path"),
    cl::description("Paths to add to PYTHONPATH variable"));

static ManagedStatic<PythonInterpreter> ThePython;

// The interpreter.

namespace {

/// An entry of the method table of a Python module.
struct Method {
  const char *Name;
  void *(*Func)(void *Self, void *Args);
  int Flags;
  const char *Doc;
};

constexpr int MethodTakesTuple = 1;
constexpr int PythonApiVersion = 1013;

Method BuiltinMethods[] = {
    {"addCommand", orvy_addPythonCommand, MethodTakesTuple, "register python command object"},
    {nullptr, nullptr, 0, nullptr}};

} // namespace

PythonInterpreter::PythonInterpreter() {
  Library = dlopen("libpython2.7.so", RTLD_NOW | RTLD_GLOBAL);
  if (!Library)
    return;
  takeSymbols();
  if (!isLoaded())
    return;
  start();
  extendPath();
  Py_InitModule4_64("orvybuiltin", BuiltinMethods, "scripting support", nullptr, PythonApiVersion);
}

PythonInterpreter::~PythonInterpreter() {
  if (isLoaded())
    Py_Finalize();
}

// Python installs a handler for the interrupt signal when it starts. Keep it for when Python runs,
// unless the program ignores the signal.
void PythonInterpreter::start() {
  struct sigaction Former;
  sigaction(SIGINT, nullptr, &Former);
  Py_Initialize();
  sigaction(SIGINT, &Former, &OnInterrupt);
  if (Former.sa_handler == SIG_IGN)
    OnInterrupt = Former;
}

// Python's own handler. An interrupt calls it, and also stops a run that Python has started.
static constinit std::atomic<void (*)(int)> PythonHandler{nullptr};

static void interrupt(int Signal) {
  sim::simSigIntHandler(Signal);
  PythonHandler.load()(Signal);
}

PythonInterpreter::Interruptible::Interruptible(PythonInterpreter &Python)
    : OnInterrupt(Python.OnInterrupt) {
  struct sigaction Action = OnInterrupt;
  const bool IsFunction = Action.sa_handler != SIG_DFL && Action.sa_handler != SIG_IGN;
  if (IsFunction && !(Action.sa_flags & SA_SIGINFO)) {
    PythonHandler = Action.sa_handler;
    Action.sa_handler = interrupt;
  }
  sigaction(SIGINT, &Action, &Former);
}

PythonInterpreter::Interruptible::~Interruptible() {
  struct sigaction Action;
  sigaction(SIGINT, &Former, &Action);
  if (Action.sa_handler != interrupt)
    OnInterrupt = Action; // installed by the Python text
}

// Prefers a Python that is already in the process to the library just opened: there can only be
// one.
static void *findSymbol(void *Library, const char *Name) {
  void *Present = dlsym(RTLD_DEFAULT, Name);
  return Present ? Present : dlsym(Library, Name);
}

void PythonInterpreter::takeSymbols() {
  Py_None = findSymbol(Library, "Py_None");
  bool HasAll = true;
  const auto Take = [&](auto &Function, const char *Name) {
    void *Symbol = findSymbol(Library, Name);
    Function = reinterpret_cast<std::remove_reference_t<decltype(Function)>>(Symbol);
    HasAll = HasAll && Symbol;
  };
  Take(Py_Initialize, "Py_Initialize");
  Take(Py_Finalize, "Py_Finalize");
  Take(PyRun_SimpleStringFlags, "PyRun_SimpleStringFlags");
  Take(PySys_GetObject, "PySys_GetObject");
  Take(PyString_FromString, "PyString_FromString");
  Take(PyList_Append, "PyList_Append");
  Take(PyArg_ParseTuple, "PyArg_ParseTuple");
  Take(PyTuple_New, "PyTuple_New");
  Take(PyTuple_SetItem, "PyTuple_SetItem");
  Take(Py_IncRef, "Py_IncRef");
  Take(Py_DecRef, "Py_DecRef");
  Take(PyInt_FromLong, "PyInt_FromLong");
  Take(PyInt_AsLong, "PyInt_AsLong");
  Take(PyFloat_FromDouble, "PyFloat_FromDouble");
  Take(PyDict_New, "PyDict_New");
  Take(PyDict_SetItemString, "PyDict_SetItemString");
  Take(PyObject_Call, "PyObject_Call");
  Take(PyErr_Clear, "PyErr_Clear");
  Take(PyDict_Next, "PyDict_Next");
  Take(Py_InitModule4_64, "Py_InitModule4_64");
  // A library that lacks a function is not used.
  if (!HasAll)
    PyRun_SimpleStringFlags = nullptr;
}

void PythonInterpreter::extendPath() {
  void *List = PySys_GetObject("path");
  if (!List)
    return;
  if (const std::string Wrappers = os::path::findWrapperDir("Python"); !Wrappers.empty())
    appendPath(List, Wrappers.c_str());
  if (PythonPath)
    for (const std::string &Dir : *PythonPath)
      appendPath(List, Dir.c_str());
}

void PythonInterpreter::appendPath(void *List, const char *Dir) {
  void *Text = PyString_FromString(Dir);
  if (!Text || PyList_Append(List, Text) != 0)
    PyErr_Clear();
  if (Text)
    Py_DecRef(Text);
}

bool PythonInterpreter::isInteger(void *Object) {
  // These words of an object and of a type have the same offset in every version of Python.
  constexpr size_t TypeWord = 1;
  constexpr size_t FlagsWord = 21;
  constexpr unsigned long IsInteger = 3ul << 23; // plain or long
  const auto *Type = static_cast<unsigned long *const *>(Object)[TypeWord];
  return (Type[FlagsWord] & IsInteger) != 0;
}

// Commands.

std::map<void *, PythonCommand *> *PythonCommand::CmdMap = nullptr;

// All commands. Includes those that the map no longer holds because they were replaced, or removed
// while they ran. Never destroyed.
static std::set<PythonCommand *> &allCommands() {
  static auto &All = *new std::set<PythonCommand *>;
  return All;
}

PythonCommand::PythonCommand(const char *Name, void *Callable)
    : Command(Name, Handler(), ""), Callable(Callable) {
  // Never destroyed, like the commands in it, as both may be used until the process ends.
  if (!CmdMap)
    CmdMap = new std::map<void *, PythonCommand *>;
  (*CmdMap)[Callable] = this;
  allCommands().insert(this);
  ThePython->Py_IncRef(Callable);
}

PythonCommand::~PythonCommand() {
  if (auto Found = CmdMap->find(Callable); Found != CmdMap->end() && Found->second == this)
    CmdMap->erase(Found);
  allCommands().erase(this);
  cl::getGlobalCmdRegistry().unregisterCommand(this);
  ThePython->Py_DecRef(Callable);
}

void PythonCommand::remove(void *Callable) {
  if (!CmdMap)
    return;
  const auto Found = CmdMap->find(Callable);
  if (Found == CmdMap->end())
    return;
  PythonCommand *Cmd = Found->second;
  if (!Cmd->Running) {
    delete Cmd;
    return;
  }
  CmdMap->erase(Found);
  cl::getGlobalCmdRegistry().unregisterCommand(Cmd);
}

int PythonCommand::run(cl::Interpreter *) {
  outs().flush(); // Python does not write through the stream
  ++Running;
  const int Result = call();
  --Running;
  return Result;
}

void *PythonCommand::makeWords() const {
  const std::vector<std::string> &Words = getPositionals();
  void *Tuple = ThePython->PyTuple_New(static_cast<ptrdiff_t>(Words.size()));
  for (size_t Index = 0; Tuple && Index < Words.size(); ++Index)
    ThePython->PyTuple_SetItem(Tuple, static_cast<ptrdiff_t>(Index),
                               ThePython->PyString_FromString(Words[Index].c_str()));
  return Tuple;
}

static void *makeValue(const cl::Option &Option) {
  switch (Option.Kind) {
  case cl::OK_Int:
    return ThePython->PyInt_FromLong(Option.getValue<long>());
  case cl::OK_Double:
    return ThePython->PyFloat_FromDouble(Option.getValue<double>());
  default:
    return ThePython->PyString_FromString(Option.getValue<const char *>());
  }
}

void *PythonCommand::makeOptions() const {
  void *Dict = ThePython->PyDict_New();
  for (const cl::Option &Option : getOptions()) {
    void *Value = makeValue(Option);
    ThePython->PyDict_SetItemString(Dict, Option.Name.c_str(), Value);
    ThePython->Py_DecRef(Value);
  }
  return Dict;
}

// The integer as a status; -1 if it is too large.
static int statusOf(void *Integer) {
  const long Value = ThePython->PyInt_AsLong(Integer);
  if (Value == -1)
    ThePython->PyErr_Clear();
  return static_cast<int>(Value);
}

int PythonCommand::call() {
  void *Words = makeWords();
  void *Options = makeOptions();
  clearOptions(); // the function may run the command again
  const PythonInterpreter::Interruptible Guard(*ThePython);
  void *Result = ThePython->PyObject_Call(Callable, Words, Options);
  ThePython->Py_DecRef(Words);
  ThePython->Py_DecRef(Options);
  if (!Result) {
    ThePython->PyErr_Clear();
    orvy_logError(nullptr, "exception in Python command '%s'", getName().c_str());
    return -1;
  }
  const int Status = PythonInterpreter::isInteger(Result) ? statusOf(Result) : 0;
  ThePython->Py_DecRef(Result);
  return Status;
}

// Running text.

int orvy::scripting::run(ScriptLang Lang, const std::string &Text) {
  if (Lang != SL_Python)
    return 1;
  if (!ThePython->isLoaded()) {
    orvy_logError(nullptr, "Attempted to run Python script, but libpython2.7.so was never loaded.\n"
                           "\tPlease make sure that it is in your library load path");
    return 1;
  }
  if (Text.find('\0') != Text.npos) {
    orvy_logError(nullptr, "a Python script must not contain null bytes");
    return -1;
  }
  outs().flush(); // Python does not write through the stream
  const PythonInterpreter::Interruptible Guard(*ThePython);
  return ThePython->PyRun_SimpleStringFlags(Text.c_str(), nullptr);
}

void orvy::scripting::init() {}

void orvy::scripting::clean() {}

// The command.

static int runScript(cl::Command &Cmd, cl::Interpreter *) {
  const cl::Option &File = Cmd.getOption("file");
  const cl::Option &Script = Cmd.getOption("script");
  const cl::Option &Lang = Cmd.getOption("lang");
  if (!Script.Valid && !File.Valid) {
    errs() << "neither file nor script specified\n";
    return 1;
  }
  const std::string Language = Lang.Valid ? Lang.Value : "python";
  std::string Text = Script.Value;
  if (!Script.Valid) {
    const std::unique_ptr<MemoryBuffer> Buffer = MemoryBuffer::readFile(File.Value.c_str());
    if (!Buffer) {
      errs() << "could not open '" << File.Value << "'\n";
      return -1;
    }
    Text.assign(Buffer->begin(), Buffer->end());
  }
  if (Language != "python") {
    errs() << "unsupported language '" << Language << "'\n";
    return 1;
  }
  Cmd.clearOptions(); // the text may run the command again
  return run(SL_Python, Text);
}

static cl::Command ScriptRun("script-run",
                             {{"file", cl::OK_Path, false},
                              {"lang", cl::OK_String, false},
                              {"script", cl::OK_String, false}},
                             runScript, "Run script");

// The flat interface.

void orvy_initPythonScriptingSupportModule() {
  init();
}

void *orvy_addPythonCommand(void *, void *Args) {
  PythonInterpreter &Python = *ThePython;
  const char *Name = nullptr;
  void *Callable = nullptr;
  void *Options = nullptr;
  if (!Python.isLoaded() || !Python.PyArg_ParseTuple(Args, "sOO", &Name, &Callable, &Options))
    return nullptr;
  void *Key = nullptr;
  void *Item = nullptr;
  for (ptrdiff_t Pos = 0; Python.PyDict_Next(Options, &Pos, &Key, &Item);) {
    // A Python command declares no options: its arguments are plain words.
  }
  new PythonCommand(Name, Callable); // lives until it is removed
  return Python.PyInt_FromLong(0);
}

void orvy_removePythonCommand(void *Callable) {
  PythonCommand::remove(Callable);
}
