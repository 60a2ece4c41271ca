// A client run under the virtual headset: connects through QVTSerialPort,
// checks the headset's identity and its connection alarm, streams with the
// impedance driver on and checks the sample count and the impedance
// estimates against what the emulator was told.
//
// Usage: emulator_client EXPECTED_KOHM SECONDS
// Exit status 0 when every check holds, 1 otherwise.
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qvt/qvt.h"

static int failures = 0;

static void Check(int ok, const char* what, double value) {
  if (ok) return;
  fprintf(stderr, "emulator_client: %s (got %g)\n", what, value);
  ++failures;
}

static void CountSample(QVT_Headset* headset, double sampleTime, void* count) {
  (void)headset;
  (void)sampleTime;
  ++*(unsigned long*)count;
}

static int Near(double value, double expected, double fraction) {
  return fabs(value - expected) <= fraction * expected;
}

int main(int argc, char** argv) {
  const double expected = argc > 1 ? atof(argv[1]) : 5.0;
  const double seconds = argc > 2 ? atof(argv[2]) : 2.0;
  const char* electrodes[] = {"O1", "Cz", "Fp1"};
  unsigned long samples = 0;
  double rate;
  unsigned i;
  QVT_Headset* headset = QVT_Headset_New("DEFAULT");
  if (headset == NULL) {
    fprintf(stderr, "emulator_client: cannot connect: %s\n", QVT_Error());
    return 1;
  }
  Check(strcmp(QVT_Headset_GetHardwareModel(headset), "VirtualHeadset") == 0, "hardware model", 0.0);
  Check(QVT_Headset_IsBlueToothInitialized(headset) == 1, "connection alarm", 0.0);
  rate = QVT_Headset_GetSamplingRate(headset);

  QVT_Headset_SetSampleCallback(headset, CountSample, &samples);
  QVT_Headset_StartImpedanceDriver(headset);
  QVT_Headset_Receive(headset, seconds, 0.2);
  Check(Near((double)samples, rate * seconds, 0.1), "samples near rate times seconds", (double)samples);

  for (i = 0; i < sizeof electrodes / sizeof electrodes[0]; ++i) {
    const double z = QVT_Source_GetImpedanceEEG(QVT_Headset_GetSourceByName(headset, electrodes[i]));
    Check(Near(z, expected, 0.03), "electrode impedance within 3 %", z);
  }
  Check(Near(QVT_Headset_GetImpedanceCMF(headset), expected, 0.03), "common-mode impedance within 3 %",
        QVT_Headset_GetImpedanceCMF(headset));
  Check(QVT_Error() == NULL, "no library error", 0.0);
  if (QVT_Error() != NULL) fprintf(stderr, "emulator_client: %s\n", QVT_Error());
  QVT_Headset_Delete(headset);
  return failures == 0 ? 0 : 1;
}
