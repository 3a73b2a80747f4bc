// NotificationList.h - what the library itself needs of notifications.

#ifndef ORVY_LIB_NOTIFICATIONLIST_H
#define ORVY_LIB_NOTIFICATIONLIST_H

#include <functional>
#include <string>

namespace orvy {

/// Calls a function with every published name and its sources, in byte order of the names and then
/// by source. The function must not publish.
void forEachNotification(const std::function<void(const std::string &Name, void *Source)> &Visit);

/// Forgets the notifications of an object that was disposed of after a while, unless there are
/// subscribers: a subscriber also receives those of the next object at this address.
void forgetNotificationsOf(void *Source);

} // namespace orvy

#endif
