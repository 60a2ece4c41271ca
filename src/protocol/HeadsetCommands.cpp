// The headset's named commands, and the composite operations built on them:
// killing the data stream, verifying the link, setting the accelerometer rate.
#include <algorithm>
#include <array>
#include <ctime>
#include <sstream>
#include <string>

#include "core/Headset.h"

namespace QVT {

namespace {

namespace Dest = CommandDestination;
namespace Family = CommandFamily;

constexpr double kReplyTimeout = 0.513;
constexpr double kNoWait = 0.0;
constexpr int kAttempts = 20;
constexpr std::size_t kEchoLimit = 24;
constexpr std::size_t kPageSize = 16;

// Builds a command and sends it with the usual attempts and no write limit.
bool Request(Headset& headset, Dest::Code destination, Family::Code family, const void* payload,
             unsigned long length, double timeout = kReplyTimeout) {
  Command command;
  command.Init(destination, family, payload, length);
  return headset.Send(command, timeout, kAttempts, 0.0);
}

// Most commands carry one little-endian u16.
std::array<std::uint8_t, 2> U16(unsigned value) {
  return {static_cast<std::uint8_t>(value & 0xFF), static_cast<std::uint8_t>((value >> 8) & 0xFF)};
}

bool RequestU16(Headset& headset, Dest::Code destination, Family::Code family, unsigned value,
                double timeout = kReplyTimeout) {
  const auto payload = U16(value);
  return Request(headset, destination, family, payload.data(), payload.size(), timeout);
}

bool RequestBare(Headset& headset, Dest::Code destination, Family::Code family) {
  return Request(headset, destination, family, nullptr, 0);
}

std::string Text(double value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

}  // namespace

bool Headset::QueryDeviceID() { return RequestBare(*this, Dest::Master, Family::DeviceIdentification); }

bool Headset::QuerySerialNumberAndSensorCount() {
  return RequestBare(*this, Dest::Master, Family::SerialNumberAndSensorCount);
}

bool Headset::QueryFirmwareRevisions() {
  bool ok = RequestBare(*this, Dest::Master, Family::FirmwareRevision);
  ok = RequestBare(*this, Dest::Slave, Family::FirmwareRevision) && ok;
  ok = RequestBare(*this, Dest::Master, Family::FirmwareRevisionSub) && ok;
  return RequestBare(*this, Dest::Slave, Family::FirmwareRevisionSub) && ok;
}

bool Headset::QuerySensorInfo() {
  bool ok = true;
  for (int page = 0; page < kCalibrationPages; ++page)
    ok = RequestU16(*this, Dest::Master, Family::CalibrationMemory, static_cast<unsigned>(page)) && ok;
  return ok;
}

bool Headset::WriteCalibrationMemoryPage(unsigned page, const std::uint8_t* data) {
  if (page >= static_cast<unsigned>(kCalibrationPages))
    throw "cannot write to page number " + std::to_string(page) + ": must be in range 0 to " +
        std::to_string(kCalibrationPages);
  std::array<std::uint8_t, 2 + kPageSize> payload{};
  payload[0] = static_cast<std::uint8_t>((page + 0xA0) % 256);
  payload[1] = 0x5A;  // 'Z': unlocks the write
  std::copy(data, data + kPageSize, payload.begin() + 2);
  return Request(*this, Dest::Master, Family::CalibrationMemory, payload.data(), payload.size());
}

bool Headset::WriteCalibrationMemory(unsigned first) {
  bool ok = true;
  for (unsigned page = first; page < static_cast<unsigned>(kCalibrationPages); ++page)
    ok = WriteCalibrationMemoryPage(page, calibrationImage.data() + kPageSize * page) && ok;
  return ok;
}

bool Headset::QueryAcquisitionSettings() {
  return RequestU16(*this, Dest::Master, Family::AcquisitionSettings, 0);
}

bool Headset::ConfigureAcquisitionSettings(unsigned short a, unsigned short b) {
  const auto first = U16(a), second = U16(b);
  const std::array<std::uint8_t, 4> payload{first[0], first[1], second[0], second[1]};
  const double rateBefore = samplingRate;
  const bool sent = Request(*this, Dest::Master, Family::AcquisitionSettings, payload.data(), payload.size());
  // The pacing clock must restart at a new sampling rate.
  if (samplingRate != rateBefore) RebaseBufferingController(samplingRate, true);
  return sent;
}

bool Headset::QueryDataAcquisitionMode() {
  return RequestU16(*this, Dest::Master, Family::DataAcquisitionMode, 0);
}
bool Headset::StopDataAcquisition() {
  return RequestU16(*this, Dest::Master, Family::DataAcquisitionMode, 1);
}
bool Headset::StartDataAcquisition() {
  return RequestU16(*this, Dest::Master, Family::DataAcquisitionMode, 2);
}

bool Headset::StartBatteryMonitor() {
  return RequestU16(*this, Dest::Master, Family::BatteryMonitor, 1, kNoWait);
}

bool Headset::QueryImpedanceDriverMode() {
  return RequestU16(*this, Dest::Slave, Family::ImpedanceDriverMode, 0);
}
bool Headset::StopImpedanceDriver() { return RequestU16(*this, Dest::Slave, Family::ImpedanceDriverMode, 1); }
bool Headset::StartImpedanceDriver() {
  return RequestU16(*this, Dest::Slave, Family::ImpedanceDriverMode, 2);
}

bool Headset::QueryAnalogResetMode() { return RequestU16(*this, Dest::Master, Family::AnalogResetMode, 0); }
bool Headset::ReleaseAnalogReset() { return RequestU16(*this, Dest::Master, Family::AnalogResetMode, 1); }
bool Headset::StartAnalogReset(bool wait) {
  return RequestU16(*this, Dest::Master, Family::AnalogResetMode, 2, wait ? kReplyTimeout : kNoWait);
}
bool Headset::LockAnalogReset() { return RequestU16(*this, Dest::Master, Family::AnalogResetMode, 3); }

bool Headset::ChangeLEDs(unsigned short pattern) {
  return RequestU16(*this, Dest::Master, Family::LED, pattern);
}

bool Headset::QueryAccelerometerRate() { return RequestBare(*this, Dest::Slave, Family::AccelerometerRate); }

void Headset::SetAccelerometerRate(unsigned short rate) {
  Command command;
  const auto payload = U16(rate);
  command.Init(Dest::Slave, Family::AccelerometerRate, payload.data(), payload.size());
  Send(command, kReplyTimeout, kAttempts, 0.0);
  if (command.ReplyRefused()) throw "failed to change accelerometer rate to " + std::to_string(rate);
  double now;
  {
    // The reply may have been processed on the acquisition thread.
    std::lock_guard<OwnedMutex> lock(readLock);
    now = accelerometerRate;
  }
  if (now != rate && WouldIssue(1))
    IssueMessage(
        "failed to change accelerometer rate to " + std::to_string(rate) + ": it is now " + Text(now), 1);
}

bool Headset::ReadClock() { return RequestBare(*this, Dest::Master, Family::RealTimeClock); }

bool Headset::SetClock() {
  const RealTimeClockStruct record = LocalClockRecord(std::time(nullptr));
  return Request(*this, Dest::Master, Family::RealTimeClock, &record, sizeof record);
}

bool Headset::Shutdown() { return RequestU16(*this, Dest::Master, Family::Shutdown, 1, kNoWait); }
bool Headset::SelfTest() { return RequestU16(*this, Dest::Master, Family::SelfTest, 0, kNoWait); }

bool Headset::Echo(const std::string& text, double timeout, int attempts) {
  Command command;
  command.Init(Dest::Master, Family::Echo, text.data(), std::min(text.size(), kEchoLimit));
  return Send(command, timeout < 0.0 ? kReplyTimeout : timeout, attempts < 0 ? kAttempts : attempts, 0.0);
}

void Headset::KillDataStream(bool wait) {
  Command command;
  const auto payload = U16(1);
  command.Init(Dest::Master, Family::DataAcquisitionMode, payload.data(), payload.size());
  const double start = serial.Elapsed();
  while (serial.Elapsed() < start + 10.0) {
    if (Send(command, wait ? kReplyTimeout : kNoWait, kAttempts, 0.0)) break;
    if (WouldIssue(2)) IssueMessage("Kill failed. Trying again...", 2);
  }
  {
    std::lock_guard<OwnedMutex> lock(readLock);
    resynchronizationNeeded = false;
    expectedBlockNumber = -1;
    expectedSequenceNumber = -1;
  }
  if (wait) FlushData(5.0);
}

bool Headset::VerifyConnection() {
  if (!serial.IsOpen() && serial.SimulatedInput() == nullptr) return false;
  Command command;
  command.Init(Dest::Master, Family::Echo, "Hi", 2);
  try {
    Send(command, 2.0, 1, 3.0);
    MarkLinkAnswering();
    return true;
  } catch (...) {
    if (MarkLinkLost() && WouldIssue(1)) IssueMessage("QVT link lost: VerifyConnection echo failed", 1);
    return false;
  }
}

}  // namespace QVT
