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
  out << "[ " << batteryLevel1 << ", " << batteryLevel2 << " ]";
  return out.str();
}

std::string Headset::FirmwareRevision() const {
  return firmwareRevisionMaster + " (" + SubRevisions(firmwareSubRevisionMaster) + ") + " +
         firmwareRevisionSlave + " (" + SubRevisions(firmwareSubRevisionSlave) + ")";
}

std::string Headset::InfoString() const {
  InfoWriter info;
  info.Quoted("HardwareModel", hardwareModel);
  info.Quoted("HardwareRevision", hardwareRevision);
  info.Bare("SerialNumber", static_cast<std::uint32_t>(serialNumber));
  info.Bare("SensorCount", static_cast<std::uint32_t>(sensorCount));
  info.Quoted("FirmwareRevision", FirmwareRevision());
  info.Bare("CalibrationLayoutVersion", calibrationLayoutVersion);
  info.Quoted("AllSourceNames", SourceNames(535));
  info.Quoted("ConnectedSourceNames", SourceNames(19));
  info.Quoted("FactoryReference", FactoryReferenceDescription());
  info.Quoted("ChosenDefaultReference", ReferenceDescription());
  info.Quoted("Montage", MontageString(true));
  info.Bare("SamplingRate", samplingRate);
  info.Bare("AccelerometerRate", accelerometerRate);
  info.Bare("BatteryLevel", BatteryLevel());
  info.Quoted("TimeOnboardClockSet", computerClock.String(0.0, 0));
  info.Quoted("TimeOnboardClockQueried", headsetClockQueried.String(0.0, 0));
  info.Quoted("TimeBatteryMeasured", batteryClock.String(0.0, 0));
  info.Bare("FilterMode", filterMode);
  info.Bare("DataAcquisitionMode", dataAcquisitionMode);
  info.Bare("ImpedanceDriverMode", impedanceDriverMode);
  info.Bare("AnalogResetMode", analogResetMode);
  return info.Finish();
}

// Any thread that reads blocks may be queueing alarms, hence the read lock.
int Headset::GetAlarm(bool remove) {
  std::lock_guard<std::mutex> lock(readLock);
  if (alarmQueue.empty()) return 0;
  const int code = alarmQueue.front();
  if (remove) alarmQueue.pop_front();
  return code;
}

std::size_t Headset::NumberOfAlarms() {
  std::lock_guard<std::mutex> lock(readLock);
  return alarmQueue.size();
}

void Headset::ClearAlarms() {
  std::lock_guard<std::mutex> lock(readLock);
  alarmQueue.clear();
}

}  // namespace QVT
