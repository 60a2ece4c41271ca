// The texts a headset gives about itself, and its queue of alarm codes.
#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>

#include "core/Headset.h"

namespace QVT {

namespace {

// Every key, quotes included, is padded on the left to the width of the
// longest one, 'CalibrationLayoutVersion', so that the separators line up.
constexpr std::size_t kKeyWidth = 26;

std::string SubRevisions(const std::map<int, int>& table) {
  std::string text;
  for (const auto& [key, value] : table) {
    if (!text.empty()) text += ",";
    text += std::to_string(key) + ":" + std::to_string(value);
  }
  return text;
}

class InfoWriter {
 public:
  InfoWriter() { out_ << "{\n"; }

  template <typename Value>
  void Bare(const std::string& key, const Value& value) {
    const std::string quoted = "'" + key + "'";
    if (quoted.size() < kKeyWidth) out_ << std::string(kKeyWidth - quoted.size(), ' ');
    out_ << quoted << " : " << value << ",\n";
  }
  void Quoted(const std::string& key, const std::string& value) { Bare(key, "'" + value + "'"); }

  std::string Finish() {
    out_ << "}";
    return out_.str();
  }

 private:
  std::ostringstream out_;
};

}  // namespace

std::string Headset::RelativeTimeStamp(double t) const {
  if (t < 0.0) t = serial.Elapsed();
  if (t < 0.0) return "---";
  char text[64];
  std::snprintf(text, sizeof text, "%6.3f", t);
  return text;
}

std::string Headset::BatteryLevel() const {
  std::ostringstream out;
  out << "[ " << BatteryReading(1) << ", " << BatteryReading(2) << " ]";
  return out.str();
}

double Headset::BatteryReading(int which) const {
  std::lock_guard<std::mutex> lock(reportLock);
  return which == 1 ? batteryLevel1 : which == 2 ? batteryLevel2 : 0.0;
}

std::string Headset::HardwareModel() const {
  std::lock_guard<std::mutex> lock(reportLock);
  return hardwareModel;
}

std::string Headset::HardwareRevision() const {
  std::lock_guard<std::mutex> lock(reportLock);
  return hardwareRevision;
}

std::string Headset::FirmwareRevision() const {
  std::lock_guard<std::mutex> lock(reportLock);
  return firmwareRevisionMaster + " (" + SubRevisions(firmwareSubRevisionMaster) + ") + " +
         firmwareRevisionSlave + " (" + SubRevisions(firmwareSubRevisionSlave) + ")";
}

std::string Headset::InfoString() const {
  // The clock texts are made from copies, so that the report lock is not held
  // while the C library looks up the time zone.
  Clock clockSet, clockQueried, clockBattery;
  {
    std::lock_guard<std::mutex> lock(reportLock);
    clockSet = computerClock;
    clockQueried = headsetClockQueried;
    clockBattery = batteryClock;
  }
  InfoWriter info;
  info.Quoted("HardwareModel", HardwareModel());
  info.Quoted("HardwareRevision", HardwareRevision());
  info.Bare("SerialNumber", static_cast<std::uint32_t>(serialNumber));
  info.Bare("SensorCount", static_cast<std::uint32_t>(sensorCount));
  info.Quoted("FirmwareRevision", FirmwareRevision());
  info.Bare("CalibrationLayoutVersion", calibrationLayoutVersion);
  info.Quoted("AllSourceNames", SourceNames(535));
  info.Quoted("ConnectedSourceNames", SourceNames(19));
  info.Quoted("FactoryReference", FactoryReferenceDescription());
  info.Quoted("ChosenDefaultReference", ReferenceDescription());
  info.Quoted("Montage", MontageString(true));
  info.Bare("SamplingRate", samplingRate.load());
  info.Bare("AccelerometerRate", accelerometerRate.load());
  info.Bare("BatteryLevel", BatteryLevel());
  info.Quoted("TimeOnboardClockSet", clockSet.String(0.0, 0));
  info.Quoted("TimeOnboardClockQueried", clockQueried.String(0.0, 0));
  info.Quoted("TimeBatteryMeasured", clockBattery.String(0.0, 0));
  info.Bare("FilterMode", filterMode.load());
  info.Bare("DataAcquisitionMode", dataAcquisitionMode.load());
  info.Bare("ImpedanceDriverMode", impedanceDriverMode.load());
  info.Bare("AnalogResetMode", analogResetMode.load());
  return info.Finish();
}

// Any thread that reads blocks may be queueing alarms; the queue's own lock
// is held only around the queue itself.
int Headset::GetAlarm(bool remove) {
  QueuedAlarm alarm;
  return TakeAlarm(alarm, remove) ? alarm.code : 0;
}

bool Headset::TakeAlarm(QueuedAlarm& alarm, bool remove) {
  std::lock_guard<std::mutex> lock(alarmLock);
  if (alarmQueue.empty()) return false;
  alarm = alarmQueue.front();
  if (remove) alarmQueue.pop_front();
  return true;
}

std::size_t Headset::NumberOfAlarms() {
  std::lock_guard<std::mutex> lock(alarmLock);
  return alarmQueue.size();
}

void Headset::ClearAlarms() {
  std::lock_guard<std::mutex> lock(alarmLock);
  alarmQueue.clear();
}

}  // namespace QVT
