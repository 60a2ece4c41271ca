// Which accelerometer sample belongs to each EEG sample. The library holds
// the accelerometer by time but makes at most one of its samples current
// per EEG sample, and its samples come in packets some way behind their
// time: after a gap, several are due at once and the held value lags, so a
// stale one is carried into the clean samples behind the gap. Knowing every
// accelerometer sample the library showed (by its own time stamp, "ACCT"),
// the one that belongs to an EEG sample stamped t is the latest stamped no
// later than t, and that is settled once one stamped later than t is shown:
// the library shows them in the order of their stamps.
#pragma once

#include <deque>
#include <vector>

namespace QVT::Tools {

class AccelerometerTimeline {
 public:
  // rate: the accelerometer's samples per second.
  explicit AccelerometerTimeline(double rate) : period(1.0 / rate) {}

  // A received EEG sample showed the accelerometer sample stamped `stamp`
  // with these values (of the channels that read the accelerometer alone).
  // A stamp of 0 is the library's "none yet"; one earlier than the last
  // starts the line afresh (the headset restarted).
  void Show(double stamp, const std::vector<double>& values);

  // Whether the accelerometer sample belonging at time t is known for good.
  bool Settled(double t) const;

  struct Found {
    // Null where nothing shown is that early: what the library showed stands.
    const std::vector<double>* values = nullptr;
    // The sample that belonged there was lost on the way (a later one shows
    // the hole) and the one before it stands in, as the library holds it.
    bool standIn = false;
  };
  // What belongs at time t, asked for in the order of time: the values of
  // the latest sample shown stamped no later than t.
  Found At(double t);

  // A new connection: what was shown before belongs to none of its samples.
  void Restart() { shown.clear(); }

 private:
  struct Sample {
    double stamp;
    std::vector<double> values;
  };

  double period;
  std::deque<Sample> shown;  // from the one current at the last time asked
};

}  // namespace QVT::Tools
