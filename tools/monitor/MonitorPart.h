// The monitor as a part of the acquisition: the signal, its events and the
// headset's health to the pages (through the hub), and the impedance check
// the page asks for.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "ImpedanceCheck.h"
#include "MonitorHub.h"
#include "Part.h"

namespace QVT::Monitor {

class MonitorPart : public Session::Part {
 public:
  MonitorPart(MonitorHub& hub, ImpedanceCheck& impedances);

  void Start(const Session::SessionStart& start) override;
  void Samples(const Session::SampleBlock& block) override;
  void GapFound(const Session::Gap& gap) override;
  void EventFound(const Session::Event& event) override;
  void Report(Tools::Progress& progress) override;
  void Tend(QVT_Headset* headset) override;

 private:
  MonitorHub& hub;
  ImpedanceCheck& impedances;
  Health health;
  std::vector<Tools::ElectrodeImpedance> estimates;
  std::chrono::steady_clock::time_point lastHealth;
};

}  // namespace QVT::Monitor
