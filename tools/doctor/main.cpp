// qvt-doctor: finds the serial devices that may lead to a headset, tells what
// keeps each from working, and how to fix it.
#include <cstdio>
#include <optional>
#include <string>

#include "Diagnosis.h"
#include "DoctorOptions.h"
#include "HeadsetSearch.h"
#include "ProgramErrors.h"
#include "qvt/qvt.h"

namespace {

using namespace QVT::Tools;

void PrintAccess(const DeviceAccess& access, const SearchReport& report) {
  if (!access.exists) {
    std::printf("  cannot be examined: %s\n", access.problem.c_str());
    return;
  }
  std::printf("  permissions   %s %s:%s, %s\n", access.mode.c_str(), access.owner.c_str(), access.group.c_str(),
              access.mayOpen ? "you may open it" : "you may not open it");
  if (access.holders.empty()) {
    std::printf("  in use        no other process has it open (of those you may look into)\n");
  } else {
    std::printf("  in use        open in");
    const char* separator = " ";
    for (const Holder& holder : access.holders) {
      std::printf("%s%s (pid %d)", separator, holder.name.c_str(), holder.pid);
      separator = ", ";
    }
    std::printf("\n");
  }
  std::printf("  ModemManager  %s\n", !report.modemManagerRunning ? "not running"
                                      : access.modemManagerIgnores ? "running, told by udev to keep off it"
                                                                   : "running, and may probe it");
}

void PrintProbe(const ProbeOutcome& probe) {
  if (!probe.failure.empty()) {
    std::printf("  headset       no: %s\n", probe.failure.c_str());
    return;
  }
  std::printf("  echo          answered\n");
  std::printf("  identity      %s, revision %s, %d sensors, %.0f Hz\n", probe.model.c_str(), probe.revision.c_str(),
              probe.sensors, probe.samplingRate);
  std::printf("  serial number %d\n", probe.serialNumber);
  std::printf("  firmware      %s\n", probe.firmware.c_str());
  std::printf("  battery       %s\n", probe.battery.c_str());
  std::printf("  round trip    %.1f ms (a command and its reply)\n", probe.roundTripMs);
}

int Run(const QVT::Doctor::Options& options) {
  std::printf("Looking for a headset in %s\n", options.devices.c_str());
  std::fflush(stdout);
  const SearchReport report = SearchForHeadsets(options.devices, [](const SerialDevice& device) {
    std::printf("  talking to %s ...\n", device.path.c_str());
    std::fflush(stdout);
  });
  int working = 0;
  for (const DeviceReport& device : report.devices) {
    std::printf("\n%s  %s%s%s\n", device.device.path.c_str(), device.device.kind.c_str(),
                device.device.bluetoothAddress.empty() ? "" : ", bound to ",
                device.device.bluetoothAddress.c_str());
    PrintAccess(device.access, report);
    if (device.probe) PrintProbe(*device.probe);
    if (device.Working()) ++working;
    std::printf("  => %s\n", device.Working() ? "a working headset" : "not working");
  }
  if (report.devices.empty()) std::printf("\nNo serial device in %s\n", report.directory.c_str());
  if (!report.unboundPaired.empty()) {
    std::printf("\nPaired Bluetooth devices with no serial device bound to them:\n");
    for (const PairedDevice& paired : report.unboundPaired)
      std::printf("  %s  %s\n", paired.address.c_str(), paired.name.c_str());
  }
  const std::vector<Advice> advice = Advise(report);
  if (!advice.empty()) std::printf("\nWhat to do:\n");
  for (const Advice& a : advice) {
    std::printf("  %s: %s\n", a.subject.c_str(), a.problem.c_str());
    for (const std::string& command : a.commands) std::printf("      %s\n", command.c_str());
  }
  std::printf("\n%d working headset%s found\n", working, working == 1 ? "" : "s");
  return working > 0 ? 0 : kRuntimeFailure;
}

}  // namespace

int main(int argc, char** argv) {
  QVT::Doctor::Options options;
  CommandLine line(QVT::Doctor::DoctorProgramText(std::string("qvt-doctor ") + QVT_DOCTOR_VERSION + " (library " +
                                                  QVT_GetAPIVersion() + ")"));
  QVT::Doctor::DeclareDoctorOptions(line, options);
  if (const std::optional<int> status = line.ParseOrExit(argc, argv)) return *status;
  return RunReportingErrors("qvt-doctor", [&] {
    return Run(options);
  });
}
