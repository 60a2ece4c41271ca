// A BDF+ file, written so that it is whole at every moment: each data
// record goes out with the annotations that came since the one before, and
// the header's record count follows it at once. A process killed at any
// point leaves a file that readers open, with all records but possibly the
// one being written (see the repair for a kill between the two writes, or a
// power cut). Not thread-safe; one thread owns it.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "Signal.h"

namespace QVT::Record {

struct BdfHeader {
  std::string equipment;  // UTF-8, written as ASCII (HeaderText.h)
  std::string subject;
  std::chrono::system_clock::time_point start;
};

class BdfFile {
 public:
  // Room in the header for the subject's name and the equipment.
  static constexpr std::size_t kSubjectRoom = 74;
  static constexpr std::size_t kEquipmentRoom = 54;
  // An annotation's text up to this many bytes is never cut (in recordings
  // shorter than ten days, whose onsets take no more room).
  static constexpr std::size_t kAnnotationTextRoom = 80;

  // Creates the file, empty until the first record. recordSamples samples of
  // every signal make one data record of recordSeconds (0.1 s or whole
  // seconds); every record has room for annotationSlots annotations.
  // Throws std::runtime_error naming the file.
  BdfFile(const std::string& path, const std::vector<Signal>& signals, int recordSamples,
          double recordSeconds, int annotationSlots);
  ~BdfFile();
  BdfFile(const BdfFile&) = delete;
  BdfFile& operator=(const BdfFile&) = delete;

  // Before the first record, which writes it.
  void SetHeader(const BdfHeader& header);
  // One data record: recordSamples digital samples of signal 0, then of
  // signal 1, and so on, with as many waiting annotations as it has room
  // for. Throws std::runtime_error (a full disk, say); the file then keeps
  // the records before.
  void WriteRecord(const std::vector<int>& digital);
  // onset and duration in seconds from the start; a negative duration has
  // none. Waits for the next record; texts too long for a slot are cut.
  void Annotate(double onset, double duration, const std::string& text);
  // Puts what was written on the disk. Throws std::runtime_error.
  void Sync();
  // Since when what was written has been waiting to reach the disk, if it has.
  bool Unsynced() const { return unsynced; }
  std::chrono::steady_clock::time_point UnsyncedSince() const { return unsyncedSince; }
  // Syncs and closes. A file left without records is removed. Throws
  // std::runtime_error; the file is closed either way. Closing twice does
  // nothing.
  void Close();

  std::int64_t Bytes() const { return headerBytes + records * recordBytes; }
  std::int64_t Records() const { return records; }
  // Annotations that found no room in the records written so far.
  std::size_t AnnotationsWaiting() const { return waiting.size(); }

 private:
  struct Annotation {
    long long onset;     // units of 100 µs from the start
    long long duration;  // the same; negative: none
    std::string text;
  };

  [[noreturn]] void Fail(const std::string& what, int error) const;
  void WriteAt(std::int64_t offset, const void* data, std::size_t size, const char* what);
  // The header of a file of count records.
  std::string HeaderBytes(std::int64_t recordCount) const;
  void PutAnnotations(unsigned char* slots);
  // fdatasync's errno, or 0.
  int SyncError();
  // After a failed write: the file cut back to its whole records.
  std::string CutBack();

  std::string path;
  int fd = -1;
  std::vector<Signal> signals;
  int recordSamples;
  long long recordUnits;  // the record's duration in units of 100 ns
  int slots;
  BdfHeader header;
  long long startOffsetUnits = 0;  // the start's fraction of a second, 100 ns units
  std::int64_t headerBytes = 0;
  std::int64_t recordBytes = 0;
  std::int64_t records = 0;
  std::vector<unsigned char> record;
  std::deque<Annotation> waiting;
  bool unsynced = false;
  std::chrono::steady_clock::time_point unsyncedSince;
};

}  // namespace QVT::Record
