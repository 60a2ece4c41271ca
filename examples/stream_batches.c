/* Connects to a headset, prints what it knows about itself, then streams five
 * seconds of data in batches on a background acquisition thread and prints
 * one line per batch.
 *
 * Usage: stream_batches [PORT]
 * Without PORT the port named by the QVTSerialPort environment variable is
 * used. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qvt/qvt.h"

#define STREAM_SECONDS 5.0
#define BATCH_SECONDS 0.1

/* Reports and clears the last error; non-zero when there was one. */
static int Failed(const char* what) {
  const char* error = QVT_ClearError();
  if (error == NULL) return 0;
  fprintf(stderr, "stream_batches: %s: %s\n", what, error);
  return 1;
}

/* Gives the acquisition thread time to end: it stops the data stream it
 * started before it returns. */
static void WaitForTheStreamToEnd(QVT_Headset* headset) {
  int polls;
  for (polls = 0; polls < 300 && QVT_Headset_GetDataAcquisitionMode(headset) == 1; ++polls) QVT_Sleep(0.01);
}

static int Stream(QVT_Headset* headset) {
  const double rate = QVT_Headset_GetSamplingRate(headset);
  const unsigned channels = QVT_Headset_GetNumberOfChannels(headset);
  unsigned batchSize = (unsigned)(rate * BATCH_SECONDS + 0.5);
  QVT_Channel** channel;
  char names[2][64];
  double start = 0.0;
  unsigned batch, c, i;
  int failed = 0;

  if (Failed("reading the headset's settings")) return 1;
  if (rate <= 0.0 || channels == 0) {
    fprintf(stderr, "stream_batches: the headset reports no sampling rate or no channels\n");
    return 1;
  }
  if (batchSize == 0) batchSize = 1;
  channel = malloc(channels * sizeof *channel);
  if (channel == NULL) return 1;
  for (c = 0; c < channels; ++c) channel[c] = QVT_Headset_GetChannelByIndex(headset, c);
  /* Names are copied: returned strings are only lent. */
  for (c = 0; c < 2; ++c) {
    const char* name = QVT_Channel_GetName(channel[c < channels ? c : 0]);
    snprintf(names[c], sizeof names[c], "%s", name ? name : "?");
  }
  QVT_Headset_ConfigureBatch(headset, batchSize, 0.05);
  if (Failed("configuring batches")) {
    free(channel);
    return 1;
  }

  if (!QVT_Headset_StartBackgroundAcquisition(headset)) {
    Failed("starting background acquisition");
    free(channel);
    return 1;
  }
  for (batch = 0;; ++batch) {
    double latest[2] = {0.0, 0.0};
    const double t = QVT_Headset_WaitForBatch(headset);
    if (Failed("waiting for a batch")) {
      failed = 1;
      break;
    }
    if (batch == 0) start = t;
    /* Every channel is drained, so that the buffers keep pace. */
    for (i = 0; i < batchSize; ++i)
      for (c = 0; c < channels; ++c) {
        const double value = QVT_Channel_ReadBuffered(channel[c]);
        if (c < 2) latest[c] = value;
      }
    if (Failed("reading a batch")) {
      failed = 1;
      break;
    }
    printf("batch %4u  t=%9.3f s  %u samples  %s=%+12.3f  %s=%+12.3f\n", batch, t, batchSize, names[0],
           latest[0], names[1], channels > 1 ? latest[1] : latest[0]);
    if (t - start >= STREAM_SECONDS) break;
  }
  QVT_Headset_StopBackgroundAcquisition(headset);
  WaitForTheStreamToEnd(headset);
  free(channel);
  return failed;
}

int main(int argc, char** argv) {
  const char* port = argc > 1 ? argv[1] : "DEFAULT";
  QVT_Headset* headset;
  int status;

  headset = QVT_Headset_New(port);
  if (headset == NULL) {
    Failed("connecting");
    return 1;
  }
  printf("%s\n", QVT_Headset_GetInfoString(headset));
  status = Stream(headset);
  QVT_Headset_Delete(headset);
  return status;
}
