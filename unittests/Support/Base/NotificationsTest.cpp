#include "orvy/Support/Notifications.h"

#include "Base/NotificationList.h"
#include "orvy/Support/Interpreter.h"
#include "orvy/Support/Objsys.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <set>

namespace {

using testing::ElementsAre;

int SourceA, SourceB;

class Notifications : public testing::Test {
protected:
  Notifications() { Heard.clear(); }

  void subscribe(const char *Name, void *Source, const char *Who) {
    EXPECT_EQ(orvy_subscribeNotification(Name, Source, const_cast<char *>(Who), hear), 0);
  }

  static void hear(void *Arg, void *Source, void *Info) {
    const char *From = Source == &SourceA ? "A" : Source == &SourceB ? "B" : "none";
    Heard.push_back(std::string(static_cast<const char *>(Arg)) + " from " + From +
                    (Info ? " with info" : ""));
  }
  static void hearElsewhere(void *Arg, void *, void *) {
    Heard.push_back(std::string(static_cast<const char *>(Arg)) + " elsewhere");
  }

  static std::vector<std::string> Heard;
};
std::vector<std::string> Notifications::Heard;

TEST_F(Notifications, PublishingIsIdempotentPerNameAndSource) {
  const int64_t A = orvy_publishNotification("n", &SourceA);
  EXPECT_GT(A, 0);
  EXPECT_EQ(orvy_publishNotification("n", &SourceA), A);
  const int64_t B = orvy_publishNotification("n", &SourceB);
  EXPECT_NE(B, A);
  EXPECT_NE(orvy_publishNotification("n", nullptr), A);
  EXPECT_NE(orvy_publishNotification("m", &SourceA), A);
  EXPECT_EQ(orvy_publishNotification(nullptr, &SourceA), 0);
}

TEST_F(Notifications, OfSourcesThatAreGoneAreForgottenAfterAWhile) {
  static char Sources[5000];
  const auto Publish = [](int Index) { return orvy_publishNotification("gone", &Sources[Index]); };
  std::vector<int64_t> Ids;
  for (int Index = 0; Index < 2500; ++Index)
    Ids.push_back(Publish(Index));
  subscribe("gone", &Sources[0], "own");
  subscribe("gone", &Sources[7], "kept");
  subscribe("gone", nullptr, "any");
  for (int Index = 0; Index < 2500; ++Index) {
    orvy::forgetNotificationsOf(&Sources[Index]);
    if (Index == 1)
      Publish(1); // the next object at this address
    EXPECT_EQ(Publish(Index == 1 ? 1 : 0), Ids[Index == 1 ? 1 : 0]);
  }
  EXPECT_EQ(Publish(2499), Ids[2499]) << "not at once";
  EXPECT_EQ(orvy_subscribeNotification("gone", &Sources[5], nullptr, hear), -1);
  orvy_notify(Ids[5], nullptr);
  EXPECT_THAT(Heard, ElementsAre()) << "an old id is nobody's";
  std::set<int64_t> Seen(Ids.begin(), Ids.end());
  for (int Index = 2500; Index < 5000; ++Index)
    EXPECT_TRUE(Seen.insert(Publish(Index)).second);
  orvy_notify(Ids[5], nullptr);
  EXPECT_THAT(Heard, ElementsAre());
  orvy_notify(Ids[0], nullptr);
  orvy_notify(Ids[1], nullptr);
  orvy_notify(Ids[7], nullptr);
  EXPECT_THAT(Heard, ElementsAre("any from none", "own from none", "any from none", "any from none",
                                 "kept from none"));
}

TEST_F(Notifications, TellsSubscribersOfAnySourceFirst) {
  const int64_t A = orvy_publishNotification("n", &SourceA);
  const int64_t B = orvy_publishNotification("n", &SourceB);
  subscribe("n", &SourceA, "own1");
  subscribe("n", nullptr, "any1");
  subscribe("n", &SourceA, "own2");
  subscribe("n", nullptr, "any2");
  orvy_notify(A, nullptr);
  EXPECT_THAT(Heard, ElementsAre("any1 from A", "any2 from A", "own1 from A", "own2 from A"));
  Heard.clear();
  orvy_notify(B, &SourceB);
  EXPECT_THAT(Heard, ElementsAre("any1 from B with info", "any2 from B with info"));
}

TEST_F(Notifications, AGlobalNotificationIsHeardByName) {
  const int64_t Id = orvy_publishNotification("n", nullptr);
  subscribe("n", nullptr, "any");
  orvy_notify(Id, nullptr);
  EXPECT_THAT(Heard, ElementsAre("any from none"));
}

TEST_F(Notifications, NothingCanBeSubscribedBeforeItIsPublished) {
  EXPECT_EQ(orvy_subscribeNotification("n", nullptr, nullptr, hear), -1);
  EXPECT_EQ(orvy_subscribeNotification("n", &SourceA, nullptr, hear), -1);
  orvy_publishNotification("n", &SourceA);
  EXPECT_EQ(orvy_subscribeNotification("n", &SourceB, nullptr, hear), -1);
  EXPECT_EQ(orvy_subscribeNotification(nullptr, nullptr, nullptr, hear), -1);
  EXPECT_EQ(orvy_unsubscribeNotification("n", &SourceB, hear), -1);
  EXPECT_EQ(orvy_unsubscribeNotificationArg("m", nullptr, hear, nullptr), -1);
}

TEST_F(Notifications, UnsubscribingRemovesEveryMatchAndKeepsTheOrder) {
  const int64_t Id = orvy_publishNotification("n", &SourceA);
  static char X[] = "x";
  static char Y[] = "y";
  for (char *Who : {X, Y, X})
    orvy_subscribeNotification("n", &SourceA, Who, hear);
  orvy_subscribeNotification("n", &SourceA, X, hearElsewhere);
  orvy_subscribeNotification("n", &SourceA, Y, hear);
  orvy_notify(Id, nullptr);
  EXPECT_THAT(Heard, ElementsAre("x from A", "y from A", "x from A", "x elsewhere", "y from A"));

  Heard.clear();
  EXPECT_EQ(orvy_unsubscribeNotificationArg("n", &SourceA, hear, X), 0);
  EXPECT_EQ(orvy_unsubscribeNotificationArg("n", &SourceA, hear, X), 0) << "none left, no failure";
  orvy_notify(Id, nullptr);
  EXPECT_THAT(Heard, ElementsAre("y from A", "x elsewhere", "y from A"));

  Heard.clear();
  EXPECT_EQ(orvy_unsubscribeNotification("n", &SourceA, hear), 0);
  orvy_notify(Id, nullptr);
  EXPECT_THAT(Heard, ElementsAre("x elsewhere"));
}

TEST_F(Notifications, ASubscriberMayPublishMore) {
  const int64_t Id = orvy_publishNotification("n", &SourceA);
  orvy_subscribeNotification("n", nullptr, nullptr, [](void *, void *, void *) {
    for (int Count = 0; Count < 1000; ++Count)
      orvy_publishNotification(("more" + std::to_string(Count)).c_str(), &SourceA);
  });
  subscribe("n", nullptr, "second");
  subscribe("n", &SourceA, "own");
  orvy_notify(Id, nullptr);
  EXPECT_THAT(Heard, ElementsAre("second from A", "own from A"));
}

TEST_F(Notifications, ListsNamesAndEmitters) {
  orvy_registerClass(
      "Thing", [](const char *, int, const orvy_CreateArg *) { return calloc(1, 48); }, free);
  void *Thing = orvy_createObject("Thing", "thing0", nullptr);
  orvy_publishNotification("zeta", Thing);
  orvy_publishNotification("alpha", nullptr);
  orvy_publishNotification("alpha", Thing);
  testing::internal::CaptureStdout();
  orvy_execCommand("notification-list");
  const std::string Emitters = testing::internal::GetCapturedStdout();
  EXPECT_THAT(Emitters, testing::StartsWith("List of Registered Notifications and Emitters\n"
                                            "---------------------------------------------"
                                            "\nalpha : <global>, thing0\n"));
  EXPECT_THAT(Emitters, testing::EndsWith("\nzeta : thing0\n"));

  testing::internal::CaptureStdout();
  orvy_printNotificationList();
  const std::string Names = testing::internal::GetCapturedStdout();
  EXPECT_THAT(Names, testing::StartsWith("List of Registered Notifications\nalpha\n"));
  EXPECT_THAT(Names, testing::EndsWith("\nzeta\n"));
  orvy_objsysClear();
}

} // namespace
