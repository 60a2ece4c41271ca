// Data and accelerometer packets fed through the simulated link of a headset
// whose sources come from a calibration image.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "core/Headset.h"
#include "headset/CalibrationImages.h"
#include "headset/HeadsetWire.h"
#include "support/MessageRecorder.h"

namespace {

using QVT::testing::MessageRecorder;
namespace Wire = QVT::testing;
using Slots = std::array<std::int16_t, 24>;

std::string Body(std::uint8_t trigger, const Slots& values = {}) {
  std::string body(1, static_cast<char>(trigger));
  for (std::int16_t v : values) body += Wire::U16LE(static_cast<std::uint16_t>(v));
  return body;
}

double Gain(int slot) { return 0.301 * (1.0 + Wire::TenTwentyGainTrim(slot) / 32768.0); }

// Told its sampling rate by a reply, then given sources and a montage; every
// packet travels in a block of its own.
struct Rig {
  Rig(const QVT::CalibrationImage& image, unsigned rate, const std::string& channels, int verbosity = 2) {
    headset.SimulateInput();
    headset.messageCallback.Set(MessageRecorder::Callback);
    headset.verbosity = verbosity;
    Feed(Wire::EncodeResponse(1, QVT::CommandFamily::DataAcquisitionMode, 1,
                              Wire::U16LE(0x0101) + Wire::U16LE(rate)));
    headset.InterpretCalibrationMemory(image.data());
    headset.bufferSeconds = 256.0 / rate;
    headset.ChooseChannels(channels, "", false);
    headset.sampleCallback.Set(
        [](QVT::Headset*, double t, void* times) { static_cast<std::vector<double>*>(times)->push_back(t); },
        &sampleTimes);
    MessageRecorder::Clear();
  }
  void Feed(const std::string& packets) {
    const std::string block = Wire::EncodeBlock(blockNumber++, 0, {}, packets);
    headset.FeedFakeData(block.data(), block.size());
    ASSERT_TRUE(headset.TryToReadBlock());
  }
  void Data(unsigned counter, std::uint32_t ticks, const std::string& body) {
    Feed(Wire::EncodeDataPacket(static_cast<std::uint8_t>(counter), body, ticks));
  }
  double Channel(unsigned i) { return headset.GetChannelByIndex(i)->buffer.Read(); }
  double Raw(const std::string& source) { return headset.MatchSource(source, true)->rawSignal; }
  std::vector<double> Bits() {
    std::vector<double> bits;
    for (char k = '0'; k < '8'; ++k) bits.push_back(Raw(std::string("TRG") + k));
    return bits;
  }

  QVT::Headset headset{"deferred"};
  std::uint16_t blockNumber = 0;
  std::vector<double> sampleTimes;
};

TEST(SampleProcessing, ChannelsCombineScaledSlotValues) {
  Rig rig(Wire::TenTwentyCalibrationImage(), 300, "Fz-Cz C3");
  Slots values{};
  values[5] = 1200;   // Fz
  values[11] = -300;  // Cz
  values[10] = 77;    // C3, against the factory reference: a zero source
  rig.Data(0, 900, Body(0, values));
  EXPECT_NEAR(rig.Channel(0), 1200 * Gain(5) + 300 * Gain(11), 1e-9);
  EXPECT_NEAR(rig.Channel(1), 77 * Gain(10), 1e-9);
  ASSERT_EQ(rig.sampleTimes.size(), 1u);
  EXPECT_NEAR(rig.sampleTimes[0], 0.5, 1e-12);
}

TEST(SampleProcessing, TriggerLagsSixteenSamplesAtThreeAndSixHundredHertz) {
  for (unsigned rate : {300u, 600u}) {
    Rig rig(Wire::TenTwentyCalibrationImage(), rate, "TRG");
    for (unsigned n = 1; n <= 20; ++n) rig.Data(n, 6 * n, Body(static_cast<std::uint8_t>(n)));
    for (unsigned n = 1; n <= 20; ++n) EXPECT_EQ(rig.Channel(0), n > 16 ? n - 16 : 0) << rate << " Hz #" << n;
  }
}

TEST(SampleProcessing, TriggerBitsFollowTheWordWhichTheSevenSlotHeadsetKeepsInItsUpperHalf) {
  Rig wide(Wire::TenTwentyCalibrationImage(), 500, "Cz");  // no delay at 500 Hz
  wide.Data(0, 0, Body(0xA5));
  EXPECT_EQ(wide.Raw("TRG"), 0xA5);
  EXPECT_EQ(wide.Bits(), (std::vector<double>{1, 0, 1, 0, 0, 1, 0, 1}));

  Rig seven(Wire::SevenSlotCalibrationImage(), 500, "Cz");
  seven.headset.triggerBuffer.Clear();  // a delay line never set up gets one slot
  seven.Data(0, 0, Body(0xA5));
  EXPECT_EQ(seven.Raw("TRG"), 10.0);
  EXPECT_EQ(seven.Bits(), (std::vector<double>{0, 1, 0, 1, 0, 0, 0, 0}));
}

TEST(SampleProcessing, AccelerometerReadingsAreHeldUntilDueWithTheirJerk) {
  Rig rig(Wire::TenTwentyCalibrationImage(), 300, "Cz", 3);
  rig.Feed(Wire::EncodeResponse(1, QVT::CommandFamily::AccelerometerRate, 2, Wire::U16LE(10)));
  // Readings at 600, 615 and 615 ticks again: both offsets count from the first.
  std::string readings = "?" + Wire::U16LE(100) + Wire::U16LE(0xFFF9) + Wire::U16LE(0);
  for (int i = 0; i < 2; ++i)
    readings += Wire::U16LE(15) + Wire::U16LE(130) + Wire::U16LE(33) + Wire::U16LE(0);
  rig.Feed(Wire::EncodeExtendedData(QVT::ExtendedDataSubtype::AccelerometerData, readings, 600));
  EXPECT_TRUE(MessageRecorder::Contains("accelerometer data: t=000.333, x=+100, y=  -7, z=  +0", 3));

  std::vector<double> x, jerk;
  for (std::uint32_t ticks = 600; ticks <= 624; ticks += 6) {
    rig.Data(ticks / 6, ticks, Body(0));
    x.push_back(rig.Raw("ACCX"));
    jerk.push_back(rig.Raw("JERK"));
  }
  EXPECT_EQ(x, (std::vector<double>{0, 100, 100, 130, 130}));
  EXPECT_NEAR(jerk[3], 50 / (15 / 1800.0), 1e-6);
  EXPECT_EQ(jerk[4], 0.0);  // no time passed since the reading before
  EXPECT_NEAR(rig.Raw("ACCT"), 615 / 1800.0, 1e-12);
}

TEST(SampleProcessing, ImpedanceIsTheDemodulatedCarrierAmplitude) {
  Rig rig(Wire::TenTwentyCalibrationImage(), 300, "Cz C3");
  rig.headset.impedanceDriverMode = 1;
  const double twoPi = 6.283185307179586;
  for (std::uint32_t n = 0; n < 300; ++n) {  // one second: whole periods of both carriers
    Slots values{};
    values[11] = static_cast<std::int16_t>(std::lround(1000 * std::cos(twoPi * 110 * n / 300.0)));  // Cz
    values[10] = static_cast<std::int16_t>(std::lround(500 * std::cos(twoPi * 130 * n / 300.0)));   // C3
    rig.Data(n, n * 6, Body(0, values));
  }
  const QVT::Source* cz = rig.headset.MatchSource("Cz", true);
  const QVT::Source* c3 = rig.headset.MatchSource("C3", true);
  EXPECT_NEAR(cz->ImpedanceEEG(), 500 * Gain(11) * 0.01950289701, 1e-3);
  EXPECT_NEAR(cz->ImpedanceCMF(), 0.0, 1e-3);
  EXPECT_NEAR(c3->ImpedanceCMF(), 250 * Gain(10) * 0.023916328222799998, 1e-3);
  // The factory reference in the montage has no gain and does not count.
  EXPECT_NEAR(rig.headset.ImpedanceCMF(), (cz->ImpedanceCMF() + c3->ImpedanceCMF()) / 2, 1e-12);

  rig.headset.impedanceDriverMode = 0;
  const double dcOffset = cz->DCOffset();
  rig.Data(44, 1800, Body(0, Slots{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3000}));
  EXPECT_EQ(cz->ImpedanceEEG(), -1.0);
  EXPECT_EQ(c3->ImpedanceCMF(), -1.0);
  EXPECT_NE(cz->DCOffset(), dcOffset);
}

TEST(SampleProcessing, CounterGapsAreReportedAndShortPacketsDropped) {
  Rig rig(Wire::TenTwentyCalibrationImage(), 300, "Cz");
  rig.Data(5, 0, Body(0));
  rig.Data(6, 6, Body(0));
  rig.Data(8, 3600, Body(0));
  rig.Feed(Wire::EncodePacket(3, 12, std::string(49, '\x09')));  // 55 bytes
  for (unsigned counter : {9, 255, 0}) rig.Data(counter, 24, Body(0));
  EXPECT_EQ(rig.sampleTimes.size(), 6u);
  EXPECT_EQ(MessageRecorder::All(),
            (std::vector<Wire::RecordedMessage>{
                {"data packet   8 arrived timestamped   2.000000 - OUT OF SEQUENCE (expected 7)", 2},
                {"malformed data packet", 2},
                {"data packet 255 arrived timestamped   0.013333 - OUT OF SEQUENCE (expected 10)", 2}}));
}

}  // namespace
