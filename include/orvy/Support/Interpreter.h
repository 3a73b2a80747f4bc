/* Interpreter.h - runs the commands of the terminal, of script files and of texts.
 *
 * A line is a command with its arguments, "object.command", an assignment "name=value" of a global
 * variable, or "@object.property[index]=value". A script ends at its first failing command, which
 * is reported with file and line on the error stream; the terminal goes on. Everything belongs to
 * the one thread that runs commands. */

#ifndef ORVY_SUPPORT_INTERPRETER_H
#define ORVY_SUPPORT_INTERPRETER_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** Runs the commands of a text, one to a line. @return 0; -1 after a failure, which is reported on
 * the error stream, or for a null text */
ORVY_API int orvy_execCommand(const char *Text);
/**
 * Runs a script file, which is looked for in the working directory and then in the search paths.
 * @return 0, whatever its commands did; -1 if there is no such file, or if scripts run each other
 * too deeply
 */
ORVY_API int orvy_execCommandFile(const char *Path);

ORVY_END_C

#ifdef __cplusplus

#include "orvy/Support/Commands.h"
#include "orvy/Support/Diagnostics.h"
#include "orvy/Support/LineReader.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::cl {

/// A variable of a scope.
struct NewVariable {
  std::string Name;
  std::string Value;
  std::string Help;
};

/// Runs commands from a line reader.
class Interpreter {
public:
  /// Reads from the terminal, expressions if the environment has ORVY_NEW_CLI_PARSER. The only kind
  /// that goes on after a failing command.
  ORVY_API Interpreter();
  /// Reads a script file.
  ORVY_API explicit Interpreter(const char *Path);
  /// Reads a text in place; it must outlive the interpreter.
  ORVY_API Interpreter(size_t Length, const char *Text);
  /// Reads a script from any reader; the file name is for messages.
  ORVY_API Interpreter(std::unique_ptr<LineReader> Script, std::string FileName);
  Interpreter(const Interpreter &) = delete;
  Interpreter &operator=(const Interpreter &) = delete;
  ORVY_API ~Interpreter();

  bool good() const { return Reader->good(); }
  bool bad() const { return Reader->bad(); }
  /// Runs commands until the reader has no more, a script fails, or setDone. 0, or -1 after a
  /// failure, unless interactive.
  ORVY_API int readEvalLoop();
  /// Ends the loop after the command that is running.
  void setDone() { Done = true; }

  /// The directories in which scripts are looked for, shared by all interpreters.
  static const std::vector<std::string> &getPaths() { return s_SearchPaths; }
  /// Adds a directory at the end, unless it is in the list.
  ORVY_API static void appendPath(const char *Path);
  /// Adds a directory at the front, unless it is in the list.
  ORVY_API static void prependPath(const char *Path);
  /// The path of a script: the name itself if that is a file, else the first hit in the search
  /// paths; null if there is none. Valid until the thread's next call.
  ORVY_API static const char *getPath(const char *Name);

  /// Opens and closes the innermost scope. The global one cannot be closed.
  ORVY_API void pushScope();
  ORVY_API void popScope();
  /// Adds a variable to the innermost or the global scope; one that is there stays as it is.
  ORVY_API void addScopedVar(const char *Name, const char *Value);
  ORVY_API void addGlobalVar(const char *Name, const char *Value);
  /// Looks from the innermost scope outwards; null if there is none.
  ORVY_API NewVariable *getVar(const char *Name);
  ORVY_API NewVariable *getGlobal(const char *Name);

private:
  using Words = std::vector<std::string>;
  using VariableScope = std::map<std::string, NewVariable, std::less<>>;

  Interpreter(std::unique_ptr<LineReader> Reader, bool Interactive, std::string FileName,
              bool UseExpressionPath);

  bool evaluateNext();
  bool evaluate(const Words &Read);
  bool execute(Command &Cmd, const Words &Read, const std::string *Self);
  bool assign(const std::string &Text);
  int assignToProperty(std::string_view Target, const std::string &Value);
  bool fail(const char *Fmt, const char *Text = "");

  ORVY_API static std::vector<std::string> s_SearchPaths;

  std::vector<VariableScope> Scopes;
  std::unique_ptr<LineReader> Reader;
  bool Interactive;
  bool Done = false;
  std::string FileName;
  DiagnosticsEngine Diagnostics;
  uint32_t Line = 1; // where the command that is running begins
  bool UseExpressionPath;
};

/// The interpreter of the terminal.
ORVY_API Interpreter &getGlobalInterpreter();

/// How a script ended.
enum class ScriptResult { Succeeded, Failed, NotFound };

/// Runs a script file, which is looked for as getPath does.
ORVY_API ScriptResult runScript(const char *Path);

/// Runs the start-up scripts and then the commands of the terminal, until its input ends. The
/// argument is not used.
ORVY_API void Repl(const char *Unused);
/// As orvy_execCommandFile.
ORVY_API int RunFile(const char *Path);

/// Stores a value into "@object.property[index]" through orvy_writeValue. 0 if it was written, 1 if
/// there is no such property, its type is not that of a number or an object, or the text holds
/// none.
ORVY_API int propSet(std::string_view Target, const std::string &Value);

} // namespace orvy::cl

#endif

#endif
