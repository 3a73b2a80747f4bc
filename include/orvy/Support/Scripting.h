/* Scripting.h - Python text, and Python functions as commands.
 *
 * The library is not linked against Python: it opens one at first need, and works without. Python
 * code finds the module "orvybuiltin", whose addCommand(name, callable, options) makes a command;
 * the callable gets the words of the command line as strings, and an integer that it returns is the
 * result of the command. All belongs to the one thread that runs commands, which holds the lock of
 * the Python interpreter from its start on. */

#ifndef ORVY_SUPPORT_SCRIPTING_H
#define ORVY_SUPPORT_SCRIPTING_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Does nothing: Python starts when it is first used. */
ORVY_API void orvy_initPythonScriptingSupportModule(void);

/**
 * The function that Python calls as orvybuiltin.addCommand: makes a command that calls a Python
 * object, to which the command holds a reference.
 * @param Self  not used
 * @param Args  a Python tuple: name, callable, dictionary of options, which is not used
 * @return a new reference to the Python integer 0; null with a Python exception for other
 * arguments, and without Python
 */
ORVY_API void *orvy_addPythonCommand(void *Self, void *Args);
/** Deletes the command that calls a Python object, and releases its reference; nothing happens if
 * there is none. */
ORVY_API void orvy_removePythonCommand(void *Callable);

ORVY_END_C

#ifdef __cplusplus

#include "orvy/Support/Commands.h"

#include <map>
#include <string>

namespace orvy::scripting {

enum ScriptLang : uint32_t { SL_Python = 0 };

/// Runs a text. 0; -1 after an exception, which Python has printed, and for a text with a null byte
/// in it, which is logged; 1 if the language is not known, and without Python, which is logged.
ORVY_API int run(ScriptLang Lang, const std::string &Text);
/// Both do nothing: Python starts when it is first used, and ends with the process.
ORVY_API void init();
ORVY_API void clean();

/// A command that calls a Python object, to which it holds a reference. It lives until it is
/// removed or the process ends.
class PythonCommand final : public cl::Command {
public:
  ORVY_API PythonCommand(const char *Name, void *Callable);
  ORVY_API ~PythonCommand() override;

  /// Calls the object with the words and the options that were given. The integer that it returns,
  /// else 0; -1, with an error in the log, after an exception.
  ORVY_API int run(cl::Interpreter *Interp) override;

  /// Deletes the command of a Python object; one that runs at present can no longer be found, but
  /// stays. Nothing happens if there is none.
  ORVY_API static void remove(void *Callable);

  /// The command of each Python object, the last one made; null before the first.
  ORVY_API static std::map<void *, PythonCommand *> *CmdMap;

private:
  int call();
  void *makeWords() const;
  void *makeOptions() const;

  void *Callable;
  int Running = 0; // calls that have not ended
};

} // namespace orvy::scripting

#endif

#endif
