/* AsyncEvents.h - descriptors and wall-clock timers of the host, reported to models.
 *
 * A background thread waits on the descriptors. It turns a report into a thread-safe callback in
 * the queue of a processor, machine or clock, so that the model's function runs on the simulation
 * thread, between instructions, at that holder's next trigger, and needs no lock. While nothing
 * runs a report waits for the next run. A descriptor that was reported is silent until its function
 * has run: calls do not pile up.
 *
 * Any thread may add and remove, at the same time too; the background thread itself may not. */

#ifndef ORVY_SUPPORT_ASYNCEVENTS_H
#define ORVY_SUPPORT_ASYNCEVENTS_H

#include "orvy/Support/Events.h"

ORVY_BEGIN_C

/** What is waited for. */
typedef ORVY_ENUM(orvy_AsyncFlag){
    ovAS_Repeat = 1, /**< the timer repeats; without it, it fires once and is gone */
    ovAS_Read = 2,   /**< wait for input on the descriptor */
    ovAS_Write = 4   /**< wait for output on the descriptor, when ovAS_Read is not set */
} orvy_AsyncFlag;

/**
 * Has a function called whenever a socket, pipe or terminal is readable or writable. At the end of
 * its input a socket is always readable: remove it then, in the function itself if you like. A pipe
 * is not: once its other end is closed and what was left in it has been read, the function is not
 * called again, and nothing tells that this is the end. A model that must know it uses a socket
 * pair, or a timer that reads without waiting. The writing end of a pipe without a reader stays
 * writable while there is room, and the write fails. The descriptor stays the caller's, who removes
 * it here before closing it. A descriptor can be waited on once; for both directions duplicate it.
 * @param Holder  processor, machine or clock; when it is disposed, what was added for it goes too
 * @param Flags   ovAS_Read or ovAS_Write
 * @param Func    null for none: a report is taken and dropped
 * @return the descriptor; one that cannot be waited on is told on standard error and not added
 */
ORVY_API int orvy_asyncSocketAdd(void *Holder, int Descriptor, uint32_t Flags,
                                 orvy_ThreadSafeCb Func, void *Arg);
/**
 * Ends the wait on a descriptor that was added with these flags; nothing happens if there is none.
 * Once this has returned the function is not called any more, not even if it was due already. Waits
 * for a call in progress on another thread.
 */
ORVY_API void orvy_asyncSocketRemove(int Descriptor, uint32_t Flags);
/**
 * Starts a timer on the wall clock.
 * @param Seconds  until the first call, and between calls of one that repeats; 0 never expires
 * @param Flags    ovAS_Repeat or 0
 * @return the timer's descriptor, by which it is known; -1 if the host has no descriptor left. A
 * timer that fires once closes it after its call.
 */
ORVY_API int orvy_asyncTimerAdd(void *Holder, double Seconds, uint32_t Flags,
                                orvy_ThreadSafeCb Func, void *Arg);
/** Stops a timer, as orvy_asyncSocketRemove does for a descriptor; nothing happens if there is
 * none. Its descriptor stays open: the caller closes it. */
ORVY_API void orvy_asyncTimerRemove(int Descriptor);
/** The body of the background thread; not for calling. */
ORVY_API void orvy_asyncLoop(void);

ORVY_END_C

#endif
