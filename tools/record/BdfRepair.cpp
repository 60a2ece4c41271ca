#include "BdfRepair.h"

#include <edflib.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "BdfLayout.h"

namespace QVT::Record {

namespace {

using namespace BdfLayout;

constexpr long long kMostSignals = 4096;

// Closes what it opened on every path.
struct Descriptor {
  int fd = -1;
  ~Descriptor() {
    if (fd >= 0) close(fd);
  }
};

std::optional<long long> Number(std::string_view header, std::size_t at, std::size_t width) {
  std::string_view text = header.substr(at, width);
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  text = text.substr(0, text.find(' '));
  long long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

bool ReadAt(int fd, std::string& into, std::size_t size, off_t offset) {
  into.resize(size);
  return pread(fd, into.data(), size, offset) == static_cast<ssize_t>(size);
}

std::string Records(long long n) { return std::to_string(n) + (n == 1 ? " data record" : " data records"); }

bool EdflibOpens(const std::string& path) {
  auto header = std::make_unique<edf_hdr_struct>();
  if (edfopen_file_readonly(path.c_str(), header.get(), EDFLIB_READ_ALL_ANNOTATIONS) != 0) return false;
  edfclose_file(header->handle);
  return true;
}

// What the file is and holds; throws std::runtime_error for what is not a
// BDF or EDF file.
struct Survey {
  long long headerBytes = 0;
  long long recordBytes = 0;
  std::optional<long long> counted;  // the header's record count, when it is one
  long long whole = 0;               // whole records in the file
  long long tornBytes = 0;           // of a record cut short
  long long written = 0;             // whole records that reached the disk
};

Survey Look(int fd, const std::string& path, long long size) {
  const auto notOurs = [&](const std::string& why) {
    return std::runtime_error(path + " is not a BDF or EDF file (" + why + "); it is left as it is");
  };
  std::string header;
  if (!ReadAt(fd, header, kFixedBytes, 0)) throw notOurs("too short for a header");
  const std::string_view version = std::string_view(header).substr(0, kNumberWidth);
  const int sampleBytes = version == kBdfVersion ? 3 : version == kEdfVersion ? 2 : 0;
  if (sampleBytes == 0) throw notOurs("it does not begin as one");
  const std::optional<long long> signals = Number(header, kSignalCountAt, kSignalCountWidth);
  const std::optional<long long> headerBytes = Number(header, kHeaderBytesAt, kNumberWidth);
  if (!signals || *signals < 1 || *signals > kMostSignals || !headerBytes ||
      *headerBytes != static_cast<long long>(kSignalBytes) * (*signals + 1))
    throw notOurs("its header contradicts itself");
  if (size < *headerBytes) throw std::runtime_error(path + " ends inside its header; nothing can be kept");

  Survey survey;
  survey.headerBytes = *headerBytes;
  survey.counted = Number(header, kRecordCountAt, kNumberWidth);
  if (!ReadAt(fd, header, static_cast<std::size_t>(*headerBytes), 0)) throw notOurs("unreadable header");
  const auto n = static_cast<std::size_t>(*signals);
  long long annotationAt = -1;  // the first annotation signal's offset in a record
  for (std::size_t s = 0; s < n; ++s) {
    const std::optional<long long> samples =
        Number(header, kFixedBytes + n * kSamplesFieldsBefore + s * kNumberWidth, kNumberWidth);
    if (!samples || *samples < 1) throw notOurs("a signal without samples");
    const std::string_view label =
        std::string_view(header).substr(kFixedBytes + s * kLabelWidth, kLabelWidth);
    if (annotationAt < 0 && (label.substr(0, kAnnotationLabel.size()) == kAnnotationLabel ||
                             label.substr(0, kEdfAnnotationLabel.size()) == kEdfAnnotationLabel))
      annotationAt = survey.recordBytes;
    survey.recordBytes += *samples * sampleBytes;
  }
  survey.whole = (size - survey.headerBytes) / survey.recordBytes;
  survey.tornBytes = (size - survey.headerBytes) % survey.recordBytes;
  // Space a power cut left unwritten reads as zeros, where every record of
  // an EDF+ or BDF+ file begins its annotations with its onset.
  survey.written = survey.whole;
  std::string first;
  while (
      annotationAt >= 0 && survey.written > 0 &&
      ReadAt(fd, first, 1, survey.headerBytes + (survey.written - 1) * survey.recordBytes + annotationAt) &&
      first[0] != '+' && first[0] != '-')
    --survey.written;
  return survey;
}

std::string Mend(int fd, const Survey& survey, long long size) {
  const long long keep = survey.headerBytes + survey.written * survey.recordBytes;
  if (size != keep && ftruncate(fd, keep) != 0) return std::strerror(errno);
  char count[24];
  std::snprintf(count, sizeof count, "%-8lld", survey.written);
  if (pwrite(fd, count, kNumberWidth, kRecordCountAt) != static_cast<ssize_t>(kNumberWidth) || fsync(fd) != 0)
    return std::strerror(errno);
  return "";
}

}  // namespace

RepairOutcome RepairRecording(const std::string& path) {
  RepairOutcome outcome;
  Descriptor file;
  file.fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (file.fd < 0 || fstat(file.fd, &status) != 0) {
    outcome.report = "cannot open " + path + ": " + std::strerror(errno) + "\n";
    return outcome;
  }
  if (!S_ISREG(status.st_mode)) {
    outcome.report = path + " is not a BDF or EDF file (not a regular file); it is left as it is\n";
    return outcome;
  }
  const long long size = status.st_size;
  if (size == 0) {
    // What a recording killed before its first record leaves.
    outcome.report = path + " is empty: nothing was recorded into it; it is left as it is\n";
    return outcome;
  }
  Survey survey;
  try {
    survey = Look(file.fd, path, size);
  } catch (const std::runtime_error& error) {
    outcome.report = std::string(error.what()) + "\n";
    return outcome;
  }

  const bool countTrue = survey.counted && *survey.counted == survey.written;
  if (countTrue && survey.tornBytes == 0 && survey.written == survey.whole) {
    outcome.readable = EdflibOpens(path);
    outcome.report = path + " is sound: " + Records(survey.written) + "; nothing changed\n";
    if (!outcome.readable) outcome.report += "but EDFlib refuses it for a reason this repair does not mend\n";
    return outcome;
  }
  std::string& report = outcome.report;
  const std::string counted = !survey.counted       ? "no number of records"
                              : *survey.counted < 0 ? "-1 data records (what a writer leaves until it closes)"
                                                    : Records(*survey.counted);
  report = path + ": the header counts " + counted + "; the file holds " + Records(survey.whole) +
           (survey.tornBytes > 0 ? " and " + std::to_string(survey.tornBytes) + " bytes of a torn one" : "") +
           (survey.written < survey.whole
                ? ", the last " + std::to_string(survey.whole - survey.written) + " never written (zeros)"
                : "") +
           "\n";
  if (survey.written == 0) {
    report += "No whole data record to keep; the file is left as it is\n";
    return outcome;
  }
  Descriptor writable;
  writable.fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  const std::string failure = writable.fd < 0 ? std::strerror(errno) : Mend(writable.fd, survey, size);
  if (!failure.empty()) {
    report += "cannot mend " + path + ": " + failure + "\n";
    return outcome;
  }
  const long long dropped = size - survey.headerBytes - survey.written * survey.recordBytes;
  report += "Kept " + Records(survey.written) +
            (dropped > 0 ? ", dropped the " + std::to_string(dropped) + " bytes after them" : "") +
            ", and the header now counts " + Records(survey.written) + "\n";
  outcome.readable = EdflibOpens(path);
  report += outcome.readable ? "EDFlib opens it\n"
                             : "EDFlib still refuses it, for a reason this repair does not mend\n";
  return outcome;
}

}  // namespace QVT::Record
