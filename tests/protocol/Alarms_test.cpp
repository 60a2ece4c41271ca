#include "protocol/Alarms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

namespace {

using QVT::AlarmMessage;
using QVT::AlarmName;
using QVT::FormatAlarmMessage;

// Users and tools match on these texts, so the quirks are pinned byte for byte.
TEST(AlarmTable, KeepsQuirkyTextsByteForByte) {
  const QVT::AlarmDescription pinned[] = {
      {514, "PowerDown", "Unit powering down.  Good night"},
      {515, "UnassignedInterrupt", "Unassigned interrupt detected. Interrupt vector [%d] disabled:"},
      {522, "CommandError",
       "Unable to execute command 0x%02x with parameter 0x%02x, due to error code 0x%02x"},
      {530, "SyncLoss427",
       "427 sync loss, Reinitializing  DAQ subsystem (pending seq#%d)(incoming #%d) (chip "
       "#[0..3]%d)(List:0x%x)"},
      {536, "STDSyncError427", "427 STD sync err, working #%d, packet in #%d, chip #%d "},
      {550, "SDCardLacksConfig", "Velmar Config file not found on the SD Card"},
      {563, "ConnectionCreated", "BlueTooth connection created"},
      {1540, "Slave_PowerDown", "xxx Slave powering down.  Good night"},
      {1542, "Slave_CommandError",
       "Unable to execute [command= 0x%x],[parameter 0x%x], do to [error code %d]"},
      {1544, "Slave_ClockFault32kHz", "32KHz Clock Oscillator Fault detected"},
      {1553, "Slave_STDSyncError427", "427: STD sync err, working #%d, packet in #%d, chip #%d "},
      {1564, "Slave_DAQStateChange", "Data Acquisition system state change to state [0x%d]"},
  };
  for (const QVT::AlarmDescription& alarm : pinned) {
    EXPECT_STREQ(AlarmName(alarm.code), alarm.name);
    EXPECT_STREQ(AlarmMessage(alarm.code), alarm.messageTemplate);
  }
}

TEST(AlarmTable, CoversBothProcessorsContiguouslyWithUniqueNames) {
  std::set<long> codes;
  std::set<std::string> names;
  for (const QVT::AlarmDescription& alarm : QVT::AlarmTable()) {
    EXPECT_TRUE(codes.insert(alarm.code).second) << alarm.code;
    EXPECT_TRUE(names.insert(alarm.name).second) << alarm.name;
    EXPECT_EQ(std::string(alarm.name).starts_with("Slave_"), alarm.code >= 1537) << alarm.name;
  }
  std::set<long> expected;
  for (long code = 513; code <= 563; ++code) expected.insert(code);
  for (long code = 1537; code <= 1567; ++code) expected.insert(code);
  EXPECT_EQ(codes, expected);
}

TEST(AlarmTable, UnknownCodesKeepTheirDistinctTexts) {
  EXPECT_STREQ(AlarmName(512), "UnknownAlarm");
  EXPECT_STREQ(AlarmMessage(512), "Unknown Alarm Code = %d");
  EXPECT_STREQ(AlarmName(1536), "Slave_UnknownAlarm");
  EXPECT_STREQ(AlarmMessage(1536), "Unknown Alarm Code =[%d]");
  for (long code : {0L, 564L, 1535L, 1568L}) {
    EXPECT_STREQ(AlarmName(code), "UnknownAlarm") << code;
    EXPECT_STREQ(AlarmMessage(code), "UnknownAlarm") << code;
  }
}

TEST(AlarmMessageFormatting, StreamStateCarriesOverBetweenConversions) {
  const std::uint8_t p[] = {26, 27, 28, 7};
  // Alarm processing pins plain templates; here, the quirks. The base is
  // never switched back to decimal.
  EXPECT_EQ(FormatAlarmMessage(AlarmMessage(1542), p, 3, 1),
            "Unable to execute [command= 0x1a],[parameter 0x1b], do to [error code 1c]");
  EXPECT_EQ(FormatAlarmMessage("%d %X %d", p, 3, 1), "26 1B 1C");
  // Width is for the next value only, the fill stays, the last width digit wins.
  EXPECT_EQ(FormatAlarmMessage("[%04d][%d][%53d]", p, 3, 1), "[0026][27][028]");
  // Other characters in a conversion are skipped; '%' ends it; a dangling one writes nothing.
  EXPECT_EQ(FormatAlarmMessage("%ld|% 3d|%q%|50%%|%0", p, 2, 1), "26| 27|%|50%|");
}

}  // namespace
