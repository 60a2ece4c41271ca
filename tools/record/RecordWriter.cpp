#include "RecordWriter.h"

#include <stdexcept>

namespace QVT::Record {

RecordWriter::RecordWriter(const std::string& path, const std::vector<Signal>& signals, int recordSamples,
                           double recordSeconds, int annotationSignals, double extraSecondsPerRecord)
    : file(path, signals, recordSamples, recordSeconds, annotationSignals),
      extraSeconds(extraSecondsPerRecord) {
  bytes = file.Bytes();
  thread = std::thread([this] { Run(); });
}

RecordWriter::~RecordWriter() {
  try {
    Close();
  } catch (const std::exception&) {
    // Already reported by Failure() to whoever asked.
  }
}

void RecordWriter::SetHeader(BdfHeader header) { Push(std::move(header)); }
void RecordWriter::WriteRecord(std::vector<int> digital) { Push(std::move(digital)); }
void RecordWriter::Annotate(double onset, double duration, std::string text) {
  Push(Annotation{onset, duration, std::move(text)});
}

void RecordWriter::Push(Item item) {
  {
    std::lock_guard<std::mutex> guard(lock);
    if (!failure.empty() || closing) return;
    queue.push_back(std::move(item));
  }
  wake.notify_one();
}

std::string RecordWriter::Failure() const {
  std::lock_guard<std::mutex> guard(lock);
  return failure;
}

std::size_t RecordWriter::Queued() const {
  std::lock_guard<std::mutex> guard(lock);
  return queue.size();
}

template <typename Action>
void RecordWriter::Attempt(std::unique_lock<std::mutex>& guard, Action action) {
  guard.unlock();
  std::string error;
  try {
    action();
  } catch (const std::exception& e) {
    error = e.what();
  }
  guard.lock();
  if (!error.empty() && failure.empty()) {
    failure = error;
    queue.clear();
  }
}

void RecordWriter::Run() {
  std::unique_lock<std::mutex> guard(lock);
  const auto ready = [this] { return closing || !queue.empty(); };
  for (;;) {
    // Only this thread touches the file until Close has joined it.
    if (file.Unsynced() && failure.empty()) {
      const auto due = file.UnsyncedSince() + kSyncDelay;
      if (!wake.wait_until(guard, due, ready) || std::chrono::steady_clock::now() >= due) {
        Attempt(guard, [this] { file.Sync(); });
        continue;
      }
    } else {
      wake.wait(guard, ready);
    }
    if (queue.empty()) return;  // closing, and everything is written
    Item item = std::move(queue.front());
    queue.pop_front();
    Attempt(guard, [&] { Write(item); });
  }
}

void RecordWriter::Write(Item& item) {
  if (auto* header = std::get_if<BdfHeader>(&item)) {
    file.SetHeader(*header);
  } else if (auto* record = std::get_if<std::vector<int>>(&item)) {
    if (extraSeconds > 0.0) std::this_thread::sleep_for(std::chrono::duration<double>(extraSeconds));
    file.WriteRecord(*record);
    bytes = file.Bytes();
  } else {
    const auto& annotation = std::get<Annotation>(item);
    file.Annotate(annotation.onset, annotation.duration, annotation.text);
  }
}

void RecordWriter::Close() {
  std::lock_guard<std::mutex> closeGuard(closeLock);
  {
    std::lock_guard<std::mutex> guard(lock);
    if (closing) return;
    closing = true;
  }
  wake.notify_one();
  thread.join();
  std::string error = Failure();
  try {
    file.Close();
  } catch (const std::exception& e) {
    if (error.empty()) error = e.what();
  }
  if (!error.empty()) throw std::runtime_error(error);
}

}  // namespace QVT::Record
