// What each channel of a headset's montage reads (electrode in µV, trigger,
// or some other count), and the montage rebuilt on a new connection.
#pragma once

#include <string>
#include <vector>

#include "qvt/qvt.h"

namespace QVT::Session {

enum class ChannelKind { Electrode, Trigger, Count };

// What one channel of the montage reads.
struct ChannelPlan {
  std::string specification;  // to rebuild the montage after a reconnection
  std::string label;
  ChannelKind kind = ChannelKind::Count;
  double gain = 0.0;           // electrodes: µV per count of the headset's converter
  bool accelerometer = false;  // reads the accelerometer alone
};

// Electrode channels in µV by their first source's gain, the trigger, and
// every other channel in counts. Throws QVT::Tools::RuntimeError.
std::vector<ChannelPlan> PlanChannels(QVT_Headset* headset);

// The channels read from a connected headset: the montage, then the
// headset's time stamp of each sample ("SND") and its clock's lag behind
// the computer's ("RCV"), which are read but not recorded; with channels
// that read the accelerometer, the time of its reading shown ("ACCT") too.
struct Channels {
  std::vector<QVT_Channel*> recorded;
  QVT_Channel* sampleTime = nullptr;
  QVT_Channel* clockLag = nullptr;
  QVT_Channel* accelerometerTime = nullptr;
};

// Gives the headset the montage of the plan (a new connection starts from
// the factory one) plus the clocks. Throws QVT::Tools::RuntimeError.
Channels PrepareMontage(QVT_Headset* headset, const std::vector<ChannelPlan>& plan);

}  // namespace QVT::Session
