// The commands that inspect the object system as a whole.

#include "CommandLine/Handlers.h"
#include "Machine/ComponentClock.h"

#include "orvy/Support/ObjsysTools.h"

using namespace orvy;
using namespace orvy::cl;

namespace {

Command ObjsysCheckSanity(
    "objsys-check-sanity",
    [](Command &, Interpreter *) {
      orvy_checkSanity(2);
      return 0;
    },
    "Check sanity of object system");

Command ObjectGenerateGraph(
    "object-generate-graph", {{"file", OK_Path, false}, {"display", OK_Int, false}},
    [](Command &Cmd, Interpreter *) {
      const auto File = given<const char *>(Cmd, "file");
      return orvy_generateObjectGraph(File.value_or(nullptr), isOn(Cmd, "display"));
    },
    "Generate the object graph as a dot file.\n"
    "If display is set to non-zero, the graph will be rendered and displayed\n"
    "using eog and a random file name will be generated in the current dir.\n"
    "NOTE: You need eog and graphviz installed to actually display the graph.",
    {"graph"});

Command ComponentForest("component-forest", call<component::printForest>,
                        "Print component forrest");

} // namespace
