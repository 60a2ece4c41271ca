// A client's callback and the data handed back to it, set by the client's
// thread while other threads deliver through it.
//
// Each delivery reads the pair once. Set waits until deliveries that may
// still use the old pair have returned, so that a client may free what the
// old pair used as soon as Set returns; called from inside a delivery (of
// any slot) it cannot wait for itself, and the new pair then takes effect
// from the next delivery.
#pragma once

#include <atomic>
#include <mutex>

namespace QVT {

// Deliveries running on the calling thread, over all slots.
int DeliveriesOnThisThread();

namespace detail {
// Counts a delivery on its slot and on the calling thread while it runs.
class DeliveryScope {
 public:
  explicit DeliveryScope(std::atomic<int>& inFlight);
  ~DeliveryScope();
  DeliveryScope(const DeliveryScope&) = delete;
  DeliveryScope& operator=(const DeliveryScope&) = delete;

 private:
  std::atomic<int>& inFlight_;
};

// Sleeps in short steps while deliveries are in flight.
void WaitForDeliveries(const std::atomic<int>& inFlight);
}  // namespace detail

template <typename Function>
class CallbackSlot {
 public:
  struct Pair {
    Function function = nullptr;
    void* data = nullptr;
  };

  explicit CallbackSlot(Function function = nullptr, void* data = nullptr) : pair_{function, data} {
    isSet_.store(function != nullptr, std::memory_order_relaxed);
  }
  CallbackSlot(const CallbackSlot&) = delete;
  CallbackSlot& operator=(const CallbackSlot&) = delete;

  // A cheap look, for callers that compose a message only when it would be
  // delivered.
  bool IsSet() const { return isSet_.load(std::memory_order_relaxed); }

  Pair Get() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return pair_;
  }

  void Set(Function function, void* data = nullptr) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      pair_ = Pair{function, data};
      isSet_.store(function != nullptr, std::memory_order_relaxed);
    }
    if (DeliveriesOnThisThread() == 0) detail::WaitForDeliveries(inFlight_);
  }

  // Calls deliver(pair) when a function is set; true when it did.
  template <typename Call>
  bool Deliver(Call&& deliver) {
    if (!IsSet()) return false;
    detail::DeliveryScope scope(inFlight_);
    const Pair pair = Get();
    if (pair.function == nullptr) return false;
    deliver(pair);
    return true;
  }

 private:
  mutable std::mutex mutex_;
  Pair pair_;
  std::atomic<bool> isSet_{false};
  std::atomic<int> inFlight_{0};
};

}  // namespace QVT
