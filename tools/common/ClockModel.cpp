#include "ClockModel.h"

#include <algorithm>
#include <cmath>

namespace QVT::Tools {

ClockModel::ClockModel(double nominalRate, Settings settings) : nominal_(nominalRate), settings_(settings) {}

void ClockModel::Restart() {
  if (started_) ++restarts_;
  started_ = false;
  stamped_ = false;
  window_.clear();
  intercept_ = slope_ = 0.0;
}

double ClockModel::Stamp(std::uint64_t index, double arrival) {
  if (stamped_ && index < lastIndex_) Restart();
  const double bucketSamples = settings_.bucketSeconds * nominal_;
  if (!started_) {
    started_ = true;
    anchorIndex_ = index;
    anchorArrival_ = arrival;
    bucketBest_ = {};
    bucketEnd_ = bucketSamples;
  }
  const double x = static_cast<double>(index - anchorIndex_);
  const double y = arrival - anchorArrival_ - x / nominal_;
  if (x >= bucketEnd_) {
    CloseBucket();
    bucketBest_ = {x, y};
    bucketEnd_ = (std::floor(x / bucketSamples) + 1.0) * bucketSamples;
  } else if (y < bucketBest_.y) {
    bucketBest_ = {x, y};
  }
  // Nothing arrives before it was taken: the line stays under every point.
  if (y < FitAt(x)) intercept_ = y - slope_ * x;

  const double target = anchorArrival_ + x / nominal_ + FitAt(x);
  double stamp = target;
  if (stamped_) {
    const auto steps = static_cast<double>(index - lastIndex_);
    const double predicted = lastStamp_ + steps * (1.0 / nominal_ + slope_);
    const double limit = settings_.slewFraction * steps / nominal_;
    if (std::fabs(target - predicted) <= settings_.snapSeconds)
      stamp = predicted + std::clamp(target - predicted, -limit, limit);
  }
  stamped_ = true;
  lastIndex_ = index;
  lastStamp_ = stamp;
  return stamp;
}

double ClockModel::AcquisitionTime(std::uint64_t index) const {
  if (!started_) return 0.0;
  const double x = static_cast<double>(index) - static_cast<double>(anchorIndex_);
  return anchorArrival_ + x / nominal_ + FitAt(x);
}

void ClockModel::CloseBucket() {
  window_.push_back(bucketBest_);
  const double windowSamples = settings_.windowSeconds * nominal_;
  while (window_.front().x < window_.back().x - windowSamples) window_.pop_front();
  Refit();
}

void ClockModel::Refit() {
  double lowest = window_.front().y;
  for (const Point& p : window_) lowest = std::min(lowest, p.y);
  const double focus = window_.front().x + settings_.focus * (window_.back().x - window_.front().x);
  slope_ = 0.0;
  intercept_ = lowest;
  if (window_.back().x - window_.front().x < settings_.minimumSpanSeconds * nominal_) return;

  // The lower convex hull; of all lines under every point, the one highest
  // at the focus runs along the hull's edge over it. With the focus at the
  // middle that line lies closest to the points in sum; later in the window
  // it is nearer the newest samples, which it extrapolates to.
  hull_.clear();
  for (const Point& p : window_) {
    while (hull_.size() >= 2) {
      const Point& a = hull_[hull_.size() - 2];
      const Point& b = hull_.back();
      if ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x) > 0.0) break;
      hull_.pop_back();
    }
    hull_.push_back(p);
  }
  for (std::size_t i = 0; i + 1 < hull_.size(); ++i) {
    const Point& a = hull_[i];
    const Point& b = hull_[i + 1];
    if (focus > b.x) continue;
    const double slope = (b.y - a.y) / (b.x - a.x);
    if (std::fabs(slope * nominal_) * 1e6 > settings_.maximumDriftPpm) return;
    slope_ = slope;
    intercept_ = a.y - slope * a.x;
    return;
  }
}

double ClockModel::Rate() const { return 1.0 / (1.0 / nominal_ + slope_); }

double ClockModel::DriftPpm() const { return (Rate() / nominal_ - 1.0) * 1e6; }

}  // namespace QVT::Tools
