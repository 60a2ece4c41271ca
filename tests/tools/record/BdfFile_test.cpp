#include "BdfFile.h"

#include <edflib.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace QVT::Record {
namespace {

struct ReadBack {
  bool opened = false;
  long long records = 0;
  std::vector<std::string> annotations;  // "onset text", onset in 100 µs
  std::string subject;
};

ReadBack ReadWithEdflib(const std::string& path) {
  ReadBack back;
  auto header = std::make_unique<edf_hdr_struct>();
  if (edfopen_file_readonly(path.c_str(), header.get(), EDFLIB_READ_ALL_ANNOTATIONS) != 0) return back;
  back.opened = true;
  back.records = header->datarecords_in_file;
  back.subject = header->patient_name;
  for (int n = 0; n < header->annotations_in_file; ++n) {
    edf_annotation_struct annotation{};
    edf_get_annotation(header->handle, n, &annotation);
    back.annotations.push_back(std::to_string(annotation.onset / 1000) + " " + annotation.annotation);
  }
  edfclose_file(header->handle);
  return back;
}

// Every record written leaves a file readers open, holding the records and
// the annotations so far, whether or not it is ever closed; annotations
// beyond a record's room go into the ones after.
TEST(BdfFile, IsWholeAfterEveryRecord) {
  const std::string path = (std::filesystem::temp_directory_path() / "qvt_bdffile_whole.bdf").string();
  const std::vector<Signal> signals = {ElectrodeSignal("Fp1", 0.1), CountSignal("TRG", "")};
  BdfFile file(path, signals, 10, 0.1, 2);
  file.SetHeader({"QV1 SN7", "Müller Jürgen", std::chrono::system_clock::now()});
  const std::vector<int> record(20, 1000);
  const struct {
    std::vector<std::string> annotate;  // at 0.1 s times the record's number
    std::vector<std::string> expected;  // what the file then holds
  } steps[] = {
      {{"Z Fp1 1.0 kOhm", "Z Fp2 2.0 kOhm", "TRG 1"}, {"0 Z Fp1 1.0 kOhm", "0 Z Fp2 2.0 kOhm"}},
      {{}, {"0 Z Fp1 1.0 kOhm", "0 Z Fp2 2.0 kOhm", "0 TRG 1"}},
      {{"BAD gap: 2 samples lost"},
       {"0 Z Fp1 1.0 kOhm", "0 Z Fp2 2.0 kOhm", "0 TRG 1", "2000 BAD gap: 2 samples lost"}},
  };
  for (std::size_t n = 0; n < std::size(steps); ++n) {
    for (const std::string& text : steps[n].annotate) file.Annotate(0.1 * static_cast<double>(n), -1.0, text);
    file.WriteRecord(record);
    const ReadBack back = ReadWithEdflib(path);
    ASSERT_TRUE(back.opened) << "after record " << n;
    EXPECT_EQ(back.records, static_cast<long long>(n + 1));
    EXPECT_EQ(back.annotations, steps[n].expected) << "after record " << n;
    EXPECT_EQ(back.subject, "Mueller Juergen");
  }
  file.Close();
  EXPECT_TRUE(ReadWithEdflib(path).opened);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace QVT::Record
