/* Checkpoint.h - saving the whole object system to a file, and building it again from one.
 *
 * A checkpoint is a JSON text: which plug-ins are loaded, which objects exist, the value of every
 * property (but internal pointers), and what each model adds through the serialise slot of its
 * ObjectIface. A model adds and takes back values with the accessors below, which get the context
 * that the slot was called with:
 *
 *     static void serialise(void *Obj, const char *Path, void *Ctxt) {
 *       orvy_serialiseProp(Ctxt, "fifo", ovTY_U8, 16, ((Uart *)Obj)->Fifo);
 *       orvy_eventSerialise(((Uart *)Obj)->Queue, Ctxt);
 *     }
 *     static void deserialise(void *Obj, const char *Path, void *Ctxt) {
 *       for (uint32_t I = 0; I < 16 && I < (uint32_t)orvy_checkpointGetLength(Ctxt, "fifo"); ++I)
 *         ((Uart *)Obj)->Fifo[I] = orvy_checkpointGetValue(Ctxt, "fifo", I).u8;
 *       orvy_eventDeserialise(((Uart *)Obj)->Queue, Ctxt);
 *     }
 *
 * A restore creates all objects, then sets all properties on the set route, then calls the
 * deserialise slots, each in the order of the objects' names.
 *
 * Texts are UTF-8. Real numbers that JSON cannot express are written as the texts "NaN", "Infinity"
 * and "-Infinity". Everything here belongs to the simulation thread, with no run in
 * progress: a save or restore from inside a run or a step of anything, or from an event or a
 * callback that one of its queues calls, is refused with 1 and an error in the log. What wants one
 * at a certain time stops the run there and calls afterwards. */

#ifndef ORVY_SUPPORT_CHECKPOINT_H
#define ORVY_SUPPORT_CHECKPOINT_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/**
 * Saves the object system.
 *
 * The text goes to a new file beside Path (".part", the process id and a number), which then takes
 * its place: a save that fails leaves what was there. So the file has the rights of the former one
 * but the owner and group of the process; other hard links to the former one keep the former text.
 * A path that is not a plain file, such as a pipe, is written to directly. What a killed process
 * has left beside Path is removed by the next save to it.
 *
 * Plug-ins are recorded by the paths or names that they were loaded by. An object that a host has
 * added (orvy_addObject) is saved like the others.
 * @return 0, or 1 with a message on the error stream
 */
ORVY_API int orvy_serialiseJSON(const char *Path);
/**
 * Replaces all objects but "sim" by those of a checkpoint, loading the plug-ins it needs.
 *
 * A property that cannot be set is told in the log, or on the error stream if its text is not what
 * it should be, and the restore goes on. If the file is not a checkpoint, or one of its objects
 * cannot be created, no object but "sim" is left, with its settings. A file that cannot be opened
 * leaves no object either, and counts as success; the command "checkpoint-restore" looks first, and
 * changes nothing for a file that cannot be read or is not a checkpoint.
 *
 * A plug-in that lies elsewhere by now is told in the log; load it first, from where it is, and
 * restore afterwards. Objects that the host has added stay as they are and where they are, if the
 * checkpoint lists them under the same name and class; a host that starts afresh adds them first. A
 * reference inside a container that cannot be resolved becomes null, with an error in the log.
 * @return 0, or 1 with a message on the error stream
 */
ORVY_API int orvy_deserialiseJSON(const char *Path);

/** Adds the value of a property, all its elements, under the property's name. An unknown object or
 * property, and a value that cannot be written, are told on the error stream and left out. */
ORVY_API void orvy_serialiseProp2(void *Ctxt, void *Obj, const char *PropName);
/**
 * Adds values of the caller under a name. What cannot be written is told on the error stream and
 * left out.
 * @param Typ    type of the values; one that a checkpoint cannot hold writes nothing
 * @param Count  number of values; below 1 writes none. An interface array has its own length.
 * @param Data   the values, laid out as a property of that type is; null writes nothing
 */
ORVY_API void orvy_serialiseProp(void *Ctxt, const char *Name, orvy_Type Typ, int Count,
                                 const void *Data);
/** Sets a property from what orvy_serialiseProp2 has added. On failure, which is told in the log or
 * on the error stream, the property keeps its value. */
ORVY_API void orvy_deserialiseProp(void *Ctxt, void *Obj, const char *PropName);
/** The number of values under a name; -1, silently, if there is none. */
ORVY_API int orvy_checkpointGetLength(void *Ctxt, const char *Name);
/**
 * One of the values under a name.
 *
 * Integers, objects, interface references, strings, buffers and vectors come back; a string is to
 * be released with free, a buffer with orvy_buffDispose, a vector, which is empty, with
 * orvy_vecDispose. Values of other types come back with the tag ovTY_Invalid.
 * @return the value; the all-zero record with an error in the log if there is none
 */
ORVY_API orvy_Propval orvy_checkpointGetValue(void *Ctxt, const char *Name, uint32_t Idx);

ORVY_END_C

#endif
