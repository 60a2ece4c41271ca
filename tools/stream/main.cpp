// qvt-stream: connects to a headset, tells what it is, optionally checks the
// electrodes' impedances, streams its channels and summarises them.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Abandoned.h"
#include "BatchLoop.h"
#include "HeadsetReport.h"
#include "Interrupt.h"
#include "LibraryCalls.h"
#include "Options.h"
#include "ProgramErrors.h"
#include "SampleTimeline.h"
#include "StandardOutput.h"
#include "Tables.h"
#include "qvt/qvt.h"

namespace {

using namespace QVT::Stream;
using namespace QVT::Tools;

// "Until Ctrl-C" for the batch loop, which always wants a duration.
constexpr double kForever = 1e9;

// The headset's own time stamp of each sample, read beside the montage so
// that lost samples show; not a channel of the summary.
constexpr const char* kSampleTime = "SND";

// The montage channels' names and batch-read statistics, in rows, which keep
// what was streamed when the link is lost (LinkLostError).
void StreamChannels(QVT_Headset* headset, double seconds, ProgressDisplay& display, Progress& progress,
                    std::vector<ChannelRow>& rows) {
  const std::vector<QVT_Channel*> channels = MontageChannels(headset);
  QVT_Headset_AddChannelToMontage_FromString(headset, kSampleTime, 0);
  QVT_Channel* sampleTime = QVT_Headset_GetChannelByIndex(headset, static_cast<unsigned>(channels.size()));
  ThrowIfFailed("cannot add the sample time to the montage");
  DiscardBufferedSamples(headset);
  rows.assign(channels.size(), ChannelRow{});
  for (std::size_t c = 0; c < channels.size(); ++c) rows[c].name = Copy(QVT_Channel_GetName(channels[c]));
  ThrowIfFailed("cannot read the channel names");
  SampleTimeline timeline(QVT_Headset_GetSamplingRate(headset));
  ChannelReader reader(channels);
  reader.channels.push_back(sampleTime);
  const auto start = std::chrono::steady_clock::now();
  RunBatches(
      headset, seconds,
      [&](unsigned samples) {
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const std::size_t taken = reader.Read(headset, samples);
        for (std::size_t c = 0; c < channels.size(); ++c)
          for (std::size_t i = 0; i < taken; ++i) rows[c].statistics.Add(reader.At(c, i));
        for (std::size_t i = 0; i < taken; ++i) timeline.Next(reader.At(channels.size(), i), wall);
        progress.lostSamples = timeline.LostSamples();
        progress.gaps = timeline.Gaps();
        return StandardOutputFailure().empty();
      },
      display, progress);
}

void PrintSummary(QVT_Headset* headset, const std::vector<ChannelRow>& rows, const Progress& progress) {
  const std::vector<Alarm> alarms = TakeAlarms(headset);
  const double rate =
      progress.elapsedSeconds > 0.0 ? static_cast<double>(progress.samples) / progress.elapsedSeconds : 0.0;
  std::printf("\n%llu samples in %.1f s (%.1f per second), %u overflowed, %llu lost in %u gaps%s\n%s",
              static_cast<unsigned long long>(progress.samples), progress.elapsedSeconds, rate,
              progress.overflowed, static_cast<unsigned long long>(progress.lostSamples), progress.gaps,
              Interrupted() ? " (interrupted)" : "", FormatAlarms(alarms, 16).c_str());
  // Statistics of no samples would read as a flat signal.
  if (progress.samples > 0) std::printf("\n%s", FormatChannelTable(rows).c_str());
}

void ThrowIfOutputFailed() {
  if (const std::string failure = StandardOutputFailure(); !failure.empty()) throw RuntimeError(failure);
}

int Run(const Options& options) {
  const std::string port = ResolvePort(options.port);
  if (port.empty()) throw UsageError("no headset port: give --port or set QVTSerialPort");
  HeadsetHandle headset = Connect(port, options.verbosity);
  PrintIdentity(headset.get(), stdout);
  ProgressDisplay display(stdout, isatty(STDOUT_FILENO) == 1);

  std::map<std::string, double> impedances;
  if (options.impedanceSeconds > 0.0) {
    std::printf("\nMeasuring impedances for %g s\n", options.impedanceSeconds);
    std::fflush(stdout);
    std::vector<ElectrodeImpedance> electrodes;
    try {
      electrodes = MeasureImpedances(headset.get(), options.impedanceSeconds, display);
    } catch (const LinkLostError&) {
      Abandon(headset);  // taking it down would wait on a dead link
      throw;
    }
    if (!electrodes.empty())
      std::printf("%s", FormatImpedanceTable(electrodes, options.goodBelowKOhm).c_str());
    for (const auto& electrode : electrodes)
      if (!electrode.reference) impedances[electrode.name] = electrode.kOhm;
  }

  if (!Interrupted()) {
    if (options.seconds > 0.0)
      std::printf("\nStreaming for %g s (Ctrl-C stops)\n", options.seconds);
    else
      std::printf("\nStreaming until Ctrl-C\n");
  }
  // An output already gone (| head -1) or failing (a full disk) is not
  // streamed to.
  ThrowIfOutputFailed();
  Progress progress;
  std::vector<ChannelRow> rows;
  std::string lost;
  try {
    const double seconds = options.seconds > 0.0 ? options.seconds : kForever;
    StreamChannels(headset.get(), Interrupted() ? 0.0 : seconds, display, progress, rows);
  } catch (const LinkLostError& error) {
    lost = error.what();  // the summary of what came first is still told
  }
  for (auto& row : rows)
    if (const auto found = impedances.find(row.name); found != impedances.end())
      row.impedanceKOhm = found->second;
  PrintSummary(headset.get(), rows, progress);
  if (!lost.empty()) {
    // Taking down a headset that fell silent would hold the program for 20 s.
    Abandon(headset);
    throw RuntimeError(lost);
  }
  ThrowIfOutputFailed();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CommandLine line(StreamProgramText(std::string("qvt-stream ") + QVT_STREAM_VERSION + " (library " +
                                     QVT_GetAPIVersion() + ")"));
  DeclareStreamOptions(line, options);
  if (const std::optional<int> status = line.ParseOrExit(argc, argv)) return *status;
  return RunReportingErrors("qvt-stream", [&] {
    InstallInterruptHandler();
    return Run(options);
  });
}
