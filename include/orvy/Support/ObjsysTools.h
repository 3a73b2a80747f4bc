/* ObjsysTools.h - views of what was built: unconnected references, and pictures.
 *
 * They only look, and belong to the thread that owns the object system. A picture is a text; with
 * Display it is rendered by the programs "dot" (of graphviz) and shown by "eog", which are waited
 * for. Without these programs there is no picture, and no error. */

#ifndef ORVY_SUPPORT_OBJSYSTOOLS_H
#define ORVY_SUPPORT_OBJSYSTOOLS_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/**
 * Counts the references of all objects that are not connected; elements of arrays do not count, as
 * they may be free. An object whose ObjectIface has checkSanity answers for itself.
 * @param Report  not 0: each one is told in the log, as a warning on the configuration
 * @return number of problems
 */
ORVY_API int orvy_checkSanity(int Report);

/**
 * Describes the objects and their connections in the language of dot.
 * @param File     replaced by the text; null for the standard output stream, or with Display for a
 *                 new file "objsysOutDot" and six characters in the current directory, which stays
 *                 there. A file that cannot be written is passed over.
 * @param Display  not 0: the text is rendered to a file of the same name and ".png", and shown
 * @return 0, or 1 if no such new file could be made
 */
ORVY_API int orvy_generateObjectGraph(const char *File, int Display);

/** Describes a class and its properties in the language of PlantUML; otherwise as
 * orvy_generateObjectGraph. A class that does not exist has no properties. */
ORVY_API int orvy_generatePlantUML(const char *ClassName, const char *File, int Display);

ORVY_END_C

#endif
