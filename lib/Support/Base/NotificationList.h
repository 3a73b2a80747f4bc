// NotificationList.h - what the library itself needs of notifications.

#ifndef ORVY_LIB_NOTIFICATIONLIST_H
#define ORVY_LIB_NOTIFICATIONLIST_H

namespace orvy {

/// Writes every published name with its sources to the standard output stream, in byte order of the
/// names.
void printNotificationEmitters();

/// Has the notifications of an object that was disposed forgotten after a while, unless somebody
/// subscribes to them: who does will hear the next object at this address.
void forgetNotificationsOf(void *Source);

} // namespace orvy

#endif
