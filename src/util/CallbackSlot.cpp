#include "util/CallbackSlot.h"

#include "util/Timing.h"

namespace QVT {

namespace {
thread_local int deliveriesOnThisThread = 0;
}  // namespace

int DeliveriesOnThisThread() { return deliveriesOnThisThread; }

namespace detail {

// The count is raised before the pair is read, and Set looks at it after
// storing the new pair: a delivery that read the old pair is always seen.
DeliveryScope::DeliveryScope(std::atomic<int>& inFlight) : inFlight_(inFlight) {
  inFlight_.fetch_add(1);
  ++deliveriesOnThisThread;
}

DeliveryScope::~DeliveryScope() {
  --deliveriesOnThisThread;
  inFlight_.fetch_sub(1);
}

void WaitForDeliveries(const std::atomic<int>& inFlight) {
  while (inFlight.load() != 0) SleepSeconds(0.0002);
}

}  // namespace detail

}  // namespace QVT
