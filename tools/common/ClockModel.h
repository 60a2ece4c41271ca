// The headset's sample clock against this computer's CLOCK_MONOTONIC, learnt
// online: fed the index of each sample in the headset's own count (lost
// samples included) with the time it arrived, it tells when each sample was
// taken, as offset + index / rate.
//
// Arrival is the true time plus a delay that is never negative (the radio
// holds blocks back, the computer reads them late), so the fit is the lower
// envelope of the (index, arrival) points, not their mean: the line under
// all of them that lies closest to them on the whole, taken over a sliding
// window so that a wandering clock is followed. A lost sample leaves no
// trace but a hole; the next keeps its true time.
//
// Stamps handed out never go backwards: when a refit moves the line, the
// stamps move towards it by at most a small part of a period per sample.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

namespace QVT::Tools {

class ClockModel {
 public:
  struct Settings {
    double windowSeconds = 60.0;  // how far back the fit looks
    double bucketSeconds = 1.0;  // the earliest arrival of each such span is a point of the fit
    double minimumSpanSeconds = 2.0;  // until the points span this, the rate is taken as nominal
    double slewFraction = 0.01;       // of a period, per sample: how fast stamps follow a refit
    double maximumDriftPpm = 2000.0;  // a fitted rate further off nominal is not believed
    double snapSeconds = 0.25;        // stamps this far off the fit jump to it
    double focus = 0.5;               // where in the window the fit lies closest to the points
  };

  explicit ClockModel(double nominalRate) : ClockModel(nominalRate, Settings{}) {}
  ClockModel(double nominalRate, Settings settings);

  // Learns that sample index arrived at arrival (seconds, CLOCK_MONOTONIC)
  // and returns its stamp: when it was taken, in the same clock. An index
  // below the last one starts the model afresh, as Restart does.
  double Stamp(std::uint64_t index, double arrival);

  // When sample index was taken by the current fit, without smoothing; 0.0
  // before the first sample.
  double AcquisitionTime(std::uint64_t index) const;

  // Forgets everything: the headset's count or clock started again.
  void Restart();

  // Samples per second of this computer's clock, as fitted (nominal until
  // the points span long enough), and how far that is off nominal.
  double Rate() const;
  double DriftPpm() const;
  unsigned Restarts() const { return restarts_; }

 private:
  // A point relative to the anchor: x samples after it, arriving y seconds
  // later than the nominal rate would have it.
  struct Point {
    double x = 0.0;
    double y = 0.0;
  };
  void CloseBucket();
  void Refit();
  double FitAt(double x) const { return intercept_ + slope_ * x; }

  const double nominal_;
  const Settings settings_;

  bool started_ = false;
  std::uint64_t anchorIndex_ = 0;
  double anchorArrival_ = 0.0;
  std::deque<Point> window_;  // the earliest point of each closed bucket, oldest first
  Point bucketBest_;
  double bucketEnd_ = 0.0;  // x at which the open bucket closes
  double intercept_ = 0.0;  // the fit: y = intercept + slope * x
  double slope_ = 0.0;

  bool stamped_ = false;
  std::uint64_t lastIndex_ = 0;
  double lastStamp_ = 0.0;
  unsigned restarts_ = 0;
  std::vector<Point> hull_;  // scratch for Refit
};

}  // namespace QVT::Tools
