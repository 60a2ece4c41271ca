#include "model/CalibrationFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "core/Headset.h"
#include "headset/CalibrationImages.h"
#include "support/TestHeadsets.h"

using QVT::CalibrationImage;
using QVT::testing::ThrownMessage;

namespace {

CalibrationImage Counting() {
  CalibrationImage image{};
  for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<std::uint8_t>(i * 2 + 5);
  return image;
}

std::string Dump(const CalibrationImage& image, const std::string& format) {
  std::ostringstream out;
  QVT::WriteCalibrationDump(out, image, QVT::CalibrationDumpFormat(format));
  return out.str();
}

CalibrationImage Read(const std::string& bytes, const std::string& format) {
  std::istringstream in(bytes);
  return QVT::ReadCalibrationDump(in, format, "cal.txt");
}

// n decimal numbers 0, 1, 2, ... separated by blanks, without a final blank.
std::string Numbers(int n) {
  std::string text;
  for (int i = 0; i < n; ++i) text += (i ? " " : "") + std::to_string(i);
  return text;
}

const std::string kDecimalFailure = "failed to read 128 8-bit decimal-formatted values from cal.txt";

}  // namespace

TEST(CalibrationDump, WritesHeaderThenSixteenLinesOrRawBytes) {
  const std::string dec = Dump(Counting(), " dec\n");
  EXPECT_EQ(dec.substr(0, 12), "DEC\n  5   7 ");
  EXPECT_EQ(dec.size(), 4u + 16u * 32u);
  EXPECT_EQ(dec.substr(4 + 15 * 32), "245 247 249 251 253 255   1   3\n");
  const std::string hex = Dump(Counting(), "Hex");
  EXPECT_EQ(hex.substr(0, 16), "HEX\n05 07 09 0B ");
  EXPECT_EQ(hex.substr(4 + 15 * 24), "F5 F7 F9 FB FD FF 01 03\n");
  EXPECT_EQ(Dump(QVT::testing::UnprogrammedCalibrationImage(), "BIN"), "BIN\n" + std::string(128, '\xFF'));
}

TEST(CalibrationRead, DumpsReadBackAndBinaryHeaderModeShiftsInTheLineFeed) {
  const CalibrationImage image = QVT::testing::TenTwentyCalibrationImage();
  for (const char* format : {"DEC", "HEX"}) {
    EXPECT_EQ(Read(Dump(image, format), ""), image) << format;
    EXPECT_EQ(Read(Dump(image, format), std::string(" ") + format + " "), image) << format;
  }
  const CalibrationImage counting = Counting();
  const CalibrationImage shifted = Read(Dump(counting, "BIN"), "");
  EXPECT_EQ(shifted[0], '\n');
  EXPECT_TRUE(std::equal(shifted.begin() + 1, shifted.end(), counting.begin()));
  // An explicit BIN is a headerless raw image, even when it holds a header.
  const std::string raw(counting.begin(), counting.end());
  EXPECT_EQ(Read(raw, "bin"), counting);
  const CalibrationImage read = Read("BIN\n" + raw, "BIN");
  EXPECT_EQ(std::string(read.begin(), read.begin() + 5), "BIN\n\x05");
}

TEST(CalibrationRead, FormatDecidesBaseNumbersKeepTheirLowByteAndTextMustEndAfterTheLast) {
  const std::string text = Numbers(128) + "\n";
  const std::string header =
      "file \"cal.txt\" has unexpected format - expected it to begin with 'DEC\\n', 'HEX\\n' or 'BIN\\n'";
  const std::string shortBinary = "failed to read 128 raw bytes (after 'BIN\n' header) from cal.txt";
  const struct {
    std::string bytes, format, failure;
    std::size_t index = 0;
    int value = 0;
  } cases[] = {
      {text, "dec ", "", 127, 127},  // an explicit format makes the header optional
      {text, "HEX", "", 127, 0x27},  // 0x127, low byte
      {"hex\n" + text, "", "", 16, 0x16},
      {"DEC\n300 -1 +7 " + Numbers(125) + "\n", "", "", 0, 44},
      {"DEC\n300 -1 +7 " + Numbers(125) + "\n", "", "", 1, 255},
      {"DEC\n300 -1 +7 " + Numbers(125) + "\n", "", "", 2, 7},
      {"BIN\n" + std::string(127, 'x'), "", "", 127, 'x'},  // the header's line feed counts
      {text, "", header},
      {"", "", header},
      {"HEX\n" + text, "DEC", kDecimalFailure},  // a header naming another format is data
      {"DEC\n" + Numbers(127) + "\n", "", kDecimalFailure},
      {"DEC\n" + Numbers(128), "", kDecimalFailure},
      {"HEX\n" + Numbers(128), "", "failed to read 128 8-bit hex-formatted values from cal.txt"},
      {"DEC\n" + Numbers(100) + " x " + Numbers(28) + "\n", "", kDecimalFailure},
      {"DEC", "DEC", kDecimalFailure},
      {"BIN\n" + std::string(126, 'x'), "", shortBinary},
      {std::string(127, 'x'), "BIN", shortBinary},
      {"OCT\n1 2 3\n", " oct", "unrecognized format \"OCT\""},
  };
  for (const auto& c : cases) {
    CalibrationImage image{};
    EXPECT_EQ(ThrownMessage([&] { image = Read(c.bytes, c.format); }),
              c.failure.empty() ? "(no failure)" : c.failure)
        << c.bytes.substr(0, 12) << "|" << c.format;
    EXPECT_EQ(image[c.index], c.failure.empty() ? c.value : 0) << c.bytes.substr(0, 12) << "|" << c.format;
  }
}

TEST(CalibrationFileOfHeadset, DumpLoadsIntoAnotherHeadsetAndFailuresChangeNothing) {
  QVT::Headset h("deferred"), other("deferred");
  h.messageCallback.Set(nullptr);
  other.messageCallback.Set(nullptr);
  h.InterpretCalibrationMemory(QVT::testing::TenTwentyCalibrationImage().data());
  const std::string path = ::testing::TempDir() + "qvt_calibration_dump.hex";
  std::remove(path.c_str());
  EXPECT_EQ(ThrownMessage([&] { h.DumpCalibrationMemoryToFile(path, " octal"); }),
            "unrecognized dump file format \"OCTAL\"");
  EXPECT_FALSE(std::ifstream(path).good());  // refused before the file is touched
  EXPECT_EQ(ThrownMessage([&] { h.DumpCalibrationMemoryToFile(::testing::TempDir(), "DEC"); }),
            "failed to open \"" + ::testing::TempDir() + "\" to dump calibration memory");

  h.DumpCalibrationMemoryToFile(path, "hex");
  other.ReadCalibrationMemoryFromFile(path, "");
  EXPECT_EQ(other.calibrationImage, h.calibrationImage);
  ASSERT_EQ(other.sources.size(), 42u);
  EXPECT_EQ(other.sources[17]->name, "CM");

  ASSERT_TRUE(h.RenameSource("Cz", "Vertex"));
  std::ofstream(path, std::ios::binary) << "DEC\n" + Numbers(127) + "\n";
  EXPECT_EQ(ThrownMessage([&] { h.ReadCalibrationMemoryFromFile(path, ""); }),
            "failed to read 128 8-bit decimal-formatted values from " + path);
  std::remove(path.c_str());
  EXPECT_EQ(ThrownMessage([&] { h.ReadCalibrationMemoryFromFile(path, "DEC"); }),
            "failed to open \"" + path + "\" to read calibration memory");
  EXPECT_EQ(h.calibrationImage, other.calibrationImage);
  EXPECT_EQ(h.sources.at(11)->name, "Vertex");
}
