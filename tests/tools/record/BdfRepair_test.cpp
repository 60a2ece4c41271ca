#include "BdfRepair.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "BdfFile.h"

namespace QVT::Record {
namespace {

namespace fs = std::filesystem;

std::string Contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void Overwrite(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A sound recording of four 0.1 s records, and its sizes.
struct Sample {
  std::string path = (fs::temp_directory_path() / "qvt_repair.bdf").string();
  std::string bytes;
  std::size_t header = 0;
  std::size_t record = 0;
  Sample() {
    const std::vector<Signal> signals = {ElectrodeSignal("Fp1", 0.1), CountSignal("TRG", "")};
    BdfFile file(path, signals, 10, 0.1, 1);
    file.Annotate(0.0, -1.0, "TRG 1");
    for (int r = 0; r < 4; ++r) file.WriteRecord(std::vector<int>(20, r));
    file.Close();
    bytes = Contents(path);
    header = 256 * 4;
    record = bytes.size() > header ? (bytes.size() - header) / 4 : 0;
  }
  ~Sample() { fs::remove(path); }
};

std::string WithCount(std::string bytes, const std::string& count) {
  return bytes.replace(236, 8, (count + "        ").substr(0, 8));
}

TEST(BdfRepair, KeepsWholeRecordsAndFixesTheCount) {
  Sample sample;
  ASSERT_EQ(sample.record * 4 + sample.header, sample.bytes.size());
  const std::string& sound = sample.bytes;
  const std::size_t three = sample.header + 3 * sample.record;
  const struct {
    const char* what;
    std::string bytes;
    bool readable;
    std::string after;  // what the file should hold afterwards
    const char* said;   // part of the report
  } cases[] = {
      {"sound", sound, true, sound, "is sound: 4 data records; nothing changed"},
      {"count of -1, as a killed writer of old left it", WithCount(sound, "-1"), true, sound,
       "-1 data records"},
      {"torn last record", sound.substr(0, three + 7), true, WithCount(sound.substr(0, three), "3"),
       "3 data records and 7 bytes of a torn one"},
      {"truncated at a record's end", sound.substr(0, three), true, WithCount(sound.substr(0, three), "3"),
       "the header counts 4 data records; the file holds 3 data records"},
      {"a record never written", sound + std::string(sample.record, '\0'), true, sound, "1 never written"},
      {"no whole record", sound.substr(0, sample.header + 5), false, sound.substr(0, sample.header + 5),
       "No whole data record"},
      {"not BDF", "# just a text file\n", false, "# just a text file\n", "is not a BDF or EDF file"},
      {"empty", "", false, "", "is empty"},
  };
  for (const auto& c : cases) {
    Overwrite(sample.path, c.bytes);
    const RepairOutcome outcome = RepairRecording(sample.path);
    EXPECT_EQ(outcome.readable, c.readable) << c.what << "\n" << outcome.report;
    EXPECT_NE(outcome.report.find(c.said), std::string::npos) << c.what << "\n" << outcome.report;
    EXPECT_TRUE(Contents(sample.path) == c.after) << c.what << "\n" << outcome.report;
  }
}

}  // namespace
}  // namespace QVT::Record
