// Every exported function refuses a null handle: it records the message
// naming the handle's class and returns its failure value.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "qvt/qvt.h"

namespace {

// A call with a null handle, and whether it returned the failure value.
struct NullCall {
  const char* call;
  std::function<bool()> returnsFailureValue;
};

// Failure values are 0, 0.0 and NULL, all of which compare equal to 0.
#define RESULT(expression)                        \
  {                                               \
#expression, [] { return (expression) == 0; } \
  }
#define NO_RESULT(expression)                \
  {                                          \
#expression, [] { expression; return true; } \
  }

void ExpectEachRefusesNull(const std::vector<NullCall>& calls, const char* message) {
  for (const NullCall& c : calls) {
    QVT_ClearError();
    EXPECT_TRUE(c.returnsFailureValue()) << c.call;
    EXPECT_STREQ(QVT_Error(), message) << c.call;
  }
}

int CountCallback(const char*, int) { return 0; }
void StageFunction(QVT_Headset*, double, void*) {}

QVT_Headset* const h = nullptr;
QVT_ProcessingStage* const p = nullptr;
QVT_Channel* const c = nullptr;
QVT_Source* const s = nullptr;

}  // namespace

TEST(NullHandles, EveryHeadsetFunctionRefusesANullHeadset) {
  ExpectEachRefusesNull(
      {
          NO_RESULT(QVT_Headset_Delete(h)),
          NO_RESULT(QVT_Headset_SetVerbosity(h, 3)),
          NO_RESULT(QVT_Headset_SetMessageCallback(h, CountCallback)),
          NO_RESULT(QVT_Headset_SetSampleCallback(h, StageFunction, nullptr)),
          NO_RESULT(QVT_Headset_Connect(h, "/dev/null")),
          RESULT(QVT_Headset_IsConnected(h)),
          NO_RESULT(QVT_Headset_SetWatchdogInterval(h, 1.0)),
          RESULT(QVT_Headset_SecondsSinceConnection(h)),
          RESULT(QVT_Headset_GetPort(h)),
          NO_RESULT(QVT_Headset_Disconnect(h)),
          NO_RESULT(QVT_Headset_ConfigureADC(h, 1, 2)),
          NO_RESULT(QVT_Headset_SetAccelerometerRate(h, 50)),
          NO_RESULT(QVT_Headset_ChooseChannels(h, "Fz", "", 1)),
          NO_RESULT(QVT_Headset_AddChannelToMontage_FromSource(h, s)),
          NO_RESULT(QVT_Headset_AddChannelToMontage_FromString(h, "Fz", 1)),
          RESULT(QVT_Headset_SetTraditionalReference(h, 1)),
          NO_RESULT(QVT_Headset_SetDefaultReference(h, "Cz", 1)),
          RESULT(QVT_Headset_GetFactoryReferenceString(h)),
          RESULT(QVT_Headset_GetReferenceString(h)),
          NO_RESULT(QVT_Headset_ForgetMontage(h)),
          NO_RESULT(QVT_Headset_UseNamingScheme(h, "10-10")),
          RESULT(QVT_Headset_RenameSource(h, "Fz", "F")),
          RESULT(QVT_Headset_AddSourceAliases(h, "Fz=F")),
          RESULT(QVT_Headset_GetHardwareModel(h)),
          RESULT(QVT_Headset_GetHardwareRevision(h)),
          RESULT(QVT_Headset_GetNumberOfChannels(h)),
          RESULT(QVT_Headset_GetNumberOfSources(h)),
          RESULT(QVT_Headset_GetChannelByIndex(h, 0)),
          RESULT(QVT_Headset_GetChannelByName(h, "Fz")),
          RESULT(QVT_Headset_GetSourceByIndex(h, 0)),
          RESULT(QVT_Headset_GetSourceByName(h, "Fz")),
          RESULT(QVT_Headset_IsBlueToothInitialized(h)),
          NO_RESULT(QVT_Headset_ReallocateBuffers(h, 1.0, 1.0)),
          NO_RESULT(QVT_Headset_FlushBuffers(h)),
          RESULT(QVT_Headset_GetNumberOfBufferedSamples(h)),
          RESULT(QVT_Headset_GetNumberOfOverflowedSamples(h)),
          NO_RESULT(QVT_Headset_ConfigureBufferingController(h, 0.25, 0.9, 1.0, 0.0, 0.0)),
          NO_RESULT(QVT_Headset_ConfigureBatch(h, 10, 0.05)),
          RESULT(QVT_Headset_StartBackgroundAcquisition(h)),
          NO_RESULT(QVT_Headset_StopBackgroundAcquisition(h)),
          RESULT(QVT_Headset_WaitForBatch(h)),
          RESULT(QVT_Headset_WaitForSamples(h, 1)),
          NO_RESULT(QVT_Headset_Idle(h, 0.0)),
          NO_RESULT(QVT_Headset_Receive(h, 0.0, 0.0)),
          NO_RESULT(QVT_Headset_KillDataStream(h, 0)),
          RESULT(QVT_Headset_GetAlarm(h, 1)),
          RESULT(QVT_Headset_GetNumberOfAlarms(h)),
          NO_RESULT(QVT_Headset_ClearAlarms(h)),
          NO_RESULT(QVT_Headset_SendBatteryQuery(h)),
          RESULT(QVT_Headset_GetBatteryLevel(h, 1)),
          RESULT(QVT_Headset_GetBatteryLevelString(h)),
          RESULT(QVT_Headset_GetFirmwareRevision(h)),
          RESULT(QVT_Headset_GetMontageString(h)),
          RESULT(QVT_Headset_GetSourceNames(h, 3)),
          RESULT(QVT_Headset_GetInfoString(h)),
          RESULT(QVT_Headset_GetSensorCount(h)),
          RESULT(QVT_Headset_GetSerialNumber(h)),
          RESULT(QVT_Headset_GetSamplingRate(h)),
          RESULT(QVT_Headset_GetAccelerometerRate(h)),
          RESULT(QVT_Headset_GetFilterMode(h)),
          RESULT(QVT_Headset_GetDataAcquisitionMode(h)),
          RESULT(QVT_Headset_GetImpedanceDriverMode(h)),
          RESULT(QVT_Headset_GetAnalogResetMode(h)),
          RESULT(QVT_Headset_GetImpedanceCMF(h)),
          NO_RESULT(QVT_Headset_StartDataAcquisition(h)),
          NO_RESULT(QVT_Headset_StopDataAcquisition(h)),
          NO_RESULT(QVT_Headset_StartImpedanceDriver(h)),
          NO_RESULT(QVT_Headset_StopImpedanceDriver(h)),
          NO_RESULT(QVT_Headset_StartAnalogReset(h)),
          NO_RESULT(QVT_Headset_LockAnalogReset(h)),
          NO_RESULT(QVT_Headset_ReleaseAnalogReset(h)),
          NO_RESULT(QVT_Headset_Shutdown(h)),
          NO_RESULT(QVT_Headset_UseOptionalCommandPrefix(h, 1)),
          NO_RESULT(QVT_Headset_ChangeLEDs(h, 7)),
          RESULT(QVT_Headset_AddProcessingStage(h, "stage", StageFunction, nullptr, p)),
          NO_RESULT(QVT_Headset_ReallocateStageBuffers(h, p, 1.0)),
          RESULT(QVT_Headset_GetNumberOfProcessingStages(h)),
          RESULT(QVT_Headset_GetProcessingStageByIndex(h, 0)),
          RESULT(QVT_Headset_GetProcessingStageByName(h, "stage")),
      },
      "NULL Headset pointer");
}

TEST(NullHandles, EveryProcessingStageFunctionRefusesANullStage) {
  ExpectEachRefusesNull(
      {
          RESULT(QVT_ProcessingStage_GetChannelByIndex(p, 0)),
          RESULT(QVT_ProcessingStage_GetChannelByName(p, "x")),
          NO_RESULT(QVT_ProcessingStage_ClearChannels(p)),
          RESULT(QVT_ProcessingStage_GetInput(p)),
          RESULT(QVT_ProcessingStage_GetName(p)),
          RESULT(QVT_ProcessingStage_ParamData(p)),
          RESULT(QVT_ProcessingStage_GetNumberOfChannels(p)),
          RESULT(QVT_ProcessingStage_Read(p, 0, 0)),
          NO_RESULT(QVT_ProcessingStage_Write(p, 0, 1.0)),
          RESULT(QVT_ProcessingStage_AddChannel(p, "x", 4)),
      },
      "NULL ProcessingStage pointer");
}

TEST(NullHandles, EveryChannelFunctionRefusesANullChannel) {
  ExpectEachRefusesNull(
      {
          RESULT(QVT_Channel_LookBack(c, 0)),
          RESULT(QVT_Channel_ReadBuffered(c)),
          RESULT(QVT_Channel_GetNumberOfBufferedSamples(c)),
          RESULT(QVT_Channel_GetNumberOfOverflowedSamples(c)),
          RESULT(QVT_Channel_GetBufferCapacity(c)),
          NO_RESULT(QVT_Channel_FlushOutputBuffer(c)),
          NO_RESULT(QVT_Channel_SetName(c, "x")),
          RESULT(QVT_Channel_GetName(c)),
          RESULT(QVT_Channel_GetString(c)),
          RESULT(QVT_Channel_GetSignal(c)),
          RESULT(QVT_Channel_CalculateRawSignal(c)),
          RESULT(QVT_Channel_IsReferentialEEG(c)),
          RESULT(QVT_Channel_IsTrigger(c)),
      },
      "NULL Channel pointer");
}

TEST(NullHandles, EverySourceFunctionRefusesANullSource) {
  ExpectEachRefusesNull(
      {
          RESULT(QVT_Source_IsTrigger(s)),
          RESULT(QVT_Source_IsSensor(s)),
          RESULT(QVT_Source_IsReferentialEEG(s)),
          RESULT(QVT_Source_IsFactoryReference(s)),
          RESULT(QVT_Source_IsCommonModeSignal(s)),
          NO_RESULT(QVT_Source_SetName(s, "x")),
          RESULT(QVT_Source_GetName(s)),
          RESULT(QVT_Source_GetSignal(s)),
          RESULT(QVT_Source_GetGain(s)),
          RESULT(QVT_Source_GetImpedanceEEG(s)),
          RESULT(QVT_Source_GetImpedanceCMF(s)),
          RESULT(QVT_Source_GetDCOffset(s)),
      },
      "NULL Source pointer");
}
