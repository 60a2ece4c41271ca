#include "model/RingBuffer.h"

#include <atomic>
#include <string>
#include <thread>

namespace QVT {

namespace {

// Slots are plain doubles, but LookBack reads them without the lock while
// the writer stores, so both sides go through atomic views.
double LoadSlot(double& slot) { return std::atomic_ref<double>(slot).load(std::memory_order_relaxed); }

void StoreSlot(double& slot, double v) { std::atomic_ref<double>(slot).store(v, std::memory_order_relaxed); }

bool IsFinite(double v) { return v - v == 0.0; }

}  // namespace

RingBuffer::~RingBuffer() { Clear(); }

void RingBuffer::CheckCapacity(unsigned long n) {
  if (n > kMaxCapacity)
    throw "cannot allocate a buffer of " + std::to_string(n) + " samples: the most is " +
        std::to_string(kMaxCapacity);
}

void RingBuffer::Allocate(unsigned long n) {
  Clear();
  if (n == 0) return;
  // Allocated before capacity is set, so a failed allocation leaves the
  // buffer cleared rather than half-built.
  data = std::make_unique<double[]>(n);
  capacity = n;
}

void RingBuffer::Clear() {
  data.reset();
  sum.store(0.0);
  capacity = 0;
  writeIndex.store(0);
  readIndex.store(0);
  count.store(0);
  overflow.store(0);
  written.store(0);
  writing.store(false);
  reading.store(false);
}

void RingBuffer::Flush() {
  sum.store(0.0);
  readIndex.store(writeIndex.load());
  count.store(0);
  overflow.store(0);
}

// The two-party lock with one read-modify-write per side: the exchange on
// turn orders the own flag before the look at the other's, and the release
// of the flag publishes what was done inside. A zero-length select() does
// not give up the processor; yielding lets the holder of the lock run when
// both threads share a core.
void RingBuffer::LockAsWriter() {
  writing.store(true, std::memory_order_relaxed);
  turn.exchange(1, std::memory_order_acq_rel);
  while (reading.load(std::memory_order_acquire) && turn.load(std::memory_order_acquire) == 1)
    std::this_thread::yield();
}

void RingBuffer::LockAsReader() {
  reading.store(true, std::memory_order_relaxed);
  turn.exchange(0, std::memory_order_acq_rel);
  while (writing.load(std::memory_order_acquire) && turn.load(std::memory_order_acquire) == 0)
    std::this_thread::yield();
}

void RingBuffer::Write(double v) {
  if (capacity == 0 || !data) return;
  LockAsWriter();
  Store(v);
  writing.store(false, std::memory_order_release);
}

void RingBuffer::Store(double v) {
  // Inside the lock its flags already order everything against Read, so the
  // fields need only be atomic for the unlocked accessors.
  const std::uint64_t index = writeIndex.load(std::memory_order_relaxed);
  // Slots are written in order, a cache line every eight; asking for the
  // line after this one now hides most of the wait for it later.
  if (index % 8 == 0) __builtin_prefetch(&data[index + 8 < capacity ? index + 8 : 0], 1);
  const double old = LoadSlot(data[index]);
  StoreSlot(data[index], v);
  // A compare, not a division: this runs for every value of every buffer.
  const std::uint64_t next = index + 1 == capacity ? 0 : index + 1;
  // Release, so that LookBack never sees the new index before the new value.
  writeIndex.store(next, std::memory_order_release);

  // NaN and infinities are kept in the slots but would poison the sum.
  double s = sum.load(std::memory_order_relaxed);
  if (IsFinite(old)) s -= old;
  if (IsFinite(v)) s += v;
  sum.store(s, std::memory_order_relaxed);

  written.store(written.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  const std::uint64_t unread = count.load(std::memory_order_relaxed);
  if (unread >= capacity) {
    overflow.store(overflow.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    readIndex.store(next, std::memory_order_relaxed);  // the oldest unread value was just overwritten
  } else {
    count.store(unread + 1, std::memory_order_relaxed);
  }
}

double RingBuffer::Read() {
  if (capacity == 0 || !data) throw std::string("cannot read from unallocated buffer");
  LockAsReader();

  const std::uint64_t unread = count.load(std::memory_order_relaxed);
  if (unread == 0) {
    reading.store(false, std::memory_order_release);
    throw std::string("buffer underflow");
  }
  const std::uint64_t index = readIndex.load(std::memory_order_relaxed);
  const double v = LoadSlot(data[index]);
  // Advance before releasing the lock: a write slipping in after the release
  // could find the buffer full and move readIndex itself, and this read's
  // late update would then skip a slot or leave count one short, which later
  // delivers values out of order.
  readIndex.store(index + 1 == capacity ? 0 : index + 1, std::memory_order_relaxed);
  count.store(unread - 1, std::memory_order_relaxed);
  reading.store(false, std::memory_order_release);
  return v;
}

std::size_t RingBuffer::ReadInto(double* out, std::size_t n, std::uint64_t* firstIndex) {
  if (capacity == 0 || !data) throw std::string("cannot read from unallocated buffer");
  LockAsReader();
  const std::uint64_t unread = count.load(std::memory_order_relaxed);
  const std::size_t taken = n < unread ? n : static_cast<std::size_t>(unread);
  if (firstIndex != nullptr) *firstIndex = written.load(std::memory_order_relaxed) - unread;
  std::uint64_t index = readIndex.load(std::memory_order_relaxed);
  for (std::size_t k = 0; k < taken; ++k) {
    out[k] = LoadSlot(data[index]);
    index = index + 1 == capacity ? 0 : index + 1;
  }
  // As in Read: the indices move before the lock is released.
  readIndex.store(index, std::memory_order_relaxed);
  count.store(unread - taken, std::memory_order_relaxed);
  reading.store(false, std::memory_order_release);
  return taken;
}

double RingBuffer::LookBack(unsigned long n) const {
  if (capacity == 0 || !data) return 0.0;
  // Reduce n first: unsigned wrap-around of writeIndex - 1 - n would be
  // modulo 2^64, not modulo capacity.
  const std::uint64_t back = n % capacity;
  const std::uint64_t index = (writeIndex.load(std::memory_order_acquire) + capacity - 1 - back) % capacity;
  return LoadSlot(data[index]);
}

}  // namespace QVT
