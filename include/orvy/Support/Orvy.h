/* Orvy.h - umbrella of the flat interface: what a model or a host program includes.
 *
 * Compiles as C11 and as C++20. Conventions that hold for all of it:
 * - Handles are opaque. A text that the library returns stays the library's, unless said otherwise.
 * - Failure is a null pointer, -1, a quiet NaN, or a value of tag ovTY_Invalid, with a message in
 * the log; asking for something that may be absent is silent.
 * - Breaking a stated precondition ends the process with an internal error.
 * - Everything belongs to the thread that runs the simulation, unless a function says otherwise. */

#ifndef ORVY_SUPPORT_ORVY_H
#define ORVY_SUPPORT_ORVY_H

#include "orvy/Support/AsyncEvents.h"
#include "orvy/Support/Breaks.h"
#include "orvy/Support/Checkpoint.h"
#include "orvy/Support/Clock.h"
#include "orvy/Support/CommandLineOptions.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/Component.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/CreateArgs.h"
#include "orvy/Support/Debugging.h"
#include "orvy/Support/Dwarf.h"
#include "orvy/Support/Events.h"
#include "orvy/Support/Export.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Interpreter.h"
#include "orvy/Support/Interrupts.h"
#include "orvy/Support/LegacyEvents.h"
#include "orvy/Support/Loader.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Memory.h"
#include "orvy/Support/NewObjectSystem.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/ObjsysTools.h"
#include "orvy/Support/Output.h"
#include "orvy/Support/Plugins.h"
#include "orvy/Support/Processor.h"
#include "orvy/Support/Properties.h"
#include "orvy/Support/Propval.h"
#include "orvy/Support/Scripting.h"
#include "orvy/Support/Simulator.h"
#include "orvy/Support/SpaceWireLinkStateMachine.h"
#include "orvy/Support/SpaceWireRmap.h"
#include "orvy/Support/Structs.h"
#include "orvy/Support/Support.h"
#include "orvy/Support/Symtab.h"
#include "orvy/Support/Targets.h"
#include "orvy/Support/Time.h"
#include "orvy/Support/TypeSystem.h"
#include "orvy/Support/Types.h"

#endif
