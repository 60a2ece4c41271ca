// Interpreting the headset's answers to commands: what it reports is copied
// into the headset's state and the pending command is settled.
#include <cstring>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "core/Headset.h"
#include "protocol/Codes.h"
#include "util/Text.h"

namespace QVT {
namespace {

constexpr std::size_t kResponseHeaderLength = 8;

// The payload each family's answer must carry at least, and beyond which the
// rest is reported as extraneous (still interpreted).
struct ResponseLayout {
  int family;
  std::size_t minimum;
  std::size_t nominal;
};

constexpr ResponseLayout kResponseLayouts[] = {
    {CommandFamily::FirmwareRevision, 1, 1},
    {CommandFamily::FirmwareRevisionSub, 4, 4},
    {CommandFamily::DeviceIdentification, 1, 1},
    {CommandFamily::LED, 1, 1},
    {CommandFamily::DataAcquisitionMode, 4, 4},
    {CommandFamily::SerialNumberAndSensorCount, 6, 6},
    {CommandFamily::CalibrationMemory, 18, 18},
    {CommandFamily::RealTimeClock, 13, 13},
    {CommandFamily::AnalogResetMode, 2, 2},
    {CommandFamily::AcquisitionSettings, 10, 10},
    {CommandFamily::AccelerometerRate, 2, 2},
    {CommandFamily::ImpedanceDriverMode, 2, 2},
    // An echo may be empty, but a nominal echo is one byte: every longer one
    // is reported as extraneous.
    {CommandFamily::Echo, 0, 1},
};

const ResponseLayout* FindLayout(int code) {
  for (const ResponseLayout& layout : kResponseLayouts)
    if (layout.family == code) return &layout;
  return nullptr;
}

constexpr char kIdentitySeparators[] = " \t\r\n,";
constexpr char kEchoGreeting[] = "QVT Ready";
constexpr std::size_t kEchoGreetingLength = sizeof kEchoGreeting - 1;

// Trigger values leave the delay line this many samples after they entered,
// in step with the headset's filtered EEG at 300 and 600 samples per second.
constexpr int kTriggerDelay = 16;

RealTimeClockStruct ClockRecordAt(const std::uint8_t* bytes) {
  RealTimeClockStruct record;
  std::memcpy(&record, bytes, sizeof record);
  return record;
}

}  // namespace

void Headset::ProcessResponse(ResponsePacketStruct& packet, double /*blockTime*/, double /*packetTime*/) {
  const std::size_t length = packet.header.length;
  if (length < kResponseHeaderLength) {  // 7 bytes or fewer
    if (WouldIssue(2)) IssueMessage("malformed response packet", 2);
    return;
  }
  const int code = packet.code;
  const int id = packet.commandID;
  const std::string idText = std::to_string(id);
  const std::string hexCode = HexString(code, 2, true);
  const std::uint8_t* const payload = packet.payload;
  const std::size_t payloadLength = length - kResponseHeaderLength;
  const bool fromSlave = packet.header.species == PacketSpecies::ResponseFromSlave;

  if (WouldIssue(3))
    IssueMessage(std::string("Received ") + PacketSpeciesName(packet.header.species) + " 0x" + hexCode +
                     " (" + CommandFamilyName(code) + ") in answer to command " + idText,
                 3);

  if (code == ResponseStatus::WrongMode) {
    ForgetPending(id, false, true);
    if (WouldIssue(3)) IssueMessage("command " + idText + " rejected: headset is in wrong mode", 3);
    return;
  }
  if (ResponseStatus::IsReserved(code)) {
    ForgetPending(id, false, true);
    if (WouldIssue(3))
      IssueMessage("command " + idText + " rejected: headset responded with reserved code 0x" + hexCode, 3);
    return;
  }
  if (ResponseStatus::IsBadParameter(code)) {
    ForgetPending(id, true, true);
    if (WouldIssue(3))
      IssueMessage("command " + idText + " rejected: parameter[" +
                       std::to_string(ResponseStatus::BadParameterIndex(code)) + "] is bad",
                   3);
    return;
  }

  const ResponseLayout* layout = FindLayout(code);
  if (layout == nullptr) {
    if (WouldIssue(2))
      IssueMessage("Command " + idText + " response ignored due to unsupported command code 0x" + hexCode, 2);
    if (WouldIssue(3))
      IssueMessage("Response type 0x" + hexCode + " delivered " + std::to_string(payloadLength) +
                       " bytes: " + PythonString(payload, payloadLength, true) + " = " +
                       PythonString(payload, payloadLength, false),
                   3);
    ForgetPending(id, true, false);
    return;
  }

  const std::string familyName = CommandFamilyName(code);
  if (payloadLength < layout->minimum) {
    // Left pending: the sender resends.
    if (WouldIssue(2))
      IssueMessage("malformed payload in response to " + familyName + " command " + idText, 2);
    return;
  }
  if (payloadLength > layout->nominal && WouldIssue(3))
    IssueMessage("extraneous bytes follow payload in response to " + familyName + " command " + idText, 3);

  switch (code) {
    case CommandFamily::FirmwareRevision: {
      std::string revision = NullTerminatedString(payload, payloadLength);
      std::lock_guard<std::mutex> lock(reportLock);
      (fromSlave ? firmwareRevisionSlave : firmwareRevisionMaster) = std::move(revision);
      break;
    }

    case CommandFamily::FirmwareRevisionSub: {
      std::lock_guard<std::mutex> lock(reportLock);
      (fromSlave ? firmwareSubRevisionSlave : firmwareSubRevisionMaster)[payload[0]] = payload[1];
      break;
    }

    case CommandFamily::DeviceIdentification: {
      const std::string identity(reinterpret_cast<const char*>(payload), payloadLength);
      std::vector<std::string> words = Split(identity, kIdentitySeparators);
      std::string revision;
      if (words.size() >= 2) {
        revision = words.back();
        words.pop_back();
      }
      std::string model = Join(" ", words);
      std::lock_guard<std::mutex> lock(reportLock);
      hardwareRevision = std::move(revision);
      hardwareModel = std::move(model);
      break;
    }

    case CommandFamily::LED:
      if (WouldIssue(3))
        IssueMessage("Reponse to LED command: " + PythonString(payload, payloadLength, true), 3);
      break;

    case CommandFamily::DataAcquisitionMode:
      SetDataAcquisitionMode(payload[0]);
      filterMode = payload[1];
      samplingRate = ReadU16LE(payload + 2);
      if (filterMode == 0) {
        if (WouldIssue(1))
          IssueMessage(
              "headset filter mode is off: trigger channel will NOT be delayed to compensate for signal "
              "filtering",
              1);
        triggerBuffer.Allocate(1);
      } else if (samplingRate == 300.0 || samplingRate == 600.0) {
        triggerBuffer.Allocate(kTriggerDelay + 1);
        for (int i = 0; i < kTriggerDelay; ++i) triggerBuffer.Write(0.0);
      } else {
        if (WouldIssue(1)) {
          std::ostringstream text;
          text << "WARNING: unrecognized sampling rate " << samplingRate
               << "Hz: trigger channel will NOT be delayed to compensate for signal filtering";
          IssueMessage(text.str(), 1);
        }
        triggerBuffer.Allocate(1);
      }
      break;

    case CommandFamily::SerialNumberAndSensorCount:
      serialNumber = static_cast<std::int32_t>(ReadU32LE(payload));
      sensorCount = ReadU16LE(payload + 4);
      break;

    case CommandFamily::CalibrationMemory: {
      const int page = payload[0];
      if (page >= kCalibrationPages) {
        // The page byte is shown as a character, not as a number.
        if (WouldIssue(1))
          IssueMessage("Headset returned an unexpected calibration memory page number " +
                           std::string(1, static_cast<char>(page)),
                       1);
        break;
      }
      std::memcpy(calibrationImage.data() + 16 * page, payload + 2, 16);
      calibrationPagesReceived.insert(page);
      if (calibrationPagesReceived.size() == static_cast<std::size_t>(kCalibrationPages))
        InterpretCalibrationMemory(nullptr);
      break;
    }

    case CommandFamily::RealTimeClock: {
      const RealTimeClockStruct queried = ClockRecordAt(payload);
      const RealTimeClockStruct set = ClockRecordAt(payload + 7);
      Clock clockQueried, clockSet;
      clockQueried.Set(&queried);
      clockSet.Set(&set);
      std::lock_guard<std::mutex> lock(reportLock);
      headsetClockQueried = clockQueried;
      headsetClockSet = clockSet;
      break;
    }

    case CommandFamily::AnalogResetMode:
      analogResetMode = ReadU16LE(payload);
      break;

    case CommandFamily::AcquisitionSettings:
      if (WouldIssue(3))
        IssueMessage(
            "AcquisitionSettings returned:\n    samplesPerSecond = " + std::to_string(ReadU16LE(payload)) +
                "\n          filterMode = " + std::to_string(ReadU16LE(payload + 2)) +
                "\n          recordType = " + std::to_string(ReadU16LE(payload + 4)) +
                "\n    channelSelection = 0x" + HexString(static_cast<int>(ReadU32LE(payload + 6)), 8),
            3);
      break;

    case CommandFamily::AccelerometerRate: {
      const std::uint16_t rate = ReadU16LE(payload);
      accelerometerRate = rate;
      for (RingBuffer& buffer : accelerometerQueue) buffer.Allocate(rate);
      break;
    }

    case CommandFamily::ImpedanceDriverMode:
      impedanceDriverMode = ReadU16LE(payload);
      break;

    case CommandFamily::Echo:
      // Exactly the greeting's 9 bytes are compared: longer echoes that begin
      // with it count too.
      if (payloadLength >= kEchoGreetingLength &&
          std::memcmp(payload, kEchoGreeting, kEchoGreetingLength) == 0)
        echoReceived = true;
      if (WouldIssue(2)) IssueMessage(PythonString(payload, payloadLength, false), 2);
      break;
  }
  ForgetPending(id, true, false);
}

}  // namespace QVT
