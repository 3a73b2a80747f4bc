// The commands that raise and lower interrupts.

#include "orvy/Support/Commands.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <iterator>
#include <string_view>

using namespace orvy;
using namespace orvy::cl;

// Whether the first function of a table of the system takes a pointer or more than one argument.
static bool takesNoNumber(orvy_IfaceRef Ref) {
  constexpr std::string_view Tables[] = {"EventIface", "MemAccessIface", "MemoryIface",
                                         "MemorySpaceIface", "ObjectIface"};
  const char *Type = orvy_typenameForInterface(Ref);
  return Type && std::ranges::find(Tables, Type) != std::end(Tables);
}

// Both commands call the first function of the given table, whatever its type: the user has chosen
// it.
static int callFirst(Command &Cmd, Interpreter *) {
  using NumberFunc = void (*)(void *Obj, uint8_t Number);
  const auto Ref = Cmd.getOption("iface").getValue<orvy_IfaceRef>();
  const auto Number = static_cast<uint8_t>(Cmd.getOption("irq").getValue<unsigned long>());
  const bool IsCallable = Ref.Obj && !takesNoNumber(Ref);
  const NumberFunc First = IsCallable ? *static_cast<const NumberFunc *>(Ref.Iface) : nullptr;
  if (!First) {
    errs() << "'" << Cmd.getOption("iface").Value << "' takes no interrupts\n";
    return 1;
  }
  First(Ref.Obj, Number);
  return 0;
}

static Command InterruptRaise("interrupt-raise", {{"iface", OK_Iface, true}, {"irq", OK_Int, true}},
                              callFirst, "Raise interrupt");
static Command InterruptLower("interrupt-lower", {{"iface", OK_Iface, true}, {"irq", OK_Int, true}},
                              callFirst, "Lower interrupt");
