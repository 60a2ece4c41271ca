#include "BdfFile.h"

#include <edflib.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <stdexcept>

namespace QVT::Record {

namespace {

constexpr std::int64_t kHeaderBytesPerSignal = 256;
constexpr std::int64_t kAnnotationBytesPerRecord = 114;  // what EDFlib gives each annotation signal
// Recording stops this close to a full disk: room for what stdio still
// holds and for the annotations and header that closing writes in place.
constexpr std::int64_t kDiskReserveBytes = 16 * 1024;
constexpr off_t kRecordCountOffset = 236;  // of the header's "number of data records"

std::string OpenError(int code) {
  switch (code) {
    case EDFLIB_NO_SUCH_FILE_OR_DIRECTORY:
      return std::strerror(errno != 0 ? errno : ENOENT);
    case EDFLIB_MAXFILES_REACHED:
      return "too many files open";
    case EDFLIB_FILE_ALREADY_OPENED:
      return "already open";
    case EDFLIB_NUMBER_OF_SIGNALS_INVALID:
      return "too many signals";
    default:
      return "EDFlib error " + std::to_string(code);
  }
}

}  // namespace

BdfFile::BdfFile(const std::string& file, const std::vector<Signal>& signals, int recordSamples,
                 double recordSeconds, int annotationSignals)
    : path(file) {
  errno = 0;
  handle = edfopen_file_writeonly(path.c_str(), EDFLIB_FILETYPE_BDFPLUS, static_cast<int>(signals.size()));
  if (handle < 0) throw std::runtime_error("cannot create " + path + ": " + OpenError(handle));
  bool ok =
      edf_set_datarecord_duration(handle, static_cast<int>(std::lround(recordSeconds * 100000.0))) == 0 &&
      edf_set_number_of_annotation_signals(handle, annotationSignals) == 0;
  for (int s = 0; ok && s < static_cast<int>(signals.size()); ++s) {
    const Signal& signal = signals[static_cast<std::size_t>(s)];
    ok = edf_set_samplefrequency(handle, s, recordSamples) == 0 &&
         edf_set_physical_maximum(handle, s, signal.physicalMaximum) == 0 &&
         edf_set_physical_minimum(handle, s, signal.physicalMinimum) == 0 &&
         edf_set_digital_maximum(handle, s, Signal::kDigitalMaximum) == 0 &&
         edf_set_digital_minimum(handle, s, Signal::kDigitalMinimum) == 0 &&
         edf_set_label(handle, s, signal.label.c_str()) == 0 &&
         edf_set_physical_dimension(handle, s, signal.unit.c_str()) == 0;
  }
  if (!ok) {
    edfclose_file(handle);
    handle = -1;
    throw std::runtime_error("cannot describe the signals of " + path);
  }
  const auto count = static_cast<std::int64_t>(signals.size());
  bytes = headerBytes = (count + 1 + annotationSignals) * kHeaderBytesPerSignal;
  recordBytes = count * recordSamples * 3 + annotationSignals * kAnnotationBytesPerRecord;
  watch = open(path.c_str(), O_RDWR | O_CLOEXEC);
}

BdfFile::~BdfFile() {
  if (handle >= 0) edfclose_file(handle);
  if (watch >= 0) close(watch);
}

std::int64_t BdfFile::FreeBytes() const {
  struct statvfs disk {};
  if (watch < 0 || fstatvfs(watch, &disk) != 0) return std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(disk.f_bavail) * static_cast<std::int64_t>(disk.f_frsize);
}

void BdfFile::Fail(const std::string& what) const {
  const int error = errno;
  throw std::runtime_error("cannot " + what + " " + path +
                           (error != 0 ? std::string(": ") + std::strerror(error) : ""));
}

void BdfFile::SetHeader(const BdfHeader& header) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(header.start);
  std::tm local{};
  localtime_r(&seconds, &local);
  const auto sinceEpoch = header.start.time_since_epoch();
  const auto tenths = std::chrono::duration_cast<std::chrono::microseconds>(
                          sinceEpoch - std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch))
                          .count() /
                      100;  // units of 100 µs, the finest EDF+ readers agree on
  const bool ok = edf_set_startdatetime(handle, local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                                        local.tm_hour, local.tm_min, local.tm_sec) == 0 &&
                  edf_set_subsecond_starttime(handle, static_cast<int>(tenths) * 1000) == 0 &&
                  edf_set_equipment(handle, header.equipment.c_str()) == 0 &&
                  (header.subject.empty() || edf_set_patientname(handle, header.subject.c_str()) == 0);
  if (!ok) throw std::runtime_error("cannot write the header of " + path);
}

void BdfFile::WriteRecord(const std::vector<int>& digital) {
  // EDFlib does not report a failed write: stop while the file can still
  // be closed whole.
  if (FreeBytes() < kDiskReserveBytes + 2 * recordBytes) {
    errno = ENOSPC;
    Fail("write to");
  }
  errno = 0;
  if (edf_blockwrite_digital_samples(handle, const_cast<int*>(digital.data())) != 0) Fail("write to");
  bytes += recordBytes;
  ++records;
}

void BdfFile::Annotate(double onset, double duration, const std::string& text) {
  const auto units = [](double seconds) { return static_cast<long long>(std::llround(seconds * 10000.0)); };
  if (edfwrite_annotation_utf8(handle, units(onset), duration < 0.0 ? -1 : units(duration), text.c_str()) !=
      0)
    throw std::runtime_error("cannot annotate " + path);
}

void BdfFile::Close() {
  if (handle < 0) return;
  errno = 0;
  const int result = edfclose_file(handle);
  handle = -1;
  const int closeError = errno;
  struct stat file {};
  std::string shortfall;
  if (watch >= 0 && fstat(watch, &file) == 0 && S_ISREG(file.st_mode) &&
      file.st_size < headerBytes + records * recordBytes)
    shortfall = CutBack(file.st_size);
  if (watch >= 0) close(watch);
  watch = -1;
  if (!shortfall.empty()) throw std::runtime_error(shortfall);
  errno = closeError;
  if (result != 0) Fail("finish");
}

std::string BdfFile::CutBack(std::int64_t size) {
  const std::string why = "cannot write all of " + path + " (is the disk full?)";
  const std::int64_t whole = size > headerBytes ? (size - headerBytes) / recordBytes : 0;
  char count[24];
  std::snprintf(count, sizeof count, "%-8lld", static_cast<long long>(whole));
  if (whole == 0 || pwrite(watch, count, 8, kRecordCountOffset) != 8 ||
      ftruncate(watch, headerBytes + whole * recordBytes) != 0) {
    records = 0;
    unlink(path.c_str());
    return why + "; nothing could be kept, the file is removed";
  }
  records = whole;
  return why + "; it keeps its first " + std::to_string(whole) + " records";
}

}  // namespace QVT::Record
