#include "protocol/Alarms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "core/Headset.h"
#include "protocol/RecordedMessages.h"

namespace {

using QVT::AlarmMessage;
using QVT::AlarmName;
using QVT::FormatAlarmMessage;
using Codes = std::deque<std::int32_t>;

// Users and tools match on these texts, so the quirks are pinned byte for
// byte (alarm processing pins more); so are the texts of codes outside the
// table, which differ from each other.
TEST(AlarmTable, KeepsQuirkyTextsByteForByte) {
  const QVT::AlarmDescription pinned[] = {
      {514, "PowerDown", "Unit powering down.  Good night"},
      {536, "STDSyncError427", "427 STD sync err, working #%d, packet in #%d, chip #%d "},
      {550, "SDCardLacksConfig", "Velmar Config file not found on the SD Card"},
      {1540, "Slave_PowerDown", "xxx Slave powering down.  Good night"},
      {1564, "Slave_DAQStateChange", "Data Acquisition system state change to state [0x%d]"},
      {512, "UnknownAlarm", "Unknown Alarm Code = %d"},
      {1536, "Slave_UnknownAlarm", "Unknown Alarm Code =[%d]"},
      {564, "UnknownAlarm", "UnknownAlarm"},
  };
  for (const QVT::AlarmDescription& alarm : pinned) {
    EXPECT_STREQ(AlarmName(alarm.code), alarm.name) << alarm.code;
    EXPECT_STREQ(AlarmMessage(alarm.code), alarm.messageTemplate) << alarm.code;
  }
}

// A mistyped code would hide one alarm behind another; the Slave's names
// carry their prefix.
TEST(AlarmTable, CoversBothProcessorsInOrder) {
  std::vector<long> codes, expected;
  for (const QVT::AlarmDescription& alarm : QVT::AlarmTable()) {
    codes.push_back(alarm.code);
    EXPECT_EQ(std::string(alarm.name).starts_with("Slave_"), alarm.code >= 1537) << alarm.name;
  }
  for (long code = 513; code <= 1567; code = code == 563 ? 1537 : code + 1) expected.push_back(code);
  EXPECT_EQ(codes, expected);
}

TEST(AlarmMessageFormatting, StreamStateCarriesOverBetweenConversions) {
  const std::uint8_t p[] = {26, 27, 28, 7};
  // The base is never switched back to decimal.
  EXPECT_EQ(FormatAlarmMessage(AlarmMessage(1542), p, 3, 1),
            "Unable to execute [command= 0x1a],[parameter 0x1b], do to [error code 1c]");
  EXPECT_EQ(FormatAlarmMessage("%d %X %d", p, 3, 1), "26 1B 1C");
  // Width is for the next value only, the fill stays, the last width digit wins.
  EXPECT_EQ(FormatAlarmMessage("[%04d][%d][%53d]", p, 3, 1), "[0026][27][028]");
  // Other characters in a conversion are skipped; '%' ends it; a dangling one writes nothing.
  EXPECT_EQ(FormatAlarmMessage("%ld|% 3d|%q%|50%%|%0", p, 2, 1), "26| 27|%|50%|");
}

constexpr std::uint8_t kMaster = 2;
constexpr std::uint8_t kSlave = 6;

class AlarmProcessing : public RecordingHeadsetTest {
 protected:
  // Alarm number n of a Master is code 512 + n, of a Slave 1536 + n. The bytes
  // past the packet's length are junk that must not be read.
  void Process(std::uint8_t species, std::uint8_t alarm, std::uint8_t descriptor,
               const std::vector<std::uint8_t>& parameters = {}, std::uint8_t length = 0) {
    QVT::AlarmPacketStruct packet;
    std::memset(&packet, 0xEE, sizeof packet);
    packet.header.length = length ? length : static_cast<std::uint8_t>(8 + parameters.size());
    packet.header.species = species;
    packet.alarm = alarm;
    packet.parameterFormat = descriptor;
    if (!parameters.empty()) std::memcpy(packet.parameters, parameters.data(), parameters.size());
    headset.ProcessAlarm(packet, 0.0, 0.0);
  }
  Codes QueuedCodes() const {
    Codes codes;
    for (const QVT::QueuedAlarm& alarm : headset.alarmQueue) codes.push_back(alarm.code);
    return codes;
  }
};

TEST_F(AlarmProcessing, MalformedPacketsChangeNothing) {
  Process(kMaster, 15, 0x82, {1, 2, 3, 4}, 7);
  Process(kMaster, 15, 0x03, {40, 41});   // three u8 parameters announced, two present
  Process(kMaster, 15, 0x82, {1, 2, 3});  // two u16 parameters need four bytes
  EXPECT_EQ(Recorded(), (Messages{{"malformed alarm packet", 2},
                                  {"malformed parameter chunk in BatteryLevel alarm packet", 2},
                                  {"malformed parameter chunk in BatteryLevel alarm packet", 2}}));
  EXPECT_EQ(headset.batteryLevel1, -1.0);
  EXPECT_TRUE(headset.alarmQueue.empty());
}

TEST_F(AlarmProcessing, IssuesTheFormattedTemplateWithTheCode) {
  Process(kMaster, 17, 0);                // 529, every parameter missing
  Process(kMaster, 16, 0x01, {4, 9, 9});  // 528, with extra bytes
  Process(kSlave, 1, 0);                  // 1537
  Process(kMaster, 10, 3, {10, 2, 255});  // 522
  EXPECT_EQ(
      Recorded(),
      (Messages{{"Received alarm type 17 from master (DAQStateChange)", 3},
                {"QVT headset issued alarm: Data Acquisition system state change to [state 0 ][rate=0]", 2},
                {"extraneous bytes follow parameter chunk in ButtonPress alarm packet", 3},
                {"Received alarm type 16 from master (ButtonPress)", 3},
                {"QVT headset issued alarm: Button [4] pressed", 2},
                {"Received alarm type 1 from slave (Slave_SystemStarted)", 3},
                {"QVT headset issued alarm: Slave subsystem started", 3},
                {"Received alarm type 10 from master (CommandError)", 3},
                {"QVT headset issued alarm: Unable to execute command 0x0a with parameter 0x02, due to error "
                 "code 0xff",
                 2}}));
  EXPECT_EQ(QueuedCodes(), (Codes{529, 528, 1537, 522}));
  // Queued as data: the parameters as sent, the text as the message has it.
  const QVT::QueuedAlarm& last = headset.alarmQueue.back();
  EXPECT_EQ(last.parameterCount, 3);
  EXPECT_EQ(last.Parameter(2), 255);
  EXPECT_EQ(last.Parameter(3), 0);
  EXPECT_EQ(last.Text(), "Unable to execute command 0x0a with parameter 0x02, due to error code 0xff");
}

// Levels in u16 parameters, and their time, are followed by the lifecycle tests.
TEST_F(AlarmProcessing, BatteryLevelIsReportedAndStored) {
  Process(kMaster, 15, 0x82, {0x02, 0x01, 0x04, 0x03});
  EXPECT_TRUE(WasIssued(
      "QVT headset issued alarm: Battery voltage: battery 1 = 258%, battery 2 = 772%; counts: 0, 0", 3));

  Process(kMaster, 15, 0x42, {50, 60});  // bit 6 is ignored
  EXPECT_EQ(headset.batteryLevel1, 50.0);
  EXPECT_EQ(headset.batteryLevel2, 60.0);
}

TEST_F(AlarmProcessing, AlarmsAreQueuedWhetherHeardOrNotAndCappedAtAThousand) {
  headset.verbosity = 2;
  Process(kMaster, 36, 0);  // 548, level 2
  Process(kMaster, 1, 0);   // 513, level 3: not heard
  EXPECT_EQ(Recorded(), (Messages{{"QVT headset issued alarm: SD Card not detected", 2}}));
  headset.messageCallback.Set(nullptr);
  Process(kMaster, 36, 0);
  EXPECT_EQ(QueuedCodes(), (Codes{548, 513, 548}));

  for (int i = 0; i < 1000; ++i) Process(kSlave, static_cast<std::uint8_t>(i % 31 + 1), 0);
  ASSERT_EQ(headset.alarmQueue.size(), 1000u);
  EXPECT_EQ(headset.alarmQueue.front().code, 1537);  // the three earlier codes were dropped
}

TEST_F(AlarmProcessing, IgnoredCommandAlarmsLetThePendingCommandBeResent) {
  for (std::uint8_t alarm = 46; alarm <= 49; ++alarm) {  // 558 to 561
    QVT::Command command;
    AwaitReply(command, 12);
    Process(kMaster, alarm, 0x01, {70});
    EXPECT_EQ(headset.pendingCommand.load(), nullptr) << int{alarm};
    EXPECT_FALSE(command.ReplyIsFinal());
  }
  EXPECT_TRUE(WasIssued(
      "QVT headset issued alarm: PC receive buffer has been reset due to packet size error: 70", 3));

  QVT::Command command;
  AwaitReply(command, 13);
  Process(kMaster, 29, 0);
  Process(kMaster, 50, 0);  // 562
  EXPECT_EQ(headset.pendingCommand.load(), &command);
  EXPECT_FALSE(headset.connectionCreated);
  Process(kMaster, 51, 0);  // 563
  EXPECT_TRUE(headset.connectionCreated);
  EXPECT_TRUE(WasIssued("QVT headset issued alarm: BlueTooth connection created", 3));
}

}  // namespace
