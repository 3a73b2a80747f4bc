/* LegacyEvents.h - the older interface to event queues, for models written against it.
 *
 * An event is known by the pair of its function and its owner, and the function receives the owner
 * and a data word. It is built on the events of Events.h: both kinds share queues, times and
 * checkpoints, and the rules on threads are the same. The functions that take a pair need one that
 * was published. A checkpoint does not hold data words. */

#ifndef ORVY_SUPPORT_LEGACYEVENTS_H
#define ORVY_SUPPORT_LEGACYEVENTS_H

#include "orvy/Support/Events.h"

ORVY_BEGIN_C

/** Action of an old-style event. */
typedef void (*orvy_OldStyleEventFunc)(void *Obj, void *Data);

/**
 * Publishes an event under (Name, Obj) and under the pair of function and owner; the library
 * allocates the record. A pair that is in use keeps its first event. A null name or function is an
 * internal error.
 * @return the id, above 0
 */
ORVY_API int64_t orvy_eventPublishOldStyle(const char *Name, void *Obj,
                                           orvy_OldStyleEventFunc Func);
/** The id of a pair; -1, silently, for an unknown one. */
ORVY_API int64_t orvy_eventGetOldStyleID(orvy_OldStyleEventFunc Func, void *Obj);
/** Posts an event at an absolute time of the queue, with the word that its function will get. An
 * unknown pair logs an error. */
ORVY_API void orvy_postEvent(orvy_EventQueue *Queue, orvy_OldStyleEventFunc Func, void *Obj,
                             void *Data, int64_t Time);
/** Pushes an event on the queue's stack, with the word that its function will get. An unknown pair
 * logs an error. */
ORVY_API void orvy_stackEvent(orvy_EventQueue *Queue, orvy_OldStyleEventFunc Func, void *Obj,
                              void *Data);
/** Absolute firing time of an event in units of its queue, as orvy_eventGetRawTime; -1, with an
 * error, for an unknown pair. The queue is not used. */
ORVY_API int64_t orvy_eventTime(orvy_EventQueue *Queue, orvy_OldStyleEventFunc Func, void *Obj);
/** Takes an event off its heap; nothing happens to one that is not scheduled. An unknown pair is an
 * internal error. The queue is not used. */
ORVY_API void orvy_descheduleEvent(orvy_EventQueue *Queue, orvy_OldStyleEventFunc Func, void *Obj);
/** Fires what is due at a time, as orvy_eventTrigger. */
ORVY_API int64_t orvy_triggerCurrentTimers(orvy_EventQueue *Queue, int64_t Time);
/** Fires one event, as orvy_eventTriggerFirst. */
ORVY_API int64_t orvy_triggerFirstTimer(orvy_EventQueue *Queue);
/** Time of the first event, as orvy_eventGetFirstTime. */
ORVY_API int64_t orvy_nextTimer(const orvy_EventQueue *Queue);
/** Saves the events of a queue, as orvy_eventSerialise. */
ORVY_API void orvy_serialiseEvents(orvy_EventQueue *Queue, void *Ctxt);
/** Restores the events of a queue, as orvy_eventDeserialise. */
ORVY_API void orvy_deserialiseEvents(orvy_EventQueue *Queue, void *Ctxt);
/** Does nothing: a queue's frequency is its holder's. */
ORVY_API void orvy_setQueueFreq(orvy_EventQueue *Queue, uint64_t Freq);
/** Forgets the names and ids of all events, which begin with 1 again. Records stay for good, and
 * what is scheduled still fires. */
ORVY_API void orvy_depublishEventsNS(void);
/** No longer supported: ends the process with a fatal message that names orvy_eventPublishOldStyle
 * as the replacement. */
ORVY_NORETURN ORVY_API void orvy_registerEvent(orvy_EventQueue *Queue, const char *Name);

ORVY_END_C

#endif
