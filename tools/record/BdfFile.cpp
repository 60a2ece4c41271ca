#include "BdfFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "BdfLayout.h"
#include "HeaderText.h"

namespace QVT::Record {

namespace {

using namespace BdfLayout;

constexpr int kSampleBytes = 3;
// Every annotation signal: 38 samples of 3 bytes, one annotation each.
constexpr int kSlotSamples = 38;
constexpr std::size_t kSlotBytes = kSlotSamples * kSampleBytes;
constexpr int kAnnotationDecimals = 4;   // onsets and durations in 100 µs
constexpr int kTimekeepingDecimals = 7;  // record onsets in 100 ns
constexpr long long kTimekeepingPerAnnotationUnit = 1000;

// Seconds given in units of 10^-decimals, signed, no trailing zeros.
std::string TimeText(long long units, int decimals) {
  long long scale = 1;
  for (int i = 0; i < decimals; ++i) scale *= 10;
  const unsigned long long magnitude = units < 0 ? -static_cast<unsigned long long>(units) : units;
  std::string text = (units < 0 ? "-" : "+") + std::to_string(magnitude / scale);
  std::string fraction = std::to_string(magnitude % scale);
  fraction.insert(0, static_cast<std::size_t>(decimals) - fraction.size(), '0');
  fraction.erase(fraction.find_last_not_of('0') + 1);
  if (!fraction.empty()) text += "." + fraction;
  return text;
}

// A number in the header's eight characters, as exactly as they hold it.
std::string NumberText(double value) {
  char text[32];
  for (int precision = 8; precision > 0; --precision) {
    std::snprintf(text, sizeof text, "%.*g", precision, value);
    if (std::strlen(text) <= kNumberWidth) break;
  }
  return text;
}

void Put(std::string& header, std::size_t at, std::size_t width, const std::string& text) {
  header.replace(at, std::min(width, text.size()), text, 0, width);
}

// The longest head of text that fits into room bytes and ends on a whole
// UTF-8 character.
std::string_view Head(std::string_view text, std::size_t room) {
  if (text.size() <= room) return text;
  std::size_t end = room;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

}  // namespace

BdfFile::BdfFile(const std::string& file, const std::vector<Signal>& recorded, int samplesPerRecord,
                 double recordSeconds, int annotationSlots)
    : path(file),
      signals(recorded),
      recordSamples(samplesPerRecord),
      recordUnits(std::llround(recordSeconds * 1e7)),
      slots(std::max(annotationSlots, 1)) {
  header.start = std::chrono::system_clock::now();
  headerBytes =
      static_cast<std::int64_t>((signals.size() + 1 + static_cast<std::size_t>(slots)) * kSignalBytes);
  const auto signalBytes = static_cast<std::int64_t>(signals.size()) * recordSamples * kSampleBytes;
  recordBytes = signalBytes + slots * static_cast<std::int64_t>(kSlotBytes);
  record.resize(static_cast<std::size_t>(recordBytes));
  fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) Fail("create", errno);
}

BdfFile::~BdfFile() {
  try {
    Close();
  } catch (const std::exception&) {
    // Whoever wanted to know has called Close.
  }
}

void BdfFile::Fail(const std::string& what, int error) const {
  throw std::runtime_error("cannot " + what + " " + path +
                           (error != 0 ? std::string(": ") + std::strerror(error) : ""));
}

void BdfFile::WriteAt(std::int64_t offset, const void* data, std::size_t size, const char* what) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  while (size > 0) {
    const ssize_t written = pwrite(fd, bytes, size, offset);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) Fail(what, written < 0 ? errno : ENOSPC);
    bytes += written;
    offset += written;
    size -= static_cast<std::size_t>(written);
  }
}

std::string BdfFile::HeaderBytes(std::int64_t recordCount) const {
  std::string text(static_cast<std::size_t>(headerBytes), ' ');
  const std::time_t seconds = std::chrono::system_clock::to_time_t(header.start);
  std::tm local{};
  localtime_r(&seconds, &local);
  char date[32];
  std::strftime(date, sizeof date, "%d-%b-%Y", &local);
  std::string startdate = date;
  for (char& c : startdate) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));

  Put(text, 0, kNumberWidth, std::string(kBdfVersion));
  const HeaderField subject = FitHeaderField(header.subject, kSubjectRoom);
  Put(text, kSubjectAt, kSubjectWidth, "X X X " + (subject.text.empty() ? "X" : subject.text));
  const HeaderField equipment = FitHeaderField(header.equipment, kEquipmentRoom);
  Put(text, kRecordingAt, kRecordingWidth,
      "Startdate " + startdate + " X X " + (equipment.text.empty() ? "X" : equipment.text));
  std::strftime(date, sizeof date, "%d.%m.%y", &local);
  Put(text, kDateAt, kNumberWidth, date);
  std::strftime(date, sizeof date, "%H.%M.%S", &local);
  Put(text, kTimeAt, kNumberWidth, date);
  Put(text, kHeaderBytesAt, kNumberWidth, std::to_string(headerBytes));
  Put(text, kReservedAt, kReservedWidth, "BDF+C");
  Put(text, kRecordCountAt, kNumberWidth, std::to_string(recordCount));
  Put(text, kRecordSecondsAt, kNumberWidth, NumberText(static_cast<double>(recordUnits) / 1e7));
  const std::size_t count = signals.size() + static_cast<std::size_t>(slots);
  Put(text, kSignalCountAt, kSignalCountWidth, std::to_string(count));

  // Field by field, each of every signal in turn.
  std::size_t at = kFixedBytes;
  const auto field = [&](std::size_t width, auto valueOf) {
    for (std::size_t s = 0; s < count; ++s, at += width) Put(text, at, width, valueOf(s));
  };
  const auto annotation = [&](std::size_t s) { return s >= signals.size(); };
  field(kLabelWidth, [&](std::size_t s) {
    return annotation(s) ? std::string(kAnnotationLabel) : AsciiText(signals[s].label);
  });
  field(kTransducerWidth, [](std::size_t) { return std::string(); });
  field(kUnitWidth,
        [&](std::size_t s) { return annotation(s) ? std::string() : AsciiText(signals[s].unit); });
  field(kNumberWidth, [&](std::size_t s) {
    return annotation(s) ? std::string("-1") : NumberText(signals[s].physicalMinimum);
  });
  field(kNumberWidth, [&](std::size_t s) {
    return annotation(s) ? std::string("1") : NumberText(signals[s].physicalMaximum);
  });
  field(kNumberWidth, [&](std::size_t s) {
    return std::to_string(annotation(s) ? Signal::kDigitalMinimum - 1 : Signal::kDigitalMinimum);
  });
  field(kNumberWidth, [&](std::size_t) { return std::to_string(Signal::kDigitalMaximum); });
  field(kPrefilterWidth, [](std::size_t) { return std::string(); });
  field(kNumberWidth,
        [&](std::size_t s) { return std::to_string(annotation(s) ? kSlotSamples : recordSamples); });
  return text;
}

void BdfFile::SetHeader(const BdfHeader& value) {
  header = value;
  const auto sinceEpoch = header.start.time_since_epoch();
  // The fraction of a second the header's start time cannot hold, in units
  // of 100 µs, the finest EDF+ readers agree on.
  const long long tenths = std::chrono::duration_cast<std::chrono::microseconds>(
                               sinceEpoch - std::chrono::floor<std::chrono::seconds>(sinceEpoch))
                               .count() /
                           100;
  startOffsetUnits = tenths * kTimekeepingPerAnnotationUnit;
  header.start = std::chrono::system_clock::time_point(std::chrono::floor<std::chrono::seconds>(sinceEpoch));
}

void BdfFile::Annotate(double onset, double duration, const std::string& text) {
  const auto units = [](double seconds) { return static_cast<long long>(std::llround(seconds * 10000.0)); };
  std::string clean = text;
  // The bytes below 0x20 are a TAL's own.
  for (char& c : clean)
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  waiting.push_back({units(onset), duration < 0.0 ? -1 : units(duration), std::move(clean)});
}

void BdfFile::PutAnnotations(unsigned char* area) {
  std::memset(area, 0, static_cast<std::size_t>(slots) * kSlotBytes);
  const long long offset = startOffsetUnits / kTimekeepingPerAnnotationUnit;
  for (int slot = 0; slot < slots; ++slot) {
    std::string tal;
    // The first slot of a record begins with the record's own onset.
    if (slot == 0)
      tal = TimeText(startOffsetUnits + records * recordUnits, kTimekeepingDecimals) + "\x14\x14" + '\0';
    if (!waiting.empty()) {
      const Annotation& next = waiting.front();
      tal += TimeText(next.onset + offset, kAnnotationDecimals);
      if (next.duration >= 0) tal += "\x15" + TimeText(next.duration, kAnnotationDecimals).substr(1);
      tal += '\x14';
      const std::size_t room = kSlotBytes - tal.size() - 2;
      tal += Head(next.text, room);
      tal += "\x14";
      tal += '\0';
      waiting.pop_front();
    }
    std::memcpy(area + static_cast<std::size_t>(slot) * kSlotBytes, tal.data(), tal.size());
  }
}

void BdfFile::WriteRecord(const std::vector<int>& digital) {
  if (fd < 0) throw std::runtime_error("cannot write to " + path + ": it is closed");
  unsigned char* out = record.data();
  for (const int value : digital) {
    *out++ = static_cast<unsigned char>(value & 0xFF);
    *out++ = static_cast<unsigned char>((value >> 8) & 0xFF);
    *out++ = static_cast<unsigned char>((value >> 16) & 0xFF);
  }
  PutAnnotations(out);
  try {
    if (records == 0) {
      // The header goes out with the first record, in one write: the file
      // is empty or readable, never a header alone.
      std::string first = HeaderBytes(1);
      first.append(record.begin(), record.end());
      WriteAt(0, first.data(), first.size(), "write to");
    } else {
      // The record first, then the count that takes it in: a file is never
      // shorter than its header says.
      WriteAt(Bytes(), record.data(), record.size(), "write to");
      char count[24];  // eight characters hold 115 days of 0.1 s records
      std::snprintf(count, sizeof count, "%-8lld", static_cast<long long>(records + 1));
      WriteAt(kRecordCountAt, count, kNumberWidth, "write to");
    }
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(error.what() + CutBack());
  }
  ++records;
  if (!unsynced) unsyncedSince = std::chrono::steady_clock::now();
  unsynced = true;
}

std::string BdfFile::CutBack() {
  struct stat status {};
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return "";
  if (records == 0) {
    unlink(path.c_str());
    return "; nothing could be kept, the file is removed";
  }
  // A count that did not go out leaves the record it would have taken in.
  if (ftruncate(fd, Bytes()) != 0)
    return "; the file may end in a torn record (qvt-record --repair mends it)";
  return "; it keeps its first " + std::to_string(records) + " records";
}

int BdfFile::SyncError() {
  if (!unsynced || fd < 0) return 0;
  unsynced = false;
  // Devices and pipes have nothing to sync.
  return fdatasync(fd) != 0 && errno != EINVAL && errno != EROFS ? errno : 0;
}

void BdfFile::Sync() {
  if (const int error = SyncError()) Fail("write to", error);
}

void BdfFile::Close() {
  if (fd < 0) return;
  int error = SyncError();
  struct stat status {};
  const bool regular = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  if (close(fd) != 0 && error == 0) error = errno;
  fd = -1;
  // An empty file is no recording.
  if (records == 0 && regular) unlink(path.c_str());
  if (error != 0) Fail("finish", error);
}

}  // namespace QVT::Record
