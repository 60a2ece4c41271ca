#include "ImpedanceCheck.h"

#include "LibraryCalls.h"

namespace QVT::Monitor {

namespace {

using Clock = std::chrono::steady_clock;

// The library's estimates average over a second of signal, so reading them
// more often shows nothing new.
constexpr auto kReadingInterval = std::chrono::seconds(1);

std::vector<Tools::ElectrodeImpedance> Estimates(QVT_Headset* headset) {
  std::vector<Tools::ElectrodeImpedance> electrodes;
  const unsigned sources = QVT_Headset_GetNumberOfSources(headset);
  for (unsigned s = 0; s < sources; ++s) {
    QVT_Source* source = QVT_Headset_GetSourceByIndex(headset, s);
    if (QVT_Source_IsReferentialEEG(source) != 1) continue;
    const bool reference = QVT_Source_IsFactoryReference(source) == 1;
    electrodes.push_back({Tools::Copy(QVT_Source_GetName(source)),
                          reference ? -1.0 : QVT_Source_GetImpedanceEEG(source), reference});
  }
  // The common-mode electrode every reading is taken against.
  electrodes.push_back({"CMF", QVT_Headset_GetImpedanceCMF(headset), true});
  Tools::ThrowIfFailed("cannot read the impedances");
  return electrodes;
}

}  // namespace

bool ImpedanceCheck::Tend(QVT_Headset* headset, std::vector<Tools::ElectrodeImpedance>& electrodes) {
  const bool on = wanted;
  if (on && !running) {
    QVT_Headset_StartImpedanceDriver(headset);
    Tools::ThrowIfFailed("cannot start the impedance driver");
    running = true;
    lastReading = Clock::now();
    return false;
  }
  if (!on && running) {
    running = false;
    // Read before the driver stops: every later sample resets the estimates.
    electrodes = Estimates(headset);
    QVT_Headset_StopImpedanceDriver(headset);
    Tools::ThrowIfFailed("cannot stop the impedance driver");
    return true;
  }
  if (!running || Clock::now() - lastReading < kReadingInterval) return false;
  lastReading = Clock::now();
  electrodes = Estimates(headset);
  return true;
}

}  // namespace QVT::Monitor
