#include "MonitorPart.h"

#include "ChannelTrace.h"
#include "LibraryCalls.h"

namespace QVT::Monitor {

namespace {

// The page shows the last few alarms; the recording keeps them all.
constexpr std::size_t kAlarmsShown = 8;
// Health goes to the pages a few times a second, not with every batch.
constexpr auto kHealthInterval = std::chrono::milliseconds(250);

const char* LinkName(int state) {
  switch (state) {
    case QVT_LINK_CONNECTED:
      return "connected";
    case QVT_LINK_STREAMING:
      return "up";
    case QVT_LINK_LOST:
      return "lost";
    default:
      return "closed";
  }
}

}  // namespace

MonitorPart::MonitorPart(MonitorHub& monitorHub, ImpedanceCheck& check) : hub(monitorHub), impedances(check) {}

void MonitorPart::Start(const Session::SessionStart& start) {
  std::vector<ChannelSetup> channels;
  for (const Session::ChannelPlan& plan : start.channels) {
    const bool electrode = plan.kind == Session::ChannelKind::Electrode;
    channels.push_back({plan.label, electrode ? Tools::PositionOfElectrode(plan.label) : std::nullopt,
                        electrode ? ElectrodeFullScale(plan.gain) : 0.0, electrode ? "uV" : "counts"});
  }
  hub.Begin(std::move(channels), start.rate);
  if (!start.impedances.empty()) hub.ShowImpedances(start.impedances, false);
}

void MonitorPart::Samples(const Session::SampleBlock& block) {
  for (std::size_t k = 0; k < block.count; ++k) hub.AddSample(block.values.subspan(k * block.channels, block.channels));
}

void MonitorPart::GapFound(const Session::Gap& gap) { hub.Skip(gap.samples); }

void MonitorPart::EventFound(const Session::Event& event) {
  using Kind = Session::Event::Kind;
  switch (event.kind) {
    case Kind::Trigger:
      hub.Event("trigger", event.text);
      break;
    case Kind::Marker:
      hub.Event("marker", event.text);
      break;
    case Kind::Alarm:
      health.alarms.push_back(event.text.empty() ? "alarm " + std::to_string(event.value) : event.text);
      if (health.alarms.size() > kAlarmsShown) health.alarms.erase(health.alarms.begin());
      break;
    case Kind::LinkLost:
      health.link = "lost";
      hub.ShowHealth(health);
      impedances.Reconnected();
      break;
    case Kind::LinkRestored:
      hub.Event("marker", event.text);
      break;
  }
}

void MonitorPart::Report(Tools::Progress& progress) {
  health.samplesLost = progress.lostSamples;
  health.gaps = progress.gaps;
  health.driftPpm = progress.driftPpm;
  const auto now = std::chrono::steady_clock::now();
  if (now - lastHealth < kHealthInterval) return;
  lastHealth = now;
  hub.ShowHealth(health);
}

void MonitorPart::Tend(QVT_Headset* headset) {
  health.link = LinkName(QVT_Headset_GetLinkState(headset, nullptr));
  // As the headset last reported it: asking again would put an alarm with
  // the answer into every recording.
  health.batteryPercent = QVT_Headset_GetBatteryLevel(headset, 1);
  QVT_ClearError();  // a reading that failed shows as unknown
  // A check that fails is the page's to hear of; acquisition goes on.
  try {
    if (impedances.Tend(headset, estimates)) hub.ShowImpedances(estimates, impedances.Running());
  } catch (const Tools::RuntimeError& error) {
    QVT_ClearError();
    impedances.Want(false);
    health.alarms.push_back(error.what());
    hub.ShowImpedances(estimates, false);
  }
}

}  // namespace QVT::Monitor
