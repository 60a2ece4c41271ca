#include "SerialDevices.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace QVT::Tools {

namespace {

struct Family {
  const char* prefix;
  const char* kind;
};
constexpr std::array kFamilies = {Family{"rfcomm", "Bluetooth serial port"}, Family{"ttyUSB", "USB serial adapter"},
                                  Family{"ttyACM", "USB serial device"}};

// A bound RFCOMM device tells its remote address in sysfs.
std::string BoundAddress(const std::string& name) {
  std::string address;
  std::getline(std::ifstream("/sys/class/tty/" + name + "/address"), address);
  return address;
}

bool OnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::istringstream directories(path ? path : "");
  for (std::string directory; std::getline(directories, directory, ':');)
    if (!directory.empty() && access((directory + "/" + program).c_str(), X_OK) == 0) return true;
  return false;
}

struct PipeCloser {
  void operator()(std::FILE* pipe) const { pclose(pipe); }
};

}  // namespace

std::string DeviceDirectory() {
  const char* directory = std::getenv("QVT_DEVICE_DIR");
  return directory != nullptr && *directory != '\0' ? directory : "/dev";
}

std::vector<SerialDevice> FindSerialDevices(const std::string& directory) {
  struct Found {
    std::size_t family;
    unsigned long number;
    SerialDevice device;
  };
  std::vector<Found> found;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const std::string name = entry.path().filename().string();
    for (std::size_t f = 0; f < kFamilies.size(); ++f) {
      const std::string prefix = kFamilies[f].prefix;
      const std::string digits = name.substr(std::min(prefix.size(), name.size()));
      if (name.rfind(prefix, 0) != 0 || digits.empty() ||
          !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
        continue;
      found.push_back({f, std::stoul(digits),
                       {entry.path().string(), kFamilies[f].kind, f == 0 ? BoundAddress(name) : ""}});
    }
  }
  std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
    return a.family != b.family ? a.family < b.family : a.number < b.number;
  });
  std::vector<SerialDevice> devices;
  for (auto& f : found) devices.push_back(std::move(f.device));
  return devices;
}

std::vector<PairedDevice> PairedBluetoothDevices(BluetoothState& state) {
  state = BluetoothState::Absent;
  std::vector<PairedDevice> paired;
  if (!OnPath("bluetoothctl") || !OnPath("timeout")) return paired;
  state = BluetoothState::Silent;
  // Without a running daemon bluetoothctl waits for ever.
  std::unique_ptr<std::FILE, PipeCloser> pipe(
      popen("timeout 5 bluetoothctl devices Paired 2>/dev/null </dev/null", "r"));
  if (!pipe) return paired;
  char line[512];
  while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
    std::istringstream words(line);
    std::string word, address, name;
    if (!(words >> word >> address) || word != "Device") continue;
    std::getline(words >> std::ws, name);
    paired.push_back({address, name});
  }
  if (pclose(pipe.release()) == 0) state = BluetoothState::Answered;
  return paired;
}

}  // namespace QVT::Tools
