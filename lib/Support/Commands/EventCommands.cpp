// The commands that list events and notifications.

#include "Base/NotificationList.h"
#include "CommandLine/Handlers.h"
#include "Events/EventQueue.h"

#include <string>

using namespace orvy;
using namespace orvy::cl;

namespace {

int listNotifications(Command &, Interpreter *) {
  outs() << "List of Registered Notifications and Emitters\n"
         << "---------------------------------------------";
  std::string Last;
  bool First = true;
  forEachNotification([&](const std::string &Name, void *Source) {
    if (First || Name != Last)
      outs() << "\n" << Name << " : ";
    else
      outs() << ", ";
    const char *SourceName = orvy_nameForObject(Source);
    outs() << (SourceName ? SourceName : "<global>");
    Last = Name;
    First = false;
  });
  outs() << "\n";
  return 0;
}

Command EventList("event-list", call<event::printEvents>, "List all events, sources and event ids");

Command NotificationList("notification-list", listNotifications, "List all notifications");

} // namespace
