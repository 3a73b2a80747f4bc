/* Events.h - time-ordered events of processors, machines and clocks.
 *
 * An event is published once, under a name and an owner object, and then posted and descheduled by
 * id any number of times. Times are in the unit of the queue: cycles for a processor or clock,
 * nanoseconds for a machine. Unless a function says otherwise it belongs to the simulation thread,
 * takes no lock, and leaves everything as it was when it reports a failure. Failures go to the log.
 *
 * A queue holder (processor, machine, clock) declares a pointer to its orvy_EventQueue as the first
 * field behind its orvy_Object header. Among events of equal time no order is promised, but it is
 * the same in every run, and a checkpoint keeps it. */

#ifndef ORVY_SUPPORT_EVENTS_H
#define ORVY_SUPPORT_EVENTS_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

typedef struct orvy_Event orvy_Event;

/** Opaque: a heap of scheduled events, a stack of immediate ones, a list of thread-safe callbacks.
 */
typedef struct orvy_EventQueue orvy_EventQueue;

/** Action of an event. It may post, publish, depublish and dispose of what it likes, its own event
 * and the holder of the queue among it. */
typedef void (*orvy_EventFunc)(orvy_Event *Event);

/** A function that any thread may hand to the simulation thread. */
typedef void (*orvy_ThreadSafeCb)(void *Arg);

/** Which queue a post on a processor means. */
typedef ORVY_ENUM(orvy_SyncEvent){
    ovSE_Cpu = 0,    /**< the processor's own queue */
    ovSE_Machine = 1 /**< the queue of the processor's machine; its own where it has none */
} orvy_SyncEvent;

/** Bits of orvy_Event::Flags. */
typedef ORVY_ENUM(orvy_EventFlag){
    ovEF_AdHoc = 1,        /**< one-shot without id, freed after it fires */
    ovEF_LibraryOwned = 2, /**< record allocated by orvy_eventPublish */
    ovEF_Cyclic = 4,       /**< posted again after firing */
    ovEF_RealTime = 8,     /**< paced by the wall clock */
    ovEF_Descheduled = 32  /**< taken off its heap; cleared by every post */
} orvy_EventFlag;

/** An event. Plug-ins may own one and publish it with orvy_eventPublishStruct. */
struct orvy_Event {
  int64_t Time;           /**< absolute firing time in the unit of its queue; -1 after publish */
  int64_t EventId;        /**< -1 for an ad-hoc event */
  uint32_t Flags;         /**< orvy_EventFlag bits */
  int32_t QueueIdx;       /**< position in the heap while scheduled */
  orvy_EventQueue *Queue; /**< queue whose heap holds the event; null at all other times */
  void *Obj;              /**< owner, source of the event's log messages */
  orvy_EventFunc Func;    /**< the action */
  void *Data;             /**< for the owner */
  int64_t PeriodCycles;   /**< period of a cyclic event in queue units, else 0 */
  uint64_t RTTime;        /**< wall-clock target of a real-time event, orvy_timeGetMonotonicWct */
  uint64_t RTPeriodNanos; /**< wall-clock period of a cyclic real-time event */
};

ORVY_STATIC_ASSERT(sizeof(orvy_Event) == 80, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, EventId) == 8, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, Flags) == 16, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, QueueIdx) == 20, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, Queue) == 24, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, Obj) == 32, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, Func) == 40, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, Data) == 48, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, PeriodCycles) == 56, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, RTTime) == 64, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_Event, RTPeriodNanos) == 72, "boundary record");

/** Table through which events reach a queue holder. postCallback and removeCallback: any thread. */
typedef struct EventIface {
  void (*postCallback)(void *Obj, orvy_ThreadSafeCb Cb, void *Arg);
  void (*removeCallback)(void *Obj, orvy_ThreadSafeCb Cb, void *Arg);
  void (*postAbsolute)(void *Obj, int64_t EvId, int64_t Time);
  void (*postRelative)(void *Obj, int64_t EvId, int64_t Delay);
  void (*postOnStack)(void *Obj, int64_t EvId);
} EventIface;

ORVY_STATIC_ASSERT(sizeof(EventIface) == 5 * sizeof(void *), "boundary table");

/* Publishing. A null function is a breach of the contract here as wherever one is handed over to be
 * called: an internal error of the call that gets it. */

/** Publishes an event under (Name, Obj); the library allocates the record. @return its id, above 0
 */
ORVY_API int64_t orvy_eventPublish(const char *Name, void *Obj, orvy_EventFunc Func);

/** Publishes the caller's own record, which must outlive its publication. @return its id, above 0
 */
ORVY_API int64_t orvy_eventPublishStruct(const char *Name, orvy_Event *Event, void *Obj,
                                         orvy_EventFunc Func);

/** Takes an event off its queue and forgets it. Its id is never another event's, so that it is safe
 * to ask about or to depublish again. Ids are positive and 64 bits wide; no other order is
 * promised. */
ORVY_API void orvy_eventDepublish(int64_t EvId);

/** Forgets all events; runs at process exit. */
ORVY_API void orvy_eventDepublishAll(void);

/** Takes off their queues and forgets all events owned by an object that goes away, published ones
 * and one-shot ones. */
ORVY_API void orvy_eventEraseAssociatedEvents(void *Obj);

/** The record behind a valid id; null once it is depublished. */
ORVY_API orvy_Event *orvy_eventPtrNS(int64_t EvId);

/* Configuring; all need a valid id */

/** Makes an event cyclic with that period in queue units; below 1 makes it a single one again. */
ORVY_API void orvy_eventSetPeriodCycles(int64_t EvId, int64_t Cycles);

/** Paces an event by the wall clock. @return 0, or -1 if it is scheduled at present */
ORVY_API int orvy_eventSetRealTime(int64_t EvId);

/** Sets the wall-clock period of a cyclic real-time event; negative counts as 0. */
ORVY_API void orvy_eventSetRTPeriodNanos(int64_t EvId, int64_t Nanos);

/** Sets the wall-clock target of a real-time event, in the time of orvy_timeGetMonotonicWct. */
ORVY_API void orvy_eventSetRTTime(int64_t EvId, uint64_t Nanos);

/* Posting on a holder, relative to its present time. An event that is scheduled moves to the new
 * time, with a warning. An object that is no processor, machine or clock, such as a time source
 * that is not set, is ignored, with a warning once for each owner of events. What lies beyond the
 * end of time is posted at its end, INT64_MAX. */

/** Posts an event after a number of cycles; refused, with an error, on a machine. */
ORVY_API void orvy_eventPostCycles(void *Holder, int64_t EvId, int64_t Cycles, orvy_SyncEvent Sync);

/** Posts an event after a number of nanoseconds. */
ORVY_API void orvy_eventPostNanos(void *Holder, int64_t EvId, int64_t Nanos, orvy_SyncEvent Sync);

/** Posts an event after a time in seconds. */
ORVY_API void orvy_eventPostSecs(void *Holder, int64_t EvId, double Secs, orvy_SyncEvent Sync);

/** Posts an event on the stack: it fires first at the next trigger, the newest first. */
ORVY_API void orvy_eventPostStack(void *Holder, int64_t EvId, orvy_SyncEvent Sync);

/** Hands a callback to the simulation thread; runs at the holder's next trigger. Any thread. */
ORVY_API void orvy_eventPostAsync(void *Holder, orvy_ThreadSafeCb Cb, void *Arg,
                                  orvy_SyncEvent Sync);

/** Takes back the first callback equal in function and argument, if it has not run yet. Any thread.
 */
ORVY_API void orvy_eventRemoveAsync(void *Holder, orvy_ThreadSafeCb Cb, void *Arg,
                                    orvy_SyncEvent Sync);

/* Queues: what a model's EventIface and run loop are built from */

/** Makes an empty queue. The caller owns it and releases it with orvy_disposeEventQueue. */
ORVY_API orvy_EventQueue *orvy_allocateEventQueue(void);

/** Takes all events off a queue and releases it; stacked events and callbacks are dropped uncalled.
 */
ORVY_API void orvy_disposeEventQueue(orvy_EventQueue *Queue);

/** Posts an event at an absolute time of the queue. */
ORVY_API void orvy_eventPostAbsoluteInQueueInternal(orvy_EventQueue *Queue, int64_t EvId,
                                                    int64_t Time);

/**
 * Posts an event at an absolute time that was computed from a delay.
 * @param WallDelayNanos  the delay in wall-clock nanoseconds, which sets the target of a real-time
 * event
 */
ORVY_API void orvy_eventPostRelativeInQueueInternal(orvy_EventQueue *Queue, int64_t EvId,
                                                    int64_t Time, int64_t WallDelayNanos);

/** Posts an event without id that is freed once it has fired. */
ORVY_API void orvy_eventPostOneShotInternal(orvy_EventQueue *Queue, void *Obj, orvy_EventFunc Func,
                                            int64_t Time);

/** Pushes an event on the queue's stack. */
ORVY_API void orvy_eventStackPostInternal(orvy_EventQueue *Queue, int64_t EvId);

/** Heap primitive: inserts an event whose Time is set and which is in no heap. */
ORVY_API void orvy_eventInsertInternal(orvy_EventQueue *Queue, orvy_Event *Event);

/** Heap primitive: removes the root of a heap that is not empty. */
ORVY_API void orvy_eventRemoveHeadInternal(orvy_EventQueue *Queue);

/** Heap primitive: removes the event at an index below the heap's size. */
ORVY_API void orvy_eventRemoveIndexInternal(orvy_EventQueue *Queue, int32_t Index);

/** Appends a callback to a queue's list. Any thread. */
ORVY_API void orvy_postCallbackInQueue(orvy_EventQueue *Queue, orvy_ThreadSafeCb Cb, void *Arg);

/** Takes back the first callback equal in function and argument; none found is no error. Any
 * thread. */
ORVY_API void orvy_removeCallbackInQueue(orvy_EventQueue *Queue, orvy_ThreadSafeCb Cb, void *Arg);

/**
 * Fires what is due: thread-safe callbacks, then the stack, then every heap event not later than
 * Time.
 * @return orvy_eventGetFirstTime of the queue as it is at the end
 */
ORVY_API int64_t orvy_eventTrigger(orvy_EventQueue *Queue, int64_t Time);

/** Fires exactly one event, the newest of the stack or the first of the heap. @return its time, 0
 * or -1 */
ORVY_API int64_t orvy_eventTriggerFirst(orvy_EventQueue *Queue);

/** Runs the thread-safe callbacks alone. */
ORVY_API void orvy_eventTriggerThreadSafeCallbacks(orvy_EventQueue *Queue);

/** Time of the first event: 0 with something on the stack, -1 with nothing pending at all. */
ORVY_API int64_t orvy_eventGetFirstTime(const orvy_EventQueue *Queue);

/* Asking */

/** 1 while a heap holds the event, which needs a valid id. */
ORVY_API int orvy_eventIsScheduled(int64_t EvId);

/** Takes an event off its heap; nothing happens to one that is not scheduled. Needs a valid id. */
ORVY_API void orvy_eventDeschedule(int64_t EvId);

/** Absolute firing time in queue units; -1, with an error, for an invalid id. */
ORVY_API int64_t orvy_eventGetRawTime(int64_t EvId);

/** Cycles left until an event fires, seen from a holder; -1, with an error, where that has no
 * meaning. */
ORVY_API int64_t orvy_eventGetCycles(void *Holder, int64_t EvId);

/** Nanoseconds left until an event fires, seen from a holder; -1 on failure. */
ORVY_API int64_t orvy_eventGetNanos(void *Holder, int64_t EvId);

/** Seconds left until an event fires, seen from a holder; a quiet NaN on failure. */
ORVY_API double orvy_eventGetSecs(void *Holder, int64_t EvId);

/** Frequency of a holder's queue in Hz; any other object ends the process with a fatal message. */
ORVY_API uint64_t orvy_eventQueueGetFreq(void *Holder);

/* Checkpoints */

/**
 * Adds the scheduled events of a queue to a checkpoint (Checkpoint.h), by their names, owners,
 * times and periods. Events on the stack are refused and those that were never published left out,
 * both with an error. Wall-clock times, flags and data words are not saved.
 * @param Ctxt  the context that serialise of ObjectIface got
 */
ORVY_API void orvy_eventSerialise(orvy_EventQueue *Queue, void *Ctxt);
/**
 * Schedules the events that orvy_eventSerialise has saved. Each must be published again under its
 * name and owner; those that are not are told in the log and left out. An entry that is damaged
 * ends the restore of the queue.
 */
ORVY_API void orvy_eventDeserialise(orvy_EventQueue *Queue, void *Ctxt);

/* Diagnostics */

/** 1 if no event of the heap lies before its parent. */
ORVY_API int orvy_verifyHeapOrder(const orvy_EventQueue *Queue);

/** Prints the heap to the standard output stream, a line for each slot. */
ORVY_API void orvy_printHeap(const orvy_EventQueue *Queue);

ORVY_END_C

#endif
