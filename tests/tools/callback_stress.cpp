// Background acquisition from the virtual headset at verbosity 5 while a
// second client thread keeps changing callbacks and verbosity and reading
// reports, and the callbacks themselves call back into the library.
// Exits 0 when nothing went wrong; run as
//   qvt-emulator --rate 600 -- callback_stress SECONDS
#include <qvt/qvt.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

QVT_Headset* gHeadset = nullptr;
std::atomic<long> gMessages{0};
std::atomic<long> gSamples{0};
std::atomic<long> gTornSamples{0};
std::atomic<bool> gSelfCallsTried{false};
std::atomic<bool> gSelfCallsRefused{false};
int gSampleData = 0;

// Reads the alarm queue and the reports now and then, as a client reacting
// to what it is told would.
int OnMessage(const char*, int level) {
  const long n = ++gMessages;
  if (level <= 2 || n % 50 == 0) {
    QVT_Headset_GetNumberOfAlarms(gHeadset);
    QVT_Headset_GetAlarm(gHeadset, 0);
    QVT_Headset_GetInfoString(gHeadset);
    QVT_Headset_IsConnected(gHeadset);
  }
  return 0;
}

void OnSample(QVT_Headset* headset, double, void* data) {
  if (data != &gSampleData) ++gTornSamples;
  ++gSamples;
  // Deleting the headset or sending it a command from its own callback must
  // be refused, not done: either would wait for this very thread.
  if (!gSelfCallsTried.exchange(true)) {
    QVT_ClearError();
    QVT_Headset_Delete(headset);
    const char* error = QVT_Error();
    const bool deleteRefused = error != nullptr && std::string(error).rfind("Cannot delete", 0) == 0 &&
                               QVT_Headset_GetSamplingRate(headset) > 0.0;
    QVT_ClearError();
    QVT_Headset_SendBatteryQuery(headset);
    error = QVT_Error();
    gSelfCallsRefused = deleteRefused && error != nullptr && std::string(error).rfind("Cannot send", 0) == 0;
  }
}

// Changes and reads, as fast as a careless client might; the information
// report reads every other report.
void Meddle(const std::atomic<bool>& stop) {
  for (long round = 0; !stop; ++round) {
    const bool on = round % 2 == 0;
    QVT_Headset_SetMessageCallback(gHeadset, on ? OnMessage : nullptr);
    QVT_Headset_SetSampleCallback(gHeadset, on ? OnSample : nullptr, on ? &gSampleData : nullptr);
    QVT_Headset_SetVerbosity(gHeadset, on ? 5 : 3);
    QVT_Headset_GetNumberOfAlarms(gHeadset);
    QVT_Headset_GetAlarm(gHeadset, 0);
    QVT_Headset_GetInfoString(gHeadset);
    QVT_Headset_GetBatteryLevel(gHeadset, 1);
    QVT_Headset_GetNumberOfBufferedSamples(gHeadset);
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 4.0;
  gHeadset = QVT_Headset_New("DEFAULT");
  if (gHeadset == nullptr) {
    std::fprintf(stderr, "callback_stress: %s\n", QVT_Error());
    return 1;
  }
  QVT_Headset_SetMessageCallback(gHeadset, OnMessage);
  QVT_Headset_SetSampleCallback(gHeadset, OnSample, &gSampleData);
  QVT_Headset_SetVerbosity(gHeadset, 5);
  if (!QVT_Headset_StartBackgroundAcquisition(gHeadset)) return 1;

  std::atomic<bool> stop{false};
  std::thread meddler(Meddle, std::cref(stop));
  const unsigned channels = QVT_Headset_GetNumberOfChannels(gHeadset);
  long read = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (unsigned c = 0; c < channels; ++c) {
      QVT_Channel* channel = QVT_Headset_GetChannelByIndex(gHeadset, c);
      for (unsigned long n = QVT_Channel_GetNumberOfBufferedSamples(channel); n > 0; --n) {
        QVT_Channel_ReadBuffered(channel);
        if (c == 0) ++read;
      }
    }
  }
  stop = true;
  meddler.join();
  const double rate = QVT_Headset_GetSamplingRate(gHeadset);
  QVT_Headset_StopBackgroundAcquisition(gHeadset);
  QVT_Headset_Delete(gHeadset);

  std::printf("read %ld samples at %g Hz in %g s; %ld messages, %ld sample callbacks\n", read, rate, seconds,
              gMessages.load(), gSamples.load());
  bool ok = true;
  const auto check = [&ok](bool condition, const char* what) {
    if (!condition) std::fprintf(stderr, "callback_stress: %s\n", what);
    ok = ok && condition;
  };
  check(static_cast<double>(read) > 0.7 * rate * seconds, "too few samples read");
  check(gMessages > 0 && gSamples > 0, "no callback was delivered");
  check(gTornSamples == 0, "a sample callback got another callback's data");
  check(gSelfCallsRefused,
        "deleting the headset or sending it a command from its own callback was not refused");
  return ok ? 0 : 1;
}
