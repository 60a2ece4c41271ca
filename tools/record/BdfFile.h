// A BDF+ file written through EDFlib: 24-bit signals in data records of a
// fixed duration, and annotations. Not thread-safe; one thread owns it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "Signal.h"

namespace QVT::Record {

struct BdfHeader {
  std::string equipment;
  std::string subject;
  std::chrono::system_clock::time_point start;
};

class BdfFile {
 public:
  // Creates the file. recordSamples samples of every signal make one data
  // record of recordSeconds (0.1 s or whole seconds). Throws
  // std::runtime_error naming the file.
  BdfFile(const std::string& path, const std::vector<Signal>& signals, int recordSamples,
          double recordSeconds, int annotationSignals);
  ~BdfFile();
  BdfFile(const BdfFile&) = delete;
  BdfFile& operator=(const BdfFile&) = delete;

  // Before the first record.
  void SetHeader(const BdfHeader& header);
  // One data record: recordSamples digital samples of signal 0, then of
  // signal 1, and so on. Throws std::runtime_error (a full disk, say); the
  // disk counts as full a little before it is, so that closing still fits.
  void WriteRecord(const std::vector<int>& digital);
  // onset and duration in seconds from the start; a negative duration has
  // none. Kept until Close, which writes them.
  void Annotate(double onset, double duration, const std::string& text);
  // Writes the annotations and the final header. Throws std::runtime_error;
  // the file is closed either way. Closing twice does nothing. EDFlib does
  // not report failed writes, so the file is measured afterwards: one cut
  // short is cut back to its last whole record (Records() tells how many),
  // or removed when none is whole.
  void Close();

  std::int64_t Bytes() const { return bytes; }
  // Data records in the file (after Close: those it really holds).
  std::int64_t Records() const { return records; }

 private:
  [[noreturn]] void Fail(const std::string& what) const;
  std::int64_t FreeBytes() const;
  // After a short write: what is left of the file, as an error message.
  std::string CutBack(std::int64_t size);

  std::string path;
  int handle = -1;
  int watch = -1;  // the file, opened again to measure it and its disk
  std::int64_t headerBytes = 0;
  std::int64_t recordBytes = 0;
  std::int64_t bytes = 0;
  std::int64_t records = 0;
};

}  // namespace QVT::Record
