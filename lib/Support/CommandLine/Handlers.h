// Handlers.h - helpers for the handlers of the built-in commands.

#ifndef ORVY_LIB_HANDLERS_H
#define ORVY_LIB_HANDLERS_H

#include "orvy/Support/Clock.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Processor.h"

#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>

namespace orvy::cl {

/// The name under which classes publish an interface of the type.
template <typename T> inline constexpr const char *IfaceName = nullptr;
template <> inline constexpr const char *IfaceName<ClockIface> = "ClockIface";
template <> inline constexpr const char *IfaceName<CpuIface> = "CpuIface";
template <> inline constexpr const char *IfaceName<MachineIface> = "MachineIface";
template <> inline constexpr const char *IfaceName<ObjectIface> = "ObjectIface";
template <> inline constexpr const char *IfaceName<PowerIface> = "PowerIface";
template <> inline constexpr const char *IfaceName<ResetIface> = "ResetIface";

/// An object and its interface of one type; false if it has no such interface.
template <typename T> struct Target {
  void *Obj;
  const T *Iface;

  explicit Target(void *Obj)
      : Target(Obj,
               Obj ? static_cast<const T *>(orvy_getInterface(Obj, IfaceName<T>, 0)) : nullptr) {}
  Target(void *Obj, const T *Iface) : Obj(Obj), Iface(Iface) {}

  explicit operator bool() const { return Iface; }
  const T *operator->() const { return Iface; }
  const char *name() const { return orvy_nameForObject(Obj); }
  /// Whether the object still exists: a command or run may have disposed of it.
  bool exists() const { return orvy_classForObject(Obj); }
};

// Options for quantities and addresses.
inline Option inSeconds(const char *Name, const char *Help = "") {
  return {Name, OK_Double, false, Help, "", false, ovOU_Seconds};
}
inline Option inBytes(const char *Name, const char *Help = "") {
  return {Name, OK_Int, false, Help, "", false, ovOU_Bytes};
}
inline Option atAddress(const char *Name, bool Required = false, const char *Help = "") {
  return {Name, OK_Int, Required, Help, "", false, ovOU_Address};
}
inline Option atPhysicalAddress(const char *Name, bool Required = false, const char *Help = "") {
  return {Name, OK_Int, Required, Help, "", false, ovOU_PhysicalAddress};
}
inline Option counted(const char *Name, const char *Help = "") {
  return {Name, OK_Int, false, Help, "", false, ovOU_Count};
}

/// The target named by an object option. Returns false, and reports on the error stream, if there
/// is no such target.
template <typename T> Target<T> requireTarget(const Option &Opt) {
  const Target<T> Found(Opt.getValue<void *>());
  if (!Found.Obj)
    errs() << "unknown object '" << Opt.Value << "'\n";
  else if (!Found)
    errs() << "object does not conform to " << IfaceName<T> << ": '" << Opt.Value << "'\n";
  return Found;
}

/// Whether a target has the functions that a command needs, given as pairs of name and presence.
/// Reports those that are missing.
template <typename T>
bool implements(const Target<T> &Asked,
                std::initializer_list<std::pair<const char *, bool>> Slots) {
  for (const auto &[Name, IsThere] : Slots)
    if (!IsThere) {
      errs() << "'" << Asked.name() << "' does not implement " << IfaceName<T> << "." << Name
             << "\n";
      return false;
    }
  return true;
}

/// The value of an option; nothing if it was not given or the command does not declare it.
template <typename T> std::optional<T> given(const Command &Cmd, std::string_view OptName) {
  for (const Option &Opt : Cmd.getOptions())
    if (Opt.Name == OptName)
      return Opt.Valid ? std::optional<T>(Opt.getValue<T>()) : std::nullopt;
  return std::nullopt;
}

/// Whether an integer option was given and is not 0.
inline bool isOn(const Command &Cmd, std::string_view OptName) {
  return given<long>(Cmd, OptName).value_or(0) != 0;
}

/// A command that completes its words.
class WordCommand final : public Command {
public:
  WordCommand(const char *Name, std::initializer_list<Option> Options, Handler Func,
              const char *Help, std::initializer_list<std::string> Aliases, Completer With)
      : Command(Name, Options, std::move(Func), Help, Aliases) {
    completeWords(With);
  }
};

/// A handler that calls Func.
template <auto Func> int call(Command &, Interpreter *) {
  Func();
  return 0;
}

/// A handler that calls Func for each word.
template <auto Func> int callForWords(Command &Cmd, Interpreter *) {
  for (const std::string &Word : Cmd.getPositionals())
    Func(Word.c_str());
  return 0;
}

/// A handler that passes the target named by an option to Func, a function of (Target<T>, Command
/// &) or of the target alone. A function that returns void always succeeds.
template <typename T, typename Function>
Command::Handler onTarget(const char *OptName, Function F) {
  return [=](Command &Cmd, Interpreter *) {
    const auto Found = requireTarget<T>(Cmd.getOption(OptName));
    if (!Found)
      return 1;
    if constexpr (std::is_invocable_r_v<int, Function, Target<T>, Command &>)
      return F(Found, Cmd);
    else if constexpr (std::is_invocable_v<Function, Target<T>, Command &>)
      return F(Found, Cmd), 0;
    else
      return F(Found), 0;
  };
}

} // namespace orvy::cl

#endif
