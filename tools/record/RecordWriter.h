// Writes a BDF+ file on a thread of its own, so that a slow disk never holds
// up the thread that takes samples from the headset: records and
// annotations wait in a queue, in order, until the file takes them. What
// the file took reaches the disk within half a second (fdatasync), so that
// a power cut costs at most about that.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "BdfFile.h"

namespace QVT::Record {

class RecordWriter {
 public:
  // Creates the file at once (throws std::runtime_error as BdfFile does).
  // Every record has room for annotationSignals annotations (at most 64).
  // extraSecondsPerRecord slows every record down, to try out a slow disk.
  RecordWriter(const std::string& path, const std::vector<Signal>& signals, int recordSamples,
               double recordSeconds, int annotationSignals, double extraSecondsPerRecord = 0.0);
  // Closes the file if Close was not called; errors are then lost.
  ~RecordWriter();
  RecordWriter(const RecordWriter&) = delete;
  RecordWriter& operator=(const RecordWriter&) = delete;

  void SetHeader(BdfHeader header);
  void WriteRecord(std::vector<int> digital);
  void Annotate(double onset, double duration, std::string text);

  // Writes what is queued, then closes the file. Throws std::runtime_error
  // with the first failure, if any (the file is closed with what it got).
  // Any thread may close it; a second call waits for the first and does
  // nothing.
  void Close();

  // The first failure so far, or "" (a full disk, say); after one, further
  // records are dropped.
  std::string Failure() const;
  std::int64_t Bytes() const { return bytes; }
  std::size_t Queued() const;
  // After Close: the data records the file holds.
  std::int64_t Records() const { return file.Records(); }

  // How long written data may wait before it is synced.
  static constexpr std::chrono::milliseconds kSyncDelay{500};

 private:
  struct Annotation {
    double onset;
    double duration;
    std::string text;
  };
  using Item = std::variant<BdfHeader, std::vector<int>, Annotation>;

  void Push(Item item);
  void Run();
  void Write(Item& item);
  // Runs what may fail on the file; the first failure stops the writer.
  template <typename Action>
  void Attempt(std::unique_lock<std::mutex>& guard, Action action);

  BdfFile file;
  const double extraSeconds;

  std::mutex closeLock;
  mutable std::mutex lock;
  std::condition_variable wake;
  std::deque<Item> queue;
  bool closing = false;
  std::string failure;

  std::atomic<std::int64_t> bytes{0};
  std::thread thread;
};

}  // namespace QVT::Record
