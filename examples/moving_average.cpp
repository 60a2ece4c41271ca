// Adds a processing stage that smooths every montage channel with a moving
// average, streams for a few seconds on the calling thread and prints the
// smoothed values.
//
// Usage: moving_average [PORT [SECONDS]]
// Without PORT the port named by the QVTSerialPort environment variable is
// used.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "qvt/qvt.h"

namespace {

struct MovingAverage {
  unsigned window;  // samples averaged
};

// Reports and clears the last error; true when there was one.
bool Failed(const char* what) {
  const char* error = QVT_ClearError();
  if (error == nullptr) return false;
  std::fprintf(stderr, "moving_average: %s: %s\n", what, error);
  return true;
}

// Input channel c, k samples before its newest value: a channel of the input
// stage, or of the montage itself when the stage comes first.
double InputValue(QVT_Headset* headset, QVT_ProcessingStage* input, unsigned c, unsigned k) {
  if (input != nullptr) return QVT_ProcessingStage_Read(input, c, k);
  return QVT_Channel_LookBack(QVT_Headset_GetChannelByIndex(headset, c), k);
}

// The stage's work, once per sample: output channel c is the mean of the
// last `window` values of input channel c (look-back 0 is the newest).
void Smooth(QVT_Headset* headset, double, void* stagePointer) {
  QVT_ProcessingStage* stage = static_cast<QVT_ProcessingStage*>(stagePointer);
  const MovingAverage* filter = static_cast<const MovingAverage*>(QVT_ProcessingStage_ParamData(stage));
  QVT_ProcessingStage* input = QVT_ProcessingStage_GetInput(stage);
  const unsigned channels = QVT_ProcessingStage_GetNumberOfChannels(stage);
  for (unsigned c = 0; c < channels; ++c) {
    double sum = 0.0;
    for (unsigned k = 0; k < filter->window; ++k) sum += InputValue(headset, input, c, k);
    QVT_ProcessingStage_Write(stage, c, sum / filter->window);
  }
}

// Adds the stage after the last one (after the montage when there is none)
// and gives it one output per input channel.
QVT_ProcessingStage* AddMovingAverage(QVT_Headset* headset, MovingAverage* filter, double rate) {
  QVT_ProcessingStage* stage =
      QVT_Headset_AddProcessingStage(headset, "moving average", Smooth, filter, nullptr);
  if (Failed("adding the stage")) return nullptr;
  QVT_ProcessingStage* input = QVT_ProcessingStage_GetInput(stage);
  // A stage starts with copies of its input's channels; this one replaces
  // them with outputs of its own.
  QVT_ProcessingStage_ClearChannels(stage);
  const std::size_t bufferSamples = static_cast<std::size_t>(rate * 2.0) + 1;
  const unsigned channels =
      input ? QVT_ProcessingStage_GetNumberOfChannels(input) : QVT_Headset_GetNumberOfChannels(headset);
  for (unsigned c = 0; c < channels; ++c) {
    QVT_Channel* source =
        input ? QVT_ProcessingStage_GetChannelByIndex(input, c) : QVT_Headset_GetChannelByIndex(headset, c);
    const std::string name = QVT_Channel_GetName(source);
    QVT_ProcessingStage_AddChannel(stage, (name + "~avg").c_str(), bufferSamples);
  }
  if (Failed("adding output channels") || channels == 0) return nullptr;
  return stage;
}

int Stream(QVT_Headset* headset, double seconds) {
  const double rate = QVT_Headset_GetSamplingRate(headset);
  if (Failed("reading the sampling rate") || rate <= 0.0) return 1;
  MovingAverage filter{static_cast<unsigned>(rate * 0.04) + 1};  // about 40 ms
  QVT_ProcessingStage* stage = AddMovingAverage(headset, &filter, rate);
  if (stage == nullptr) {
    std::fprintf(stderr, "moving_average: no montage to smooth\n");
    return 1;
  }
  std::vector<QVT_Channel*> outputs;
  std::vector<std::string> names;
  for (unsigned c = 0; c < QVT_ProcessingStage_GetNumberOfChannels(stage); ++c) {
    outputs.push_back(QVT_ProcessingStage_GetChannelByIndex(stage, c));
    names.push_back(QVT_Channel_GetName(outputs.back()));
  }
  const unsigned batchSize = static_cast<unsigned>(rate * 0.25) + 1;
  QVT_Headset_ConfigureBatch(headset, batchSize, 0.05);

  // Without a background thread the waits read the link themselves, and the
  // stage runs on this thread.
  QVT_Headset_StartDataAcquisition(headset);
  if (Failed("starting the data stream")) return 1;
  int status = 0;
  for (double start = -1.0;;) {
    const double t = QVT_Headset_WaitForBatch(headset);
    if (Failed("waiting for a batch")) {
      status = 1;
      break;
    }
    if (start < 0.0) start = t;
    std::vector<double> latest(outputs.size(), 0.0);
    for (unsigned i = 0; i < batchSize; ++i)
      for (std::size_t c = 0; c < outputs.size(); ++c) latest[c] = QVT_Channel_ReadBuffered(outputs[c]);
    if (Failed("reading the smoothed values")) {
      status = 1;
      break;
    }
    std::printf("t=%9.3f s", t);
    for (std::size_t c = 0; c < outputs.size() && c < 4; ++c)
      std::printf("  %s=%+12.3f", names[c].c_str(), latest[c]);
    std::printf("\n");
    if (t - start >= seconds) break;
  }
  QVT_Headset_StopDataAcquisition(headset);
  Failed("stopping the data stream");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const char* port = argc > 1 ? argv[1] : "DEFAULT";
  const double seconds = argc > 2 ? std::atof(argv[2]) : 3.0;
  QVT_Headset* headset = QVT_Headset_New(port);
  if (headset == nullptr) {
    Failed("connecting");
    return 1;
  }
  const int status = Stream(headset, seconds);
  QVT_Headset_Delete(headset);
  return status;
}
