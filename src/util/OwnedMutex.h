// A mutex that knows which thread holds it. Client callbacks run on threads
// that may already hold the headset's link locks; asking the mutex tells a
// call made from inside such a callback apart, so that it can be refused
// with a clear error instead of deadlocking.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace QVT {

class OwnedMutex {
 public:
  // reentryMessage is thrown when the thread that holds the mutex asks for
  // it again.
  explicit OwnedMutex(std::string reentryMessage) : reentry_(std::move(reentryMessage)) {}
  OwnedMutex(const OwnedMutex&) = delete;
  OwnedMutex& operator=(const OwnedMutex&) = delete;

  void lock() {
    if (HeldByThisThread()) throw reentry_;
    mutex_.lock();
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  }

  // False when another thread holds it; throws like lock for the holder.
  bool try_lock() {
    if (HeldByThisThread()) throw reentry_;
    if (!mutex_.try_lock()) return false;
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    return true;
  }

  void unlock() {
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    mutex_.unlock();
  }

  // Only the holder ever stores its own id, so the answer is exact for the
  // calling thread.
  bool HeldByThisThread() const {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

 private:
  std::mutex mutex_;
  std::atomic<std::thread::id> owner_{};
  const std::string reentry_;
};

}  // namespace QVT
