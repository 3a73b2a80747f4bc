/* Notifications.h - named, synchronous call-outs from an owner to its subscribers.
 *
 * The owner publishes a name with itself as source (or null for a notification of nobody in
 * particular), keeps the id, and issues it; every subscriber's function runs at once, on the
 * issuer's thread:
 *
 *     Self->TrapEntry = orvy_publishNotification("orvy.cpuTrapEntry", Self);
 *     orvy_notify(Self->TrapEntry, &TrapNumber);
 *
 * A subscriber listens to one source, or with a null source to the name as issued by any source.
 * Ids are never 0, so 0 can stand for "not published yet".
 *
 * A source is an address. Subscribers to an object that is disposed stay subscribed, and hear the
 * next object that has the same address: unsubscribe when "orvy.objectDisposed" is heard, or
 * compare names. What nobody subscribes to is forgotten some time after its object has gone.
 *
 * Nothing here takes a lock: all of it
 * belongs to the simulation thread. */

#ifndef ORVY_SUPPORT_NOTIFICATIONS_H
#define ORVY_SUPPORT_NOTIFICATIONS_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** A subscriber's function. It must not subscribe to or unsubscribe from what is being issued. */
typedef void (*orvy_NotificationFunc)(void *Arg, void *Source, void *NotificationInfo);

/**
 * Publishes a notification, or finds the id of one that is published already.
 * @param Name    dotted name
 * @param Source  who issues it; may be null
 * @return id for orvy_notify
 */
ORVY_API int64_t orvy_publishNotification(const char *Name, void *Source);

/**
 * Adds a subscriber behind those that are there; a second time if it is there already.
 * @param Source  the source to listen to; null for any source of that name
 * @param Func    not null
 * @return 0, or -1 if no such notification is published yet
 */
ORVY_API int orvy_subscribeNotification(const char *Name, void *Source, void *Arg,
                                        orvy_NotificationFunc Func);

/** Removes every subscriber with that function. Returns 0, or -1 if no such notification is
 * published. */
ORVY_API int orvy_unsubscribeNotification(const char *Name, void *Source,
                                          orvy_NotificationFunc Func);

/** Removes every subscriber with that function and argument. Returns 0, or -1 if no such
 * notification is published. */
ORVY_API int orvy_unsubscribeNotificationArg(const char *Name, void *Source,
                                             orvy_NotificationFunc Func, void *Arg);

/**
 * Issues a notification: first the subscribers to the name from any source, then those to this
 * source, each in order of subscription.
 * @param Id                an id from orvy_publishNotification; it is not checked, but that of a
 *                          source that is gone and forgotten calls nobody
 * @param NotificationInfo  what the notification tells; its meaning goes with the name
 */
ORVY_API void orvy_notify(int64_t Id, void *NotificationInfo);

/** Writes the names of all notifications to the standard output stream. */
ORVY_API void orvy_printNotificationList(void);

ORVY_END_C

#endif
