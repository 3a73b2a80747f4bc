/* Commands.h - the commands of the command language, their options and the global variables.
 *
 * A model adds a command with a handler that asks its context for the arguments:
 *
 *     static int pokeCommand(void *Ctxt) {
 *       poke(orvy_cmdGetOptionAsObject(Ctxt, "device"), orvy_cmdGetOptionAsInteger(Ctxt, "value"));
 *       return 0;
 *     }
 *     void *Cmd = orvy_createCmd("poke", pokeCommand, "Poke a device", NULL);
 *     orvy_cmdAddOption(Cmd, "device", ovOK_Object, 1, "The device", NULL);
 *     orvy_cmdAddOption(Cmd, "value", ovOK_Int, 1, "What to write", NULL);
 *
 * The user then writes "poke device=uart0 value=0x10". Commands stay for the life of the process.
 * Everything belongs to the one thread that runs commands; text that goes in is copied. */

#ifndef ORVY_SUPPORT_COMMANDS_H
#define ORVY_SUPPORT_COMMANDS_H

#include "orvy/Support/Export.h"
#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** What the text of an option must be. */
typedef ORVY_ENUM(orvy_OptionKind){
    ovOK_String = 0, /**< anything */
    ovOK_Path = 1,   /**< anything; the file need not exist */
    ovOK_Object = 2, /**< the name of an object */
    ovOK_Int = 3,    /**< an integer of base 10, of base 8 with a leading 0, of base 16 with 0x */
    ovOK_Double = 4, /**< a number as strtod reads it */
    ovOK_Prop = 5,   /**< object.property */
    ovOK_Iface = 6,  /**< object:interface or object:interface[index] */
    ovOK_Reg = 7,    /**< object.property, of a property with storage */
    ovOK_Unchecked = 8, /**< anything */
    ovOK_Class = 9      /**< the name of a class */
} orvy_OptionKind;

/**
 * What the number of an ovOK_Int or ovOK_Double option counts, and so which units may follow it.
 * What else follows a number is ignored, of which the interpreter warns. The first word of a command
 * that is not key=value is the value of its required address, if that is not given otherwise. The
 * memory or processor that the address belongs to may be left out for those selected.
 */
typedef ORVY_ENUM(orvy_OptionUnit){
    ovOU_None = 0,    /**< nothing that has units */
    ovOU_Count = 1,   /**< an integer number of things: k, M, G, T, Ki, Mi, Gi, Ti */
    ovOU_Bytes = 2,   /**< an integer number of bytes: as before, and B, kB, KiB, ... */
    ovOU_Seconds = 3, /**< a real number of seconds: s, ms, us, ns, min, h, days, ... */
    ovOU_Address = 4, /**< a virtual address: also an expression over the names of the program that
                         the selected processor runs, as "main+8", "table[2]" or "$sp" */
    ovOU_PhysicalAddress = 5 /**< as before, where the address is translated to a physical one */
} orvy_OptionUnit;

/** Handles a command made with orvy_createCmd; the context is valid during the call. 0 for success.
 */
typedef int (*orvy_CmdFunc)(void *Ctxt);

/**
 * Makes a command without options and registers it. Blanks around the name are cut off. If the name
 * is taken, a message goes to the error stream and the new command cannot be reached. A null Func
 * is an internal error.
 * @param Data  anything; the handler gets it with orvy_cmdGetData
 * @return the command, the library's own; null for "if", "else", "while", "for", and without a name
 */
ORVY_API void *orvy_createCmd(const char *Name, orvy_CmdFunc Func, const char *Help, void *Data);
/**
 * Adds an option after those that the command has. A null command or name is an internal error.
 * @param Kind      an orvy_OptionKind; any other value makes an option that is never valid
 * @param Required  not 0 if the command does not run without the option
 * @param Default   the variable that a required option takes its value from when it is not given;
 * null for none
 */
ORVY_API void orvy_cmdAddOption(void *Cmd, const char *OptName, int Kind, int Required,
                                const char *Doc, const char *Default);

/** Says what the number of an option counts; without a call it has no unit. An option that the
 * command does not have is an internal error. */
ORVY_API void orvy_cmdSetOptionUnit(void *Cmd, const char *OptName, orvy_OptionUnit Unit);

/* For handlers, with the context that the handler got. A null context, and an option that the
 * command does not have, are an internal error. */

/** The data given to orvy_createCmd, which stays its owner's. */
ORVY_API void *orvy_cmdGetData(void *Ctxt);
/** The interpreter that runs the command, the library's own; may be null. */
ORVY_API void *orvy_cmdGetInterpreter(void *Ctxt);
/** The value of an integer option, in the unit set for it; 0 if its text is not a number. An option
 * of another kind is an internal error. */
ORVY_API int64_t orvy_cmdGetOptionAsInteger(void *Ctxt, const char *OptName);
/** The object that an object option names; null if it does not exist. An option of another kind is
 * an internal error. */
ORVY_API void *orvy_cmdGetOptionAsObject(void *Ctxt, const char *OptName);
/** The text of an option of any kind, never null; valid until the handler returns. */
ORVY_API const char *orvy_cmdGetOptionAsString(void *Ctxt, const char *OptName);
/** The value of a real option, in the unit set for it; 0 if its text is not a number. An option of
 * another kind is an internal error. */
ORVY_API double orvy_cmdGetOptionAsReal(void *Ctxt, const char *OptName);
/** Whether the option was given with a valid value, or took one from its default: 1 or 0. */
ORVY_API int orvy_cmdOptionIsValid(void *Ctxt, const char *OptName);
/** The number of words that are not key=value. */
ORVY_API size_t orvy_cmdGetPosOptSize(void *Ctxt);
/** The word of an index, valid until the handler returns. An index that is not below the number of
 * words is an internal error. */
ORVY_API const char *orvy_cmdGetPosOpt(void *Ctxt, size_t Index);

/** The value of a global variable, valid until it is changed; null if there is none, or for a null
 * name. */
ORVY_API const char *orvy_cmdGetVariable(const char *Name);
/** Sets a global variable. 0, or -1 if an argument is null or the name is not a letter followed by
 * letters, digits and underscores. */
ORVY_API int orvy_cmdSetVariable(const char *Name, const char *Value);

ORVY_END_C

#ifdef __cplusplus

#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace orvy::objsys {
class Class;
}

namespace orvy::cl {

class Command;
class Interpreter;

enum OptionKind : uint32_t {
  OK_String = ovOK_String,
  OK_Path = ovOK_Path,
  OK_Object = ovOK_Object,
  OK_Int = ovOK_Int,
  OK_Double = ovOK_Double,
  OK_Prop = ovOK_Prop,
  OK_Iface = ovOK_Iface,
  OK_Reg = ovOK_Reg,
  OK_Unchecked = ovOK_Unchecked,
  OK_Class = ovOK_Class
};

/// A declared option with the text it was given last.
struct Option {
  /// Default is the name of a variable. Self marks the option that takes the object of
  /// object.command.
  ORVY_API Option(std::string Name, OptionKind Kind, bool Required, std::string Help = {},
                  std::string Default = {}, bool Self = false, orvy_OptionUnit Unit = ovOU_None);

  /// Keeps the text, valid or not, and notes whether it is valid.
  ORVY_API void setVal(const std::string &Text);
  /// The text as a value, looked up anew: an int or long, signed or not, a double, a void * of an
  /// object, a const char *, an orvy_IfaceRef, orvy_Propref, orvy_PropName or objsys::Class *. A
  /// type that does not fit the kind is an internal error.
  template <typename T> T getValue() const;

  /// Elements of the property; -1 without it.
  ORVY_API int getArrayLength() const;
  /// The text after the first '.', and the object before it.
  ORVY_API std::string getPropName() const;
  ORVY_API void *getPropObject() const;
  /// The text after the first ':', and the object before it.
  ORVY_API std::string getIfaceName() const;
  ORVY_API void *getIfaceObject() const;

  /// Writes the line of the option in the command's help.
  ORVY_API void help() const;
  /// The name of the kind in the generated documentation.
  ORVY_API const char *getDocumentedKind() const;

  OptionKind Kind;
  std::string Name;
  std::string Value;
  bool Required;
  bool Valid = false;
  std::string Default;
  std::string Help;
  bool Self;
  orvy_OptionUnit Unit;
  bool Given = false;   ///< in the present use, valid or not
  std::string Replaced; ///< what was given, if it is not valid and the default took its place
};

template <> ORVY_API int Option::getValue<int>() const;
template <> ORVY_API unsigned int Option::getValue<unsigned int>() const;
template <> ORVY_API long Option::getValue<long>() const;
template <> ORVY_API unsigned long Option::getValue<unsigned long>() const;
template <> ORVY_API double Option::getValue<double>() const;
template <> ORVY_API void *Option::getValue<void *>() const;
template <> ORVY_API const char *Option::getValue<const char *>() const;
template <> ORVY_API orvy_IfaceRef Option::getValue<orvy_IfaceRef>() const;
template <> ORVY_API orvy_Propref Option::getValue<orvy_Propref>() const;
template <> ORVY_API orvy_PropName Option::getValue<orvy_PropName>() const;
template <> ORVY_API objsys::Class *Option::getValue<objsys::Class *>() const;

/// Names and options of a command.
class ORVY_API CommandBase {
public:
  CommandBase(const CommandBase &) = delete;
  CommandBase &operator=(const CommandBase &) = delete;

  virtual int run(Interpreter *Interp) = 0;
  virtual ~CommandBase();

  const std::string &getName() const { return Name; }
  const std::vector<std::string> &getAliases() const { return Aliases; }
  /// In the order of their declaration.
  const std::vector<Option> &getOptions() const { return Options; }

protected:
  CommandBase(std::string Name, std::vector<std::string> Aliases, std::vector<Option> Options);

  std::string Name;
  std::vector<std::string> Aliases;
  std::vector<Option> Options;
};

/// A command of the command language. For each use: parseOptions, run if that gave 0, and
/// clearOptions in any case. A command must outlive every look-up, as the registry does not own it.
class ORVY_API Command : public CommandBase {
public:
  /// Does the work; 0 for success.
  using Handler = std::function<int(Command &, Interpreter *)>;

  /// Both enter the name and the aliases in the registry.
  Command(const char *Name, std::initializer_list<Option> Options, Handler Func, const char *Help,
          std::initializer_list<std::string> Aliases = {},
          std::initializer_list<OptionKind> PositionalKinds = {});
  Command(const char *Name, Handler Func, const char *Help,
          std::initializer_list<std::string> Aliases = {},
          std::initializer_list<OptionKind> PositionalKinds = {});

  int run(Interpreter *Interp) override;
  ~Command() override;

  /// The option of a name. An undeclared one is an internal error.
  Option &getOption(const char *OptName);
  /// Matches words against the options; word 0 is the command. Self is the object of
  /// object.command, null if there is none. Not 0, with a message on the error stream, if a key is
  /// unknown, a text does not expand, or a required option is missing or not valid.
  int parseOptions(const std::vector<std::string> &Words, const std::string *Self);
  /// As above, except that '#' is an ordinary character.
  int parseOptions(int argc, const char **argv, const char *Self);
  /// Whether each option that was given is valid; parseOptions leaves an optional one that is not
  /// as if it had not been given. Says on the error stream which is not and why, and warns where a
  /// default took the place of what was given and where a number is followed by something else.
  bool checkGiven() const;
  /// Forgets what was parsed, except for the texts of the options.
  void clearOptions();

  /// The words that are not key=value, in order. A command that takes text has at most one.
  const std::vector<std::string> &getPositionals() const { return Positionals; }
  /// Has the command take what follows its name as one text, as it was typed: no quotes, escapes or
  /// references to variables. Words of the form option=value are taken out of it, as far as they
  /// name an option. "name/letters" gives the text "/letters ...".
  Command &takeText() { return TakesText = true, *this; }
  bool takesText() const { return TakesText; }
  /// Gives the suffixes that the beginning of a word may go on with; see Completion.h.
  using Completer = std::vector<std::string> (*)(std::string_view Partial);
  /// Has the words that are not key=value completed.
  Command &completeWords(Completer With) { return WordCompleter = With, *this; }
  Completer getWordCompleter() const { return WordCompleter; }
  const std::vector<OptionKind> &getPositionalKinds() const { return PositionalKinds; }
  const std::string &getHelp() const { return Help; }
  /// Adds an option after the others.
  void addOption(Option Added);
  /// Writes the help to the standard stream.
  void help() const;

  /// The command of a name or an alias; null if there is none.
  static Command *findCommand(std::string_view Name);

private:
  friend class CommandUse;

  enum class WordResult { Taken, EndsWords, Fails };

  ORVY_LOCAL Option *findOption(std::string_view OptName);
  ORVY_LOCAL WordResult takeWord(std::string_view Word, bool HasComments);
  ORVY_LOCAL WordResult takePositional(std::string_view Word, bool HasComments);
  ORVY_LOCAL WordResult takeTypedText(std::string_view Text);
  ORVY_LOCAL WordResult takeValue(std::string_view Key, std::string_view Text);
  ORVY_LOCAL int finishParsing(const char *Self);
  ORVY_LOCAL int applySelf(const char *Self);
  ORVY_LOCAL Option *requiredAddress();
  ORVY_LOCAL void completeAddress();
  ORVY_LOCAL int checkRequired();

  Handler Func;
  std::vector<std::string> Positionals;
  std::string Help;
  std::vector<OptionKind> PositionalKinds;
  std::string SelfName; // of the first option that takes the object, empty if none does
  unsigned Uses = 0;    // inside each other
  bool TakesText = false;
  Completer WordCompleter = nullptr;
};

/// A command made through the flat interface.
class PlainCCommand final : public Command {
public:
  ORVY_API PlainCCommand(const char *Name, orvy_CmdFunc Func, const char *Help, void *Data);
  ORVY_API ~PlainCCommand() override;
  ORVY_API int run(Interpreter *Interp) override;
  void *getData() const { return Data; }

private:
  orvy_CmdFunc Func;
  void *Data;
};

/// Knows all commands under all their names.
class CommandRegistry {
public:
  using CommandMap = std::map<std::string, Command *, std::less<>>;

  /// Enters a command under a name; any thread. Whether the name was free, if not with a message on
  /// the error stream.
  ORVY_API bool registerCommand(const char *Name, Command *Cmd);
  /// Takes a command out under all names that lead to it; any thread.
  ORVY_API void unregisterCommand(const Command *Cmd);
  ORVY_API Command *findCommand(std::string_view Name) const;
  /// Names and aliases in byte order.
  const CommandMap &getCommands() const { return Commands; }

private:
  std::mutex Mutex;
  CommandMap Commands;
};

/// The one registry; it outlives all other singletons of the library.
ORVY_API CommandRegistry &getGlobalCmdRegistry();

/// Writes all names to the standard stream.
ORVY_API void PrintCommandList();
/// Writes the documentation of all commands, as AsciiDoc, to the standard stream.
ORVY_API void PrintCommandHelpAdoc();

/// A global variable. It belongs to the map of all variables, hence is made with new only.
class Var {
public:
  using VariableMap = std::map<std::string, Var *, std::less<>>;

  /// Takes the place of a variable of that name, which is destroyed.
  ORVY_API Var(std::string Name, std::string Value);
  Var(const Var &) = delete;
  Var &operator=(const Var &) = delete;

  const std::string &getName() const { return Name; }
  const std::string &getValue() const { return Value; }
  /// Writes the help text, if there is one, to the standard stream.
  ORVY_API void help() const;

  ORVY_API static Var *findVariable(std::string_view Name);
  ORVY_API static void setVariable(std::string_view Name, std::string_view Value);
  /// Destroys the variable. Whether there was one.
  ORVY_API static bool deleteVariable(std::string_view Name);
  /// Takes over every variable of the environment that is not empty.
  ORVY_API static void initFromEnv();
  /// Takes over one variable of the environment. Whether it is there and not empty.
  ORVY_API static bool initFromEnv(const char *Name);

  /// All variables in byte order; null before the first one.
  ORVY_API static VariableMap *Variables;

private:
  ~Var() = default;

  std::string Name;
  std::string Value;
  std::string Help;
};

/// Rewrites an argument in place: \# \$ \\ \{ \} are the character, \n and \t a line feed and a
/// tab, and ${NAME} or $NAME, up to a blank or a slash, the value of a variable. False, with a
/// message on the error stream, at an unknown variable or a brace that is not closed; the text is
/// then rewritten up to there.
ORVY_API bool escapeAndExpand(std::string &Text);

} // namespace orvy::cl

#endif

#endif
