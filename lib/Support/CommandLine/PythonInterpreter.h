// PythonInterpreter.h - the Python library, which is opened at run time, and its functions.

#ifndef ORVY_LIB_PYTHONINTERPRETER_H
#define ORVY_LIB_PYTHONINTERPRETER_H

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace orvy {

/// Starts Python in the constructor and ends it in the destructor. Python objects are void
/// pointers. All functions are null if the library is not found or lacks any of them.
struct PythonInterpreter {
  PythonInterpreter();
  PythonInterpreter(const PythonInterpreter &) = delete;
  PythonInterpreter &operator=(const PythonInterpreter &) = delete;
  ~PythonInterpreter();

  bool isLoaded() const { return PyRun_SimpleStringFlags != nullptr; }

  /// ^C interrupts Python during the lifetime of such an object, and the program otherwise.
  class Interruptible {
  public:
    explicit Interruptible(PythonInterpreter &Python);
    ~Interruptible();
    Interruptible(const Interruptible &) = delete;
    Interruptible &operator=(const Interruptible &) = delete;

  private:
    struct sigaction &OnInterrupt;
    struct sigaction Former;
  };

  /// Whether an object is an integer of any size.
  static bool isInteger(void *Object);

  void *Py_None = nullptr;
  void *Library = nullptr;
  void (*Py_Initialize)() = nullptr;
  void (*Py_Finalize)() = nullptr;
  int (*PyRun_SimpleStringFlags)(const char *Text, void *Flags) = nullptr;
  void *(*PySys_GetObject)(const char *Name) = nullptr; // borrowed
  void *(*PyString_FromString)(const char *Text) = nullptr;
  int (*PyList_Append)(void *List, void *Item) = nullptr;
  int (*PyArg_ParseTuple)(void *Tuple, const char *Format, ...) = nullptr;
  void *(*PyTuple_New)(ptrdiff_t Size) = nullptr;
  int (*PyTuple_SetItem)(void *Tuple, ptrdiff_t Index,
                         void *Item) = nullptr; // takes ownership of Item
  void (*Py_IncRef)(void *Object) = nullptr;
  void (*Py_DecRef)(void *Object) = nullptr;
  void *(*PyInt_FromLong)(long Value) = nullptr;
  long (*PyInt_AsLong)(void *Object) = nullptr;
  void *(*PyFloat_FromDouble)(double Value) = nullptr;
  void *(*PyDict_New)() = nullptr;
  int (*PyDict_SetItemString)(void *Dict, const char *Key, void *Item) = nullptr;
  void *(*PyObject_Call)(void *Callable, void *Args, void *KeyArgs) = nullptr;
  void (*PyErr_Clear)() = nullptr;
  int (*PyDict_Next)(void *Dict, ptrdiff_t *Pos, void **Key, void **Item) = nullptr; // borrowed
  void *(*Py_InitModule4_64)(const char *Name, void *Methods, const char *Doc, void *Self,
                             int ApiVersion) = nullptr; // borrowed

private:
  void start();
  void takeSymbols();
  void extendPath();
  void appendPath(void *List, const char *Dir);

  struct sigaction OnInterrupt = {}; // used while Python runs
};

} // namespace orvy

#endif
