#include "model/MovingAverages.h"

#include <thread>

namespace QVT {

namespace {

bool IsFinite(double v) { return v - v == 0.0; }

// The thread sanitizer does not model fences. Under it the published values
// are stored with release and loaded with acquire, which it checks; elsewhere
// two fences do the same for less on the path every sample takes.
#if defined(__SANITIZE_THREAD__)
constexpr bool kFences = false;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kFences = false;
#else
constexpr bool kFences = true;
#endif
#else
constexpr bool kFences = true;
#endif
constexpr std::memory_order kPublish = kFences ? std::memory_order_relaxed : std::memory_order_release;
constexpr std::memory_order kTake = kFences ? std::memory_order_relaxed : std::memory_order_acquire;

}  // namespace

// A reader that sees any of a write's values also sees the odd count before
// them.
void MovingAverages::BeginWrite() {
  version.store(version.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  if constexpr (kFences) std::atomic_thread_fence(std::memory_order_release);
}

void MovingAverages::EndWrite() {
  version.store(version.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

void MovingAverages::Allocate(unsigned long n) {
  Clear();
  if (n == 0) return;
  // Allocated before capacity is set, so a failed allocation leaves the
  // averages cleared rather than half-built.
  slots = std::make_unique<Values[]>(n);
  capacity = n;
}

void MovingAverages::Clear() {
  Flush();
  slots.reset();
  capacity = 0;
  writeIndex = 0;
}

void MovingAverages::Flush() {
  BeginWrite();
  for (auto& sum : sums) sum.store(0.0, kPublish);
  written.store(false, kPublish);
  EndWrite();
}

void MovingAverages::Write(const Values& v, unsigned writeTag) {
  BeginWrite();
  if (capacity != 0) {
    // Slots are written in order; asking for the one after next now hides
    // most of the wait for it, with twenty-odd electrodes' slots in turn.
    __builtin_prefetch(&slots[writeIndex + 2 < capacity ? writeIndex + 2 : 0], 1);
    Values& slot = slots[writeIndex];
    for (std::size_t k = 0; k < kKinds; ++k) {
      const double old = slot.of[k];
      double s = sums[k].load(std::memory_order_relaxed);
      // Taking away +0.0 and adding -0.0 change no sum, not even a -0.0 one,
      // so skipping a non-finite value needs no branch.
      s -= IsFinite(old) ? old : 0.0;
      s += IsFinite(v.of[k]) ? v.of[k] : -0.0;
      sums[k].store(s, kPublish);
      slot.of[k] = v.of[k];
    }
    // A compare, not a division: this runs for every electrode and sample.
    writeIndex = writeIndex + 1 == capacity ? 0 : writeIndex + 1;
  }
  tag.store(writeTag, kPublish);
  written.store(true, kPublish);
  EndWrite();
}

MovingAverages::Snapshot MovingAverages::Read() const {
  Snapshot snapshot{};
  for (;;) {
    const std::uint32_t before = version.load(std::memory_order_acquire);
    if (before % 2 == 0) {
      for (std::size_t k = 0; k < kKinds; ++k) snapshot.sums.of[k] = sums[k].load(kTake);
      snapshot.tag = tag.load(kTake);
      snapshot.written = written.load(kTake);
      if constexpr (kFences) std::atomic_thread_fence(std::memory_order_acquire);
      if (version.load(std::memory_order_relaxed) == before) return snapshot;
    }
    std::this_thread::yield();
  }
}

double MovingAverages::LookBack(Kind kind, unsigned long n) const {
  if (capacity == 0) return 0.0;
  const std::uint64_t back = n % capacity;
  return slots[(writeIndex + capacity - 1 - back) % capacity].of[kind];
}

}  // namespace QVT
