/* Output.h - printf into the two global text streams.
 *
 * The streams take no lock: calls from several threads may interleave their text. */

#ifndef ORVY_SUPPORT_OUTPUT_H
#define ORVY_SUPPORT_OUTPUT_H

#include "orvy/Support/Export.h"

ORVY_BEGIN_C

/**
 * Writes formatted text to the standard output stream, cut at 1023 characters.
 * @return the full length of the text, as vsnprintf reports it; negative if the format fails
 */
ORVY_API int orvy_printf(const char *Fmt, ...) ORVY_PRINTF(1, 2);

/**
 * Writes formatted text to the standard error stream, cut at 1023 characters.
 * @return the full length of the text, as vsnprintf reports it; negative if the format fails
 */
ORVY_API int orvy_printerr(const char *Fmt, ...) ORVY_PRINTF(1, 2);

ORVY_END_C

#endif
