#include "Diagnosis.h"

#include <algorithm>

namespace QVT::Tools {

namespace {

constexpr const char* kRulesDirectory = "/etc/udev/rules.d/";

// Puts the udev rule in force for one device.
std::vector<std::string> UdevRuleCommands(const SearchReport& report, const std::string& path) {
  std::vector<std::string> commands;
  if (!report.udevRuleActive) commands.push_back("sudo install -m 644 " + report.udevRule + " " + kRulesDirectory);
  commands.push_back("sudo udevadm control --reload-rules");
  commands.push_back("sudo udevadm trigger --action=add " + path);
  return commands;
}

void AdviseOnAccess(const SearchReport& report, const DeviceReport& device, std::vector<Advice>& advice) {
  const DeviceAccess& access = device.access;
  const std::string& path = device.device.path;
  const std::string rights = " (" + access.mode + " " + access.owner + ":" + access.group + ")";
  if (access.mayOpen) return;
  if (access.group == "root") {
    advice.push_back({path, "only root may open it" + rights, UdevRuleCommands(report, path)});
  } else if (access.inGroupNow) {
    advice.push_back({path, "its group " + access.group + " may not read and write it" + rights,
                      {"sudo chmod g+rw " + path}});
  } else if (access.inGroupListed) {
    advice.push_back({path,
                      report.user + " joined group " + access.group +
                          " after this login; log out and in again, or start a shell that has the group",
                      {"newgrp " + access.group}});
  } else {
    advice.push_back({path, report.user + " is not in group " + access.group + ", which may open it" + rights,
                      {"sudo usermod -aG " + access.group + " " + report.user, "newgrp " + access.group}});
  }
}

// The first RFCOMM number no device uses.
int FreeRfcommNumber(const SearchReport& report) {
  for (int n = 0;; ++n) {
    const std::string name = "/rfcomm" + std::to_string(n);
    if (std::none_of(report.devices.begin(), report.devices.end(), [&](const DeviceReport& d) {
          const std::string& path = d.device.path;
          return path.size() >= name.size() && path.compare(path.size() - name.size(), name.size(), name) == 0;
        }))
      return n;
  }
}

}  // namespace

std::vector<Advice> Advise(const SearchReport& report) {
  std::vector<Advice> advice;
  for (const DeviceReport& device : report.devices) {
    const std::string& path = device.device.path;
    if (!device.access.exists) {
      advice.push_back({path, "cannot be examined: " + device.access.problem, {"ls -lL " + path}});
      continue;
    }
    if (report.modemManagerRunning && !device.access.modemManagerIgnores) {
      std::vector<std::string> commands = UdevRuleCommands(report, path);
      commands.insert(commands.begin(), "sudo systemctl stop ModemManager");
      advice.push_back({path, "ModemManager is running and may probe it, which garbles the link", commands});
    }
    if (device.Working()) continue;
    AdviseOnAccess(report, device, advice);
    if (!device.access.holders.empty()) {
      std::string names;
      std::vector<std::string> commands;
      for (const Holder& holder : device.access.holders) {
        names += (names.empty() ? "" : ", ") + holder.name + " (pid " + std::to_string(holder.pid) + ")";
        commands.push_back("kill " + std::to_string(holder.pid));
      }
      advice.push_back({path, "in use by " + names + "; end it or close the port there", commands});
    } else if (device.probe) {
      advice.push_back({path, "did not answer as a headset (" + device.probe->failure +
                                  "); switch the headset on, near this computer, and look again",
                        {"qvt-doctor"}});
    }
  }
  const int free = FreeRfcommNumber(report);
  for (std::size_t i = 0; i < report.unboundPaired.size(); ++i) {
    const PairedDevice& paired = report.unboundPaired[i];
    advice.push_back({"Bluetooth",
                      "paired with " + paired.address + " (" + paired.name + "), but no serial device is bound to it",
                      {"sudo rfcomm bind " + std::to_string(free + static_cast<int>(i)) + " " + paired.address + " 1"}});
  }
  if (report.devices.empty() && report.unboundPaired.empty()) {
    std::vector<std::string> commands = {"bluetoothctl --timeout 20 scan on", "bluetoothctl pair ADDRESS",
                                         "bluetoothctl trust ADDRESS", "sudo rfcomm bind 0 ADDRESS 1"};
    if (report.bluetooth == BluetoothState::Absent) commands.insert(commands.begin(), "sudo apt-get install bluez");
    if (report.bluetooth == BluetoothState::Silent) commands.insert(commands.begin(), "sudo systemctl start bluetooth");
    advice.push_back({"Bluetooth",
                      "no serial device in " + report.directory +
                          " and no paired headset; plug in its USB adapter, or pair it (ADDRESS is the one the scan "
                          "shows for the headset) and bind a serial device to it",
                      commands});
  }
  return advice;
}

std::string DiagnosisParagraph(const SearchReport& report) {
  std::string text = "no working headset found";
  for (const Advice& a : Advise(report)) {
    text += "; " + a.subject + ": " + a.problem;
    for (std::size_t c = 0; c < a.commands.size(); ++c) text += (c == 0 ? " (run: " : "; ") + a.commands[c];
    if (!a.commands.empty()) text += ")";
  }
  return text + ". qvt-doctor tells more.";
}

}  // namespace QVT::Tools
