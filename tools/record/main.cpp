// qvt-record: records a headset to a BDF+ file, with triggers, lost
// samples, alarms, impedances and link losses as annotations; optionally
// reconnects when the link is lost and goes on in the same file.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Abandoned.h"
#include "BackgroundConnection.h"
#include "BatchLoop.h"
#include "BdfFile.h"
#include "BdfRepair.h"
#include "HeaderText.h"
#include "HeadsetReport.h"
#include "Interrupt.h"
#include "LibraryCalls.h"
#include "MontagePlan.h"
#include "OutputFile.h"
#include "RecordOptions.h"
#include "RecordWriter.h"
#include "Recording.h"
#include "SampleTimeline.h"
#include "TriggerTimeline.h"
#include "qvt/qvt.h"

namespace {

using namespace QVT::Record;
using namespace QVT::Tools;
using Clock = std::chrono::steady_clock;

constexpr double kReconnectSeconds = 2.0;
constexpr double kUnknownLag = -1.0;
// Annotations every data record has room for: beyond them, neighbouring
// gaps share one. More when the impedances must fit into a short recording.
constexpr int kAnnotationSlots = 3;
constexpr int kMostAnnotationSlots = 64;
// The impedances fit into the first second, so that a recording cut short
// soon after it began still has them.
constexpr double kImpedanceRoomSeconds = 1.0;
// Samples taken per read while emptying the buffers at the end: a batch's
// worth, so that the read buffer stays a batch's size.
constexpr std::size_t kDrainChunk = 64;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string Format(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string Equipment(QVT_Headset* headset) {
  const std::string text = Copy(QVT_Headset_GetHardwareModel(headset)) + " " +
                           Copy(QVT_Headset_GetHardwareRevision(headset)) + " SN" +
                           std::to_string(QVT_Headset_GetSerialNumber(headset)) + " FW" +
                           Copy(QVT_Headset_GetFirmwareRevision(headset));
  ThrowIfFailed("cannot read the headset's identity");
  return text;
}

class FileSink : public RecordSink {
 public:
  explicit FileSink(RecordWriter& target) : writer(target) {}
  void WriteRecord(std::vector<int> digital) override { writer.WriteRecord(std::move(digital)); }
  void Annotate(double onset, double duration, std::string text) override {
    writer.Annotate(onset, duration, std::move(text));
  }

 private:
  RecordWriter& writer;
};

// One recording from start to end, over as many connections as it takes.
class Session {
 public:
  Session(const RecordOptions& recordOptions, std::string devicePort, HeadsetHandle connected)
      : options(recordOptions), port(std::move(devicePort)), headset(std::move(connected)) {}
  ~Session() { SetLastAction(nullptr); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  int Run();

 private:
  void OpenFile(const std::vector<ElectrodeImpedance>& impedances);
  // Takes up to n samples of every channel into the recording; how many.
  std::size_t Take(std::size_t n);
  // Take for the batch loop: false when done.
  bool TakeSamples(unsigned n);
  void Drain();
  void UseChannels(Channels connected);
  void TakeAlarms();
  bool Done() const;
  // Whether the wall clock has reached the end of a --seconds recording.
  bool PastEnd() const;
  bool Reconnect();
  void PrintSummary(const std::string& ending);

  const RecordOptions& options;
  const std::string port;
  HeadsetHandle headset;
  double rate = 0.0;
  int recordSamples = 0;
  // Counted in samples: a time compared in seconds could round one over and
  // pad a record beyond the end.
  std::uint64_t wantedSamples = std::numeric_limits<std::uint64_t>::max();
  double recordSeconds = 0.0;
  std::vector<ChannelPlan> plan;
  Channels channels;
  ChannelReader reader;  // the recorded channels, then the two clocks
  std::unique_ptr<RecordWriter> writer;
  std::unique_ptr<FileSink> sink;
  std::unique_ptr<Recording> recording;
  std::unique_ptr<SampleTimeline> timeline;
  ProgressDisplay display{stdout, isatty(STDOUT_FILENO) == 1};
  Progress progress;
  Clock::time_point started;
  bool headerWritten = false;
  bool outage = false;  // the next gap is the link's
  unsigned linkLosses = 0;
  std::vector<Alarm> alarms;
  std::vector<double> values;
};

void Session::OpenFile(const std::vector<ElectrodeImpedance>& impedances) {
  rate = QVT_Headset_GetSamplingRate(headset.get());
  ThrowIfFailed("cannot read the sampling rate");
  // Records of a tenth of a second lose little when the program is killed;
  // rates that do not divide into them get records of a second.
  recordSeconds = std::fmod(rate, 10.0) == 0.0 ? 0.1 : 1.0;
  if (!(rate > 0.0) || std::fmod(rate * recordSeconds, 1.0) != 0.0)
    throw RuntimeError("cannot record at " + Format("%g", rate) + " samples per second");
  recordSamples = static_cast<int>(rate * recordSeconds);
  if (options.seconds > 0.0) wantedSamples = static_cast<std::uint64_t>(std::llround(options.seconds * rate));
  plan = PlanChannels(headset.get());
  std::vector<Signal> signals;
  int trigger = -1;
  for (const ChannelPlan& entry : plan) {
    if (entry.trigger && trigger < 0) trigger = static_cast<int>(signals.size());
    signals.push_back(entry.signal);
  }
  const double roomSeconds =
      options.seconds > 0.0 ? std::min(options.seconds, kImpedanceRoomSeconds) : kImpedanceRoomSeconds;
  const double records = std::max(1.0, std::ceil(roomSeconds / recordSeconds));
  const int slots = static_cast<int>(std::min<double>(
      kMostAnnotationSlots, kAnnotationSlots + std::ceil(static_cast<double>(impedances.size()) / records)));
  writer = std::make_unique<RecordWriter>(options.file, signals, recordSamples, recordSeconds, slots,
                                          options.slowDiskSeconds);
  sink = std::make_unique<FileSink>(*writer);
  const int filterMode = QVT_Headset_GetFilterMode(headset.get());
  ThrowIfFailed("cannot read the filter mode");
  recording = std::make_unique<Recording>(signals, rate, recordSamples, trigger, *sink, slots,
                                          TriggerTimeline::LibraryDelay(rate, filterMode));
  // A second Ctrl-C may come while the library waits on a silent headset:
  // the file is then closed with the records it has.
  SetLastAction([this] {
    try {
      writer->Close();
      std::fprintf(stderr, "qvt-record: %s is closed with what was written\n", options.file.c_str());
    } catch (const std::exception& error) {
      std::fprintf(stderr, "qvt-record: %s\n", error.what());
    }
  });
  timeline = std::make_unique<SampleTimeline>(rate);
  for (const ElectrodeImpedance& electrode : impedances)
    if (!electrode.reference && electrode.kOhm >= 0.0)
      recording->AnnotateAt(0.0, "Z " + electrode.name + " " + Format("%.1f", electrode.kOhm) + " kOhm");
  values.resize(plan.size());
}

bool Session::Done() const {
  return Interrupted() || !writer->Failure().empty() || recording->Samples() >= wantedSamples;
}

void Session::UseChannels(Channels connected) {
  channels = std::move(connected);
  reader.channels = channels.recorded;
  reader.channels.push_back(channels.sampleTime);
  reader.channels.push_back(channels.clockLag);
}

bool Session::TakeSamples(unsigned n) {
  Take(n);
  return !Done();
}

std::size_t Session::Take(std::size_t n) {
  QVT_Headset* h = headset.get();
  const double wall = SecondsSince(started);
  const std::size_t taken = reader.Read(h, n);
  const std::size_t recorded = channels.recorded.size();
  for (std::size_t i = 0; i < taken; ++i) {
    for (std::size_t c = 0; c < recorded; ++c) values[c] = reader.At(c, i);
    const double stamp = reader.At(recorded, i);
    const double lag = reader.At(recorded + 1, i);
    if (!headerWritten) {
      // The first sample was taken about as long ago as the samples
      // behind it in the buffers last.
      const double behind =
          (static_cast<double>(taken - i) + static_cast<double>(QVT_Headset_GetNumberOfBufferedSamples(h))) /
              rate +
          (lag != kUnknownLag ? lag : 0.0);
      writer->SetHeader(
          {Equipment(h), options.subject,
           std::chrono::system_clock::now() - std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                                  std::chrono::duration<double>(behind))});
      headerWritten = true;
    }
    std::uint64_t missing = timeline->Next(stamp, wall);
    // A gap at the very end fills only what the recording still lacks.
    missing = std::min(missing, wantedSamples - std::min(wantedSamples, recording->Samples()));
    if (outage)
      recording->Fill(missing, "BAD link lost");
    else
      recording->Lose(missing);
    outage = false;
    // The samples behind the last one asked for are not part of the recording.
    if (recording->Samples() < wantedSamples) recording->Add(values);
  }
  TakeAlarms();
  progress.lostSamples = timeline->LostSamples();
  progress.gaps = timeline->Gaps();
  progress.fileBytes = writer->Bytes();
  return taken;
}

void Session::TakeAlarms() {
  for (Alarm& alarm : QVT::Tools::TakeAlarms(headset.get())) {
    recording->Annotate("ALARM " + alarm.text);
    alarms.push_back(std::move(alarm));
  }
}

// What is still buffered once acquisition has stopped belongs in the file.
void Session::Drain() {
  while (Take(kDrainChunk) > 0) {
  }
}

bool Session::Reconnect() {
  std::printf("Link lost at %.1f s of signal; reconnecting every %g s\n", recording->Seconds(),
              kReconnectSeconds);
  std::fflush(stdout);
  TakeAlarms();
  // Reconnection goes on while the recording would have: its time is the
  // wall clock's now.
  while (!Interrupted() && !PastEnd()) {
    const auto attempt = Clock::now();
    BackgroundConnection connection(std::move(headset), port, options.verbosity, plan);
    while (!connection.Done() && !Interrupted() && !PastEnd()) QVT_Sleep(0.05);
    if (connection.Done()) {
      try {
        Channels connected;
        headset = connection.Take(connected);
        UseChannels(connected);
        outage = true;
        std::printf("Reconnected after %.1f s\n", SecondsSince(attempt));
        std::fflush(stdout);
        return true;
      } catch (const RuntimeError& error) {
        std::fprintf(stderr, "qvt-record: %s\n", error.what());
      }
    }
    while (!Interrupted() && !PastEnd() && SecondsSince(attempt) < kReconnectSeconds) QVT_Sleep(0.05);
  }
  return false;
}

bool Session::PastEnd() const { return options.seconds > 0.0 && SecondsSince(started) >= options.seconds; }

void Session::PrintSummary(const std::string& ending) {
  // Those that came after the file was closed are told here only.
  if (headset)
    for (Alarm& alarm : QVT::Tools::TakeAlarms(headset.get())) alarms.push_back(std::move(alarm));
  // What the file holds, which a failed disk can make less than was taken.
  const auto samples = static_cast<unsigned long long>(writer->Records()) * recordSamples;
  std::printf("\n%s: %.1f s of signal (%llu samples), %llu lost in %u gaps, %u link losses%s\n%s",
              options.file.c_str(), static_cast<double>(samples) / rate, samples,
              static_cast<unsigned long long>(recording->LostSamples()), recording->Gaps(), linkLosses,
              ending.c_str(), FormatAlarms(alarms, 16).c_str());
  if (const std::uint64_t beyond = recording->AnnotationsBeyondRoom())
    std::printf("%llu annotations (the last ones) did not fit in the file and are lost\n",
                static_cast<unsigned long long>(beyond));
}

int Session::Run() {
  PrintIdentity(headset.get(), stdout);
  std::vector<ElectrodeImpedance> impedances;
  if (options.impedanceSeconds > 0.0) {
    std::printf("\nMeasuring impedances for %g s\n", options.impedanceSeconds);
    std::fflush(stdout);
    try {
      impedances = MeasureImpedances(headset.get(), options.impedanceSeconds, display);
    } catch (const LinkLostError&) {
      Abandon(headset);  // taking it down would wait on a dead link
      throw;
    }
    for (const ElectrodeImpedance& electrode : impedances)
      if (!electrode.reference) std::printf("Z %-6s %6.1f kOhm\n", electrode.name.c_str(), electrode.kOhm);
  }
  OpenFile(impedances);
  UseChannels(PrepareMontage(headset.get(), plan));
  std::printf("\nRecording to %s%s (Ctrl-C stops)\n", options.file.c_str(),
              options.seconds > 0.0 ? (" for " + Format("%g", options.seconds) + " s").c_str() : "");
  std::fflush(stdout);

  started = Clock::now();
  std::string ending;
  std::string failure;
  bool linkLost = false;
  while (!Done()) {
    try {
      RunBatches(
          headset.get(), 1e9, [this](unsigned n) { return TakeSamples(n); }, display, progress);
      Drain();
      break;
    } catch (const LinkLostError& error) {
      ++linkLosses;
      Drain();
      if (!options.reconnect || !Reconnect()) {
        linkLost = true;
        recording->Annotate("BAD link lost");
        if (!options.reconnect) failure = error.what();
        break;
      }
    }
  }
  if (Interrupted()) ending = " (interrupted)";
  TakeAlarms();  // those that came after the last batch, or before the first
  recording->Finish();
  try {
    writer->Close();
  } catch (const std::exception& error) {
    failure = error.what();
  }
  PrintSummary(ending);
  // Taking down a headset that fell silent would hold the program for 20 s.
  if (linkLost) Abandon(headset);
  if (!failure.empty()) throw RuntimeError(failure);
  return 0;
}

// The header holds plain ASCII in a field of its own width: the user hears
// what became of a name that does not fit it.
void NoteSubject(const std::string& subject) {
  const HeaderField stored = FitHeaderField(subject, BdfFile::kSubjectRoom);
  if (stored.cut)
    std::printf("The subject is too long for the file's header; it is cut to \"%s\"\n", stored.text.c_str());
  else if (AsciiText(subject) != subject)
    std::printf("The subject is written as \"%s\" (the file's header holds plain letters only)\n",
                stored.text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  // A reconnection builds the new headset on a thread of its own; with an
  // arena per thread, the memory the old headset gave back would stay with
  // the main thread's arena and each reconnection would add a headset's worth.
  mallopt(M_ARENA_MAX, 1);
  RecordOptions options;
  CommandLine line(RecordProgramText(std::string("qvt-record ") + QVT_RECORD_VERSION + " (library " +
                                     QVT_GetAPIVersion() + ")"));
  DeclareRecordOptions(line, options);
  if (const std::optional<int> status = line.ParseOrExit(argc, argv)) return *status;
  try {
    if (!options.repair.empty()) {
      const RepairOutcome outcome = RepairRecording(options.repair);
      std::printf("%s", outcome.report.c_str());
      return outcome.readable ? 0 : kRuntimeFailure;
    }
    CheckOutputFile(options.file, options.overwrite);
    const std::string port = ResolvePort(options.port);
    if (port.empty()) throw UsageError("no headset port: give --port or set QVTSerialPort");
    NoteSubject(options.subject);
    InstallInterruptHandler();
    HeadsetHandle headset = Connect(port, options.verbosity);
    return ExitStatus(Session(options, port, std::move(headset)).Run());
  } catch (const UsageError& error) {
    std::fprintf(stderr, "qvt-record: %s (see --help)\n", error.what());
    return kUsageFailure;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "qvt-record: %s\n", error.what());
    return ExitStatus(kRuntimeFailure);
  }
}
