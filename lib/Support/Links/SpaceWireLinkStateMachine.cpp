#include "orvy/Support/SpaceWireLinkStateMachine.h"

namespace {

/// The conditions that decide about a link's transitions.
struct Conditions {
  bool IsDown;        // detached or switched off
  bool IsStarted;     // told to start, or started by the far end
  bool HasOtherBegun; // the far end is in the state Started or later
  bool IsOtherBeyond; // the far end is past the state Started
};

/// The state after a connecting or running link has lost its far end.
orvy_SpwLinkState fallBack(const Conditions &C) {
  return C.IsStarted ? ovSPWLS_Started : ovSPWLS_Ready;
}

orvy_SpwLinkState next(orvy_SpwLinkState State, const Conditions &C) {
  switch (State) {
  case ovSPWLS_ErrorReset:
  case ovSPWLS_ErrorWait:
    return C.IsDown ? State : ovSPWLS_Ready;
  case ovSPWLS_Ready:
    return C.IsDown ? ovSPWLS_ErrorReset : C.IsStarted ? ovSPWLS_Started : State;
  case ovSPWLS_Started:
    return C.IsDown ? ovSPWLS_ErrorReset : C.HasOtherBegun ? ovSPWLS_Connecting : State;
  case ovSPWLS_Connecting:
  case ovSPWLS_Run:
    return C.IsDown ? ovSPWLS_ErrorReset : C.IsOtherBeyond ? ovSPWLS_Run : fallBack(C);
  }
  return State;
}

} // namespace

void orvy_spwLsmInit(orvy_SpwLinkState *State) {
  *State = ovSPWLS_ErrorReset;
}

int orvy_spwLsmUpdate(orvy_SpwLinkState *State, uint8_t AutoStart, uint8_t LinkStart,
                      uint8_t LinkDisabled, uint8_t Connected, int OtherSideState) {
  bool HasOtherBegun = OtherSideState >= static_cast<int>(ovSPWLS_Started);
  bool IsOtherBeyond = OtherSideState > static_cast<int>(ovSPWLS_Started);
  orvy_SpwLinkState New =
      next(*State, {!Connected || LinkDisabled, LinkStart || (AutoStart && HasOtherBegun),
                    HasOtherBegun, IsOtherBeyond});
  int HasChanged = New != *State;
  *State = New;
  return HasChanged;
}

const char *orvy_spwLinkStateToStr(orvy_SpwLinkState State) {
  switch (State) {
  case ovSPWLS_ErrorReset:
    return "ErrorReset(0)";
  case ovSPWLS_ErrorWait:
    return "ErrorWait(1)";
  case ovSPWLS_Ready:
    return "Ready(2)";
  case ovSPWLS_Started:
    return "Started(3)";
  case ovSPWLS_Connecting:
    return "Connecting(4)";
  case ovSPWLS_Run:
    return "Run(5)";
  }
  return "UNKNOWN: Link state should not be set with this value";
}
