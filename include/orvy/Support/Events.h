/* Events.h - time-ordered events of processors, machines and clocks.
 *
 * An event is published once, under a name and an owner object, and then posted and descheduled by
 * id any number of times. Times are in the unit of the queue: cycles for a processor or clock,
 * nanoseconds for a machine. Unless a function says otherwise it belongs to the simulation thread,
 * takes no lock, and leaves everything as it was when it reports a failure. Failures go to the log.
 *
 * A queue holder (processor, machine, clock) declares a pointer to its orvy_EventQueue as the first
 * field after its orvy_Object header. Among events of equal time no order is promised, but it is
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

/* Publishing. A null function is an internal error here, as in all functions that take one to be
 * called. */

/**
 * Publishes an event under (Name, Obj); the library allocates the record. A null name is an
 * internal error. A name that its owner has in use already still gives a new event, which a
 * checkpoint cannot tell from the first.
 * @param Name  copied
 * @param Obj   owner: source of the log messages, and what orvy_eventEraseAssociatedEvents goes by;
 *              may be null
 * @return its id, above 0
 */
ORVY_API int64_t orvy_eventPublish(const char *Name, void *Obj, orvy_EventFunc Func);

/**
 * Publishes the caller's own record, which stays the caller's, must outlive its publication and is
 * overwritten. A null record or name is an internal error; otherwise as orvy_eventPublish.
 * @return its id, above 0
 */
ORVY_API int64_t orvy_eventPublishStruct(const char *Name, orvy_Event *Event, void *Obj,
                                         orvy_EventFunc Func);

/** Takes an event off its queue and forgets it. An id that was depublished is ignored, one that was
 * never given logs "depublishing invalid event". Ids are positive, 64 bits wide and not used again;
 * no other order is promised. */
ORVY_API void orvy_eventDepublish(int64_t EvId);

/** Takes all events off their queues and forgets them; runs at process exit. Ids begin with 1
 * again. */
ORVY_API void orvy_eventDepublishAll(void);

/** Takes off their queues and forgets all events of an owner, published ones and one-shot ones; one
 * whose function is running ends with it. orvy_disposeObject calls it. */
ORVY_API void orvy_eventEraseAssociatedEvents(void *Obj);

/** The record of a valid id, valid until the event is depublished; null once it is. */
ORVY_API orvy_Event *orvy_eventPtrNS(int64_t EvId);

/* Configuring. All need a valid id: one that was never given is an internal error, an event that
 * was depublished is left alone. */

/** Makes an event cyclic with that period in queue units: cycles, or nanoseconds on a machine.
 * Below 1 makes it a single one again. */
ORVY_API void orvy_eventSetPeriodCycles(int64_t EvId, int64_t Cycles);

/** Paces an event by the wall clock. @return 0; -1, with an error in the log, if it is scheduled at
 * present or depublished */
ORVY_API int orvy_eventSetRealTime(int64_t EvId);

/** Sets the wall-clock period in nanoseconds of a cyclic real-time event; negative counts as 0. */
ORVY_API void orvy_eventSetRTPeriodNanos(int64_t EvId, int64_t Nanos);

/** Sets the wall-clock target of a real-time event in nanoseconds, in the time of
 * orvy_timeGetMonotonicWct. */
ORVY_API void orvy_eventSetRTTime(int64_t EvId, uint64_t Nanos);

/* Posting on a holder, relative to its present time. An event that is scheduled moves to the new
 * time, with a warning. An object that is not a processor, machine or clock, such as a time source
 * that is not set, is ignored, with a warning once for each owner of events. An id that is not
 * valid logs an error. A time beyond the range is clamped to INT64_MAX. */

/** Posts an event after a number of cycles; on a machine it is not posted, with an error. */
ORVY_API void orvy_eventPostCycles(void *Holder, int64_t EvId, int64_t Cycles, orvy_SyncEvent Sync);

/** Posts an event after a number of nanoseconds, converted to cycles of the holder where it counts
 * those. */
ORVY_API void orvy_eventPostNanos(void *Holder, int64_t EvId, int64_t Nanos, orvy_SyncEvent Sync);

/** Posts an event after a time in seconds, converted to the unit of the queue and truncated. */
ORVY_API void orvy_eventPostSecs(void *Holder, int64_t EvId, double Secs, orvy_SyncEvent Sync);

/** Posts an event on the stack: it fires first at the next trigger, the newest first. */
ORVY_API void orvy_eventPostStack(void *Holder, int64_t EvId, orvy_SyncEvent Sync);

/** Hands a callback to the simulation thread, where it runs at the holder's next trigger. Any
 * thread. An object that is not a holder logs an error; a null callback is an internal error. */
ORVY_API void orvy_eventPostAsync(void *Holder, orvy_ThreadSafeCb Cb, void *Arg,
                                  orvy_SyncEvent Sync);

/** Takes back the first callback equal in function and argument, if it has not run yet. Any thread;
 * waits while another thread runs callbacks of the queue. An object that is not a holder logs an
 * error. */
ORVY_API void orvy_eventRemoveAsync(void *Holder, orvy_ThreadSafeCb Cb, void *Arg,
                                    orvy_SyncEvent Sync);

/* Queues: what a model's EventIface and run loop are built from. The queue is not null, except
 * where it says so. */

/** Makes an empty queue. The caller owns it and releases it with orvy_disposeEventQueue. */
ORVY_API orvy_EventQueue *orvy_allocateEventQueue(void);

/** Takes all events off a queue and releases it; stacked events and callbacks are dropped without
 * being called. Null is ignored. A queue that is firing is released when it has ended. */
ORVY_API void orvy_disposeEventQueue(orvy_EventQueue *Queue);

/** Posts an event at an absolute time of the queue. An id that is not valid, or is depublished,
 * logs "posting absolute invalid event". */
ORVY_API void orvy_eventPostAbsoluteInQueueInternal(orvy_EventQueue *Queue, int64_t EvId,
                                                    int64_t Time);

/**
 * Posts an event at an absolute time that was computed from a delay.
 * @param WallDelayNanos  the delay in wall-clock nanoseconds, which sets the target of a real-time
 * event
 */
ORVY_API void orvy_eventPostRelativeInQueueInternal(orvy_EventQueue *Queue, int64_t EvId,
                                                    int64_t Time, int64_t WallDelayNanos);

/** Posts an event without id at an absolute time of the queue; the library frees its record once it
 * has fired, or when its owner Obj is disposed of. A null function is an internal error. */
ORVY_API void orvy_eventPostOneShotInternal(orvy_EventQueue *Queue, void *Obj, orvy_EventFunc Func,
                                            int64_t Time);

/** Pushes an event on the queue's stack; one that is scheduled is taken off its heap first, with a
 * warning. An invalid id logs "stack posting invalid event". */
ORVY_API void orvy_eventStackPostInternal(orvy_EventQueue *Queue, int64_t EvId);

/** Heap primitive: inserts an event whose Time is set and which is in no heap. */
ORVY_API void orvy_eventInsertInternal(orvy_EventQueue *Queue, orvy_Event *Event);

/** Heap primitive: removes the root of a heap. An empty heap is an internal error. */
ORVY_API void orvy_eventRemoveHeadInternal(orvy_EventQueue *Queue);

/** Heap primitive: removes the event at an index of the heap. One that is not below the heap's size
 * is an internal error. */
ORVY_API void orvy_eventRemoveIndexInternal(orvy_EventQueue *Queue, int32_t Index);

/** Appends a callback to a queue's list; it runs at the next trigger. Any thread. A null callback
 * is an internal error. */
ORVY_API void orvy_postCallbackInQueue(orvy_EventQueue *Queue, orvy_ThreadSafeCb Cb, void *Arg);

/** Takes back the first callback equal in function and argument; silent if there is none. Any
 * thread; waits while another thread runs callbacks of the queue. */
ORVY_API void orvy_removeCallbackInQueue(orvy_EventQueue *Queue, orvy_ThreadSafeCb Cb, void *Arg);

/**
 * Fires what is due: thread-safe callbacks, then the stack, then every heap event not later than
 * Time.
 * @return orvy_eventGetFirstTime of the queue as it is at the end
 */
ORVY_API int64_t orvy_eventTrigger(orvy_EventQueue *Queue, int64_t Time);

/**
 * Fires exactly one event, the newest of the stack or the first of the heap, without the callbacks.
 * @return the time of the event of the heap; after one of the stack, as orvy_eventGetFirstTime; -1
 * with nothing pending
 */
ORVY_API int64_t orvy_eventTriggerFirst(orvy_EventQueue *Queue);

/** Runs the thread-safe callbacks alone: those posted before the call, in order. */
ORVY_API void orvy_eventTriggerThreadSafeCallbacks(orvy_EventQueue *Queue);

/** Time of the first event in queue units: 0 with something on the stack, -1 with nothing pending
 * at all. Callbacks do not count. */
ORVY_API int64_t orvy_eventGetFirstTime(const orvy_EventQueue *Queue);

/* Asking */

/** 1 while a heap holds the event, else 0, also on a stack and once it is depublished. Needs a
 * valid id. */
ORVY_API int orvy_eventIsScheduled(int64_t EvId);

/** Takes an event off its heap; nothing happens to one that is not scheduled, which one on a stack
 * is not. Needs a valid id. */
ORVY_API void orvy_eventDeschedule(int64_t EvId);

/** Absolute firing time in queue units, the last one for an event that is not scheduled; -1, with
 * an error, for an invalid id. */
ORVY_API int64_t orvy_eventGetRawTime(int64_t EvId);

/** Cycles left until an event fires, seen from a processor or clock; -1, with an error, for a
 * machine or any other object, an invalid id, and an event that is not in the queue of the
 * processor or its machine. */
ORVY_API int64_t orvy_eventGetCycles(void *Holder, int64_t EvId);

/** Nanoseconds left until an event fires, seen from a holder; -1 on failure: silently for an object
 * that is not a holder, else with an error. */
ORVY_API int64_t orvy_eventGetNanos(void *Holder, int64_t EvId);

/** Seconds left until an event fires, seen from a holder; a quiet NaN, with an error, on
 * failure. */
ORVY_API double orvy_eventGetSecs(void *Holder, int64_t EvId);

/** Frequency of a holder's queue in Hz, 1000000000 for a machine; any other object ends the process
 * with a fatal message. */
ORVY_API uint64_t orvy_eventQueueGetFreq(void *Holder);

/* Checkpoints */

/**
 * Adds the scheduled events of a queue to a checkpoint (Checkpoint.h), by their names, owners,
 * times and periods. A queue with events on its stack is not saved, and events that were never
 * published are left out, both with an error. Wall-clock times, flags and data words are not saved.
 * @param Ctxt  the context that serialise of ObjectIface got
 */
ORVY_API void orvy_eventSerialise(orvy_EventQueue *Queue, void *Ctxt);
/**
 * Schedules the events that orvy_eventSerialise has saved. Each must be published again under its
 * name and owner; one that is not is left out, with an error. An entry that is damaged ends the
 * restore of the queue, with an error. A queue with events on its stack is left as it is.
 * @param Ctxt  the context that deserialise of ObjectIface got
 */
ORVY_API void orvy_eventDeserialise(orvy_EventQueue *Queue, void *Ctxt);

/* Diagnostics */

/** 1 if no event of the heap lies before its parent, else 0. */
ORVY_API int orvy_verifyHeapOrder(const orvy_EventQueue *Queue);

/** Prints the heap to the standard output stream, a line for each slot. */
ORVY_API void orvy_printHeap(const orvy_EventQueue *Queue);

ORVY_END_C

#endif
