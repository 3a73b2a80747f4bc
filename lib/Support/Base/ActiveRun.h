// ActiveRun.h - whether objects are being run or stepped.

#ifndef ORVY_LIB_ACTIVERUN_H
#define ORVY_LIB_ACTIVERUN_H

namespace orvy {

/// Marks a run or a step of a processor, a clock, a machine or a component as long as it lives.
/// Belongs to the simulation thread. Functions that replace all objects must not be called inside one.
class ActiveRun {
public:
  ActiveRun() { ++Count; }
  ~ActiveRun() { --Count; }
  ActiveRun(const ActiveRun &) = delete;
  ActiveRun &operator=(const ActiveRun &) = delete;

  static bool isAny() { return Count > 0; }

private:
  static inline constinit unsigned Count = 0;
};

} // namespace orvy

#endif
