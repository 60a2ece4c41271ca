// A headset for the sample-path benchmarks: 24 electrode slots read from a
// calibration image, 300 Hz, the factory montage against linked mastoids,
// ten seconds of channel buffer and the impedance driver on, fed through the
// simulated link.
#pragma once

#include <cstdint>
#include <memory>

#include "core/Headset.h"
#include "model/CalibrationLayout.h"
#include "model/SourceID.h"

namespace bench {

inline std::unique_ptr<QVT::Headset> MakeStreamingHeadset() {
  using namespace QVT::SourceID;
  const Code slots[24] = {Fp1, Fpz, Fp2, F7, F3, Fz, F4, F8, M1, T3, C3, Cz,
                          C4,  T4,  M2,  T5, P3, CM, P4, T6, O1, O2, X1, X2};
  QVT::CalibrationImage image{};
  for (int k = 0; k < 24; ++k) image[k] = static_cast<std::uint8_t>(slots[k]);
  image[QVT::CalibrationLayout::kFactoryReferenceOffset] = Pz;
  image[QVT::CalibrationLayout::kLayoutVersionOffset] = 2;

  auto headset = std::make_unique<QVT::Headset>("deferred");
  headset->messageCallback.Set(nullptr);
  headset->SimulateInput();
  headset->samplingRate = 300.0;
  headset->impedanceDriverMode = 1;
  headset->InterpretCalibrationMemory(image.data());
  headset->ChooseChannels("FACTORY", "FACTORY", false);
  headset->SetTraditionalReference(true);
  return headset;
}

}  // namespace bench
