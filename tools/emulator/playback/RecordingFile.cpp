#include "RecordingFile.h"

#include <edflib.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace QVT::emulator {

namespace {

// Far beyond any EEG amplifier, and what the resampler can bridge to 300
// or 600 Hz.
constexpr double kHighestRate = 65536.0;
constexpr double kLongestSeconds = 366.0 * 24 * 3600;

std::string Refusal(int code) {
  switch (code) {
    case EDFLIB_NO_SUCH_FILE_OR_DIRECTORY: return "no such file";
    case EDFLIB_FILE_CONTAINS_FORMAT_ERRORS: return "not a valid EDF/BDF file (a bad header, or truncated)";
    case EDFLIB_FILE_READ_ERROR: return "a read error";
    case EDFLIB_FILETYPE_ERROR: return "not an EDF or BDF file";
    case EDFLIB_FILE_IS_DISCONTINUOUS: return "a discontinuous (EDF+D/BDF+D) recording, which cannot be replayed";
    case EDFLIB_MAXFILES_REACHED: return "too many files open";
    case EDFLIB_MALLOC_ERROR: return "out of memory";
    default: return "EDFlib refused it (error " + std::to_string(code) + ")";
  }
}

// The header's fields are padded with blanks.
std::string Trimmed(const char* field) {
  std::string text(field);
  const std::size_t last = text.find_last_not_of(' ');
  text.erase(last == std::string::npos ? 0 : last + 1);
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

}  // namespace

RecordingFile::RecordingFile(const std::string& path) {
  auto header = std::make_unique<edf_hdr_struct>();
  if (edfopen_file_readonly(path.c_str(), header.get(), EDFLIB_READ_ALL_ANNOTATIONS) != 0)
    throw PlaybackError(Refusal(header->filetype));
  handle_ = header->handle;
  try {
    const double recordSeconds = static_cast<double>(header->datarecord_duration) / EDFLIB_TIME_DIMENSION;
    seconds_ = static_cast<double>(header->file_duration) / EDFLIB_TIME_DIMENSION;
    if (!(recordSeconds > 0.0) || header->datarecords_in_file <= 0 || !(seconds_ > 0.0) ||
        seconds_ > kLongestSeconds)
      throw PlaybackError("it holds no data records of a sensible length");
    for (int s = 0; s < header->edfsignals; ++s) {
      const edf_param_struct& p = header->signalparam[s];
      const double rate = p.smp_in_datarecord / recordSeconds;
      if (!(rate > 0.0) || rate > kHighestRate || !std::isfinite(rate))
        throw PlaybackError("its signal \"" + Trimmed(p.label) + "\" has a rate of " + std::to_string(rate) + " Hz");
      if (!(p.phys_max != p.phys_min) || p.dig_max <= p.dig_min)
        throw PlaybackError("its signal \"" + Trimmed(p.label) + "\" has an empty range");
      edfSignal_.push_back(s);
      signals_.push_back({Trimmed(p.label), Trimmed(p.physdimension), rate});
    }
    if (signals_.empty()) throw PlaybackError("it holds no signals");
    for (long long n = 0; n < header->annotations_in_file; ++n) {
      edf_annotation_struct a{};
      if (edf_get_annotation(handle_, static_cast<int>(n), &a) != 0) break;
      annotations_.push_back({static_cast<double>(a.onset) / EDFLIB_TIME_DIMENSION,
                              a.duration_l >= 0 ? static_cast<double>(a.duration_l) / EDFLIB_TIME_DIMENSION : -1.0,
                              Trimmed(a.annotation)});
    }
  } catch (...) {
    edfclose_file(handle_);
    throw;
  }
}

RecordingFile::~RecordingFile() { edfclose_file(handle_); }

std::size_t RecordingFile::Read(std::size_t signal, double* out, std::size_t count) {
  const int got = edfread_physical_samples(handle_, edfSignal_.at(signal), static_cast<int>(count), out);
  if (got < 0) throw PlaybackError("cannot read signal \"" + signals_[signal].label + "\"");
  return static_cast<std::size_t>(got);
}

void RecordingFile::Rewind() {
  for (const int s : edfSignal_) edfrewind(handle_, s);
}

}  // namespace QVT::emulator
