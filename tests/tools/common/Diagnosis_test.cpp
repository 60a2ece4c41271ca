#include "Diagnosis.h"

#include <gtest/gtest.h>

#include <functional>

namespace QVT::Tools {
namespace {

// A device this process may open that answered as a headset.
DeviceReport Healthy(const std::string& path) {
  DeviceReport device{{path, "Bluetooth serial port", ""}, {}, ProbeOutcome{}};
  device.access.exists = device.access.mayOpen = device.access.inGroupNow = device.access.inGroupListed = true;
  device.access.owner = "root";
  device.access.group = "dialout";
  device.access.mode = "crw-rw----";
  return device;
}

SearchReport Report(std::vector<DeviceReport> devices) {
  SearchReport report;
  report.directory = "/dev";
  report.user = "ada";
  report.devices = std::move(devices);
  report.bluetooth = BluetoothState::Answered;
  report.udevRule = "/usr/local/lib/udev/rules.d/60-qvt-headset.rules";
  return report;
}

// Each problem gets its own advice, with the command that fixes it; a
// healthy headset gets none.
TEST(Diagnosis, AdvisesTheCommandThatFixesEachProblem) {
  struct Case {
    const char* what;
    std::function<void(SearchReport&)> arrange;
    std::string subject;
    std::string command;  // empty: no advice at all
  };
  auto access = [](std::function<void(DeviceAccess&)> change) {
    return [change](SearchReport& r) {
      r.devices[0].probe.reset();
      r.devices[0].access.mayOpen = false;
      change(r.devices[0].access);
    };
  };
  const std::vector<Case> cases = {
      {"healthy", [](SearchReport&) {}, "", ""},
      {"not in the group", access([](DeviceAccess& a) { a.inGroupNow = a.inGroupListed = false; }), "/dev/rfcomm0",
       "sudo usermod -aG dialout ada"},
      {"joined after login", access([](DeviceAccess& a) { a.inGroupNow = false; }), "/dev/rfcomm0",
       "newgrp dialout"},
      {"group may not write", access([](DeviceAccess& a) { a.mode = "crw-r-----"; }), "/dev/rfcomm0",
       "sudo chmod g+rw /dev/rfcomm0"},
      {"root only, rule not in force", access([](DeviceAccess& a) { a.group = "root"; }), "/dev/rfcomm0",
       "sudo install -m 644 /usr/local/lib/udev/rules.d/60-qvt-headset.rules /etc/udev/rules.d/"},
      {"held by another program",
       [](SearchReport& r) {
         r.devices[0].probe->failure = "busy";
         r.devices[0].access.holders = {{"screen", 4242}};
       },
       "/dev/rfcomm0", "kill 4242"},
      {"silent device", [](SearchReport& r) { r.devices[0].probe->failure = "no echo"; }, "/dev/rfcomm0",
       "qvt-doctor"},
      {"ModemManager, even on a working headset", [](SearchReport& r) { r.modemManagerRunning = true; },
       "/dev/rfcomm0", "sudo systemctl stop ModemManager"},
      {"told to keep off", [](SearchReport& r) {
         r.modemManagerRunning = true;
         r.devices[0].access.modemManagerIgnores = true;
       }, "", ""},
      {"paired, not bound: the next free number",
       [](SearchReport& r) { r.unboundPaired = {{"00:11:22:33:44:55", "QVT"}}; }, "Bluetooth",
       "sudo rfcomm bind 1 00:11:22:33:44:55 1"},
      {"nothing at all, no BlueZ",
       [](SearchReport& r) {
         r.devices.clear();
         r.bluetooth = BluetoothState::Absent;
       },
       "Bluetooth", "sudo apt-get install bluez"},
      {"nothing at all, BlueZ not running",
       [](SearchReport& r) {
         r.devices.clear();
         r.bluetooth = BluetoothState::Silent;
       },
       "Bluetooth", "sudo systemctl start bluetooth"},
  };
  for (const Case& c : cases) {
    SearchReport report = Report({Healthy("/dev/rfcomm0")});
    c.arrange(report);
    const std::vector<Advice> advice = Advise(report);
    if (c.command.empty()) {
      EXPECT_TRUE(advice.empty()) << c.what << ": " << advice.front().problem;
      continue;
    }
    ASSERT_EQ(advice.size(), 1u) << c.what;
    EXPECT_EQ(advice[0].subject, c.subject) << c.what;
    EXPECT_NE(std::find(advice[0].commands.begin(), advice[0].commands.end(), c.command), advice[0].commands.end())
        << c.what << ": " << ::testing::PrintToString(advice[0].commands);
  }
}

// `--port auto` tells it all on one line, commands included.
TEST(Diagnosis, ParagraphIsOneLineWithTheCommands) {
  SearchReport report = Report({Healthy("/dev/ttyUSB0")});
  report.devices[0].probe->failure = "no echo";
  const std::string paragraph = DiagnosisParagraph(report);
  EXPECT_EQ(paragraph.find('\n'), std::string::npos);
  EXPECT_NE(paragraph.find("/dev/ttyUSB0: did not answer as a headset (no echo)"), std::string::npos) << paragraph;
  EXPECT_NE(paragraph.find("(run: qvt-doctor)"), std::string::npos) << paragraph;
}

}  // namespace
}  // namespace QVT::Tools
