// Run under qvt-emulator: what the library delivers, recorded through the
// same montage plan, recording and writer as qvt-record, comes back from
// EDFlib's reader within one step per sample, with its names and units. The
// trigger annotations are read back with MNE by the recording tool's check.
#include <edflib.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "BatchLoop.h"
#include "HeadsetReport.h"
#include "MontagePlan.h"
#include "RecordingPart.h"
#include "RecordWriter.h"
#include "Recording.h"

namespace QVT::Record {
namespace {

class WriterSink : public RecordSink {
 public:
  explicit WriterSink(RecordWriter& target) : writer(target) {}
  void WriteRecord(std::vector<int> digital) override { writer.WriteRecord(std::move(digital)); }
  void Annotate(double onset, double duration, std::string text) override {
    writer.Annotate(onset, duration, std::move(text));
  }
  RecordWriter& writer;
};

TEST(RecordedFile, HoldsWhatTheLibraryDeliveredWithinOneStep) {
  Tools::HeadsetHandle headset = Tools::Connect(Tools::ResolvePort("DEFAULT"), 1);
  const double rate = QVT_Headset_GetSamplingRate(headset.get());
  const int recordSamples = static_cast<int>(rate / 10);
  const std::vector<Session::ChannelPlan> plan = Session::PlanChannels(headset.get());
  const Session::Channels channels = Session::PrepareMontage(headset.get(), plan);
  std::vector<Signal> signals;
  int trigger = -1;
  for (const Session::ChannelPlan& entry : plan) {
    if (entry.kind == Session::ChannelKind::Trigger) trigger = static_cast<int>(signals.size());
    signals.push_back(SignalOf(entry));
  }
  ASSERT_GE(trigger, 0);

  const std::string path =
      (std::filesystem::temp_directory_path() / ("qvt_readback_" + std::to_string(rate) + ".bdf")).string();
  std::vector<std::vector<double>> delivered;
  {
    RecordWriter writer(path, signals, recordSamples, 0.1, 3);
    WriterSink sink(writer);
    Recording recording(signals, rate, recordSamples, trigger, sink, 3);
    std::FILE* quiet = std::fopen("/dev/null", "w");
    Tools::ProgressDisplay display(quiet, false);
    Tools::Progress progress;
    Tools::RunBatches(
        headset.get(), 2.5,
        [&](unsigned n) {
          for (unsigned i = 0; i < n; ++i) {
            std::vector<double> values;
            for (QVT_Channel* channel : channels.recorded)
              values.push_back(QVT_Channel_ReadBuffered(channel));
            QVT_Channel_ReadBuffered(channels.sampleTime);
            QVT_Channel_ReadBuffered(channels.clockLag);
            if (channels.accelerometerTime != nullptr) QVT_Channel_ReadBuffered(channels.accelerometerTime);
            recording.Add(values);
            delivered.push_back(values);
          }
          return true;
        },
        display, progress);
    std::fclose(quiet);
    recording.Finish();
    writer.Close();
  }

  edf_hdr_struct header{};
  ASSERT_EQ(edfopen_file_readonly(path.c_str(), &header, EDFLIB_READ_ALL_ANNOTATIONS), 0);
  EXPECT_EQ(header.filetype, EDFLIB_FILETYPE_BDFPLUS);
  ASSERT_EQ(header.edfsignals, static_cast<int>(signals.size()));
  const auto samples = static_cast<long long>(delivered.size());
  for (int s = 0; s < header.edfsignals; ++s) {
    const edf_param_struct& param = header.signalparam[s];
    // The header pads its fields with blanks.
    const auto trimmed = [](std::string text) { return text.erase(text.find_last_not_of(' ') + 1); };
    EXPECT_EQ(trimmed(param.label), signals[s].label);
    EXPECT_EQ(trimmed(param.physdimension), signals[s].unit);
    ASSERT_GE(param.smp_in_file, samples);
    ASSERT_LT(param.smp_in_file, samples + recordSamples);
    std::vector<double> back(static_cast<std::size_t>(samples));
    ASSERT_EQ(edfread_physical_samples(header.handle, s, static_cast<int>(samples), back.data()), samples);
    const double step = (param.phys_max - param.phys_min) / (param.dig_max - param.dig_min);
    for (std::size_t k = 0; k < back.size(); ++k)
      ASSERT_NEAR(back[k], delivered[k][static_cast<std::size_t>(s)], step) << param.label << " sample " << k;
  }

  edfclose_file(header.handle);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace QVT::Record
