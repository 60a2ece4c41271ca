// Exported functions whose answers depend on state a headset only reaches
// by talking to real hardware, set here directly.
#include <gtest/gtest.h>

#include <string>

#include "core/Headset.h"
#include "headset/HeadsetWire.h"
#include "qvt/qvt.h"

namespace {

QVT::QueuedAlarm Alarm(int code) {
  QVT::QueuedAlarm alarm;
  alarm.code = code;
  return alarm;
}

}  // namespace

TEST(HeadsetAlarmFunctions, GetAlarmPeeksUnlessToldToRemove) {
  QVT::Headset headset("deferred");
  headset.alarmQueue = {Alarm(17), Alarm(42)};
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 0), 17);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 0), 17);
  EXPECT_EQ(QVT_Headset_GetNumberOfAlarms(&headset), 2u);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 1), 17);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 1), 42);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 1), 0);
  headset.alarmQueue = {Alarm(5), Alarm(6)};
  QVT_Headset_ClearAlarms(&headset);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 0), 0);
}

// Whatever the verbosity, the alarm is there as data, and it is the queue's
// oldest entry for both ways of reading it.
TEST(HeadsetAlarmFunctions, AlarmRecordsCarryCodeParametersNameTextAndTime) {
  using namespace QVT::testing;
  QVT::Headset headset("deferred");
  headset.messageCallback.Set(nullptr);
  headset.SimulateInput();
  const std::string block = EncodeBlock(
      0, 0, WireClock{}, EncodeAlarm(2, 15, 0x82, U16LE(80) + U16LE(81)) + EncodeAlarm(6, 1, 0, ""));
  headset.FeedFakeData(block.data(), block.size());
  headset.Idle(0.0);
  const double now = headset.serial.Elapsed();

  QVT_AlarmRecord record;
  ASSERT_EQ(QVT_Headset_GetAlarmRecord(&headset, &record, 0), 1);
  EXPECT_EQ(record.code, 527);
  EXPECT_EQ(record.parameterCount, 2);
  EXPECT_EQ(record.parameters[0], 80);
  EXPECT_EQ(record.parameters[1], 81);
  EXPECT_STREQ(record.name, "BatteryLevel");
  EXPECT_STREQ(record.text, "Battery voltage: battery 1 = 80%, battery 2 = 81%; counts: 0, 0");
  EXPECT_GE(record.time, 0.0);
  EXPECT_LE(record.time, now);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 1), 527);

  ASSERT_EQ(QVT_Headset_GetAlarmRecord(&headset, &record, 1), 1);
  EXPECT_EQ(record.code, 1537);
  EXPECT_EQ(record.parameterCount, 0);
  EXPECT_STREQ(record.name, "Slave_SystemStarted");
  EXPECT_STREQ(record.text, "Slave subsystem started");
  QVT_ClearError();
  EXPECT_EQ(QVT_Headset_GetAlarmRecord(&headset, &record, 1), 0);
  EXPECT_EQ(QVT_Error(), nullptr);  // an empty queue is no failure
}

TEST(SourceFunctions, FactoryReferenceMeansExactlyZeroGainAndCommonModeMeansCodeCM) {
  QVT::Source reference(QVT::SourceID::Pz, "Pz", 0, 0.0, 0.0);
  QVT::Source tiny(QVT::SourceID::Fz, "Fz", 0, 1e-300, 0.0);
  QVT::Source common(QVT::SourceID::CM, "CM", 0, 1.0, 0.0);
  EXPECT_EQ(QVT_Source_IsFactoryReference(&reference), 1);
  EXPECT_EQ(QVT_Source_IsFactoryReference(&tiny), 0);
  EXPECT_EQ(QVT_Source_IsCommonModeSignal(&common), 1);
  EXPECT_EQ(QVT_Source_IsCommonModeSignal(&reference), 0);
}
