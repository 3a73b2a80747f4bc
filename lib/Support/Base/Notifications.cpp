#include "orvy/Support/Notifications.h"

#include "Base/InternalError.h"
#include "Base/NotificationList.h"
#include "Base/RecentlyGone.h"
#include "orvy/Support/Commands.h"
#include "orvy/Support/Objsys.h"
#include "orvy/Support/OutStream.h"

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

struct NotificationSubscriber {
  orvy_NotificationFunc Func;
  void *Arg;
};
using Subscribers = std::vector<NotificationSubscriber>;

// Orders (name, source) without making a string of a name that is looked up.
struct ByNameAndSource {
  using is_transparent = void;
  template <typename A, typename B> bool operator()(const A &Left, const B &Right) const {
    const int Order = std::string_view(Left.first).compare(Right.first);
    return Order < 0 || (Order == 0 && std::less<>()(Left.second, Right.second));
  }
};

using KeyMap = std::map<std::pair<std::string, void *>, int64_t, ByNameAndSource>;

struct NotificationTableEntry {
  int64_t Id; // the number of the entry from 1 on, and above that how often it was used before
  int64_t GlobalIndex; // in GlobalNotificationTable
  void *Source;
  Subscribers Own;
  KeyMap::iterator Key;
  int64_t NextOfSource; // an index; -1 for none
};

/// The entries of a source, chained by their indices.
struct SourceEntries {
  int64_t First = -1;
  bool IsGone = false; // the object was disposed of, and nothing is published since
};

struct NotificationNames {
  std::map<std::string, int64_t, std::less<>> GlobalNotificationMap;
  KeyMap NotificationMap;
  std::unordered_map<void *, SourceEntries> OfSource;
  std::vector<int64_t> Free; // entries, by index
  orvy::RecentlyGone<void *> SourcesGone;
};

// Issuing a notification reads only these two tables.
constinit std::vector<Subscribers> GlobalNotificationTable;
constinit std::vector<NotificationTableEntry> NotificationTable;

NotificationNames &names() {
  static NotificationNames Names;
  return Names;
}

int64_t globalIndex(const char *Name) {
  auto [Found, Added] =
      names().GlobalNotificationMap.try_emplace(Name, GlobalNotificationTable.size());
  if (Added)
    GlobalNotificationTable.emplace_back();
  return Found->second;
}

// The subscribers to a name from a source, or from any for a null one; null if not published.
Subscribers *findSubscribers(const char *Name, void *Source) {
  if (!Name)
    return nullptr;
  if (!Source) {
    auto Found = names().GlobalNotificationMap.find(Name);
    return Found == names().GlobalNotificationMap.end() ? nullptr
                                                        : &GlobalNotificationTable[Found->second];
  }
  auto Found = names().NotificationMap.find(std::pair<const char *, void *>(Name, Source));
  return Found == names().NotificationMap.end() ? nullptr : &NotificationTable[Found->second].Own;
}

/// Releases the entries of a source that nobody subscribes to.
void releaseEntriesOf(void *Source) {
  NotificationNames &Names = names();
  const auto Found = Names.OfSource.find(Source);
  if (Found == Names.OfSource.end() || !Found->second.IsGone)
    return;
  for (int64_t *Link = &Found->second.First; *Link >= 0;) {
    const int64_t Index = *Link;
    NotificationTableEntry &Entry = NotificationTable[Index];
    if (!Entry.Own.empty()) {
      Link = &Entry.NextOfSource;
      continue;
    }
    *Link = Entry.NextOfSource;
    Names.NotificationMap.erase(Entry.Key);
    Subscribers().swap(Entry.Own);
    Entry.Id += int64_t{1} << 32;
    Names.Free.push_back(Index);
  }
  if (Found->second.First < 0)
    Names.OfSource.erase(Found);
}

/// An entry that is not in use, with its id.
int64_t takeEntry() {
  std::vector<int64_t> &Free = names().Free;
  if (Free.empty()) {
    NotificationTable.push_back(
        {static_cast<int64_t>(NotificationTable.size()) + 1, 0, nullptr, {}, {}, -1});
    return NotificationTable.back().Id - 1;
  }
  const int64_t Index = Free.back();
  Free.pop_back();
  return Index;
}

template <typename Predicate> int unsubscribe(const char *Name, void *Source, Predicate IsMeant) {
  Subscribers *List = findSubscribers(Name, Source);
  if (!List)
    return -1;
  std::erase_if(*List, IsMeant);
  return 0;
}

// The elements of an array, which stay in place when the tables around the array grow.
struct Range {
  explicit Range(const Subscribers &List) : First(List.data()), Last(List.data() + List.size()) {}
  void issue(void *Source, void *Info) const {
    for (const NotificationSubscriber *Next = First; Next != Last; ++Next)
      Next->Func(Next->Arg, Source, Info);
  }
  const NotificationSubscriber *First;
  const NotificationSubscriber *Last;
};

} // namespace

void orvy::forgetNotificationsOf(void *Source) {
  const auto Found = names().OfSource.find(Source);
  if (Found == names().OfSource.end())
    return;
  Found->second.IsGone = true;
  names().SourcesGone.add(Source, releaseEntriesOf);
}

void orvy::forEachNotification(
    const std::function<void(const std::string &Name, void *Source)> &Visit) {
  for (const auto &[Key, Index] : names().NotificationMap)
    Visit(Key.first, Key.second);
}

int64_t orvy_publishNotification(const char *Name, void *Source) {
  if (!Name)
    return 0;
  auto &Map = names().NotificationMap;
  SourceEntries &OfSource = names().OfSource[Source];
  OfSource.IsGone = false;
  if (auto Found = Map.find(std::pair<const char *, void *>(Name, Source)); Found != Map.end())
    return NotificationTable[Found->second].Id;
  const int64_t Index = takeEntry();
  NotificationTableEntry &Entry = NotificationTable[Index];
  Entry.GlobalIndex = globalIndex(Name);
  Entry.Source = Source;
  Entry.Key = Map.emplace(std::pair<std::string, void *>(Name, Source), Index).first;
  Entry.NextOfSource = std::exchange(OfSource.First, Index);
  return Entry.Id;
}

int orvy_subscribeNotification(const char *Name, void *Source, void *Arg,
                               orvy_NotificationFunc Func) {
  ORVY_REQUIRE_FUNCTION(Func);
  Subscribers *List = findSubscribers(Name, Source);
  if (!List)
    return -1;
  List->push_back({Func, Arg});
  return 0;
}

int orvy_unsubscribeNotification(const char *Name, void *Source, orvy_NotificationFunc Func) {
  return unsubscribe(Name, Source,
                     [&](const NotificationSubscriber &Present) { return Present.Func == Func; });
}

int orvy_unsubscribeNotificationArg(const char *Name, void *Source, orvy_NotificationFunc Func,
                                    void *Arg) {
  return unsubscribe(Name, Source, [&](const NotificationSubscriber &Present) {
    return Present.Func == Func && Present.Arg == Arg;
  });
}

void orvy_notify(int64_t Id, void *NotificationInfo) {
  const NotificationTableEntry &Entry = NotificationTable[static_cast<uint32_t>(Id) - 1];
  if (Entry.Id != Id)
    return; // the source is long gone
  void *Source = Entry.Source;
  // Read before the first call: a subscriber may publish, which moves the tables.
  const Range Global(GlobalNotificationTable[Entry.GlobalIndex]);
  const Range Own(Entry.Own);
  Global.issue(Source, NotificationInfo);
  Own.issue(Source, NotificationInfo);
}

void orvy_printNotificationList() {
  orvy::outs() << "List of Registered Notifications\n";
  for (const auto &[Name, Index] : names().GlobalNotificationMap)
    orvy::outs() << Name << "\n";
}
