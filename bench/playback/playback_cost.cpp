// What playing a recording costs the virtual headset. Writes a one-hour EDF+
// of 64 EEG signals (10-10 labels) at 256 Hz, and another at 600 Hz, into a
// temporary directory, then for each file and headset rate reports:
//   start    seconds from opening the file to the first packet body (matching,
//            the montage's inverse, annotations, the first reads)
//   cpu      share of one core spent making the packets of a real-time
//            stream, measured over a minute of the recording, impedance
//            driver on (its carriers are the costliest part of a packet)
// usage: playback_cost [DIRECTORY]   (given a directory, the files are kept there)
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "RecordingWriter.h"
#include "headset/CalibrationImages.h"
#include "playback/Playback.h"

namespace {

constexpr int kSeconds = 3600;
constexpr double kMeasuredSeconds = 60.0;
const char* const kLabels[] = {
    "Fp1", "Fpz", "Fp2", "AF7", "AF3", "AFz", "AF4", "AF8", "F7",  "F5",  "F3",  "F1",  "Fz",  "F2",  "F4",  "F6",
    "F8",  "FT7", "FC5", "FC3", "FC1", "FCz", "FC2", "FC4", "FC6", "FT8", "T7",  "C5",  "C3",  "C1",  "Cz",  "C2",
    "C4",  "C6",  "T8",  "TP7", "CP5", "CP3", "CP1", "CPz", "CP2", "CP4", "CP6", "TP8", "P7",  "P5",  "P3",  "P1",
    "Pz",  "P2",  "P4",  "P6",  "P8",  "PO7", "PO3", "POz", "PO4", "PO8", "O1",  "Oz",  "O2",  "Iz",  "TP9", "TP10"};

double CpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::string Write(const std::filesystem::path& dir, int rate) {
  std::vector<QVT::testing::WrittenSignal> signals;
  int s = 0;
  for (const char* label : kLabels) {
    const double hz = 1.0 + s++ % 20;
    signals.push_back({std::string("EEG ") + label + "-REF", rate, [hz, rate](long long n) {
                         return 40.0 * std::sin(6.283185307179586 * hz * static_cast<double>(n % (rate * 10)) / rate);
                       }});
  }
  const std::string path = (dir / ("hour_" + std::to_string(rate) + ".edf")).string();
  const auto started = std::chrono::steady_clock::now();
  if (!QVT::testing::WriteRecording(path, signals, kSeconds)) {
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
    std::exit(1);
  }
  std::printf("wrote %s (%.0f MB) in %.1f s\n", path.c_str(),
              static_cast<double>(std::filesystem::file_size(path)) / 1e6,
              std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
  return path;
}

void Measure(const std::string& file, unsigned rate) {
  const auto started = std::chrono::steady_clock::now();
  QVT::emulator::Playback playback({file, rate, false, 5.0}, QVT::testing::TenTwentyCalibrationImage());
  playback.PacketBody(0, 0.0, true);
  const double start = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  const double cpu = CpuSeconds();
  const auto packets = static_cast<std::uint64_t>(kMeasuredSeconds * rate);
  for (std::uint64_t n = 1; n <= packets; ++n) playback.PacketBody(n, static_cast<double>(n) / rate, true);
  const double share = (CpuSeconds() - cpu) / kMeasuredSeconds;
  std::printf("%-40s at %3u Hz: start %.3f s, cpu %.2f %% of a core\n",
              std::filesystem::path(file).filename().c_str(), rate, start, 100.0 * share);
}

}  // namespace

int main(int argc, char** argv) {
  const std::filesystem::path dir =
      argc > 1 ? std::filesystem::path(argv[1])
               : std::filesystem::temp_directory_path() / ("qvt_playback_cost_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  for (const int fileRate : {256, 600}) {
    const std::string file = Write(dir, fileRate);
    for (const unsigned rate : {300u, 600u}) Measure(file, rate);
    if (argc <= 1) std::filesystem::remove(file);
  }
  if (argc <= 1) std::filesystem::remove(dir);
  return 0;
}
