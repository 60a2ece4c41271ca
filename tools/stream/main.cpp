// qvt-stream: connects to a headset, tells what it is, optionally checks the
// electrodes' impedances, streams its channels and summarises them.
#include <unistd.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "HeadsetReport.h"
#include "Interrupt.h"
#include "LibraryCalls.h"
#include "Options.h"
#include "qvt/qvt.h"

namespace {

using namespace QVT::Stream;

constexpr int kRuntimeFailure = 1;
constexpr int kUsageFailure = 2;

bool stderrIsTerminal = false;

// Library messages may arrive from the acquisition thread while the progress
// line is drawn; on a terminal the line is cleared first and redrawn later.
int ShowMessage(const char* message, int) {
  std::fprintf(stderr, "%s%s\n", stderrIsTerminal ? "\r\033[K" : "", message ? message : "");
  return 0;
}

struct HeadsetDeleter {
  void operator()(QVT_Headset* headset) const { QVT_Headset_Delete(headset); }
};
using HeadsetHandle = std::unique_ptr<QVT_Headset, HeadsetDeleter>;

HeadsetHandle Connect(const Options& options) {
  std::string port = options.port;
  if (port == "DEFAULT") {
    port = Copy(QVT_GetDefaultPort());
    if (port.empty()) throw UsageError("no headset port: give --port or set QVTSerialPort");
  }
  HeadsetHandle headset(QVT_Headset_New(nullptr));
  ThrowIfFailed("cannot create a headset");
  QVT_Headset_SetVerbosity(headset.get(), options.verbosity);
  QVT_Headset_SetMessageCallback(headset.get(), ShowMessage);
  QVT_Headset_Connect(headset.get(), port.c_str());
  ThrowIfFailed("cannot connect to " + port);
  return headset;
}

void PrintSummary(QVT_Headset* headset, const std::vector<ChannelRow>& rows, const Progress& progress) {
  unsigned alarms = 0;
  const std::vector<int> codes = TakeAlarms(headset, alarms, 16);
  const double rate =
      progress.elapsedSeconds > 0.0 ? static_cast<double>(progress.samples) / progress.elapsedSeconds : 0.0;
  std::printf("\n%llu samples in %.1f s (%.1f per second), %u overflowed, %u alarms",
              static_cast<unsigned long long>(progress.samples), progress.elapsedSeconds, rate,
              progress.overflowed, alarms);
  for (std::size_t i = 0; i < codes.size(); ++i) std::printf("%s%d", i == 0 ? ": " : " ", codes[i]);
  std::printf("%s%s\n\n%s", codes.size() < alarms ? " ..." : "", Interrupted() ? " (interrupted)" : "",
              FormatChannelTable(rows).c_str());
}

int Run(const Options& options) {
  HeadsetHandle headset = Connect(options);
  PrintIdentity(headset.get(), stdout);
  ProgressDisplay display(stdout, isatty(STDOUT_FILENO) == 1);

  std::map<std::string, double> impedances;
  if (options.impedanceSeconds > 0.0) {
    std::printf("\nMeasuring impedances for %g s\n", options.impedanceSeconds);
    std::fflush(stdout);
    const auto electrodes = MeasureImpedances(headset.get(), options.impedanceSeconds, display);
    std::printf("%s", FormatImpedanceTable(electrodes, options.goodBelowKOhm).c_str());
    for (const auto& electrode : electrodes)
      if (!electrode.reference) impedances[electrode.name] = electrode.kOhm;
  }

  if (!Interrupted()) {
    std::printf("\nStreaming for %g s (Ctrl-C stops)\n", options.seconds);
    std::fflush(stdout);
  }
  Progress progress;
  std::vector<ChannelRow> rows =
      StreamChannels(headset.get(), Interrupted() ? 0.0 : options.seconds, display, progress);
  for (auto& row : rows)
    if (const auto found = impedances.find(row.name); found != impedances.end())
      row.impedanceKOhm = found->second;
  PrintSummary(headset.get(), rows, progress);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  stderrIsTerminal = isatty(STDERR_FILENO) == 1;
  try {
    const Options options = ParseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (options.help) {
      std::printf("%s", UsageText().c_str());
      return 0;
    }
    if (options.version) {
      std::printf("qvt-stream %s (library %s)\n", QVT_STREAM_VERSION, QVT_GetAPIVersion());
      return 0;
    }
    InstallInterruptHandler();
    return Run(options);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "qvt-stream: %s (see --help)\n", error.what());
    return kUsageFailure;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "qvt-stream: %s\n", error.what());
    return kRuntimeFailure;
  }
}
