#include "support/TestHeadsets.h"

#include <algorithm>

#include "model/NamingScheme.h"

namespace QVT::testing {

using namespace SourceID;

SlotLayout TenTwentyLayout() {
  return {Fp1, Fp2, F7, F3, Fz, F4, F8, A1, T3, C3, Cz, C4, T4, A2, T5, P3, CM, P4, T6, O1, O2, X1, X2, X3};
}

SlotLayout TenTenLayout() {
  return {Fp1, Fp2, AF3, AF4, F3, Fz, F4, FC1, FC2, T7,  C3,   Cz,
          C4,  T8,  CP1, CP2, P7, P3, CM, P4,  P8,  TP9, TP10, Oz};
}

SlotLayout SevenSlotLayout() {
  SlotLayout slots;
  slots.fill(NC);
  const std::array<Code, 7> fitted = {A1A2, F3, F4, C3, Cz, C4, CM};
  std::copy(fitted.begin(), fitted.end(), slots.begin());
  return slots;
}

std::unique_ptr<Headset> MakeSimulatedHeadset() {
  auto headset = MakeHeadset(TenTwentyLayout());
  headset->messageCallback.Set(nullptr);
  headset->SimulateInput();
  headset->samplingRate = 300.0;
  headset->ChooseChannels("Fz Cz", "", false);
  return headset;
}

std::unique_ptr<Headset> MakeHeadset(const SlotLayout& slots, Code factoryReference) {
  constexpr double kSlotGain = 0.301;
  constexpr double kCommonModeGain = 74.0;
  auto headset = std::make_unique<Headset>("deferred");
  auto add = [&headset](Code code, double gain) {
    headset->sources.push_back(std::make_unique<Source>(code, SourceIDName(code), 0, gain, 0.0));
  };

  headset->factoryReferenceCode = factoryReference;
  headset->factoryReferenceName = SourceIDName(factoryReference);
  StringCounter votes;
  votes.Count(kScheme1010) = 0;
  for (Code slot : slots) {
    const Code code = ResolveRedundantSourceIDs(slot, votes);
    add(code, code == CM ? kCommonModeGain : kSlotGain);
  }
  add(TRG, 1.0);
  add(factoryReference, 0.0);
  headset->sources.back()->SetRawSignal(0.0);
  for (Code code : {SND, RCV}) add(code, 1.0);
  add(NUL, 0.0);
  for (int code = TRG0; code <= JERK; ++code) add(static_cast<Code>(code), 1.0);

  for (const char* aliases : kDefaultSourceAliases) headset->AddSourceAliases(aliases);
  headset->UseNamingScheme(ChooseNamingScheme(votes));
  return headset;
}

}  // namespace QVT::testing
