// ScriptUnwinding.h - ends all scripts that are running, up to the prompt.

#ifndef ORVY_LIB_SCRIPTUNWINDING_H
#define ORVY_LIB_SCRIPTUNWINDING_H

namespace orvy::cl {

/// Has every script end after the present command, as after ^C. The prompt goes on.
void unwindScripts();

} // namespace orvy::cl

#endif
