// The public header compiles as C99, and its functions link and run from C.
#include <stdio.h>
#include <string.h>

#include "qvt/qvt.h"

static int callbackCalls;

static int CountingCallback(const char* message, int level) {
  (void)message;
  (void)level;
  ++callbackCalls;
  return 0;
}

static void Smooth(QVT_Headset* headset, double sampleTime, void* stage) {
  (void)headset;
  (void)sampleTime;
  (void)stage;
}

static int Globals(void) {
  const unsigned char bytes[2] = {0x41, 0x0A};
  int failures = 0;
  failures += Load_QVT_API() != 0;
  failures += strcmp(QVT_GetAPIVersion(), "1.20.4") != 0;
  // Any non-zero flag escapes every byte.
  failures += strcmp(QVT_PythonString(bytes, sizeof bytes, 7), "\"\\x41\\x0A\"") != 0;
  failures += QVT_GetDefaultPort() == NULL;
  QVT_SanityCheck();
  QVT_Sleep(0.0);
  failures += QVT_Error() != NULL;
  failures += QVT_ClearError() != NULL;
  failures += callbackCalls != 0;
  return failures;
}

// One call or more of each handle family on a headset that has no link.
static int Families(void) {
  int failures = 0;
  QVT_Headset* headset = QVT_Headset_New(NULL);
  QVT_ProcessingStage* stage;
  QVT_Channel* channel;
  QVT_SampleCallback onSample = NULL;
  QVT_ProcessingStageFunction work = Smooth;

  if (headset == NULL) return 1;
  QVT_Headset_SetMessageCallback(headset, NULL);
  QVT_Headset_SetSampleCallback(headset, onSample, NULL);
  failures += QVT_Headset_IsConnected(headset) != 0;
  failures += strcmp(QVT_Headset_GetHardwareModel(headset), "???") != 0;
  failures += QVT_Headset_GetSamplingRate(headset) != -1.0;

  stage = QVT_Headset_AddProcessingStage(headset, "smooth", work, NULL, NULL);
  channel = QVT_ProcessingStage_AddChannel(stage, "avg", 4);
  QVT_ProcessingStage_Write(stage, 0, 2.5);
  failures += QVT_Channel_ReadBuffered(channel) != 2.5;
  failures += strcmp(QVT_Channel_GetName(channel), "avg") != 0;
  failures += QVT_Error() != NULL;

  failures += QVT_Headset_GetSourceByIndex(headset, 0) != NULL;
  failures += QVT_Source_GetGain(NULL) != 0.0;
  failures += strcmp(QVT_ClearError(), "NULL Source pointer") != 0;
  failures += callbackCalls != 2;

  {
    QVT_AlarmRecord record;
    double samples[4];
    unsigned long long first = 0;
    QVT_Channel* list[1];
    list[0] = channel;
    failures += QVT_Headset_GetLinkState(headset, NULL) != QVT_LINK_CLOSED;
    failures += QVT_Headset_GetAlarmRecord(headset, &record, 1) != 0;
    QVT_ProcessingStage_Write(stage, 0, 1.5);
    failures += QVT_Headset_ReadChannels(headset, list, 1, samples, 4, &first) != 1;
    failures += samples[0] != 1.5 || first != 1;
    failures += QVT_Headset_WaitForSamplesTimeout(headset, 1, 0.0, NULL) != QVT_WAIT_TIMEOUT;
    QVT_Headset_WakeWaiters(headset);
    failures += QVT_Error() != NULL;
  }
  QVT_Headset_Delete(headset);
  return failures;
}

int main(void) {
  int failures;
  QVT_SetErrorCallback(CountingCallback);
  failures = Globals() + Families();
  QVT_SetErrorCallback(NULL);
  if (failures) fprintf(stderr, "%d checks failed\n", failures);
  return failures != 0;
}
