// qvt-emulator: a virtual headset on a pseudo-terminal.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>

#include "ClientLauncher.h"
#include "EmulatorOptions.h"
#include "SyntheticEEG.h"
#include "headset/CalibrationImages.h"
#include "headset/HeadsetPeer.h"
#include "headset/PseudoTerminal.h"
#include "headset/TruthFile.h"
#include "playback/Playback.h"

namespace {

using namespace QVT::emulator;
namespace testing = QVT::testing;

constexpr std::uint8_t kWrongMode = 0x80;

QVT::CalibrationImage Calibration(const std::string& layout) {
  if (layout == "10-10") return testing::TenTenCalibrationImage();
  if (layout == "7") return testing::SevenSlotCalibrationImage();
  return testing::TenTwentyCalibrationImage();
}

testing::PeerProfile Profile(const EmulatorOptions& options, std::shared_ptr<const SyntheticEEG> eeg,
                             std::shared_ptr<Playback> playback, std::FILE* dropLog, std::FILE* truth) {
  testing::PeerProfile profile;
  profile.identity = "VirtualHeadset R1";
  profile.serialNumber = options.serialNumber;
  profile.sensorCount = options.layout == "7" ? 7 : 24;
  profile.masterFirmware = "1.2";
  profile.slaveFirmware = "1.2";
  profile.calibration = Calibration(options.layout);
  profile.samplingRate = static_cast<std::uint16_t>(options.rate);
  // The signal follows the sample count, so that a seed repeats it sample
  // for sample whenever the client starts the stream.
  const double rate = options.rate;
  profile.signalBody = [eeg, rate](std::uint64_t index, double stamp, bool impedanceDriver) {
    return eeg->PacketBody(static_cast<double>(index) / rate, stamp, impedanceDriver);
  };
  profile.accelerometer = [eeg](double t) { return eeg->Accelerometer(t); };
  if (playback) {
    profile.signalBody = [playback, file = options.playback](std::uint64_t index, double stamp, bool impedanceDriver) {
      try {
        return playback->PacketBody(index, stamp, impedanceDriver);
      } catch (const PlaybackError& error) {
        std::cerr << "qvt-emulator: " << file << ": " << error.what() << "; the headset switches off\n";
        return std::string();
      }
    };
    if (playback->HasAccelerometer()) profile.sampleAccelerometer = [playback] { return playback->Accelerometer(); };
  }
  profile.speed = options.speed;
  profile.connectionAlarms = true;
  profile.faults.corruptRate = options.corruptRate;
  profile.faults.dropRate = options.dropRate;
  profile.faults.garbageRate = options.garbageRate;
  profile.faults.silentAfter = options.silentAfter;
  for (const auto& [start, seconds] : options.outages) profile.faults.outages.push_back({start, seconds});
  profile.faults.slow = options.slow;
  profile.faults.driftPpm = options.driftPpm;
  profile.faults.jitterSeconds = options.jitterSeconds;
  if (truth != nullptr)
    profile.onStreamStart = [truth](const testing::StreamTruth& stream) {
      std::fputs(testing::TruthLine(stream).c_str(), truth);
      std::fflush(truth);
    };
  profile.faults.seed = options.seed;
  if (dropLog != nullptr)
    profile.faults.onDropped = [dropLog](std::uint64_t position, bool garbled) {
      std::fprintf(dropLog, "%llu%s\n", static_cast<unsigned long long>(position), garbled ? " garbled" : "");
      std::fflush(dropLog);
    };
  return profile;
}

}  // namespace

int main(int argc, char** argv) {
  EmulatorOptions options;
  QVT::Tools::CommandLine commandLine(EmulatorProgramText(std::string("qvt-emulator ") + QVT_EMULATOR_VERSION));
  DeclareEmulatorOptions(commandLine, options);
  if (const std::optional<int> status = commandLine.ParseOrExit(argc, argv)) return *status;

  // Opened before the peer starts and closed after it has stopped.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> dropLog(nullptr, std::fclose);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> truth(nullptr, std::fclose);
  for (auto [name, file] : {std::pair{&options.dropLog, &dropLog}, std::pair{&options.truthFile, &truth}}) {
    if (name->empty()) continue;
    file->reset(std::fopen(name->c_str(), "w"));
    if (!*file) {
      std::cerr << "qvt-emulator: cannot write " << *name << ": " << std::strerror(errno) << "\n";
      return QVT::Tools::kRuntimeFailure;
    }
  }
  std::shared_ptr<Playback> playback;
  if (!options.playback.empty()) {
    try {
      playback = std::make_shared<Playback>(
          PlaybackSettings{options.playback, options.rate, options.loop, options.impedanceKiloOhms},
          Calibration(options.layout));
      std::cerr << playback->Summary() << std::flush;
    } catch (const std::exception& error) {
      std::cerr << "qvt-emulator: cannot play " << options.playback << ": " << error.what() << "\n";
      return QVT::Tools::kRuntimeFailure;
    }
  }
  InstallStopHandlers();
  testing::PseudoTerminal line;
  const auto eeg = std::make_shared<const SyntheticEEG>(
      Calibration(options.layout),
      SignalSettings{options.seed, options.eyesClosed, options.impedanceKiloOhms});
  testing::HeadsetPeer headset(line, Profile(options, eeg, playback, dropLog.get(), truth.get()));
  if (!options.refusedFamilies.empty()) {
    headset.SetPolicy([refused = options.refusedFamilies](const testing::WrittenCommand& command) {
      for (const std::uint8_t family : refused)
        if (command.family == family) return testing::PeerReaction::Refuse(kWrongMode);
      return testing::PeerReaction::Answer();
    });
  }

  const std::string preload = PreloadLibrary();
  if (preload.empty())
    std::cerr << "qvt-emulator: the modem-line preload library was not found; clients may fail to open "
              << line.SlavePath() << "\n";
  if (!options.command.empty()) return RunClient(options.command, line.SlavePath(), preload);

  std::cout << "Virtual headset on " << line.SlavePath() << "\n"
            << "Connect with:\n  QVTSerialPort=" << line.SlavePath()
            << " LD_PRELOAD=" << PreloadValue(preload) << " your-program\n"
            << "Stop with Ctrl-C.\n"
            << std::flush;
  while (!StopRequested()) usleep(100000);
  return 0;
}
