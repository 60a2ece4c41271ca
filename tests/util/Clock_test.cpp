#include "util/Clock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

using QVT::Clock;

namespace {

// Calendar arithmetic is checked in a zone without daylight saving, so the
// expectations hold on any machine.
Clock LeapDayLastSecond() {
  setenv("TZ", "UTC", 1);
  tzset();
  const QVT::RealTimeClockStruct record{2, 29, 24, 23, 59, 59};
  Clock clock;
  clock.Set(&record);
  return clock;
}

}  // namespace

TEST(Clock, OffsetsCarryAndBorrowWholeSecondsButTextNeverCarriesTheFraction) {
  const Clock clock = LeapDayLastSecond();
  EXPECT_EQ(clock.String(0.0, 0), "2024-02-29 23:59:59");
  EXPECT_EQ(clock.String(1.0, 0), "2024-03-01 00:00:00");
  EXPECT_EQ(clock.String(0.25, 3), "2024-02-29 23:59:59.250");
  EXPECT_EQ(clock.String(0.9996, 3), "2024-02-29 23:59:59.000");
  EXPECT_EQ(clock.String(-0.5, 3), "");
  EXPECT_EQ(Clock().String(1.0, 3), "");

  long seconds = 5;
  double fraction = 0.5;
  EXPECT_FALSE(Clock().TediousArithmetic(1.0, seconds, fraction));
  EXPECT_EQ(seconds, 5);
  long base = 0;
  ASSERT_TRUE(clock.TediousArithmetic(0.0, base, fraction));
  EXPECT_EQ(fraction, 0.0);
  ASSERT_TRUE(clock.TediousArithmetic(-1.5, seconds, fraction));  // borrows whole seconds
  EXPECT_EQ(seconds, base - 2);
  EXPECT_DOUBLE_EQ(fraction, 0.5);

  clock.AskTheComputer(seconds, fraction);
  EXPECT_NEAR(static_cast<double>(seconds), static_cast<double>(std::time(nullptr)), 2.0);
  EXPECT_GE(fraction, 0.0);
  EXPECT_LT(fraction, 1.0);
}
