#include "HeadsetSearch.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "DeviceAccess.h"
#include "Diagnosis.h"
#include "HeadsetProbe.h"
#include "LibraryCalls.h"
#include "SerialDevices.h"

namespace QVT::Tools {

namespace {

constexpr std::array kUdevRuleDirectories = {"/etc/udev/rules.d", "/run/udev/rules.d", "/lib/udev/rules.d",
                                             "/usr/lib/udev/rules.d"};

// The rule as installed, else as it is in the source tree; and whether udev
// reads it from where it is.
void LocateUdevRule(SearchReport& report) {
  std::filesystem::path installed = QVT_UDEV_RULE_INSTALLED;
  std::error_code error;
  if (installed.is_relative())
    installed = std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / installed;
  report.udevRule = std::filesystem::exists(installed, error) ? installed.lexically_normal().string()
                                                              : QVT_UDEV_RULE_SOURCE;
  report.udevRuleActive = std::any_of(kUdevRuleDirectories.begin(), kUdevRuleDirectories.end(), [&](const char* d) {
    std::error_code missing;
    return std::filesystem::exists(std::filesystem::path(d) / installed.filename(), missing);
  });
}

}  // namespace

SearchReport SearchForHeadsets(const std::string& directory,
                               const std::function<void(const SerialDevice&)>& beforeProbe) {
  SearchReport report;
  report.directory = directory;
  report.user = UserName();
  report.modemManagerRunning = ModemManagerRunning();
  LocateUdevRule(report);
  for (SerialDevice& device : FindSerialDevices(directory)) {
    DeviceReport examined{std::move(device), {}, std::nullopt};
    examined.access = ExamineDevice(examined.device.path);
    if (examined.access.exists && examined.access.mayOpen) {
      if (beforeProbe) beforeProbe(examined.device);
      examined.probe = ProbeHeadset(examined.device.path);
    }
    report.devices.push_back(std::move(examined));
  }
  if (directory == "/dev") {
    for (PairedDevice& paired : PairedBluetoothDevices(report.bluetooth)) {
      if (std::none_of(report.devices.begin(), report.devices.end(),
                       [&](const DeviceReport& d) { return d.device.bluetoothAddress == paired.address; }))
        report.unboundPaired.push_back(std::move(paired));
    }
  }
  return report;
}

std::string FindTheHeadset() {
  const SearchReport report = SearchForHeadsets(DeviceDirectory());
  std::vector<const DeviceReport*> working;
  for (const DeviceReport& device : report.devices)
    if (device.Working()) working.push_back(&device);
  if (working.empty()) throw RuntimeError(DiagnosisParagraph(report));
  if (working.size() == 1) return working.front()->device.path;
  std::string list;
  for (const DeviceReport* device : working)
    list += "\n  " + device->device.path + "  " + device->probe->model + ", serial number " +
            std::to_string(device->probe->serialNumber);
  throw RuntimeError(std::to_string(working.size()) + " headsets found; choose one with --port:" + list);
}

}  // namespace QVT::Tools
