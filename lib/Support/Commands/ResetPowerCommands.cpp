// The commands that switch models on and off and reset them.

#include "CommandLine/Handlers.h"
#include "Objsys/ObjectKinds.h"

using namespace orvy;
using namespace orvy::cl;

namespace {

constexpr const char *ObjectHelp = "Object.";

/// A handler that resets an object through the interface T.
template <typename T> Command::Handler resetter(const char *OptName) {
  return onTarget<T>(OptName, [](Target<T> Found, Command &Cmd) {
    const std::string Name = std::string(IfaceName<T>) + ".reset";
    callSlot(Name.c_str(), Found.Obj, *Found.Iface, &T::reset,
             isOn(Cmd, "warm") ? ovRK_Warm : ovRK_Cold);
  });
}

Command PowerOn("power-on", {{"obj", OK_Object, true, ObjectHelp}},
                onTarget<PowerIface>("obj",
                                     [](Target<PowerIface> T) {
                                       ORVY_CALL(PowerIface, powerOn, T.Obj, *T.Iface);
                                     }),
                "Powers on the model");

Command PowerOff("power-off", {{"obj", OK_Object, true, ObjectHelp}},
                 onTarget<PowerIface>("obj",
                                      [](Target<PowerIface> T) {
                                        ORVY_CALL(PowerIface, powerOff, T.Obj, *T.Iface);
                                      }),
                 "Powers off the model");

Command PowerState("power-state", {{"obj", OK_Object, true, ObjectHelp}},
                   onTarget<PowerIface>("obj",
                                        [](Target<PowerIface> T) {
                                          const bool IsOn = ORVY_CALL(PowerIface, getPowerState,
                                                                      T.Obj, *T.Iface) == 1;
                                          outs() << T.name() << ": powered "
                                                 << (IsOn ? "on" : "off") << "\n";
                                        }),
                   "Prints the power state of the model");

Command ObjectReset("object-reset",
                    {{"obj", OK_Object, true, "Object supporting the reset iface"},
                     {"warm", OK_Int, false, "Set to 1 for warm reset."}},
                    resetter<ResetIface>("obj"), "Resets the given object");

Command CpuReset("cpu-reset",
                 {{"cpu", OK_Object, true, "Processor.", "DEFAULT_CPU"},
                  {"warm", OK_Int, false, "Set to 1 for warm reset."}},
                 resetter<CpuIface>("cpu"), "Resets the given CPU", {"reset"});

Command MachineReset("machine-reset",
                     {{"machine", OK_Object, true, "Machine to reset.", "DEFAULT_MACHINE"},
                      {"warm", OK_Int, false, "Warm or cold reset"}},
                     resetter<MachineIface>("machine"), "Resets the given machine");

} // namespace
