#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "core/Headset.h"
#include "headset/CalibrationImages.h"
#include "model/CalibrationFile.h"
#include "support/TestHeadsets.h"

using QVT::CalibrationImage;
using QVT::testing::ThrownMessage;
namespace SourceID = QVT::SourceID;
namespace images = QVT::testing;

namespace {

constexpr double kSensorGain = 0.301;
constexpr double kCommonModeGain = 74.0;

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

class CalibrationMemory : public ::testing::Test {
 protected:
  CalibrationMemory() : h("deferred") { h.messageCallback.Set(nullptr); }

  void Interpret(const CalibrationImage& image) { h.InterpretCalibrationMemory(image.data()); }
  // Positions count from 1, as source numbers do.
  const QVT::Source& At(int position) const { return *h.sources.at(static_cast<std::size_t>(position - 1)); }
  std::string Names(int first, int last) const {
    std::string names;
    for (int p = first; p <= last; ++p) names += (p > first ? " " : "") + At(p).name;
    return names;
  }
  std::string Failure(SourceID::Code code, signed char version) {
    return ThrownMessage([&] { h.FlashNewCMFLocation(code, version); });
  }

  QVT::Headset h;
};

}  // namespace

TEST_F(CalibrationMemory, UnprogrammedHeadsetHasNotConnectedSlotsThenTheHostSources) {
  Interpret(images::UnprogrammedCalibrationImage());
  ASSERT_EQ(h.sources.size(), 42u);
  for (int k = 1; k <= 24; ++k) EXPECT_EQ(At(k).id, SourceID::NC) << k;
  EXPECT_EQ(Names(25, 42),
            "TRG Pz SND RCV NUL TRG0 TRG1 TRG2 TRG3 TRG4 TRG5 TRG6 TRG7 ACCT ACCX ACCY ACCZ JERK");
  for (int p = 25; p <= 42; ++p) EXPECT_EQ(At(p).gain, p == 26 || p == 29 ? 0.0 : 1.0) << p;
  EXPECT_DOUBLE_EQ(At(1).gain, kSensorGain * (1.0 - 1.0 / 32768.0));  // trim 0xFFFF is -1
  EXPECT_EQ(h.calibrationLayoutVersion, -1);
  EXPECT_EQ(h.factoryReferenceName, "Pz");
  EXPECT_EQ(h.presentSlotCount, 0);
  EXPECT_EQ(h.namingScheme, "10-10");  // no votes at all
}

TEST_F(CalibrationMemory, TenTwentyHeadsetKeepsItsNamesTrimsAndDefaultAliases) {
  Interpret(images::TenTwentyCalibrationImage());
  EXPECT_EQ(Names(1, 24), "Fp1 Fpz Fp2 F7 F3 Fz F4 F8 M1 T3 C3 Cz C4 T4 M2 T5 P3 CM P4 T6 O1 O2 X1 X2");
  for (int k = 0; k < 24; ++k) {
    const double base = k == 17 ? kCommonModeGain : kSensorGain;
    EXPECT_DOUBLE_EQ(At(k + 1).gain, base * (1.0 + images::TenTwentyGainTrim(k) / 32768.0)) << k;
  }
  EXPECT_EQ(h.namingScheme, "10-20");
  EXPECT_EQ(h.calibrationLayoutVersion, 2);
  EXPECT_EQ(h.MatchSource("TP9", true), &At(9));
  EXPECT_EQ(h.MatchSource("ZERO", true), &At(29));
}

TEST_F(CalibrationMemory, TenTenHeadsetFoldsSharedPositionsAndVersionTwoMovesTheReference) {
  CalibrationImage image = images::TenTenCalibrationImage();
  Interpret(image);
  EXPECT_EQ(h.namingScheme, "10-10");
  EXPECT_EQ(Names(1, 24), "Fp1 Fp2 AF3 AF4 F7 F3 Fz F4 F8 M1 T7 C3 Cz C4 T8 M2 P7 P3 CM P4 P8 O1 O2 Oz");
  EXPECT_EQ(At(21).id, SourceID::T6);
  EXPECT_EQ(h.MatchSource("T3", true), &At(11));
  // The Pz slot is at the factory reference position: it is the common-mode
  // follower, and "Pz" is the zero reference source.
  EXPECT_EQ(At(19).gain, kCommonModeGain);
  EXPECT_EQ(h.MatchSource("Pz", true), &At(26));

  image[126] = SourceID::Cz;
  Interpret(image);
  EXPECT_EQ(h.factoryReferenceName, "Cz");
  EXPECT_EQ(At(13).gain, kCommonModeGain);  // the common-mode follower now
  EXPECT_EQ(Names(19, 26), "Pz P4 P8 O1 O2 Oz TRG Cz");
  image[127] = 1;  // the byte counts from version two only
  Interpret(image);
  EXPECT_EQ(h.factoryReferenceCode, SourceID::Pz);
  EXPECT_EQ(At(13).name, "Cz");
}

TEST_F(CalibrationMemory, SecondCommonModeSlotFailsAfterBuildingTheSources) {
  // A CM slot and an electrode at the factory reference position make two
  // "CM" sources, so the default alias "CM CMF" is ambiguous.
  CalibrationImage image = images::TenTwentyCalibrationImage();
  image[126] = SourceID::Cz;
  h.calibrationPagesReceived = {7};
  EXPECT_THROW(Interpret(image), std::string);
  EXPECT_DOUBLE_EQ(At(12).gain, kCommonModeGain * (1.0 + images::TenTwentyGainTrim(11) / 32768.0));
  EXPECT_TRUE(h.calibrationPagesReceived.empty());
}

TEST_F(CalibrationMemory, SlotBytesLoseTheirTopBitAndTrimsSpanZeroToNearlyDouble) {
  CalibrationImage image = images::UnprogrammedCalibrationImage();
  image[0] = 0x89;
  image[1] = 0x80;
  image[2] = 0x80 | SourceID::CM;
  QVT::SetGainTrim(image, 0, -32768);
  QVT::SetGainTrim(image, 1, 32767);
  Interpret(image);
  EXPECT_EQ(Names(1, 4), "M1 NR CM NC");
  EXPECT_EQ(h.presentSlotCount, 3);  // 0x80 is present: only 0 and 255 are absent
  EXPECT_EQ(At(1).gain, 0.0);
  EXPECT_DOUBLE_EQ(At(2).gain, kSensorGain * (1.0 + 32767.0 / 32768.0));
}

TEST_F(CalibrationMemory, SevenSlotHeadsetOfLayoutOneHasLinkedEarsInSlotZero) {
  CalibrationImage image = images::SevenSlotCalibrationImage();
  Interpret(image);
  EXPECT_EQ(Names(1, 8), "A1A2 F3 F4 C3 Cz C4 CM NR");
  EXPECT_EQ(h.MatchSource("LE", true), &At(1));
  EXPECT_EQ(h.namingScheme, "10-20");  // five votes each: the later name wins
  image[127] = 2;
  Interpret(image);
  EXPECT_EQ(At(1).name, "X1");
  image[127] = 1;
  image[7] = SourceID::O1;
  Interpret(image);
  EXPECT_EQ(At(1).name, "X1");
}

TEST_F(CalibrationMemory, InterpretationStartsAfreshAndSizesTheAverages) {
  Interpret(images::TenTwentyCalibrationImage());
  EXPECT_EQ(At(1).averages.Capacity(), 0u);  // rate unknown
  ASSERT_TRUE(h.RenameSource("Cz", "Vertex"));
  h.samplingRate = 500.0;
  h.impedanceSeconds = 0.25;
  h.InterpretCalibrationMemory(nullptr);
  EXPECT_EQ(At(12).name, "Cz");
  EXPECT_EQ(At(9).aliases.size(), 2u);
  EXPECT_EQ(At(42).averages.Capacity(), 125u);
  h.samplingRate = -1.0;  // a negative product must not wrap to a huge count
  h.impedanceSeconds = 10.0;
  EXPECT_EQ(h.ImpedanceAveragingLength(), 0u);
  h.samplingRate = 250.2;
  h.impedanceSeconds = 0.01;
  EXPECT_EQ(h.ImpedanceAveragingLength(), 3u);
}

TEST_F(CalibrationMemory, MovingTheFactoryReferenceNeedsSourcesAndAnElectrodeCode) {
  EXPECT_EQ(Failure(SourceID::Cz, 2),
            "must read calibration memory completely before attempting to write it");
  const CalibrationImage image = images::TenTenCalibrationImage();
  Interpret(image);
  EXPECT_EQ(Failure(SourceID::X1, 2), "cannot set code 23 (\"X1\") as the common mode position");
  EXPECT_EQ(Failure(SourceID::CM, 2), "cannot set code 18 (\"CM\") as the common mode position");
  EXPECT_EQ(Failure(SourceID::NC, 2), "cannot set code 255 (\"NC\") as the common mode position");
  EXPECT_EQ(h.calibrationImage, image);
  // Without a link the write fails; the host image already holds the new
  // position, the sources are as they were.
  EXPECT_NE(Failure(SourceID::Cz, 3), "(no failure)");
  EXPECT_EQ(h.calibrationImage[126], SourceID::Cz);
  EXPECT_EQ(h.calibrationImage[127], 3);
  EXPECT_EQ(h.factoryReferenceName, "Pz");

  h.SimulateInput();
  h.FlashNewCMFLocation(SourceID::O1, 3);
  EXPECT_EQ(h.calibrationLayoutVersion, 3);
  EXPECT_EQ(h.factoryReferenceName, "O1");
  EXPECT_EQ(Names(19, 22), "Pz P4 P8 CM");
  h.FlashNewCMFLocation(SourceID::NC, -1);
  EXPECT_EQ(h.calibrationImage[126], 255);
  EXPECT_EQ(h.calibrationLayoutVersion, -1);
  EXPECT_EQ(At(22).name, "O1");
}

TEST(CalibrationDump, WritesHeaderThenSixteenLinesOrRawBytes) {
  const std::string dec = Dump(Counting(), " dec\n");
  EXPECT_EQ(dec.substr(0, 12), "DEC\n  5   7 ");
  EXPECT_EQ(dec.substr(4 + 15 * 32), "245 247 249 251 253 255   1   3\n");
  const std::string hex = Dump(Counting(), "Hex");
  EXPECT_EQ(hex.substr(0, 16), "HEX\n05 07 09 0B ");
  EXPECT_EQ(hex.substr(4 + 15 * 24), "F5 F7 F9 FB FD FF 01 03\n");
  EXPECT_EQ(Dump(images::UnprogrammedCalibrationImage(), "BIN"), "BIN\n" + std::string(128, '\xFF'));
}

TEST(CalibrationRead, DumpsReadBackAndBinaryHeaderModeShiftsInTheLineFeed) {
  const CalibrationImage image = images::TenTwentyCalibrationImage();
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
      {"BIN\n" + std::string(126, 'x'), "", shortBinary},
      {std::string(127, 'x'), "BIN", shortBinary},
      {"OCT\n1 2 3\n", " oct", "unrecognized format \"OCT\""},
  };
  for (const auto& c : cases) {
    CalibrationImage image{};
    EXPECT_EQ(ThrownMessage([&] { image = Read(c.bytes, c.format); }),
              c.failure.empty() ? "(no failure)" : c.failure)
        << c.bytes.substr(0, 12) << "|" << c.format;
    // A failed read returns nothing; what the compiler left in the
    // destination is not the reader's to promise.
    if (c.failure.empty()) {
      EXPECT_EQ(image[c.index], c.value) << c.bytes.substr(0, 12) << "|" << c.format;
    }
  }
}

TEST_F(CalibrationMemory, FileDumpLoadsIntoAnotherHeadsetAndFailuresChangeNothing) {
  QVT::Headset other("deferred");
  other.messageCallback.Set(nullptr);
  Interpret(images::TenTwentyCalibrationImage());
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
  EXPECT_EQ(other.sources.at(17)->name, "CM");

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
