/* SpaceWireLinkStateMachine.h - the state of a SpaceWire link.
 *
 * A reduced form of the link state machine of ECSS-E-ST-50-12C. It knows no timers and no
 * characters: a model calls orvy_spwLsmUpdate with the present conditions of its link whenever one
 * of them has changed, until the state settles. The state is the model's; nothing is locked. */

#ifndef ORVY_SUPPORT_SPACEWIRELINKSTATEMACHINE_H
#define ORVY_SUPPORT_SPACEWIRELINKSTATEMACHINE_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/** State of one end of a link. */
typedef ORVY_ENUM(orvy_SpwLinkState){
    ovSPWLS_ErrorReset = 0, ovSPWLS_ErrorWait = 1, /**< entered only by a model that sets it */
    ovSPWLS_Ready = 2,      ovSPWLS_Started = 3,
    ovSPWLS_Connecting = 4, ovSPWLS_Run = 5} orvy_SpwLinkState;

/** Sets the state of an end that has been reset: ovSPWLS_ErrorReset. */
ORVY_API void orvy_spwLsmInit(orvy_SpwLinkState *State);
/**
 * Applies at most one transition.
 * @param AutoStart       the end starts as soon as the far end has
 * @param LinkStart       the end starts on its own
 * @param LinkDisabled    the end is switched off
 * @param Connected       a far end is attached
 * @param OtherSideState  state of the far end, an orvy_SpwLinkState
 * @return 1 if the state has changed, else 0; a value that is not a state never changes
 */
ORVY_API int orvy_spwLsmUpdate(orvy_SpwLinkState *State, uint8_t AutoStart, uint8_t LinkStart,
                               uint8_t LinkDisabled, uint8_t Connected, int OtherSideState);
/** Name and number of a state, such as "Run(5)", as static text; for any other value a text that
 * begins with "UNKNOWN". */
ORVY_API const char *orvy_spwLinkStateToStr(orvy_SpwLinkState State);

ORVY_END_C

#endif
