/* Adapter.c - the library that the scripting bridge opens as libpython2.7.so, over Python 3.
 *
 * The bridge speaks the interface of Python 2.7. What Python 3 has under the same name comes from
 * its own library, which this one brings along; here is the rest, and the start, which must not
 * touch what belongs to the host: the locale, the environment, signal handlers but that for the
 * interrupt, which the bridge takes back. */

#include <Python.h>

#include <stdlib.h>

#undef Py_None

#define EXPORTED __attribute__((visibility("default")))

/* Set when Python starts. */
EXPORTED PyObject *Py_None;

/* Whether Python runs because of this library, which then also ends it. */
static int IsOurs;

static PyStatus preInitialise(void) {
  PyPreConfig Config;
  PyPreConfig_InitPythonConfig(&Config);
  Config.parse_argv = 0;
  Config.configure_locale = 0;
  Config.coerce_c_locale = 0;
  Config.utf8_mode = 1;
  return Py_PreInitialize(&Config);
}

static PyStatus initialise(void) {
  PyStatus Status = preInitialise();
  if (PyStatus_Exception(Status))
    return Status;
  PyConfig Config;
  PyConfig_InitPythonConfig(&Config);
  Config.parse_argv = 0;
  Config.install_signal_handlers = 0;
  Config.buffered_stdio = 0; /* its output keeps its place among the host's */
  /* The installation that this library was built against, whatever PATH says. */
  Status = PyConfig_SetBytesString(&Config, &Config.program_name, ORVY_PYTHON_PROGRAM);
  if (!PyStatus_Exception(Status))
    Status = Py_InitializeFromConfig(&Config);
  PyConfig_Clear(&Config);
  return Status;
}

EXPORTED void Py_Initialize(void) {
  if (!Py_IsInitialized()) {
    PyStatus Status = initialise();
    if (PyStatus_Exception(Status))
      Py_ExitStatusException(Status);
    PyRun_SimpleString("__import__('signal').signal(2, __import__('signal').default_int_handler)");
    IsOurs = 1;
  }
  Py_None = &_Py_NoneStruct;
}

EXPORTED void Py_Finalize(void) {
  if (IsOurs)
    Py_FinalizeEx();
  IsOurs = 0;
}

/* Bytes that are not UTF-8 come back unchanged where Python hands the text to the system. */
EXPORTED PyObject *PyString_FromString(const char *Text) {
  return PyUnicode_DecodeFSDefault(Text);
}

EXPORTED PyObject *PyInt_FromLong(long Value) {
  return PyLong_FromLong(Value);
}

/* 0 for what is not an integer. */
EXPORTED long PyInt_AsLong(PyObject *Object) {
  return PyLong_Check(Object) ? PyLong_AsLong(Object) : 0;
}

EXPORTED PyObject *Py_InitModule4_64(const char *Name, PyMethodDef *Methods, const char *Doc,
                                     PyObject *Self, int ApiVersion) {
  (void)Self;
  (void)ApiVersion;
  PyObject *Module = PyImport_AddModule(Name); /* borrowed */
  if (!Module || PyModule_AddFunctions(Module, Methods) != 0 ||
      PyModule_SetDocString(Module, Doc) != 0) {
    PyErr_Clear();
    return NULL;
  }
  return Module;
}
