// The CPU a client process spends streaming from a headset, as a share of
// one core: run under the virtual headset,
//   qvt-emulator --rate 600 -- streaming_cpu_share background|batches SECONDS
// background: background acquisition, the client reads every channel every
//             100 ms;
// batches:    no acquisition thread, the client loops on
//             QVT_Headset_WaitForBatch and reads each batch.
// The handshake is left out: the clock starts once the stream runs.
#include <qvt/qvt.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

namespace {

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

// Resident memory of this process in kB, from /proc.
long ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  return -1;
}

// Every unread sample of every channel; the count of the first.
unsigned long ReadAll(QVT_Headset* headset, unsigned long most) {
  const unsigned channels = QVT_Headset_GetNumberOfChannels(headset);
  unsigned long read = 0;
  for (unsigned c = 0; c < channels; ++c) {
    QVT_Channel* channel = QVT_Headset_GetChannelByIndex(headset, c);
    unsigned long n = QVT_Channel_GetNumberOfBufferedSamples(channel);
    if (n > most) n = most;
    for (unsigned long k = 0; k < n; ++k) QVT_Channel_ReadBuffered(channel);
    if (c == 0) read = n;
  }
  return read;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "background";
  const double seconds = argc > 2 ? std::atof(argv[2]) : 15.0;
  QVT_Headset* headset = QVT_Headset_New("DEFAULT");
  if (headset == nullptr) {
    std::fprintf(stderr, "streaming_cpu_share: %s\n", QVT_Error());
    return 1;
  }
  QVT_Headset_SetVerbosity(headset, 1);
  const bool background = mode == "background";
  if (background) {
    QVT_Headset_StartBackgroundAcquisition(headset);
  } else {
    QVT_Headset_StartDataAcquisition(headset);
  }
  // Settled: the first samples are in.
  QVT_Headset_WaitForSamples(headset, 10);
  ReadAll(headset, ~0UL);

  unsigned long samples = 0;
  long residentAfterAMinute = -1;
  const double cpuStart = CpuSeconds();
  const auto start = std::chrono::steady_clock::now();
  const auto end = start + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end) {
    if (background) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      samples += ReadAll(headset, ~0UL);
    } else {
      QVT_Headset_WaitForBatch(headset);
      samples += ReadAll(headset, QVT_Headset_GetNumberOfBufferedSamples(headset));
    }
    if (residentAfterAMinute < 0 && std::chrono::steady_clock::now() - start > std::chrono::minutes(1))
      residentAfterAMinute = ResidentKilobytes();
  }
  const long resident = ResidentKilobytes();
  const double cpu = CpuSeconds() - cpuStart;
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double rate = QVT_Headset_GetSamplingRate(headset);
  QVT_Headset_Delete(headset);
  std::printf("%-10s %6.0f Hz  %7.1f s  %8lu samples  cpu %6.3f s  share %5.2f %%  rss %ld kB", mode.c_str(),
              rate, wall, samples, cpu, 100.0 * cpu / wall, resident);
  if (residentAfterAMinute >= 0) std::printf(" (%ld kB after a minute)", residentAfterAMinute);
  std::printf("\n");
  return samples > 0 ? 0 : 1;
}
