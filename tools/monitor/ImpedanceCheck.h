// The impedance check the page starts and stops while the signal streams:
// the headset's impedance driver on or off as asked, and while it runs, every
// electrode's estimate once a second. Driven from acquisition's thread.
#pragma once

#include <atomic>
#include <chrono>
#include <vector>

#include "ElectrodeImpedance.h"
#include "qvt/qvt.h"

namespace QVT::Monitor {

class ImpedanceCheck {
 public:
  // From any thread: what the page asked for.
  void Want(bool on) { wanted = on; }

  // With the connected headset, after each batch. Switches the driver as
  // wanted; true when `electrodes` holds new estimates (or the check has
  // just stopped). Throws Tools::RuntimeError.
  bool Tend(QVT_Headset* headset, std::vector<Tools::ElectrodeImpedance>& electrodes);
  bool Running() const { return running; }
  // A new connection starts with the driver off.
  void Reconnected() { running = false; }

 private:
  std::atomic<bool> wanted{false};
  bool running = false;
  std::chrono::steady_clock::time_point lastReading;
};

}  // namespace QVT::Monitor
