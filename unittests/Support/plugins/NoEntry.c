/* A library that is no plug-in. */

#include "orvy/Support/Export.h"

ORVY_API int orvy_notAPlugin(void);

int orvy_notAPlugin(void) {
  return 1;
}
