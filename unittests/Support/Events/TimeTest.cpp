#include "Testing/LogCapture.h"
#include "Testing/ScriptedCpu.h"

#include "orvy/Support/Orvy.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace orvy::testing;

namespace {

TEST(Time, CyclesToNanosTruncates) {
  const struct {
    int64_t Cycles, Freq, Nanos;
  } Cases[] = {
      {1, 3, 333333333},
      {3, 3, 1000000000},
      {-1, 3, -333333333},
      {50000001, 50000000, 1000000020},
      {18446744072, 18446744073, 999999999}, // the largest frequency whose remainder fits
      {7, 0, 0},                             // no frequency, no time
      {INT64_MAX, 1000, INT64_MAX},          // the end of time
      {INT64_MIN, 1000, INT64_MIN},
  };
  for (const auto &C : Cases)
    EXPECT_EQ(orvy_cyclesToNanos(C.Cycles, C.Freq), C.Nanos) << C.Cycles << " at " << C.Freq;
}

TEST(Time, NanosToCyclesTruncates) {
  const struct {
    int64_t Nanos;
    uint64_t Freq;
    int64_t Cycles;
  } Cases[] = {
      {999999999, 1, 0},
      {1000000000, 1, 1},
      {-999999999, 1, 0},
      {20, 50000000, 1},
      {39, 50000000, 1},
      {3000000000000000000, 1000000000, 3000000000000000000},
      {INT64_MAX, 2000000000, INT64_MAX},
      {INT64_MIN, 2000000000, INT64_MIN},
      {1, UINT64_MAX, 9223372036},
      {1999999999, UINT64_MAX, INT64_MAX},
      {999999999, 1ULL << 62, 4611686013815701885}, // 2^62 less a billionth of it
  };
  for (const auto &C : Cases)
    EXPECT_EQ(orvy_nanosToCycles(C.Nanos, C.Freq), C.Cycles) << C.Nanos << " at " << C.Freq;
}

TEST(Time, SecondsConvertAndStayInRange) {
  constexpr int64_t Max = INT64_MAX, Min = INT64_MIN;
  const struct {
    uint64_t Freq;
    double Secs;
    int64_t Cycles;
  } Cases[] = {
      {1000, 1.5, 1500},
      {1000, -1.5, -1500},
      {1000000000, 1e9, 1000000000000000000},
      {999999937, 1e9 + 0.5, 999999937499999968}, // more than a double has
      {1000000000, 1e10, Max},
      {1000000000, -1e10, Min},
      {1000000000, INFINITY, Max},
  };
  for (const auto &C : Cases)
    EXPECT_EQ(orvy_secsToCycles(C.Freq, C.Secs), C.Cycles) << C.Secs << " at " << C.Freq;
  EXPECT_DOUBLE_EQ(orvy_cyclesToSecs(1500, 1000), 1.5);
  EXPECT_DOUBLE_EQ(orvy_nanosToSecs(1500000000), 1.5);
  EXPECT_EQ(orvy_secsToNanos(1.5), 1500000000);
  EXPECT_EQ(orvy_secsToNanos(1e300), Max);
  EXPECT_EQ(orvy_secsToNanos(-1e300), Min);
  EXPECT_EQ(orvy_secsToNanos(std::nan("")), 0);
}

TEST(Time, WallClocksMove) {
  uint64_t Mono = orvy_timeGetMonotonicWct();
  uint64_t Thread = orvy_timeGetThreadWct();
  while (orvy_timeGetThreadWct() < Thread + 1000000)
    ;
  EXPECT_GE(orvy_timeGetMonotonicWct(), Mono + 1000000);
}

TEST(Time, PresentTimeOfAnObject) {
  LogCapture Log;
  ScriptedCpu *Cpu = ScriptedCpu::make("cpu", 1000);
  Cpu->Cycles = 2500;
  EXPECT_EQ(orvy_getCycles(Cpu), 2500);
  EXPECT_EQ(orvy_getNanos(Cpu), 2500000000);
  EXPECT_DOUBLE_EQ(orvy_getSecs(Cpu), 2.5);
  EXPECT_EQ(orvy_timeGetCurrentSrtNanos(Cpu), 2500000000u);
  Cpu->Freq = 0;
  EXPECT_TRUE(std::isnan(orvy_getSecs(Cpu)));
  EXPECT_EQ(Log.count(""), 0);

  EXPECT_EQ(orvy_getCycles(nullptr), -1);
  EXPECT_EQ(orvy_getNanos(nullptr), -1);
  EXPECT_TRUE(std::isnan(orvy_getSecs(nullptr)));
  EXPECT_EQ(Log.count("unknown object class"), 3);
  EXPECT_EQ(orvy_timeGetCurrentSrtNanos(nullptr), 0u);
  EXPECT_EQ(Log.count("not a cpu or machine, cannot get current time"), 1);
  orvy_objsysClear();
}

} // namespace
