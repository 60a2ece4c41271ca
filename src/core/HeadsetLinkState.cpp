// What the headset's link is doing, as learned from the traffic it carries:
// no command is sent to find out.
#include "core/Headset.h"

namespace QVT {

namespace {
constexpr int kStreaming = 1;
}  // namespace

Headset::LinkState Headset::CurrentLinkState(double& since) const {
  since = 0.0;
  if (!serial.IsOpen() && serial.SimulatedInput() == nullptr) return LinkState::Closed;
  if (linkLost.load()) {
    since = linkLostTime.load();
    return LinkState::Lost;
  }
  since = linkStateTime.load();
  return dataAcquisitionMode.load() == kStreaming ? LinkState::Streaming : LinkState::Connected;
}

bool Headset::MarkLinkLost() {
  if (linkLost.load()) return false;
  // The time goes first, so that whoever sees the flag sees its time.
  linkLostTime.store(serial.Elapsed());
  const bool newlyLost = !linkLost.exchange(true);
  // A wait for samples ends on a lost link instead of sleeping on.
  if (newlyLost) waitSignal.Notify();
  return newlyLost;
}

void Headset::MarkLinkAnswering() {
  if (linkLost.load()) linkStateTime.store(serial.Elapsed());
  linkLost.store(false);
}

void Headset::MarkLinkOpened() {
  linkLostTime.store(0.0);
  linkStateTime.store(0.0);
  linkLost.store(false);
}

void Headset::SetDataAcquisitionMode(int mode) {
  const int before = dataAcquisitionMode.exchange(mode);
  if ((before == kStreaming) != (mode == kStreaming)) linkStateTime.store(serial.Elapsed());
}

}  // namespace QVT
