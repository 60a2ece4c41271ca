#include "PublishingPart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "EegStreams.h"
#include "MonotonicClock.h"
#include "Outlet.h"

namespace QVT::Publish {

PublishingPart::PublishingPart(std::string streamName, Lsl::OutletConfig outletConfig)
    : name(std::move(streamName)), config(std::move(outletConfig)) {}

PublishingPart::~PublishingPart() = default;

void PublishingPart::Start(const Session::SessionStart& start) {
  eeg = std::make_unique<Lsl::Outlet>(EegStream(start, name), config);
  markers = std::make_unique<Lsl::Outlet>(MarkerStream(start, name), config);
  const Lsl::StreamInfo& info = eeg->Info();
  std::printf("\nPublishing \"%s\" (EEG, %d channels at %g Hz, source_id %s) on port %u\n",
              info.Name().c_str(), info.ChannelCount(), info.NominalRate(), info.SourceId().c_str(), eeg->Port());
  std::printf("Publishing \"%s\" (Markers, source_id %s) on port %u\n", markers->Info().Name().c_str(),
              markers->Info().SourceId().c_str(), markers->Port());
  std::fflush(stdout);
}

void PublishingPart::Samples(const Session::SampleBlock& block) {
  values.assign(block.values.begin(), block.values.end());
  eeg->PushChunk(std::span<const float>(values), block.stamps);
  samples += block.count;
}

void PublishingPart::Mark(const std::string& text, double stamp) {
  markers->PushMarker(text, stamp);
  ++marked;
}

void PublishingPart::GapFound(const Session::Gap& gap) {
  // A gap of the link's own is told by "link lost" and "link restored".
  if (!gap.linkLost) Mark("BAD gap: " + std::to_string(gap.samples) + " samples lost", gap.stamp);
}

void PublishingPart::EventFound(const Session::Event& event) {
  using Kind = Session::Event::Kind;
  switch (event.kind) {
    case Kind::Alarm:
      Mark(event.text.empty() ? "alarm " + std::to_string(event.value) : event.text, event.stamp);
      break;
    case Kind::LinkRestored:
      // The last sample's stamp is long past: the link came back now.
      Mark(event.text, Tools::MonotonicSeconds());
      break;
    case Kind::Trigger:
    case Kind::LinkLost:
    case Kind::Marker:
      Mark(event.text, event.stamp);
      break;
  }
}

void PublishingPart::Report(Tools::Progress& progress) {
  const std::size_t consumers = eeg->Consumers();
  mostConsumers = std::max(mostConsumers, consumers);
  // Asked after every block, and what it says seldom changes: formatted
  // only when it does.
  const long long driftTenths = std::llround(progress.driftPpm * 10.0);
  if (reportText.empty() || consumers != reportedConsumers || driftTenths != reportedDriftTenths) {
    char text[96];
    std::snprintf(text, sizeof text, "  consumers %zu  drift %.1f ppm", consumers, progress.driftPpm);
    reportText = text;
    reportedConsumers = consumers;
    reportedDriftTenths = driftTenths;
  }
  progress.extra += reportText;
}

std::string PublishingPart::End(const Session::SessionEnd& end) {
  if (!eeg) return {};
  std::printf("\nPublished %llu samples and %llu markers on \"%s\" to at most %zu consumers "
              "(%llu dropped for consumers that fell behind); clock drift %.1f ppm\n",
              static_cast<unsigned long long>(samples), static_cast<unsigned long long>(marked),
              eeg->Info().Name().c_str(), mostConsumers, static_cast<unsigned long long>(eeg->SamplesDropped()),
              end.driftPpm);
  return {};
}

}  // namespace QVT::Publish
