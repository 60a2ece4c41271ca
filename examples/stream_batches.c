/* Connects to a headset, prints what it knows about itself, then streams five
 * seconds of data in batches on a background acquisition thread and prints
 * one line per batch. Each wait is bounded, so a headset that falls silent
 * ends the program instead of hanging it, and each batch of every channel
 * is taken in one call.
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
/* A headset that streams sends a batch well within this. */
#define SILENCE_SECONDS 2.0

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
  double* samples;
  char names[2][64];
  double start = 0.0;
  unsigned batch, c;
  int failed = 0;

  if (Failed("reading the headset's settings")) return 1;
  if (rate <= 0.0 || channels == 0) {
    fprintf(stderr, "stream_batches: the headset reports no sampling rate or no channels\n");
    return 1;
  }
  if (batchSize == 0) batchSize = 1;
  /* Names are copied: returned strings are only lent. */
  for (c = 0; c < 2; ++c) {
    const char* name = QVT_Channel_GetName(QVT_Headset_GetChannelByIndex(headset, c < channels ? c : 0));
    snprintf(names[c], sizeof names[c], "%s", name ? name : "?");
  }
  QVT_Headset_ConfigureBatch(headset, batchSize, 0.05);
  if (Failed("configuring batches")) return 1;
  /* One batch of every channel, channel after channel. */
  samples = malloc((size_t)channels * batchSize * sizeof *samples);
  if (samples == NULL) return 1;

  if (!QVT_Headset_StartBackgroundAcquisition(headset)) {
    Failed("starting background acquisition");
    free(samples);
    return 1;
  }
  for (batch = 0;; ++batch) {
    double t = 0.0;
    unsigned long long first = 0;
    size_t taken;
    const int waited = QVT_Headset_WaitForBatchTimeout(headset, SILENCE_SECONDS, &t);
    if (waited == QVT_WAIT_TIMEOUT) {
      fprintf(stderr, "stream_batches: no batch for %.1f s\n", SILENCE_SECONDS);
      failed = 1;
      break;
    }
    if (waited != QVT_WAIT_READY) {
      Failed("waiting for a batch");
      failed = 1;
      break;
    }
    if (batch == 0) start = t;
    /* Every channel is drained, so that the buffers keep pace. */
    taken = QVT_Headset_ReadChannels(headset, NULL, 0, samples, batchSize, &first);
    if (Failed("reading a batch")) {
      failed = 1;
      break;
    }
    if (taken > 0)
      printf("batch %4u  t=%9.3f s  samples %llu-%llu  %s=%+12.3f  %s=%+12.3f\n", batch, t, first,
             first + taken - 1, names[0], samples[taken - 1], names[1],
             samples[(channels > 1 ? batchSize : 0) + taken - 1]);
    if (t - start >= STREAM_SECONDS) break;
  }
  QVT_Headset_StopBackgroundAcquisition(headset);
  WaitForTheStreamToEnd(headset);
  free(samples);
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
