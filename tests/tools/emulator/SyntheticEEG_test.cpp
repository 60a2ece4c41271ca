// The virtual headset's signal: repeatable per seed, and alpha that grows at
// the back of the head when the eyes close.
#include "SyntheticEEG.h"

#include <gtest/gtest.h>

#include <cmath>

#include "headset/CalibrationImages.h"

using QVT::emulator::SignalSettings;
using QVT::emulator::SyntheticEEG;

namespace {

constexpr int kFz = 5;  // slots of the 10-20 image
constexpr int kO1 = 20;

double RootMeanSquare(const SyntheticEEG& eeg, int slot) {
  double sum = 0.0;
  const int n = 600;  // two seconds at 300 Hz
  for (int i = 0; i < n; ++i) {
    const double v = eeg.Microvolts(slot, i / 300.0);
    sum += v * v;
  }
  return std::sqrt(sum / n);
}

}  // namespace

TEST(SyntheticEEG, TheSameSeedRepeatsEveryPacketAndAnotherSeedDoesNot) {
  const auto image = QVT::testing::TenTwentyCalibrationImage();
  const SyntheticEEG first(image, SignalSettings{7, false, 5.0});
  const SyntheticEEG again(image, SignalSettings{7, false, 5.0});
  const SyntheticEEG other(image, SignalSettings{8, false, 5.0});
  bool differs = false;
  for (int i = 0; i < 300; ++i) {
    const double t = i / 300.0;
    ASSERT_EQ(first.PacketBody(t, t, true), again.PacketBody(t, t, true)) << "sample " << i;
    differs = differs || first.PacketBody(t, t, false) != other.PacketBody(t, t, false);
  }
  EXPECT_TRUE(differs);
}

TEST(SyntheticEEG, ClosingTheEyesRaisesOccipitalMoreThanFrontalActivity) {
  const auto image = QVT::testing::TenTwentyCalibrationImage();
  const SyntheticEEG open(image, SignalSettings{3, false, 5.0});
  const SyntheticEEG closed(image, SignalSettings{3, true, 5.0});
  EXPECT_GT(RootMeanSquare(closed, kO1), 1.5 * RootMeanSquare(open, kO1));
  EXPECT_LT(RootMeanSquare(closed, kFz), 1.2 * RootMeanSquare(open, kFz));
}

TEST(SyntheticEEG, TriggerPulsesEachSecondInTheUpperHalfOnASevenElectrodeHeadset) {
  for (const auto& [image, pulse] : {std::pair{QVT::testing::TenTwentyCalibrationImage(), '\x01'},
                                     std::pair{QVT::testing::SevenSlotCalibrationImage(), '\x10'}}) {
    const SyntheticEEG eeg(image, SignalSettings{});
    EXPECT_EQ(eeg.PacketBody(1.0, 1.0, false)[0], pulse);
    EXPECT_EQ(eeg.PacketBody(1.5, 1.5, false)[0], '\0');
  }
}
