#include "util/Timing.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

double MeasuredSeconds(void (*sleep)(double), double s) {
  const auto start = std::chrono::steady_clock::now();
  sleep(s);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

TEST(Timing, SleepRoundsToTheMillisecondAndIgnoresNegativeDurations) {
  // Lower bounds only: a loaded machine may oversleep, never undersleep.
  EXPECT_LT(MeasuredSeconds(Timing::Sleep, -1.0), 0.0005);
  EXPECT_LT(MeasuredSeconds(Timing::Sleep, 0.0004), 0.0009);
  EXPECT_GE(MeasuredSeconds(Timing::Sleep, 0.0005), 0.001);
  EXPECT_GE(MeasuredSeconds(Timing::SleepSeconds, 0.0203), 0.0203);
}
