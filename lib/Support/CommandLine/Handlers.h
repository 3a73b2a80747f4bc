// Handlers.h - what the handlers of the built-in commands have in common.

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

/// The name under which classes publish an interface.
template <typename T> inline constexpr const char *IfaceName = nullptr;
template <> inline constexpr const char *IfaceName<ClockIface> = "ClockIface";
template <> inline constexpr const char *IfaceName<CpuIface> = "CpuIface";
template <> inline constexpr const char *IfaceName<MachineIface> = "MachineIface";
template <> inline constexpr const char *IfaceName<ObjectIface> = "ObjectIface";
template <> inline constexpr const char *IfaceName<PowerIface> = "PowerIface";
template <> inline constexpr const char *IfaceName<ResetIface> = "ResetIface";

/// An object and the interface it is to be reached through; false if it has none of that type.
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
  /// What was run may have disposed of objects.
  bool exists() const { return orvy_classForObject(Obj); }
};

/// Optional options that are quantities.
inline Option inSeconds(const char *Name, const char *Help = "") {
  return {Name, OK_Double, false, Help, "", false, ovOU_Seconds};
}
inline Option inBytes(const char *Name, const char *Help = "") {
  return {Name, OK_Int, false, Help, "", false, ovOU_Bytes};
}
inline Option counted(const char *Name, const char *Help = "") {
  return {Name, OK_Int, false, Help, "", false, ovOU_Count};
}

/// The target that an object option names; false, with a message on the error stream, if there is
/// none.
template <typename T> Target<T> requireTarget(const Option &Opt) {
  const Target<T> Found(Opt.getValue<void *>());
  if (!Found.Obj)
    errs() << "unknown object '" << Opt.Value << "'\n";
  else if (!Found)
    errs() << "object does not conform to " << IfaceName<T> << ": '" << Opt.Value << "'\n";
  return Found;
}

/// Whether a target has the slots that a command needs, given as pairs of name and presence; says
/// which it lacks.
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

/// The value of an option; none if it was not given, or the command lacks it.
template <typename T> std::optional<T> given(const Command &Cmd, std::string_view OptName) {
  for (const Option &Opt : Cmd.getOptions())
    if (Opt.Name == OptName)
      return Opt.Valid ? std::optional<T>(Opt.getValue<T>()) : std::nullopt;
  return std::nullopt;
}

/// Whether an integer option was given as anything but 0.
inline bool isOn(const Command &Cmd, std::string_view OptName) {
  return given<long>(Cmd, OptName).value_or(0) != 0;
}

/// A handler that makes one call.
template <auto Func> int call(Command &, Interpreter *) {
  Func();
  return 0;
}

/// A handler that makes one call for each word.
template <auto Func> int callForWords(Command &Cmd, Interpreter *) {
  for (const std::string &Word : Cmd.getPositionals())
    Func(Word.c_str());
  return 0;
}

/// A handler that hands the target of an option to a function of (Target<T>, Command &), which may
/// leave out the command and return nothing for success.
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
