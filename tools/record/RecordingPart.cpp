#include "RecordingPart.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "Interrupt.h"
#include "LibraryCalls.h"
#include "MarkerReport.h"
#include "MonotonicClock.h"

namespace QVT::Record {

using Session::ChannelKind;

namespace {

// Annotations every data record has room for: beyond them, neighbouring
// gaps share one. More when the impedances must fit into a short recording.
constexpr int kAnnotationSlots = 3;
constexpr int kMostAnnotationSlots = 64;
// The impedances fit into the first second, so that a recording cut short
// soon after it began still has them.
constexpr double kImpedanceRoomSeconds = 1.0;
// Markers too long for the file, shown whole in the summary: as many as
// bounded memory allows (a text is at most 64 KiB).
constexpr std::size_t kCutMarkersKept = 100;

std::string Format(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

}  // namespace

Signal SignalOf(const Session::ChannelPlan& channel) {
  switch (channel.kind) {
    case ChannelKind::Electrode:
      return ElectrodeSignal(channel.label, channel.gain);
    case ChannelKind::Trigger:
      return CountSignal(channel.label, "");
    case ChannelKind::Count:
      break;
  }
  return CountSignal(channel.label, "count");
}

class RecordingPart::FileSink : public RecordSink {
 public:
  explicit FileSink(RecordWriter& target) : writer(target) {}
  void WriteRecord(std::vector<int> digital) override { writer.WriteRecord(std::move(digital)); }
  void Annotate(double onset, double duration, std::string text) override {
    writer.Annotate(onset, duration, std::move(text));
  }

 private:
  RecordWriter& writer;
};

RecordingPart::RecordingPart(const RecordOptions& recordOptions) : options(recordOptions) {}

RecordingPart::~RecordingPart() { Tools::SetLastAction(nullptr); }

void RecordingPart::Start(const Session::SessionStart& start) {
  rate = start.rate;
  equipment = start.model + " " + start.revision + " SN" + std::to_string(start.serialNumber) + " FW" +
              start.firmware;
  // Records of a tenth of a second lose little when the program is killed;
  // rates that do not divide into them get records of a second.
  const double recordSeconds = std::fmod(rate, 10.0) == 0.0 ? 0.1 : 1.0;
  if (std::fmod(rate * recordSeconds, 1.0) != 0.0)
    throw Tools::RuntimeError("cannot record at " + Format("%g", rate) + " samples per second");
  recordSamples = static_cast<int>(rate * recordSeconds);
  std::vector<Signal> signals;
  for (const Session::ChannelPlan& channel : start.channels) signals.push_back(SignalOf(channel));
  const double roomSeconds =
      options.seconds > 0.0 ? std::min(options.seconds, kImpedanceRoomSeconds) : kImpedanceRoomSeconds;
  const double records = std::max(1.0, std::ceil(roomSeconds / recordSeconds));
  const int slots = static_cast<int>(std::min<double>(
      kMostAnnotationSlots,
      kAnnotationSlots + std::ceil(static_cast<double>(start.impedances.size()) / records)));
  writer = std::make_unique<RecordWriter>(options.file, signals, recordSamples, recordSeconds, slots,
                                          options.slowDiskSeconds);
  sink = std::make_unique<FileSink>(*writer);
  recording = std::make_unique<Recording>(signals, rate, recordSamples, start.triggerChannel, *sink, slots,
                                          start.triggerDelay);
  std::vector<std::size_t> accelerometer;
  for (std::size_t c = 0; c < start.channels.size(); ++c)
    if (start.channels[c].accelerometer) accelerometer.push_back(c);
  if (!accelerometer.empty() && start.accelerometerRate > 0.0)
    recording->AlignAccelerometer(std::move(accelerometer), start.accelerometerRate);
  // A second Ctrl-C may come while the library waits on a silent headset:
  // the file is then closed with the records it has.
  Tools::SetLastAction([this] {
    try {
      writer->Close();
      std::fprintf(stderr, "qvt-record: %s is closed with what was written\n", options.file.c_str());
    } catch (const std::exception& error) {
      std::fprintf(stderr, "qvt-record: %s\n", error.what());
    }
  });
  for (const Tools::ElectrodeImpedance& electrode : start.impedances)
    if (!electrode.reference && electrode.kOhm >= 0.0)
      recording->AnnotateAt(0.0, "Z " + electrode.name + " " + Format("%.1f", electrode.kOhm) + " kOhm");
  values.resize(signals.size());
  std::printf("\nRecording to %s%s (Ctrl-C stops)\n", options.file.c_str(),
              options.seconds > 0.0 ? (" for " + Format("%g", options.seconds) + " s").c_str() : "");
  std::fflush(stdout);
}

void RecordingPart::Samples(const Session::SampleBlock& block) {
  if (!headerWritten && block.count > 0) {
    // The file starts when its first sample was taken.
    const double ago = std::max(0.0, Tools::MonotonicSeconds() - block.stamps[0]);
    writer->SetHeader({equipment, options.subject,
                       std::chrono::system_clock::now() -
                           std::chrono::duration_cast<std::chrono::system_clock::duration>(
                               std::chrono::duration<double>(ago))});
    headerWritten = true;
  }
  for (std::size_t k = 0; k < block.count; ++k) {
    for (std::size_t c = 0; c < block.channels; ++c) values[c] = block.Value(k, c);
    const double accelerometerTime = block.accelerometerTimes.empty() ? 0.0 : block.accelerometerTimes[k];
    recording->Add(values, {block.headsetTimes[k], accelerometerTime});
  }
}

void RecordingPart::GapFound(const Session::Gap& gap) {
  if (gap.linkLost)
    recording->Fill(gap.samples, "BAD link lost");
  else
    recording->Lose(gap.samples);
}

void RecordingPart::EventFound(const Session::Event& event) {
  using Kind = Session::Event::Kind;
  switch (event.kind) {
    case Kind::Alarm:
      recording->Annotate("ALARM " + event.text);
      break;
    case Kind::LinkLost:
      linkDown = true;
      break;
    case Kind::LinkRestored:
      linkDown = false;
      break;
    case Kind::Marker: {
      const double onset = static_cast<double>(event.sample) / rate;
      const std::string text = Markers::PrintableText(event.text);
      recording->AnnotateAt(onset, text);
      if (text.size() <= BdfFile::kAnnotationTextRoom) break;
      if (cutMarkers.size() < kCutMarkersKept)
        cutMarkers.push_back(Format("at %.4f s: ", onset) + text);
      else
        ++cutMarkersNotKept;
      break;
    }
    case Kind::Trigger:  // the recording puts the trigger on its samples itself
      break;
  }
}

void RecordingPart::Report(Tools::Progress& progress) { progress.fileBytes = writer->Bytes(); }

std::string RecordingPart::Failure() const { return writer ? writer->Failure() : std::string(); }

std::string RecordingPart::End(const Session::SessionEnd& end) {
  std::string failure;
  if (!writer) return failure;
  if (linkDown) recording->Annotate("BAD link lost");
  recording->Finish();
  try {
    writer->Close();
  } catch (const std::exception& error) {
    failure = error.what();
  }
  // What the file holds, which a failed disk can make less than was taken.
  const auto samples = static_cast<unsigned long long>(writer->Records()) * static_cast<unsigned>(recordSamples);
  std::printf("\n%s: %.1f s of signal (%llu samples), %llu lost in %u gaps, %u link losses%s\n",
              options.file.c_str(), static_cast<double>(samples) / rate, samples,
              static_cast<unsigned long long>(recording->LostSamples()), recording->Gaps(), end.linkLosses,
              end.interrupted ? " (interrupted)" : "");
  if (const std::uint64_t missed = recording->AccelerometerMissed())
    std::printf("%llu samples hold the accelerometer sample before their own, which was lost\n",
                static_cast<unsigned long long>(missed));
  if (!cutMarkers.empty()) {
    std::printf("Markers too long for the file, which keeps their beginning, in full:\n");
    for (const std::string& marker : cutMarkers) std::printf("  %s\n", marker.c_str());
    if (cutMarkersNotKept > 0)
      std::printf("  and %llu more\n", static_cast<unsigned long long>(cutMarkersNotKept));
  }
  if (const std::uint64_t beyond = recording->AnnotationsBeyondRoom())
    std::printf("%llu annotations (the last ones) did not fit in the file and are lost\n",
                static_cast<unsigned long long>(beyond));
  return failure;
}

}  // namespace QVT::Record
