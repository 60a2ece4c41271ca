#include "Recording.h"

#include <cmath>

namespace QVT::Record {

namespace {

std::string TriggerText(double value) {
  return "TRG " + std::to_string(static_cast<long long>(std::llround(value)));
}

}  // namespace

Recording::Recording(std::vector<Signal> recorded, double samplingRate, int samplesPerRecord, int trigger,
                     RecordSink& destination)
    : signals(std::move(recorded)),
      rate(samplingRate),
      recordSamples(samplesPerRecord),
      triggerSignal(trigger),
      sink(destination),
      record(signals.size() * static_cast<std::size_t>(samplesPerRecord)),
      last(signals.size(), 0) {}

void Recording::Put(const std::vector<int>& digital) {
  for (std::size_t s = 0; s < signals.size(); ++s)
    record[s * static_cast<std::size_t>(recordSamples) + static_cast<std::size_t>(inRecord)] = digital[s];
  ++samples;
  if (++inRecord == recordSamples) {
    sink.WriteRecord(record);
    inRecord = 0;
  }
}

void Recording::Add(const std::vector<double>& values) {
  for (std::size_t s = 0; s < signals.size(); ++s) last[s] = signals[s].ToDigital(values[s]);
  if (triggerSignal >= 0) {
    const double trigger = values[static_cast<std::size_t>(triggerSignal)];
    if (trigger != lastTrigger && trigger != 0.0) {
      sink.Annotate(Seconds(), -1.0, TriggerText(trigger));
      ++triggers;
    }
    lastTrigger = trigger;
  }
  Put(last);
}

void Recording::Fill(std::uint64_t n, const std::string& why) {
  if (n == 0) return;
  sink.Annotate(Seconds(), static_cast<double>(n) / rate, why);
  for (std::uint64_t i = 0; i < n; ++i) Put(last);
  filled += n;
}

void Recording::Annotate(const std::string& text) { sink.Annotate(Seconds(), -1.0, text); }

void Recording::AnnotateAt(double seconds, const std::string& text) { sink.Annotate(seconds, -1.0, text); }

void Recording::Finish() {
  if (inRecord == 0) return;
  const auto padding = static_cast<std::uint64_t>(recordSamples - inRecord);
  sink.Annotate(Seconds(), static_cast<double>(padding) / rate,
                "BAD end: " + std::to_string(padding) + " samples padded");
  while (inRecord != 0) Put(last);
}

}  // namespace QVT::Record
