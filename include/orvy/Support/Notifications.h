/* Notifications.h - named, synchronous calls from an owner to its subscribers.
 *
 * The owner publishes a name with itself as source (or null for a notification without an owner),
 * keeps the id, and issues it; every subscriber's function runs at once, on the
 * issuer's thread:
 *
 *     Self->TrapEntry = orvy_publishNotification("orvy.cpuTrapEntry", Self);
 *     orvy_notify(Self->TrapEntry, &TrapNumber);
 *
 * A subscriber listens to one source, or with a null source to the name as issued by any source.
 * Ids are never 0, so 0 can stand for "not published yet".
 *
 * A source is an address. Subscribers to an object that is disposed stay subscribed, and are called
 * for the next object that has the same address: unsubscribe on "orvy.objectDisposed", or compare
 * names. Notifications without a subscriber are forgotten some time after their object is gone.
 *
 * Nothing here takes a lock: all of it belongs to the simulation thread. */

#ifndef ORVY_SUPPORT_NOTIFICATIONS_H
#define ORVY_SUPPORT_NOTIFICATIONS_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** A subscriber's function. It must not subscribe to or unsubscribe from what is being issued. */
typedef void (*orvy_NotificationFunc)(void *Arg, void *Source, void *NotificationInfo);

/**
 * Publishes a notification, or finds the id of one that is published already.
 * @param Name    dotted name, copied
 * @param Source  who issues it; may be null
 * @return id for orvy_notify; 0 for a null name
 */
ORVY_API int64_t orvy_publishNotification(const char *Name, void *Source);

/**
 * Adds a subscriber after those that are there; a second time if it is there already.
 * @param Source  the source to listen to; null for any source of that name
 * @param Func    not null: a null function is an internal error
 * @return 0; -1, silently, if no such notification is published yet, or for a null name
 */
ORVY_API int orvy_subscribeNotification(const char *Name, void *Source, void *Arg,
                                        orvy_NotificationFunc Func);

/** Removes every subscriber with that function. Returns 0, also if there was none; -1, silently, if
 * no such notification is published. */
ORVY_API int orvy_unsubscribeNotification(const char *Name, void *Source,
                                          orvy_NotificationFunc Func);

/** Removes every subscriber with that function and argument. Returns 0, also if there was none; -1,
 * silently, if no such notification is published. */
ORVY_API int orvy_unsubscribeNotificationArg(const char *Name, void *Source,
                                             orvy_NotificationFunc Func, void *Arg);

/**
 * Issues a notification: first the subscribers to the name from any source, then those to this
 * source, each in order of subscription, all before it returns.
 * @param Id                an id from orvy_publishNotification, not 0; it is not checked, but that
 *                          of a source that is gone and forgotten calls no subscriber
 * @param NotificationInfo  what the notification tells; its meaning goes with the name
 */
ORVY_API void orvy_notify(int64_t Id, void *NotificationInfo);

/** Writes the names of all notifications to the standard output stream, one to a line. */
ORVY_API void orvy_printNotificationList(void);

ORVY_END_C

#endif
