// BreakMaking.h - break and watch points from what a user has asked for.

#ifndef ORVY_LIB_BREAKMAKING_H
#define ORVY_LIB_BREAKMAKING_H

#include "Debugger/BreakTable.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace orvy::debugger {

struct BreakRequest {
  std::string What;      ///< place in the code, or what is watched
  std::string Condition; ///< empty without
  std::string OnlyCpu;   ///< name of the only processor that counts; empty for all
  bool IsOnce = false;
  uint64_t Ignore = 0;
  std::optional<uint64_t> Length; ///< bytes of a watched address
};

// Both make one that is not in the table yet. They throw EvaluationError for what cannot be found.

/// A break point at a place; at the present one if none is asked for.
std::unique_ptr<UserBreak> makeBreak(const BreakRequest &Asked, Stopped &In);
/// A watch point. One for writes or changes of what is not in memory becomes a polled one.
std::unique_ptr<UserBreak> makeWatch(const BreakRequest &Asked, BreakKind Kind, Stopped &In);

/// Gives a break point a condition; none with an empty text. Throws EvaluationError for a text that
/// is not an expression, and then the former one stays.
void setCondition(UserBreak &Of, const std::string &Text);

} // namespace orvy::debugger

#endif
