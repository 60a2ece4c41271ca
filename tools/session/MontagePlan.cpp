#include "MontagePlan.h"

#include <algorithm>
#include <cctype>

#include "HeadsetReport.h"
#include "LibraryCalls.h"

namespace QVT::Session {

using Tools::Copy;
using Tools::DiscardBufferedSamples;
using Tools::MontageChannels;
using Tools::ThrowIfFailed;

namespace {

constexpr const char* kSampleTime = "SND";
constexpr const char* kClockLag = "RCV";
constexpr const char* kAccelerometerTime = "ACCT";
constexpr const char* kAccelerometerSources[] = {"ACCT", "ACCX", "ACCY", "ACCZ", "JERK"};

// The names in a channel specification: "Fp1", "M1" and "M2" of
// "Fp1-M1/2-M2/2".
std::vector<std::string> SourceNames(const std::string& specification) {
  std::vector<std::string> names;
  std::size_t start = 0;
  while (start < specification.size()) {
    const std::size_t end = std::min(specification.find_first_of("-+*/ ", start), specification.size());
    const std::string term = specification.substr(start, end - start);
    if (!term.empty() && !std::isdigit(static_cast<unsigned char>(term[0]))) names.push_back(term);
    start = end + 1;
  }
  return names;
}

}  // namespace

std::vector<ChannelPlan> PlanChannels(QVT_Headset* headset) {
  std::vector<QVT_Source*> accelerometer;
  for (const char* name : kAccelerometerSources)
    if (QVT_Source* source = QVT_Headset_GetSourceByName(headset, name)) accelerometer.push_back(source);
  std::vector<ChannelPlan> plan;
  for (QVT_Channel* channel : MontageChannels(headset)) {
    ChannelPlan entry;
    entry.specification = Copy(QVT_Channel_GetString(channel));
    entry.label = Copy(QVT_Channel_GetName(channel));
    bool trigger = false;
    // Channels answer "trigger" whatever they read; their sources know. An
    // electrode channel may start with the headset's own reference, whose
    // gain is 0: the largest gain of its electrodes sets its scale.
    double gain = 0.0;
    bool electrode = false;
    bool other = false;  // a source that is no accelerometer's
    for (const std::string& sourceName : SourceNames(entry.specification)) {
      QVT_Source* source = QVT_Headset_GetSourceByName(headset, sourceName.c_str());
      if (source == nullptr) continue;
      const bool axis = std::find(accelerometer.begin(), accelerometer.end(), source) != accelerometer.end();
      entry.accelerometer = entry.accelerometer || axis;
      other = other || !axis;
      trigger = trigger || QVT_Source_IsTrigger(source) == 1;
      if (QVT_Source_IsSensor(source) == 1) {
        electrode = true;
        gain = std::max(gain, QVT_Source_GetGain(source));
      }
    }
    entry.accelerometer = entry.accelerometer && !other;
    QVT_ClearError();  // a name in a specification need not be a source's
    if (trigger) {
      entry.kind = ChannelKind::Trigger;
    } else if (electrode && gain > 0.0) {
      entry.kind = ChannelKind::Electrode;
      entry.gain = gain;
    }
    plan.push_back(entry);
  }
  ThrowIfFailed("cannot read the montage");
  return plan;
}

Channels PrepareMontage(QVT_Headset* headset, const std::vector<ChannelPlan>& plan) {
  std::vector<QVT_Channel*> current = MontageChannels(headset);
  bool same = current.size() == plan.size();
  for (std::size_t c = 0; same && c < plan.size(); ++c)
    same = Copy(QVT_Channel_GetString(current[c])) == plan[c].specification &&
           Copy(QVT_Channel_GetName(current[c])) == plan[c].label;
  if (!same) {
    QVT_Headset_ForgetMontage(headset);
    for (const ChannelPlan& entry : plan) {
      QVT_Headset_AddChannelToMontage_FromString(headset, entry.specification.c_str(), 0);
      QVT_Channel_SetName(
          QVT_Headset_GetChannelByIndex(headset, QVT_Headset_GetNumberOfChannels(headset) - 1),
          entry.label.c_str());
    }
    ThrowIfFailed("cannot restore the montage");
  }
  QVT_Headset_AddChannelToMontage_FromString(headset, kSampleTime, 0);
  QVT_Headset_AddChannelToMontage_FromString(headset, kClockLag, 0);
  const bool accelerometer =
      std::any_of(plan.begin(), plan.end(), [](const ChannelPlan& entry) { return entry.accelerometer; });
  if (accelerometer) QVT_Headset_AddChannelToMontage_FromString(headset, kAccelerometerTime, 0);
  ThrowIfFailed("cannot add the clocks to the montage");
  DiscardBufferedSamples(headset);
  Channels channels;
  channels.recorded = MontageChannels(headset);
  if (accelerometer) {
    channels.accelerometerTime = channels.recorded.back();
    channels.recorded.pop_back();
  }
  channels.clockLag = channels.recorded.back();
  channels.recorded.pop_back();
  channels.sampleTime = channels.recorded.back();
  channels.recorded.pop_back();
  return channels;
}

}  // namespace QVT::Session
