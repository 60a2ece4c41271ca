// The arguments a careless client passes: null handles to every exported
// function, null and empty texts, NaN, negative and huge counts and
// durations, unknown names. Each call gives the library's own error and its
// failure value or a defined result, and leaves what it should not touch
// alone.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "qvt/qvt.h"
#include "support/TestHeadsets.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct CarelessCall {
  const char* what;
  // False when the call returned something other than it should.
  std::function<bool()> call;
  // The start of the error expected; "" for none.
  std::string error;
};

void ExpectEach(const std::vector<CarelessCall>& calls, const std::string& error = "") {
  for (const CarelessCall& c : calls) {
    const std::string expected = error.empty() ? c.error : error;
    QVT_ClearError();
    EXPECT_TRUE(c.call()) << c.what;
    const char* got = QVT_Error();
    const std::string text = got != nullptr ? got : "";
    EXPECT_EQ(got != nullptr, !expected.empty()) << c.what << ": " << text;
    EXPECT_EQ(text.substr(0, expected.size()), expected) << c.what;
  }
}

// A call with a null handle; failure values are 0, 0.0 and NULL, all of
// which compare equal to 0.
template <typename Call>
CarelessCall Nulled(const char* what, Call call) {
  return {what,
          [call] {
            if constexpr (std::is_void_v<decltype(call())>) {
              call();
              return true;
            } else {
              return call() == 0;
            }
          },
          ""};
}
#define NULLED(expression) Nulled(#expression, [] { return expression; })
template <typename... Calls>
void Refused(const char* error, Calls... calls) {
  ExpectEach({calls...}, error);
}

int CountCallback(const char*, int) { return 0; }
void StageFunction(QVT_Headset*, double, void*) {}

QVT_Headset* const h = nullptr;
QVT_ProcessingStage* const p = nullptr;
QVT_Channel* const c = nullptr;
QVT_Source* const s = nullptr;
QVT_AlarmRecord gRecord;
double gSamples[4];

TEST(CarelessArguments, EveryFunctionRefusesANullHandleByItsClass) {
  Refused(
      "NULL Headset pointer", NULLED(QVT_Headset_Delete(h)), NULLED(QVT_Headset_SetVerbosity(h, 3)),
      NULLED(QVT_Headset_SetMessageCallback(h, CountCallback)),
      NULLED(QVT_Headset_SetSampleCallback(h, StageFunction, nullptr)),
      NULLED(QVT_Headset_Connect(h, "/dev/null")), NULLED(QVT_Headset_IsConnected(h)),
      NULLED(QVT_Headset_SetWatchdogInterval(h, 1.0)), NULLED(QVT_Headset_SecondsSinceConnection(h)),
      NULLED(QVT_Headset_GetPort(h)), NULLED(QVT_Headset_Disconnect(h)),
      NULLED(QVT_Headset_ConfigureADC(h, 1, 2)), NULLED(QVT_Headset_SetAccelerometerRate(h, 50)),
      NULLED(QVT_Headset_ChooseChannels(h, "Fz", "", 1)),
      NULLED(QVT_Headset_AddChannelToMontage_FromSource(h, s)),
      NULLED(QVT_Headset_AddChannelToMontage_FromString(h, "Fz", 1)),
      NULLED(QVT_Headset_SetTraditionalReference(h, 1)), NULLED(QVT_Headset_SetDefaultReference(h, "Cz", 1)),
      NULLED(QVT_Headset_GetFactoryReferenceString(h)), NULLED(QVT_Headset_GetReferenceString(h)),
      NULLED(QVT_Headset_ForgetMontage(h)), NULLED(QVT_Headset_UseNamingScheme(h, "10-10")),
      NULLED(QVT_Headset_RenameSource(h, "Fz", "F")), NULLED(QVT_Headset_AddSourceAliases(h, "Fz=F")),
      NULLED(QVT_Headset_GetHardwareModel(h)), NULLED(QVT_Headset_GetHardwareRevision(h)),
      NULLED(QVT_Headset_GetNumberOfChannels(h)), NULLED(QVT_Headset_GetNumberOfSources(h)),
      NULLED(QVT_Headset_GetChannelByIndex(h, 0)), NULLED(QVT_Headset_GetChannelByName(h, "Fz")),
      NULLED(QVT_Headset_GetSourceByIndex(h, 0)), NULLED(QVT_Headset_GetSourceByName(h, "Fz")),
      NULLED(QVT_Headset_IsBlueToothInitialized(h)), NULLED(QVT_Headset_ReallocateBuffers(h, 1.0, 1.0)),
      NULLED(QVT_Headset_FlushBuffers(h)), NULLED(QVT_Headset_GetNumberOfBufferedSamples(h)),
      NULLED(QVT_Headset_GetNumberOfOverflowedSamples(h)),
      NULLED(QVT_Headset_ConfigureBufferingController(h, 0.25, 0.9, 1.0, 0.0, 0.0)),
      NULLED(QVT_Headset_ConfigureBatch(h, 10, 0.05)), NULLED(QVT_Headset_StartBackgroundAcquisition(h)),
      NULLED(QVT_Headset_StopBackgroundAcquisition(h)), NULLED(QVT_Headset_WaitForBatch(h)),
      NULLED(QVT_Headset_WaitForSamples(h, 1)), NULLED(QVT_Headset_Idle(h, 0.0)),
      NULLED(QVT_Headset_Receive(h, 0.0, 0.0)), NULLED(QVT_Headset_KillDataStream(h, 0)),
      NULLED(QVT_Headset_GetAlarm(h, 1)), NULLED(QVT_Headset_GetNumberOfAlarms(h)),
      NULLED(QVT_Headset_ClearAlarms(h)), NULLED(QVT_Headset_SendBatteryQuery(h)),
      NULLED(QVT_Headset_GetBatteryLevel(h, 1)), NULLED(QVT_Headset_GetBatteryLevelString(h)),
      NULLED(QVT_Headset_GetFirmwareRevision(h)), NULLED(QVT_Headset_GetMontageString(h)),
      NULLED(QVT_Headset_GetSourceNames(h, 3)), NULLED(QVT_Headset_GetInfoString(h)),
      NULLED(QVT_Headset_GetSensorCount(h)), NULLED(QVT_Headset_GetSerialNumber(h)),
      NULLED(QVT_Headset_GetSamplingRate(h)), NULLED(QVT_Headset_GetAccelerometerRate(h)),
      NULLED(QVT_Headset_GetFilterMode(h)), NULLED(QVT_Headset_GetDataAcquisitionMode(h)),
      NULLED(QVT_Headset_GetImpedanceDriverMode(h)), NULLED(QVT_Headset_GetAnalogResetMode(h)),
      NULLED(QVT_Headset_GetImpedanceCMF(h)), NULLED(QVT_Headset_StartDataAcquisition(h)),
      NULLED(QVT_Headset_StopDataAcquisition(h)), NULLED(QVT_Headset_StartImpedanceDriver(h)),
      NULLED(QVT_Headset_StopImpedanceDriver(h)), NULLED(QVT_Headset_StartAnalogReset(h)),
      NULLED(QVT_Headset_LockAnalogReset(h)), NULLED(QVT_Headset_ReleaseAnalogReset(h)),
      NULLED(QVT_Headset_Shutdown(h)), NULLED(QVT_Headset_UseOptionalCommandPrefix(h, 1)),
      NULLED(QVT_Headset_ChangeLEDs(h, 7)),
      NULLED(QVT_Headset_AddProcessingStage(h, "stage", StageFunction, nullptr, p)),
      NULLED(QVT_Headset_ReallocateStageBuffers(h, p, 1.0)),
      NULLED(QVT_Headset_GetNumberOfProcessingStages(h)), NULLED(QVT_Headset_GetProcessingStageByIndex(h, 0)),
      NULLED(QVT_Headset_GetProcessingStageByName(h, "stage")),
      NULLED(QVT_Headset_GetAlarmRecord(h, &gRecord, 1)), NULLED(QVT_Headset_GetLinkState(h, nullptr)),
      NULLED(QVT_Headset_ReadChannels(h, nullptr, 0, gSamples, 2, nullptr)),
      NULLED(QVT_Headset_WaitForBatchTimeout(h, 1.0, nullptr)),
      NULLED(QVT_Headset_WaitForSamplesTimeout(h, 1, 1.0, nullptr)), NULLED(QVT_Headset_WakeWaiters(h)));
  Refused("NULL ProcessingStage pointer", NULLED(QVT_ProcessingStage_GetChannelByIndex(p, 0)),
          NULLED(QVT_ProcessingStage_GetChannelByName(p, "x")), NULLED(QVT_ProcessingStage_ClearChannels(p)),
          NULLED(QVT_ProcessingStage_GetInput(p)), NULLED(QVT_ProcessingStage_GetName(p)),
          NULLED(QVT_ProcessingStage_ParamData(p)), NULLED(QVT_ProcessingStage_GetNumberOfChannels(p)),
          NULLED(QVT_ProcessingStage_Read(p, 0, 0)), NULLED(QVT_ProcessingStage_Write(p, 0, 1.0)),
          NULLED(QVT_ProcessingStage_AddChannel(p, "x", 4)));
  Refused("NULL Channel pointer", NULLED(QVT_Channel_LookBack(c, 0)), NULLED(QVT_Channel_ReadBuffered(c)),
          NULLED(QVT_Channel_GetNumberOfBufferedSamples(c)),
          NULLED(QVT_Channel_GetNumberOfOverflowedSamples(c)), NULLED(QVT_Channel_GetBufferCapacity(c)),
          NULLED(QVT_Channel_FlushOutputBuffer(c)), NULLED(QVT_Channel_SetName(c, "x")),
          NULLED(QVT_Channel_GetName(c)), NULLED(QVT_Channel_GetString(c)), NULLED(QVT_Channel_GetSignal(c)),
          NULLED(QVT_Channel_CalculateRawSignal(c)), NULLED(QVT_Channel_IsReferentialEEG(c)),
          NULLED(QVT_Channel_IsTrigger(c)));
  Refused("NULL Source pointer", NULLED(QVT_Source_IsTrigger(s)), NULLED(QVT_Source_IsSensor(s)),
          NULLED(QVT_Source_IsReferentialEEG(s)), NULLED(QVT_Source_IsFactoryReference(s)),
          NULLED(QVT_Source_IsCommonModeSignal(s)), NULLED(QVT_Source_SetName(s, "x")),
          NULLED(QVT_Source_GetName(s)), NULLED(QVT_Source_GetSignal(s)), NULLED(QVT_Source_GetGain(s)),
          NULLED(QVT_Source_GetImpedanceEEG(s)), NULLED(QVT_Source_GetImpedanceCMF(s)),
          NULLED(QVT_Source_GetDCOffset(s)));
}

TEST(CarelessArguments, GiveTheLibrarysOwnErrorOrADefinedResult) {
  auto owned = QVT::testing::MakeHeadset(QVT::testing::TenTwentyLayout());
  owned->SimulateInput();
  owned->samplingRate = 300.0;
  owned->ChooseChannels("Fz Cz", "", false);
  QVT_Headset* x = owned.get();
  QVT_Channel* fz = QVT_Headset_GetChannelByIndex(x, 0);
  // The stage on a headset of its own: its outputs would become the
  // channels that batches are read from.
  auto staged = QVT::testing::MakeHeadset(QVT::testing::TenTwentyLayout());
  QVT_ProcessingStage* stage = QVT_Headset_AddProcessingStage(staged.get(), "s", nullptr, nullptr, nullptr);
  ASSERT_NE(stage, nullptr);
  const unsigned stageChannels = QVT_ProcessingStage_GetNumberOfChannels(stage);

  ExpectEach({
      {"bytes of a null buffer", [&] { return QVT_PythonString(nullptr, 5, 0) == nullptr; },
       "NULL buffer pointer"},
      {"no bytes of a null buffer", [&] { return std::string(QVT_PythonString(nullptr, 0, 0)) == "\"\""; },
       ""},
      {"sleep NaN", [&] { return QVT_Sleep(kNaN), true; }, ""},
      {"huge buffer duration", [&] { return QVT_Headset_ReallocateBuffers(x, 1e300, 1.0), true; },
       "a buffer duration of 1e+300 seconds is longer than the longest, 3600"},
      {"NaN averaging duration", [&] { return QVT_Headset_ReallocateBuffers(x, 10.0, kNaN), true; },
       "a buffer duration must be a number of seconds, not nan"},
      {"infinite stage buffers", [&] { return QVT_Headset_ReallocateStageBuffers(x, stage, INFINITY), true; },
       "a buffer duration of inf seconds"},
      {"huge stage channel", [&] { return QVT_ProcessingStage_AddChannel(stage, "c", 1UL << 62) == nullptr; },
       "cannot allocate a buffer of 4611686018427387904 samples: the most is 16777216"},
      {"more samples than fit", [&] { return QVT_Headset_WaitForSamples(x, ULONG_MAX) == 0ul; },
       "cannot wait for 18446744073709551615 samples: the buffers hold at most 3000"},
      {"a batch larger than the buffers",
       [&] {
         QVT_Headset_ConfigureBatch(x, UINT_MAX, kNaN);
         return QVT_Headset_WaitForBatch(x) == 0.0;
       },
       "cannot wait for 4294967299 samples"},
      {"idle NaN", [&] { return QVT_Headset_Idle(x, kNaN), true; },
       "a duration must be a number of seconds, not nan"},
      {"receive NaN", [&] { return QVT_Headset_Receive(x, 1.0, kNaN), true; },
       "a duration must be a number of seconds"},
      {"watchdog NaN", [&] { return QVT_Headset_SetWatchdogInterval(x, kNaN), true; }, ""},
      {"look back too far", [&] { return QVT_Channel_LookBack(fz, ULONG_MAX) == 0.0; },
       "cannot look back 18446744073709551615 steps: buffer size is 3000"},
      {"null source name", [&] { return QVT_Headset_GetSourceByName(x, nullptr) == nullptr; },
       "Failed to match desired source \"\""},
      {"unknown channel", [&] { return QVT_Headset_GetChannelByName(x, " Q9 ") == nullptr; },
       "Could not match Channel \"Q9\" (known names are: Fz, Cz)"},
      {"source index beyond", [&] { return QVT_Headset_GetSourceByIndex(x, 42) == nullptr; },
       "Source index 42 is out of range (42 sources available)"},
      {"unknown stage", [&] { return QVT_Headset_GetProcessingStageByName(x, "smooth") == nullptr; },
       "failed to match processing stage \"smooth\""},
      {"null scheme", [&] { return QVT_Headset_UseNamingScheme(x, nullptr), true; },
       "Unrecognized electrode naming scheme \"\""},
      {"null renames", [&] { return QVT_Headset_RenameSource(x, nullptr, nullptr) == 0; }, ""},
      {"null aliases", [&] { return QVT_Headset_AddSourceAliases(x, nullptr) == 0; }, ""},
      // Readings count from 1 and there are two.
      {"battery -7 and 3",
       [&] { return QVT_Headset_GetBatteryLevel(x, -7) == 0.0 && QVT_Headset_GetBatteryLevel(x, 3) == 0.0; },
       ""},
      {"NaN time limits",
       [&] {
         return QVT_Headset_WaitForBatchTimeout(x, kNaN, nullptr) == 0 &&
                QVT_Headset_WaitForSamplesTimeout(x, 1, kNaN, nullptr) == 0;
       },
       "a time limit must be a number of seconds, not nan"},
      {"more samples than fit, bounded",
       [&] { return QVT_Headset_WaitForSamplesTimeout(x, ULONG_MAX, 1.0, nullptr) == 0; },
       "cannot wait for 18446744073709551615 samples"},
      {"null alarm record", [&] { return QVT_Headset_GetAlarmRecord(x, nullptr, 1) == 0; },
       "NULL QVT_AlarmRecord pointer"},
      {"more samples than an array holds",
       [&] { return QVT_Headset_ReadChannels(x, nullptr, 0, gSamples, SIZE_MAX, nullptr) == 0u; },
       "cannot read 18446744073709551615 samples of 2 channels into one array"},
      {"channel index beyond", [&] { return QVT_Headset_GetChannelByIndex(x, UINT_MAX) == nullptr; },
       "Channel index 4294967295 is out of range (2 channels available)"},
  });
  // Nothing refused was half done; what is accepted is done in full.
  EXPECT_EQ(QVT_Channel_GetBufferCapacity(fz), 3000u);
  QVT_Headset_ReallocateBuffers(x, 2.0, 0.5);
  EXPECT_EQ(QVT_Channel_GetBufferCapacity(fz), 600u);
  EXPECT_EQ(QVT_ProcessingStage_GetNumberOfChannels(stage), stageChannels);
  QVT_ClearError();
}

}  // namespace
