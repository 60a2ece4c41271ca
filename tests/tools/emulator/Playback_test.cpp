// A recording played as the virtual headset's signals: where its signals go
// and what the host reads back, resampling, triggers, its end, bad files.
#include "playback/Playback.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <filesystem>
#include <fstream>
#include <optional>

#include "RecordingWriter.h"
#include "headset/CalibrationImages.h"
#include "playback/ElectrodeLabel.h"
#include "playback/MontageInverse.h"
#include "playback/RecordingEvents.h"

using namespace QVT::emulator;
using QVT::testing::WriteRecording;
using QVT::testing::WrittenSignal;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kCz = 11;  // slots of the 10-20 image
constexpr int kTriggerLead = 16;

// The files of this run, in a directory removed when the run ends.
std::string TempFile(const std::string& name) {
  static const struct Directory {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("qvt_playback_" + std::to_string(getpid()));
    Directory() { std::filesystem::create_directories(path); }
    ~Directory() { std::filesystem::remove_all(path); }
  } directory;
  return (directory.path / name).string();
}

Playback Play(const std::string& file, unsigned rate = 300, bool loop = false) {
  return Playback(PlaybackSettings{file, rate, loop, 5.0}, QVT::testing::TenTwentyCalibrationImage());
}

double SlotCounts(const std::string& body, int slot) {
  const auto byte = [&](int i) { return static_cast<unsigned char>(body.at(static_cast<std::size_t>(i))); };
  return static_cast<std::int16_t>(byte(1 + 2 * slot) | byte(2 + 2 * slot) << 8);
}

// Amplitude of the component at hz in x, sampled at rate.
double Amplitude(const std::vector<double>& x, double hz, double rate) {
  std::complex<double> sum;
  for (std::size_t n = 0; n < x.size(); ++n) sum += x[n] * std::polar(1.0, -2 * kPi * hz * static_cast<double>(n) / rate);
  return 2.0 * std::abs(sum) / static_cast<double>(x.size());
}

WrittenSignal Tones(const std::string& label, int rate, std::vector<double> hz) {
  return {label, rate, [rate, hz](long long n) {
            double v = 0.0;
            for (const double f : hz) v += 20.0 * std::sin(2 * kPi * f * static_cast<double>(n) / rate);
            return v;
          }};
}

}  // namespace

TEST(PlaybackLabels, NameTheHeadsetsElectrodeWhateverTheSpelling) {
  const HeadsetSlots slots(QVT::testing::TenTwentyCalibrationImage());
  const std::pair<const char*, const char*> cases[] = {
      {"EEG Fp1-REF", "Fp1"}, {"FP1", "Fp1"},     {"EEG FP1-LE", "Fp1"}, {" EEG T7-A1 ", "T3"},
      {"EEG P8-AVG", "T6"},   {"TP10", "M2"},     {"x1", "X1"},          {"Fp1-F7", ""},
      {"Pz", "M1"} /* the montage's name for M1 against the mastoids */,
      {"CM", ""},             {"EEG FC1-REF", ""}, {"ECG", ""}};
  for (const auto& [label, slot] : cases) {
    const std::optional<int> found = slots.SlotNamed(ElectrodeOfLabel(label));
    EXPECT_EQ(found ? slots.Name(*found) : "", slot) << label;
  }
}

TEST(PlaybackAnnotations, TriggersAndImpedancesAreReadOnlyFromTheirOwnForms) {
  const std::pair<const char*, int> triggers[] = {{"TRG 5", 5}, {"7", 7},           {"trg 255", 255},
                                                  {"TRG 0", 0}, {"TRG 300", 0},     {"TRG 2.5", 0},
                                                  {"Stimulus", 0}, {"TRG 5 late", 0}, {"Z Fp1 3 kOhm", 0}};
  for (const auto& [text, value] : triggers) EXPECT_EQ(AnnotatedTrigger(text).value_or(0), value) << text;
  const std::pair<const char*, double> impedances[] = {
      {"Z Fp1 12.5 kOhm", 12.5}, {"z O2 0 kohm", 0.0}, {"Z Fp1 -3 kOhm", -1}, {"Z Fp1 12 Ohm", -1}, {"Z Fp1", -1}};
  for (const auto& [text, kiloOhms] : impedances)
    EXPECT_EQ(AnnotatedImpedanceOf(text) ? AnnotatedImpedanceOf(text)->kiloOhms : -1.0, kiloOhms) << text;
}

TEST(PlaybackMontage, TheLibrarysMontageReadsBackTheRecordedValuesEvenOfItsReferenceElectrodes) {
  const HeadsetSlots slots(QVT::testing::TenTwentyCalibrationImage());
  std::vector<FilledSlot> filled;
  for (const int slot : {0, 8 /* M1 */, kCz, 14 /* M2 */, 22 /* X1 */})
    filled.push_back({slot, slots.ChannelWeights(slot)});
  const std::vector<std::vector<double>> inverse = MontageInverse(filled);
  ASSERT_EQ(inverse.size(), static_cast<std::size_t>(kSlotCount));
  const std::vector<double> recorded = {31.0, -3.0, -7.5, 12.25, 400.0};
  SlotValues values{};
  for (int k = 0; k < kSlotCount; ++k)
    for (std::size_t i = 0; i < recorded.size(); ++i) values[k] += inverse[k][i] * recorded[i];
  for (std::size_t i = 0; i < filled.size(); ++i) {
    double read = 0.0;
    for (int k = 0; k < kSlotCount; ++k) read += filled[i].channelWeights[k] * values[k];
    EXPECT_NEAR(read, recorded[i], 1e-9) << slots.Name(filled[i].slot);
  }
  EXPECT_EQ(values[21], 0.0) << "O2, which no signal fills, stays silent";
}

TEST(Playback, ResamplingKeepsEveryToneBelowTheNewNyquistAndNothingAbove) {
  // Tones of 20 µV: below both Nyquist frequencies they stay; one above the
  // headset's must not alias back, and rising rates must not make images
  // between the file's Nyquist frequency and the headset's.
  const std::pair<int, std::vector<double>> cases[] = {{256, {10.0, 100.0}}, {1000, {10.0, 200.0}}};
  const double gain = HeadsetSlots(QVT::testing::TenTwentyCalibrationImage()).Gain(10);
  for (const auto& [fileRate, tones] : cases) {
    const std::string file = TempFile("tones_" + std::to_string(fileRate) + ".edf");
    ASSERT_TRUE(WriteRecording(file, {Tones("EEG C3-REF", fileRate, tones)}, 4));
    for (const unsigned rate : {300u, 600u}) {
      Playback playback = Play(file, rate);
      std::vector<double> x;  // three seconds after the first
      for (unsigned n = rate; n < 4 * rate; ++n) x.push_back(SlotCounts(playback.PacketBody(n, 0, false), 10) * gain);
      const double nyquist = std::min<double>(fileRate, rate) / 2.0;
      for (const double hz : tones) {
        if (hz < nyquist) {
          EXPECT_NEAR(Amplitude(x, hz, rate), 20.0, 0.4) << fileRate << " to " << rate << ": " << hz;
        } else {
          EXPECT_LT(Amplitude(x, rate - hz, rate), 0.05) << fileRate << " to " << rate << ": " << hz;
        }
      }
      double above = 0.0;
      for (double hz = nyquist + 5.0; hz < rate / 2.0; hz += 1.0 / 3) above = std::max(above, Amplitude(x, hz, rate));
      EXPECT_LT(above, 0.05) << fileRate << " to " << rate;
    }
  }
}

TEST(Playback, TriggersFromAStatusChannelOrAnnotationsLandOnTheirSamples) {
  // The host delays triggers by the headset's filter delay, so the byte of
  // packet k belongs to sample k + 16.
  const WrittenSignal cz{"Cz", 300, [](long long) { return 0.0; }};
  const WrittenSignal status{"Status", 300, [](long long n) { return n >= 300 && n < 306 ? 5.0 : 0.0; }, "", 255};
  const std::string channel = TempFile("status.bdf"), annotated = TempFile("annotated.edf");
  ASSERT_TRUE(WriteRecording(channel, {cz, status}, 3, {}, true));
  ASSERT_TRUE(WriteRecording(annotated, {cz}, 3, {{1.0, -1.0, "TRG 5"}, {2.0, -1.0, "Z Cz 20 kOhm"}}));
  for (const std::string& file : {channel, annotated}) {
    Playback playback = Play(file);
    std::vector<int> pulse;
    for (int n = 0; n < 900 - kTriggerLead; ++n)
      if (playback.PacketBody(static_cast<std::uint64_t>(n), 0, false).at(0) != 0) pulse.push_back(n + kTriggerLead);
    EXPECT_EQ(pulse, std::vector<int>({300, 301, 302, 303, 304, 305})) << file;
  }
}

TEST(Playback, EachPacketCarriesTheAccelerometerOfItsOwnSample) {
  // Steps on irregular samples, as a recorder writes the readings it got.
  const auto axis = [](int scale) {
    return [scale](long long n) { return static_cast<double>(scale * ((n * n / 7) % 23)) - 40.0; };
  };
  const std::string file = TempFile("accelerometer.bdf");
  ASSERT_TRUE(WriteRecording(file, {{"Cz", 300, [](long long) { return 0.0; }}, {"ACCX", 300, axis(1), "counts"},
                                    {"ACCY", 300, axis(3), "counts"}, {"ACCZ", 300, axis(-5), "counts"}},
                             2));
  Playback playback = Play(file);
  ASSERT_TRUE(playback.HasAccelerometer());
  for (std::uint64_t n = 0; n < 600; ++n) {
    playback.PacketBody(n, 0, false);
    const auto s = static_cast<long long>(n);
    ASSERT_EQ(playback.Accelerometer(), (std::array<std::int16_t, 3>{static_cast<std::int16_t>(axis(1)(s)),
                                                                      static_cast<std::int16_t>(axis(3)(s)),
                                                                      static_cast<std::int16_t>(axis(-5)(s))}))
        << n;
  }
}

TEST(Playback, ValuesBecomeCountsThatReadBackWithinAStepThenSilenceOrTheStartAgain) {
  const std::string file = TempFile("ramp.edf");
  const auto value = [](long long n) { return 0.37 * static_cast<double>(n) - 50.0; };
  ASSERT_TRUE(WriteRecording(file, {{"EEG Cz-REF", 300, value}}, 1));
  const double gain = HeadsetSlots(QVT::testing::TenTwentyCalibrationImage()).Gain(kCz);
  const double step = 6000.0 / 65535;  // the file's own
  for (const bool loop : {false, true}) {
    Playback playback = Play(file, 300, loop);
    std::string first;
    for (std::uint64_t n = 0; n < 300; ++n) {
      const std::string body = playback.PacketBody(n, 0, false);
      if (n == 0) first = body;
      ASSERT_NEAR(SlotCounts(body, kCz) * gain, value(static_cast<long long>(n)), gain / 2 + step) << n;
    }
    EXPECT_EQ(playback.PacketBody(300, 0, false), loop ? first : "");
  }
}

TEST(Playback, BadFilesAreRefusedWithAReason) {
  const std::string good = TempFile("good.edf");
  ASSERT_TRUE(WriteRecording(good, {{"Cz", 256, [](long long) { return 1.0; }}}, 3));
  std::string bytes;
  {
    std::ifstream in(good, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(in), {});
  }
  const auto variant = [&](const std::string& name, std::string content) {
    const std::string path = TempFile(name);
    std::ofstream(path, std::ios::binary) << content;
    return path;
  };
  const auto patched = [&](std::size_t at, const std::string& field) {
    std::string copy = bytes;
    copy.replace(at, field.size(), field);
    return copy;
  };
  // Two signals (Cz, annotations): the samples-per-record fields start at
  // 256 + 2 * 216.
  const std::pair<std::string, std::string> cases[] = {
      {TempFile("missing.edf"), "no such file"},
      {variant("truncated.edf", bytes.substr(0, bytes.size() - 100)), "not a valid"},
      {variant("lying.edf", patched(236, "99999999")), "not a valid"},
      {variant("rate0.edf", patched(256 + 2 * 216, "0       ")), ""},
      {variant("garbage.edf", std::string(5000, 'x')), ""},
      {variant("empty.edf", ""), ""},
  };
  for (const auto& [path, reason] : cases) {
    try {
      Play(path);
      ADD_FAILURE() << path << " was played";
    } catch (const PlaybackError& error) {
      EXPECT_NE(std::string(error.what()).find(reason), std::string::npos) << error.what();
    }
  }
  const std::string unnamed = TempFile("unnamed.edf");
  ASSERT_TRUE(WriteRecording(unnamed, {{"ECG", 256, [](long long) { return 0.0; }}}, 1));
  EXPECT_THROW(Play(unnamed), PlaybackError);
}
