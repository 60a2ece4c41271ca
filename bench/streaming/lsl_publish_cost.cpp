// What qvt-lsl costs end to end: the program publishing the virtual
// headset at 600 Hz with one consumer (this program, an inlet) on loopback.
// Prints qvt-lsl's CPU share of a core and, for the newest sample of each
// delivery, the time from its being taken (its stamp, which on the virtual
// headset's unjittered link is its block's arrival within the serial
// transfer) to its being read by the consumer. Run in a private network
// namespace, under the virtual headset (see make bench):
//   qvt-emulator --rate 600 -- lsl_publish_cost QVT_LSL SECONDS
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Clock.h"
#include "Inlet.h"
#include "Log.h"
#include "Resolver.h"

extern char** environ;

namespace {

// CPU seconds a process's threads have run, from the scheduler's own
// accounting in /proc (nanoseconds). The user and system times beside it
// are sampled at the timer tick, coarse for a program that runs in bursts
// of microseconds.
double CpuSecondsOf(pid_t pid) {
  const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
  double seconds = 0.0;
  for (const auto& task : std::filesystem::directory_iterator(tasks)) {
    std::ifstream schedstat(task.path() / "schedstat");
    double nanoseconds = 0.0;
    if (schedstat >> nanoseconds) seconds += nanoseconds * 1e-9;
  }
  return seconds;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace QVT::Lsl;
  if (argc < 2) return 2;
  const double seconds = argc > 2 ? std::atof(argv[2]) : 30.0;
  SetLogSink([](const std::string&) {});
  std::string program = argv[1];
  char* arguments[] = {program.data(), nullptr};
  // Its status lines are not the benchmark's.
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, argv[1], &quiet, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&quiet);
  if (spawned != 0) return 1;

  std::vector<ResolvedStream> found;
  for (int attempt = 0; attempt < 20 && found.empty(); ++attempt)
    found = Resolve("type='EEG'", ResolveTargets::Multicast({"224.0.0.183"}), std::chrono::milliseconds(500));
  if (found.empty()) {
    kill(pid, SIGINT);
    waitpid(pid, nullptr, 0);
    std::fprintf(stderr, "lsl_publish_cost: no stream\n");
    return 1;
  }
  Inlet inlet(found[0]);
  // Settle first: the clock model and the batch pacing.
  const double warmEnd = LocalClock() + 3.0;
  while (LocalClock() < warmEnd) inlet.Pull(std::chrono::milliseconds(100));

  const double cpuBefore = CpuSecondsOf(pid);
  const double start = LocalClock();
  std::vector<double> delays;
  double lastReceived = 0.0, newest = 1e9;
  std::size_t samples = 0;
  while (LocalClock() - start < seconds) {
    const auto sample = inlet.Pull(std::chrono::milliseconds(100));
    if (!sample) continue;
    ++samples;
    const double now = LocalClock();
    // Samples read within half a millisecond came in one delivery.
    if (now - lastReceived > 0.5e-3 && lastReceived > 0.0) {
      delays.push_back(newest);
      newest = 1e9;
    }
    newest = std::min(newest, now - sample->stamp);
    lastReceived = now;
  }
  const double wall = LocalClock() - start;
  const double cpu = CpuSecondsOf(pid) - cpuBefore;
  kill(pid, SIGINT);
  waitpid(pid, nullptr, 0);

  std::sort(delays.begin(), delays.end());
  auto at = [&](double q) {
    return delays.empty() ? 0.0 : delays[static_cast<std::size_t>(q * static_cast<double>(delays.size() - 1))];
  };
  std::printf("qvt-lsl: %.2f %% of a core over %.0f s (%zu samples); taken to read by the consumer, newest of "
              "each delivery: p50 %.2f ms, p99 %.2f ms, max %.2f ms (%zu deliveries)\n",
              100.0 * cpu / wall, wall, samples, at(0.5) * 1e3, at(0.99) * 1e3, at(1.0) * 1e3, delays.size());
}
