/* Output.h - printf into the two global text streams, and what has been reported as an error.
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

/* The reason of a failure. A program that calls a function that may fail takes a mark first, and
 * asks for the text since that mark if the call has failed:
 *
 *     uint64_t Mark = orvy_errorMark();
 *     if (orvy_execCommand(Text) != 0)
 *       orvy_errorsSince(Mark, Reason, sizeof Reason);
 *
 * Any thread may call these; the text is that of all threads. */

/** A mark at the present end of all that has been written to the error stream or logged as an
 * error. Any thread. */
ORVY_API uint64_t orvy_errorMark(void);

/**
 * Copies what has been written to the error stream, or has passed the log at the levels error and
 * fatal, since a mark. Text of the error stream is copied as it is, colours included; a logged
 * message has the name of its source and a line end. Only the last 16 KiB are kept. Any thread.
 * @param Mark    result of orvy_errorMark; 0 for all that is kept
 * @param Buffer  takes the text and a NUL; with null nothing is copied
 * @param Size    of the buffer in bytes; of a longer text the end is copied
 * @return the length of what was copied, without the NUL
 */
ORVY_API size_t orvy_errorsSince(uint64_t Mark, char *Buffer, size_t Size);

ORVY_END_C

#endif
