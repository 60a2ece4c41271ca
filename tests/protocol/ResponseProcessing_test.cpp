#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "core/Headset.h"
#include "protocol/Codes.h"
#include "protocol/RecordedMessages.h"

namespace {

namespace Family = QVT::CommandFamily;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kMaster = 1;
constexpr std::uint8_t kSlave = 5;

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

class ResponseProcessing : public RecordingHeadsetTest {
 protected:
  // The bytes past the packet's length are junk that must not be read.
  void Process(int code, int id, const Bytes& payload, std::uint8_t junk = 0xEE,
               std::uint8_t species = kMaster, std::uint8_t length = 0) {
    QVT::ResponsePacketStruct packet;
    std::memset(&packet, junk, sizeof packet);
    packet.header.length = length ? length : static_cast<std::uint8_t>(8 + payload.size());
    packet.header.species = species;
    packet.code = static_cast<std::uint8_t>(code);
    packet.commandID = static_cast<std::uint8_t>(id);
    if (!payload.empty()) std::memcpy(packet.payload, payload.data(), payload.size());
    headset.ProcessResponse(packet, 0.0, 0.0);
  }
  bool Pending() const { return headset.pendingCommand.load() != nullptr; }
};

TEST_F(ResponseProcessing, StatusCodesRefuseBeforeAnyFamily) {
  QVT::Command command;
  AwaitReply(command, 7);
  Process(Family::Echo, 7, {}, 0xEE, kMaster, 7);
  EXPECT_EQ(Recorded(), (Messages{{"malformed response packet", 2}}));
  EXPECT_TRUE(Pending());

  // Refusals and what they do to the command are followed through the peer's
  // exchanges; status codes have no family names.
  Process(0x80, 7, {Family::Echo});
  EXPECT_FALSE(Pending());
  EXPECT_TRUE(WasIssued("Received ResponseFromMaster 0x80 (UnknownCommandFamily) in answer to command 7", 3));

  AwaitReply(command, 10);
  Process(0xFF, 11, {});  // answers another command
  EXPECT_TRUE(Pending());
}

// One byte short of a family's minimum payload is malformed and left for a
// resend; the minimum itself is accepted without complaint.
TEST_F(ResponseProcessing, EachFamilyHasItsMinimumPayload) {
  const std::pair<int, std::size_t> minima[] = {
      {Family::FirmwareRevision, 1},     {Family::FirmwareRevisionSub, 4},
      {Family::DeviceIdentification, 1}, {Family::LED, 1},
      {Family::DataAcquisitionMode, 4},  {Family::SerialNumberAndSensorCount, 6},
      {Family::CalibrationMemory, 18},   {Family::RealTimeClock, 13},
      {Family::AnalogResetMode, 2},      {Family::AcquisitionSettings, 10},
      {Family::AccelerometerRate, 2},    {Family::ImpedanceDriverMode, 2}};
  for (const auto& [family, minimum] : minima) {
    const std::string name = QVT::CommandFamilyName(family);
    QVT::Command command;
    AwaitReply(command, 3);
    MessageRecorder::Clear();
    Process(family, 3, Bytes(minimum - 1, 1));
    EXPECT_TRUE(WasIssued("malformed payload in response to " + name + " command 3", 2));
    EXPECT_TRUE(Pending()) << name;
    Process(family, 3, Bytes(minimum, 1));
    EXPECT_FALSE(WasIssued("extraneous bytes follow payload in response to " + name + " command 3", 3));
    EXPECT_TRUE(command.ReplyIsFinal() && !command.ReplyRefused()) << name;
  }
}

TEST_F(ResponseProcessing, StoresWhatTheHeadsetReports) {
  Process(Family::SerialNumberAndSensorCount, 40, {0x78, 0x56, 0x34, 0x12, 0x18, 0x01, 9, 9});
  EXPECT_TRUE(
      WasIssued("extraneous bytes follow payload in response to SerialNumberAndSensorCount command 40", 3));
  EXPECT_EQ(headset.serialNumber, 0x12345678);
  EXPECT_EQ(headset.sensorCount, 0x118);

  Process(Family::FirmwareRevision, 1, {'1', '.', '4', 0, 'z'});
  Process(Family::FirmwareRevision, 2, Text("2.0b"), 'q', kSlave);
  Process(Family::FirmwareRevisionSub, 3, {4, 17, 0xFF, 0xFF});
  Process(Family::FirmwareRevisionSub, 4, {4, 201, 0, 0}, 0xEE, kSlave);
  // The text ends at the first zero, and a text shorter than its field is reported.
  EXPECT_TRUE(
      WasIssued("QVT message overflow - extraneous bytes received in \"\\x31\\x2E\\x34\\x00\\x7A\"", 3));
  EXPECT_EQ(headset.firmwareRevisionMaster, "1.4");
  EXPECT_EQ(headset.firmwareRevisionSlave, "2.0b");
  EXPECT_EQ(headset.firmwareSubRevisionMaster, (std::map<int, int>{{4, 17}}));
  EXPECT_EQ(headset.firmwareSubRevisionSlave, (std::map<int, int>{{4, 201}}));

  Process(Family::AccelerometerRate, 5, {0x2C, 0x01});
  Process(Family::ImpedanceDriverMode, 6, {2, 1});
  Process(Family::AnalogResetMode, 7, {3, 0});
  EXPECT_EQ(headset.accelerometerRate, 300.0);
  for (const QVT::RingBuffer& buffer : headset.accelerometerQueue) EXPECT_EQ(buffer.Capacity(), 300u);
  EXPECT_EQ(headset.impedanceDriverMode, 0x102);
  EXPECT_EQ(headset.analogResetMode, 3);

  // The last word of the identity is the revision; junk behind a one-byte
  // text is not part of it.
  Process(Family::DeviceIdentification, 8, Text("M"), 'x');
  EXPECT_EQ(headset.hardwareModel, "M");
  EXPECT_EQ(headset.hardwareRevision, "");
  Process(Family::DeviceIdentification, 9, Text(" Wireless,\tCap \r\n 2.1"));
  EXPECT_EQ(headset.hardwareModel, "Wireless Cap");
  EXPECT_EQ(headset.hardwareRevision, "2.1");
}

TEST_F(ResponseProcessing, ReportOnlyFamiliesComposeTheirMessages) {
  Process(Family::LED, 30, {3, 0});
  Process(Family::AcquisitionSettings, 31, {0x2C, 0x01, 0x02, 0x00, 0x03, 0x00, 0xEF, 0xBE, 0x0D, 0x00});
  EXPECT_TRUE(WasIssued("Reponse to LED command: \"\\x03\\x00\"", 3));
  EXPECT_TRUE(WasIssued(
      "AcquisitionSettings returned:\n    samplesPerSecond = 300\n          filterMode = 2\n          "
      "recordType = 3\n    channelSelection = 0x000dbeef",
      3));
  EXPECT_EQ(headset.samplingRate, -1.0);
}

// The delay itself, with the filter on at 300 or 600 Hz, is followed by the
// sample-processing tests; here, when it is left out.
TEST_F(ResponseProcessing, TriggerIsNotDelayedAtOtherRatesOrWithTheFilterOff) {
  headset.verbosity = 1;
  Process(Family::DataAcquisitionMode, 2, {0, 1, 0xF4, 0x01});
  EXPECT_EQ(headset.triggerBuffer.Capacity(), 1u);
  Process(Family::DataAcquisitionMode, 3, {2, 0, 0x2C, 0x01});
  EXPECT_EQ(headset.triggerBuffer.Capacity(), 1u);
  EXPECT_EQ(headset.dataAcquisitionMode, 2);
  EXPECT_EQ(headset.samplingRate, 300.0);
  EXPECT_EQ(Recorded(), (Messages{{"WARNING: unrecognized sampling rate 500Hz: trigger channel will NOT be "
                                   "delayed to compensate for signal filtering",
                                   1},
                                  {"headset filter mode is off: trigger channel will NOT be delayed to "
                                   "compensate for signal filtering",
                                   1}}));
}

Bytes CalibrationPage(int page) {
  Bytes payload{static_cast<std::uint8_t>(page), 0x5A};
  for (int i = 0; i < 16; ++i) payload.push_back(static_cast<std::uint8_t>(16 * page + i));
  return payload;
}

// The image is interpreted when the eighth distinct page arrives; a page
// beyond the image is settled and shown as a character.
TEST_F(ResponseProcessing, CalibrationPagesFillTheImage) {
  const auto blank = headset.calibrationImage;
  QVT::Command command;
  AwaitReply(command, 9);
  headset.verbosity = 1;
  Process(Family::CalibrationMemory, 9, CalibrationPage(8));
  Process(Family::CalibrationMemory, 10, CalibrationPage('A'));
  EXPECT_EQ(Recorded(), (Messages{{"Headset returned an unexpected calibration memory page number \b", 1},
                                  {"Headset returned an unexpected calibration memory page number A", 1}}));
  EXPECT_TRUE(command.ReplyIsFinal());
  EXPECT_EQ(headset.calibrationImage, blank);

  for (int page : {3, 0, 3, 7, 1, 6, 2, 5, 5, 7})
    Process(Family::CalibrationMemory, page, CalibrationPage(page));
  EXPECT_EQ(headset.calibrationPagesReceived, (std::set<int>{0, 1, 2, 3, 5, 6, 7}));
  Process(Family::CalibrationMemory, 4, CalibrationPage(4));
  EXPECT_TRUE(headset.calibrationPagesReceived.empty());  // interpretation empties it
}

TEST_F(ResponseProcessing, EchoOfTheGreetingMarksTheHeadsetReady) {
  Process(Family::Echo, 1, Text("QVT Read"), 'y');  // the ninth byte lies behind the packet
  Process(Family::Echo, 2, Text("H"));
  Process(Family::Echo, 3, {});
  EXPECT_FALSE(headset.echoReceived);
  EXPECT_TRUE(WasIssued("extraneous bytes follow payload in response to Echo command 1", 3));
  for (const char* shown : {"\"QVT Read\"", "\"H\"", "\"\""}) EXPECT_TRUE(WasIssued(shown, 2)) << shown;
  QVT::Command command;
  AwaitReply(command, 4);
  Process(Family::Echo, 4, Text("QVT Ready\r\n"));
  EXPECT_TRUE(headset.echoReceived);
  EXPECT_TRUE(command.ReplyIsFinal());
}

TEST_F(ResponseProcessing, UnsupportedCodesAreDumpedAndSettled) {
  QVT::Command command;
  AwaitReply(command, 5);
  Process(Family::SelfTest, 5, {'A', '\n'});
  EXPECT_EQ(Recorded(), (Messages{{"Received ResponseFromMaster 0x91 (SelfTest) in answer to command 5", 3},
                                  {"Command 5 response ignored due to unsupported command code 0x91", 2},
                                  {"Response type 0x91 delivered 2 bytes: \"\\x41\\x0A\" = \"A\\n\"", 3}}));
  EXPECT_TRUE(command.ReplyIsFinal() && !command.ReplyRefused());

  AwaitReply(command, 6);
  Process(0xE8, 6, {});  // between the reserved and the bad-parameter codes
  EXPECT_TRUE(WasIssued("Command 6 response ignored due to unsupported command code 0xE8", 2));
  EXPECT_TRUE(command.ReplyIsFinal() && !command.ReplyRefused());
}

}  // namespace
