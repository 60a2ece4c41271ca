#include "model/CalibrationFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "core/Headset.h"
#include "headset/CalibrationImages.h"

using QVT::CalibrationImage;

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

std::string ReadFailure(const std::string& bytes, const std::string& format) {
  try {
    Read(bytes, format);
  } catch (const std::string& message) {
    return message;
  }
  return "(no failure)";
}

// n decimal numbers 0, 1, 2, ... separated by blanks, without a final blank.
std::string Numbers(int n) {
  std::string text;
  for (int i = 0; i < n; ++i) text += (i ? " " : "") + std::to_string(i);
  return text;
}

const std::string kDecimalFailure = "failed to read 128 8-bit decimal-formatted values from cal.txt";
const std::string kHeaderFailure =
    "file \"cal.txt\" has unexpected format - expected it to begin with 'DEC\\n', 'HEX\\n' or 'BIN\\n'";

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

TEST(CalibrationRead, TextDumpsReadBackUnchanged) {
  const CalibrationImage image = QVT::testing::TenTwentyCalibrationImage();
  EXPECT_EQ(Read(Dump(image, "DEC"), ""), image);
  EXPECT_EQ(Read(Dump(image, "HEX"), ""), image);
  EXPECT_EQ(Read(Dump(image, "HEX"), "hex"), image);
  EXPECT_EQ(Read(Dump(image, "DEC"), " dec "), image);
}

TEST(CalibrationRead, BinaryDumpInHeaderModeStartsWithTheHeaderLineFeed) {
  const CalibrationImage image = Counting();
  const CalibrationImage read = Read(Dump(image, "BIN"), "");
  EXPECT_EQ(read[0], '\n');
  for (std::size_t i = 1; i < read.size(); ++i) EXPECT_EQ(read[i], image[i - 1]) << i;
  // Header mode counts that line feed, so 127 more bytes suffice.
  EXPECT_EQ(Read("BIN\n" + std::string(127, 'x'), "")[127], 'x');
}

TEST(CalibrationRead, ExplicitBinaryIsAHeaderlessRawImage) {
  const CalibrationImage image = Counting();
  const std::string raw(image.begin(), image.end());
  EXPECT_EQ(Read(raw, "bin"), image);
  const CalibrationImage read = Read("BIN\n" + raw, "BIN");
  EXPECT_EQ(std::string(read.begin(), read.begin() + 5), "BIN\n\x05");
}

TEST(CalibrationRead, ExplicitFormatMakesTheHeaderOptional) {
  const std::string text = Numbers(128) + "\n";
  EXPECT_EQ(Read(text, "dec ")[127], 127);
  EXPECT_EQ(Read(text, "HEX")[127], 0x27);  // 0x127, low byte
  EXPECT_EQ(ReadFailure(text, ""), kHeaderFailure);
  // A header naming another format is read as data.
  EXPECT_EQ(ReadFailure("HEX\n" + text, "DEC"), kDecimalFailure);
}

TEST(CalibrationRead, HeaderDecidesTheBaseAndNumbersKeepTheirLowByte) {
  EXPECT_EQ(Read("hex\n" + Numbers(128) + "\n", "")[16], 0x16);
  const CalibrationImage read = Read("DEC\n300 -1 +7 " + Numbers(125) + "\n", "");
  EXPECT_EQ(read[0], 44);
  EXPECT_EQ(read[1], 255);
  EXPECT_EQ(read[2], 7);
}

TEST(CalibrationRead, TextMustNotEndRightAfterTheLastNumber) {
  EXPECT_EQ(ReadFailure("DEC\n" + Numbers(127) + "\n", ""), kDecimalFailure);
  EXPECT_EQ(ReadFailure("DEC\n" + Numbers(128), ""), kDecimalFailure);
  EXPECT_EQ(ReadFailure("HEX\n" + Numbers(128), ""),
            "failed to read 128 8-bit hex-formatted values from cal.txt");
  EXPECT_EQ(ReadFailure("DEC\n" + Numbers(100) + " x " + Numbers(28) + "\n", ""), kDecimalFailure);
  EXPECT_EQ(ReadFailure("DEC", "DEC"), kDecimalFailure);
}

TEST(CalibrationRead, ShortBinaryAndUnknownFormatsAreRefused) {
  const std::string shortBinary = "failed to read 128 raw bytes (after 'BIN\n' header) from cal.txt";
  EXPECT_EQ(ReadFailure("BIN\n" + std::string(126, 'x'), ""), shortBinary);
  EXPECT_EQ(ReadFailure(std::string(127, 'x'), "BIN"), shortBinary);
  EXPECT_EQ(ReadFailure("", ""), kHeaderFailure);
  EXPECT_EQ(ReadFailure("OCT\n1 2 3\n", " oct"), "unrecognized format \"OCT\"");
}

namespace {

class CalibrationFileOfHeadset : public ::testing::Test {
 protected:
  CalibrationFileOfHeadset() : h("deferred") {
    h.messageCallback.Set(nullptr);
    h.InterpretCalibrationMemory(QVT::testing::TenTwentyCalibrationImage().data());
  }
  static std::string PathOf(const std::string& name) {
    return ::testing::TempDir() + "qvt_calibration_" + name;
  }

  QVT::Headset h;
};

}  // namespace

TEST_F(CalibrationFileOfHeadset, DumpLoadsIntoAnotherHeadset) {
  const std::string path = PathOf("dump.hex");
  h.DumpCalibrationMemoryToFile(path, "hex");
  QVT::Headset other("deferred");
  other.messageCallback.Set(nullptr);
  other.ReadCalibrationMemoryFromFile(path, "");
  EXPECT_EQ(other.calibrationImage, h.calibrationImage);
  ASSERT_EQ(other.sources.size(), 42u);
  EXPECT_EQ(other.sources[17]->name, "CM");
  std::remove(path.c_str());
}

TEST_F(CalibrationFileOfHeadset, FailedReadsLeaveImageAndSourcesAlone) {
  const CalibrationImage before = h.calibrationImage;
  ASSERT_TRUE(h.RenameSource("Cz", "Vertex"));
  const std::string path = PathOf("short.dec");
  std::ofstream(path, std::ios::binary) << "DEC\n" + Numbers(127) + "\n";
  EXPECT_THROW(h.ReadCalibrationMemoryFromFile(path, ""), std::string);
  std::remove(path.c_str());
  try {
    h.ReadCalibrationMemoryFromFile(path, "DEC");
    ADD_FAILURE();
  } catch (const std::string& m) {
    EXPECT_EQ(m, "failed to open \"" + path + "\" to read calibration memory");
  }
  EXPECT_EQ(h.calibrationImage, before);
  EXPECT_EQ(h.sources.at(11)->name, "Vertex");
}

TEST_F(CalibrationFileOfHeadset, DumpRefusesBadFormatsBeforeTouchingTheFile) {
  const std::string path = PathOf("never.txt");
  std::remove(path.c_str());
  try {
    h.DumpCalibrationMemoryToFile(path, " octal");
    ADD_FAILURE();
  } catch (const std::string& m) {
    EXPECT_EQ(m, "unrecognized dump file format \"OCTAL\"");
  }
  EXPECT_FALSE(std::ifstream(path).good());
  const std::string directory = ::testing::TempDir();
  EXPECT_THROW(h.DumpCalibrationMemoryToFile(directory, "DEC"), std::string);
}
