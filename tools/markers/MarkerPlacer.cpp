#include "MarkerPlacer.h"

#include <algorithm>
#include <cmath>

namespace QVT::Markers {

MarkerPlacer::MarkerPlacer(double rate, Settings settings) : halfPeriod_(0.5 / rate), settings_(settings) {}

void MarkerPlacer::AddSample(std::uint64_t position, double time) {
  if (!started_) first_ = {position, time};
  started_ = true;
  samples_.push_back({position, time});
  while (samples_.back().time - samples_.front().time > settings_.historySeconds) samples_.pop_front();
}

void MarkerPlacer::AddMarker(Marker marker, double now) {
  if (waiting_.size() >= settings_.maxWaiting) {
    ++dropped_;
    return;
  }
  // A sender's clock far off ours must not hold the markers behind it for long.
  const double until =
      std::min(std::max(marker.time, now), now + settings_.waitSeconds) + settings_.waitSeconds;
  waiting_.push_back({std::move(marker), until});
}

bool MarkerPlacer::Place(const Marker& marker, bool waitNoLonger, PlacedMarker& placed) const {
  const double t = marker.time;
  const auto at = [&](const Sample& sample, Placement where) {
    placed = {marker, sample.position, sample.time, where};
    return true;
  };
  if (t < first_.time - halfPeriod_) return at(first_, Placement::BeforeFirst);
  if (t > samples_.back().time + halfPeriod_)
    return waitNoLonger && at(samples_.back(), Placement::AfterLast);
  if (t < samples_.front().time - halfPeriod_) return at(samples_.front(), Placement::Late);
  const auto after = std::lower_bound(samples_.begin(), samples_.end(), t,
                                      [](const Sample& sample, double time) { return sample.time < time; });
  if (after == samples_.begin()) return at(*after, Placement::AtItsTime);
  if (after == samples_.end()) return at(samples_.back(), Placement::AtItsTime);
  const Sample& before = *(after - 1);
  const Sample& nearest = t - before.time <= after->time - t ? before : *after;
  const bool inGap = after->position - before.position > 1 && std::fabs(t - nearest.time) > halfPeriod_;
  return at(nearest, inGap ? Placement::InGap : Placement::AtItsTime);
}

std::vector<PlacedMarker> MarkerPlacer::Drain(double now, bool finishing) {
  std::vector<PlacedMarker> done;
  if (samples_.empty()) {
    if (finishing) {
      dropped_ += waiting_.size();
      waiting_.clear();
    }
    return done;
  }
  // In order: a marker waiting for its sample holds back the ones after it.
  while (!waiting_.empty()) {
    PlacedMarker placed;
    if (!Place(waiting_.front().marker, finishing || now > waiting_.front().until, placed)) break;
    ++placed_[static_cast<std::size_t>(placed.where)];
    done.push_back(std::move(placed));
    waiting_.pop_front();
  }
  return done;
}

std::vector<PlacedMarker> MarkerPlacer::Take(double now) { return Drain(now, false); }

std::vector<PlacedMarker> MarkerPlacer::Finish() { return Drain(0.0, true); }

}  // namespace QVT::Markers
