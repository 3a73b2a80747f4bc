#include "orvy/Support/SpaceWireLinkStateMachine.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr int Detached = 0;
constexpr int Attached = 1;

struct Outcome {
  int HasChanged;
  uint32_t State;
};

Outcome update(uint32_t From, int Auto, int Start, int Disabled, int Connected, int Other) {
  auto State = static_cast<orvy_SpwLinkState>(From);
  int HasChanged =
      orvy_spwLsmUpdate(&State, static_cast<uint8_t>(Auto), static_cast<uint8_t>(Start),
                        static_cast<uint8_t>(Disabled), static_cast<uint8_t>(Connected), Other);
  return {HasChanged, State};
}

/// The state that follows for a far end in ErrorReset, ErrorWait, Ready, Started, Connecting and
/// Run, by a digit each. One row for each start condition, one text for each state.
struct Row {
  int Auto;
  int Start;
  const char *Next[8];
};

const Row WhileUp[] = {
    {0, 0, {"222222", "222222", "222222", "333444", "222255", "222255", "666666", "777777"}},
    {0, 1, {"222222", "222222", "333333", "333444", "333355", "333355", "666666", "777777"}},
    {1, 0, {"222222", "222222", "222333", "333444", "222355", "222355", "666666", "777777"}},
    {1, 1, {"222222", "222222", "333333", "333444", "333355", "333355", "666666", "777777"}},
};
const uint32_t WhileDown[] = {0, 1, 0, 0, 0, 0, 6, 7};

TEST(LinkStateMachine, FollowsItsTableForAllConditions) {
  for (const Row &R : WhileUp)
    for (uint32_t From = 0; From < 8; ++From)
      for (int Other = 0; Other < 6; ++Other)
        for (int Down = 0; Down < 4; ++Down) {
          int Disabled = Down & 1;
          int Connected = Down & 2 ? Detached : Attached;
          auto [HasChanged, To] = update(From, R.Auto, R.Start, Disabled, Connected, Other);
          uint32_t Wanted =
              Down ? WhileDown[From] : static_cast<uint32_t>(R.Next[From][Other] - '0');
          EXPECT_EQ(To, Wanted) << "from " << From << " auto " << R.Auto << " start " << R.Start
                                << " down " << Down << " other " << Other;
          EXPECT_EQ(HasChanged, Wanted != From);
        }
}

TEST(LinkStateMachine, TakesAnyNumberAsStateOfTheFarEnd) {
  EXPECT_EQ(update(ovSPWLS_Started, 0, 0, 0, 1, -1).State, uint32_t(ovSPWLS_Started));
  EXPECT_EQ(update(ovSPWLS_Started, 0, 0, 0, 1, 1000).State, uint32_t(ovSPWLS_Connecting));
  EXPECT_EQ(update(0x80000000, 1, 1, 0, 1, 5).State, 0x80000000u);
}

/// Two ends of a cable, updated in turn until neither changes.
struct Link {
  struct End {
    orvy_SpwLinkState State;
    uint8_t Auto, Start, Disabled;
  } A{}, B{};
  uint8_t Connected = 1;

  Link() {
    orvy_spwLsmInit(&A.State);
    orvy_spwLsmInit(&B.State);
  }

  int step(End &Near, const End &Far) {
    return orvy_spwLsmUpdate(&Near.State, Near.Auto, Near.Start, Near.Disabled, Connected,
                             static_cast<int>(Far.State));
  }

  std::string settle() {
    std::string Road = both();
    for (int Turns = 0; Turns < 20 && (step(A, B) | step(B, A)); ++Turns)
      Road += " " + both();
    return Road;
  }

  std::string both() const {
    return {static_cast<char>('0' + A.State), static_cast<char>('0' + B.State)};
  }
};

TEST(LinkStateMachine, TwoEndsComeUpOnceOneOfThemStarts) {
  Link L;
  L.A.Auto = L.B.Auto = 1;
  EXPECT_EQ(L.settle(), "00 22");
  L.A.Start = 1;
  EXPECT_EQ(L.settle(), "22 33 44 55");
  L.A.Start = 0; // a link that runs stays up
  EXPECT_EQ(L.settle(), "55");
}

TEST(LinkStateMachine, AnEndThatDisconnectsResetsTheOther) {
  Link L;
  L.A.Auto = L.A.Start = L.B.Auto = 1;
  L.settle();
  L.B.Disabled = 1;
  EXPECT_EQ(L.settle(), "55 50 30"); // A goes on starting
  L.B.Disabled = 0;
  EXPECT_EQ(L.settle(), "30 32 33 44 55");
  L.Connected = 0;
  EXPECT_EQ(L.settle(), "55 00");
}

TEST(LinkStateMachine, AnEndThatDoesNotStartKeepsTheOtherFromConnecting) {
  Link L;
  L.A.Start = 1;
  EXPECT_EQ(L.settle(), "00 22 32");
}

TEST(LinkStateMachine, NamesItsStates) {
  const char *Names[] = {"ErrorReset(0)",
                         "ErrorWait(1)",
                         "Ready(2)",
                         "Started(3)",
                         "Connecting(4)",
                         "Run(5)",
                         "UNKNOWN: Link state should not be set with this value"};
  for (uint32_t State = 0; State < 7; ++State)
    EXPECT_STREQ(orvy_spwLinkStateToStr(static_cast<orvy_SpwLinkState>(State)), Names[State]);
}

} // namespace
