#include "util/Clock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

using QVT::Clock;
using QVT::RealTimeClockStruct;

namespace {

// Calendar arithmetic is checked in a zone without daylight saving, so the
// expectations hold on any machine.
class ClockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* zone = std::getenv("TZ");
    savedZone_ = zone ? zone : "";
    hadZone_ = zone != nullptr;
    setenv("TZ", "UTC", 1);
    tzset();
  }
  void TearDown() override {
    if (hadZone_)
      setenv("TZ", savedZone_.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }

 private:
  std::string savedZone_;
  bool hadZone_ = false;
};

Clock LeapDayLastSecond() {
  const RealTimeClockStruct record{2, 29, 24, 23, 59, 59};
  Clock clock;
  clock.Set(&record);
  return clock;
}

}  // namespace

TEST_F(ClockTest, UnsetClockAndNegativeOffsetsGiveNoText) {
  Clock clock;
  long seconds = 5;
  double fraction = 0.5;
  EXPECT_EQ(clock.String(1.0, 3), "");
  EXPECT_FALSE(clock.TediousArithmetic(1.0, seconds, fraction));
  EXPECT_EQ(seconds, 5);
  EXPECT_EQ(LeapDayLastSecond().String(-0.5, 3), "");
}

TEST_F(ClockTest, CarriesAcrossTheLeapDayIntoMarch) {
  const Clock clock = LeapDayLastSecond();
  EXPECT_EQ(clock.String(0.0, 0), "2024-02-29 23:59:59");
  EXPECT_EQ(clock.String(1.0, 0), "2024-03-01 00:00:00");
  EXPECT_EQ(clock.String(0.25, 3), "2024-02-29 23:59:59.250");
  // A fraction that rounds up shows .000 without carrying into the seconds.
  EXPECT_EQ(clock.String(0.9996, 3), "2024-02-29 23:59:59.000");
}

TEST_F(ClockTest, NegativeOffsetsBorrowWholeSeconds) {
  const Clock clock = LeapDayLastSecond();
  long base = 0;
  double fraction = 1.0;
  ASSERT_TRUE(clock.TediousArithmetic(0.0, base, fraction));
  EXPECT_EQ(fraction, 0.0);
  long seconds = 0;
  ASSERT_TRUE(clock.TediousArithmetic(-1.5, seconds, fraction));
  EXPECT_EQ(seconds, base - 2);
  EXPECT_DOUBLE_EQ(fraction, 0.5);
}

TEST_F(ClockTest, TheComputerClockSplitsIntoSecondsAndFraction) {
  Clock clock;
  long seconds = 0;
  double fraction = -1.0;
  clock.AskTheComputer(seconds, fraction);
  EXPECT_NEAR(static_cast<double>(seconds), static_cast<double>(std::time(nullptr)), 2.0);
  EXPECT_GE(fraction, 0.0);
  EXPECT_LT(fraction, 1.0);
}
