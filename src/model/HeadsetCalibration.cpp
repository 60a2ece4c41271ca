// Turning the calibration image into the headset's sources, and moving the
// factory reference position.
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <sstream>

#include "core/Headset.h"
#include "model/CalibrationLayout.h"
#include "model/NamingScheme.h"
#include "util/StringCounter.h"

namespace QVT {

namespace {

using namespace CalibrationLayout;

// Nominal gains from raw units: the common-mode follower has its own range.
constexpr double kSensorGain = 0.301;
constexpr double kCommonModeGain = 74.0;

// The sources the host makes itself, after the slots. The factory reference
// goes second; it is added separately because its code varies.
constexpr SourceID::Code kTriggerAndLinkSources[] = {SourceID::SND, SourceID::RCV};
constexpr SourceID::Code kTriggerBitAndMotionSources[] = {
    SourceID::TRG0, SourceID::TRG1, SourceID::TRG2, SourceID::TRG3, SourceID::TRG4,
    SourceID::TRG5, SourceID::TRG6, SourceID::TRG7, SourceID::ACCT, SourceID::ACCX,
    SourceID::ACCY, SourceID::ACCZ, SourceID::JERK};

// Early seven-electrode headsets recorded their linked-ear input as "X1" in
// slot 0; the rule is kept that narrow on purpose.
constexpr int kSevenSlotHeadset = 7;

}  // namespace

unsigned long Headset::ImpedanceAveragingLength() const { return SlotsFor(impedanceSeconds); }

unsigned long Headset::SlotsFor(double seconds) const {
  const double length = samplingRate * seconds + 0.5;
  // While the sampling rate is unknown (-1.0) the product is negative and
  // would wrap to a huge count: no averaging slots then. NaN lands here too.
  if (!(length >= 0.0)) return 0;
  // Beyond the range of the type the conversion is undefined; the largest
  // count is refused by the buffer allocation instead.
  if (length >= static_cast<double>(std::numeric_limits<unsigned long>::max()))
    return std::numeric_limits<unsigned long>::max();
  return static_cast<unsigned long>(length);
}

void Headset::InterpretCalibrationMemory(const void* image) {
  if (image != nullptr && image != calibrationImage.data())
    std::memmove(calibrationImage.data(), image, calibrationImage.size());
  const CalibrationImage& memory = calibrationImage;

  ForgetSources();

  factoryReferenceCode = SourceID::Pz;
  calibrationLayoutVersion = LayoutVersion(memory);
  const bool factoryReferenceRecorded = calibrationLayoutVersion >= kFirstVersionWithFactoryReference;
  if (factoryReferenceRecorded)
    factoryReferenceCode = static_cast<SourceID::Code>(FactoryReferenceByte(memory));

  StringCounter votes;
  votes.Count(kScheme1010) = 0;
  presentSlotCount = PresentSlotCount(memory);

  const unsigned long averagingLength = ImpedanceAveragingLength();
  auto append = [&](SourceID::Code code, double gain) -> Source& {
    sources.push_back(std::make_unique<Source>(code, SourceIDName(code), averagingLength, gain, 0.0));
    return *sources.back();
  };

  for (int k = 0; k < kSlots; ++k) {
    int id = SlotIdentity(memory, k);
    // The electrode at the factory reference position is wired as the
    // common-mode follower.
    const bool commonMode =
        id == SourceID::CM || (factoryReferenceRecorded && FactoryReferenceByte(memory) == id);
    if (commonMode) {
      id = SourceID::CM;
    } else if (presentSlotCount == kSevenSlotHeadset && k == 0 && id == SourceID::X1 &&
               calibrationLayoutVersion < kFirstVersionWithFactoryReference) {
      id = SourceID::A1A2;
    }
    const SourceID::Code code = ResolveRedundantSourceIDs(static_cast<SourceID::Code>(id), votes);
    const double trim = GainTrim(memory, k);
    const double gain =
        std::fma(trim, std::ldexp(1.0, -15), 1.0) * (commonMode ? kCommonModeGain : kSensorGain);
    append(code, gain);
  }

  factoryReferenceName = SourceIDName(factoryReferenceCode);

  append(SourceID::TRG, 1.0);
  // The factory reference is the zero every sensor is measured against.
  append(factoryReferenceCode, 0.0).SetRawSignal(0.0);
  for (SourceID::Code code : kTriggerAndLinkSources) append(code, 1.0);
  append(SourceID::NUL, 0.0);
  for (SourceID::Code code : kTriggerBitAndMotionSources) append(code, 1.0);

  calibrationPagesReceived.clear();

  for (const char* aliases : kDefaultSourceAliases) AddSourceAliases(aliases);
  UseNamingScheme(ChooseNamingScheme(votes));
}

void Headset::FlashNewCMFLocation(SourceID::Code code, signed char layoutVersion) {
  if (sources.empty())
    throw std::string("must read calibration memory completely before attempting to write it");

  constexpr unsigned kFactoryReferencePage = kFactoryReferenceOffset / kPageSize;
  static_assert(kLayoutVersionOffset / kPageSize == kFactoryReferencePage);

  const bool unprogrammed = code == SourceID::NC && layoutVersion == -1;
  if (!unprogrammed && !Source(code, "", 0, 1.0, 0.0).IsReferentialEEG()) {
    std::ostringstream message;
    message << "cannot set code " << static_cast<long>(code) << " (\"" << SourceIDName(code)
            << "\") as the common mode position";
    throw message.str();
  }
  // Codes that are not slot codes (unnamed ones count as referential EEG)
  // keep only their low byte, as the memory has one byte for the position.
  calibrationImage[kFactoryReferenceOffset] = static_cast<std::uint8_t>(code);
  calibrationImage[kLayoutVersionOffset] = static_cast<std::uint8_t>(layoutVersion);
  WriteCalibrationMemory(kFactoryReferencePage);
  InterpretCalibrationMemory(nullptr);
}

}  // namespace QVT
