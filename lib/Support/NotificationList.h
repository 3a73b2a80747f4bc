// NotificationList.h - the listing of notifications together with who issues them.

#ifndef ORVY_LIB_NOTIFICATIONLIST_H
#define ORVY_LIB_NOTIFICATIONLIST_H

namespace orvy {

/// Writes every published name with its sources to the standard output stream, in byte order of the
/// names.
void printNotificationEmitters();

} // namespace orvy

#endif
