// Feeds arbitrary bytes to the calibration dump reader as if they were a
// file. The first byte picks how the reader is asked: by header, or with an
// explicit DEC, HEX, BIN or unknown format. Whatever the bytes, the reader
// either returns an image or throws one of its documented messages; an image
// it returns survives a dump and a reread unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>

#include "model/CalibrationFile.h"

namespace {

const std::string kName = "fuzz.cal";

bool Documented(const std::string& message, const std::string& format) {
  static const std::set<std::string> messages = {
      "failed to read 128 8-bit decimal-formatted values from " + kName,
      "failed to read 128 8-bit hex-formatted values from " + kName,
      "failed to read 128 raw bytes (after 'BIN\n' header) from " + kName,
      "file \"" + kName +
          "\" has unexpected format - expected it to begin with 'DEC\\n', 'HEX\\n' or 'BIN\\n'",
  };
  return messages.count(message) > 0 || message == "unrecognized format \"" + format + "\"";
}

void CheckRoundTrip(const QVT::CalibrationImage& image, const std::string& format) {
  std::stringstream file;
  QVT::WriteCalibrationDump(file, image, format);
  if (QVT::ReadCalibrationDump(file, "", kName) != image) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const char* const kFormats[] = {"", " dec", "HEX\n", "bin", "OCT"};
  const std::string format = kFormats[data[0] % 5];
  std::istringstream file(std::string(reinterpret_cast<const char*>(data + 1), size - 1));
  try {
    const QVT::CalibrationImage image = QVT::ReadCalibrationDump(file, format, kName);
    CheckRoundTrip(image, "DEC");
    CheckRoundTrip(image, "HEX");
  } catch (const std::string& message) {
    if (!Documented(message, format == "OCT" ? "OCT" : "")) std::abort();
  }
  return 0;
}
