/* Export.h - what the flat headers share: export, C linkage, 32-bit enumerations, format checks. */

#ifndef ORVY_SUPPORT_EXPORT_H
#define ORVY_SUPPORT_EXPORT_H

#include <stddef.h>
#include <stdint.h>

/** Marks what leaves the shared library or a plug-in; everything else is hidden. In a class it marks
 * the members that others call. A class with virtual functions that others derive from, build inline
 * or cast to is marked as a whole: its table and its type information cannot leave in another way. */
#define ORVY_API __attribute__((visibility("default")))
/** Keeps a member inside the library although its class leaves as a whole. */
#define ORVY_LOCAL __attribute__((visibility("hidden")))

#ifdef __cplusplus
#define ORVY_BEGIN_C extern "C" {
#define ORVY_END_C }
/** Heads an enumeration that crosses the plug-in boundary as 32 bits. */
#define ORVY_ENUM(Name) enum Name : uint32_t
#define ORVY_STATIC_ASSERT static_assert
#define ORVY_NORETURN [[noreturn]]
#else
#define ORVY_BEGIN_C
#define ORVY_END_C
#define ORVY_ENUM(Name) enum Name
#define ORVY_STATIC_ASSERT _Static_assert
#define ORVY_NORETURN _Noreturn
#endif

/** Lets the compiler check a printf-style format; both positions count from 1. */
#define ORVY_PRINTF(FormatIndex, FirstArg) __attribute__((format(printf, FormatIndex, FirstArg)))

#endif
