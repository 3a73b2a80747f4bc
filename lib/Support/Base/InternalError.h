// InternalError.h - the end of a run whose caller broke a stated precondition.
//
// Never for what a user, a file or the network can cause. The checks stay on in every build.

#ifndef ORVY_LIB_INTERNALERROR_H
#define ORVY_LIB_INTERNALERROR_H

namespace orvy {

/// Writes "internal error: file:line: what" on the process's standard error and aborts.
[[noreturn]] void internalError(const char *File, int Line, const char *What);
/// The same for a function that was called with a null function.
[[noreturn]] void nullFunction(const char *File, int Line, const char *Caller);

} // namespace orvy

/// Ends the process unless a precondition holds.
#define ORVY_REQUIRE(Condition)                                                                    \
  (__builtin_expect(static_cast<bool>(Condition), 1)                                               \
       ? static_cast<void>(0)                                                                      \
       : ::orvy::internalError(__FILE__, __LINE__, #Condition))

/// Ends the process unless there is a function to be called, where a caller hands one over.
#define ORVY_REQUIRE_FUNCTION(Func)                                                                \
  (__builtin_expect((Func) != nullptr, 1) ? static_cast<void>(0)                                   \
                                          : ::orvy::nullFunction(__FILE__, __LINE__, __func__))

/// Ends the process at a place that is reached only by a fault in the caller.
#define ORVY_INTERNAL_ERROR(What) ::orvy::internalError(__FILE__, __LINE__, What)

#endif
