#include "model/CalibrationFile.h"

#include <iomanip>
#include <sstream>

#include "util/Text.h"

namespace QVT {

namespace {

constexpr std::size_t kBytes = CalibrationLayout::kSize;
constexpr std::size_t kBytesPerLine = 8;

void Rewind(std::istream& in) {
  in.clear();
  in.seekg(0, std::ios::beg);
}

// Formatted reads of kBytes integers, keeping the low 8 bits of each. The
// whole stream state is tested after every read, end of file included, so a
// last number that ends exactly at the end of the input counts as a failure:
// text dumps end with a line feed, and files without one are refused.
CalibrationImage ReadNumbers(std::istream& in, bool hex, const char* kind, const std::string& fileName) {
  CalibrationImage image{};
  for (std::size_t i = 0; i < kBytes; ++i) {
    int value = 0;
    in >> (hex ? std::hex : std::dec) >> value;
    if (!in.good()) {
      std::ostringstream message;
      message << "failed to read " << kBytes << " 8-bit " << kind << "-formatted values from " << fileName;
      throw message.str();
    }
    image[i] = static_cast<std::uint8_t>(value & 0xFF);
  }
  return image;
}

CalibrationImage ReadRawBytes(std::istream& in, const std::string& fileName) {
  CalibrationImage image{};
  for (std::size_t i = 0; i < kBytes; ++i) {
    char c = 0;
    if (!in.get(c)) {
      std::ostringstream message;
      message << "failed to read " << kBytes << " raw bytes (after 'BIN\n' header) from " << fileName;
      throw message.str();
    }
    image[i] = static_cast<std::uint8_t>(c);
  }
  return image;
}

}  // namespace

std::string CalibrationDumpFormat(const std::string& format) {
  std::string normalised = Upper(Trim(format));
  if (normalised != "DEC" && normalised != "HEX" && normalised != "BIN")
    throw "unrecognized dump file format \"" + normalised + "\"";
  return normalised;
}

void WriteCalibrationDump(std::ostream& out, const CalibrationImage& image, const std::string& format) {
  out << format << '\n';
  if (format == "BIN") {
    out.write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
    return;
  }
  const bool hex = format == "HEX";
  for (std::size_t i = 0; i < image.size(); ++i) {
    if (hex) {
      out << std::hex << std::uppercase << std::setfill('0') << std::setw(2);
    } else {
      out << std::dec << std::setfill(' ') << std::setw(3);
    }
    out << static_cast<unsigned>(image[i]) << ((i + 1) % kBytesPerLine == 0 ? '\n' : ' ');
  }
}

CalibrationImage ReadCalibrationDump(std::istream& in, const std::string& requestedFormat,
                                     const std::string& fileName) {
  std::string format = Trim(Upper(requestedFormat));
  const bool headerMode = format.empty();
  std::string word;
  in >> word;
  if (headerMode) {
    format = Upper(word);
  } else if (format == "BIN" || Upper(word) != format) {
    // An explicit BIN is always a headerless raw image; for text formats a
    // missing header just means the numbers start at once.
    Rewind(in);
  }

  // In header mode the raw reads begin right after the word "BIN", so the
  // line feed ending the header becomes byte 0 and the last data byte is left
  // unread. Dumps are read back this way on purpose.
  if (format == "DEC") return ReadNumbers(in, false, "decimal", fileName);
  if (format == "HEX") return ReadNumbers(in, true, "hex", fileName);
  if (format == "BIN") return ReadRawBytes(in, fileName);
  if (headerMode)
    throw "file \"" + fileName +
        "\" has unexpected format - expected it to begin with 'DEC\\n', 'HEX\\n' or 'BIN\\n'";
  throw "unrecognized format \"" + format + "\"";
}

}  // namespace QVT
