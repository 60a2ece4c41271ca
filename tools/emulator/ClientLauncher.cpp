#include "ClientLauncher.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
#define QVT_EMULATOR_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QVT_EMULATOR_ADDRESS_SANITIZER 1
#endif
#endif

namespace QVT::emulator {

namespace {

// In a sanitized build the preload library carries the sanitizer runtime
// too and is loaded ahead of it on purpose; the client must not refuse that.
void AllowPreloadAheadOfSanitizer() {
#ifdef QVT_EMULATOR_ADDRESS_SANITIZER
  const char* previous = std::getenv("ASAN_OPTIONS");
  std::string options = previous ? previous : "";
  options += (options.empty() ? "" : ":") + std::string("verify_asan_link_order=0");
  setenv("ASAN_OPTIONS", options.c_str(), 1);
#endif
}

std::atomic<int> stopSignal{0};
std::atomic<pid_t> client{0};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<pid_t>::is_always_lock_free,
              "used from a signal handler");

// Whether the client got this signal too: one the kernel sends of its own
// accord, as a terminal does for Ctrl-C, goes to the whole foreground process
// group, and the client is in ours unless it left it. Passing it on would
// make one Ctrl-C count twice.
bool ClientGotItToo(const siginfo_t* info, pid_t target) {
  return info != nullptr && info->si_code == SI_KERNEL && getpgid(target) == getpgrp();
}

void OnStop(int signal, siginfo_t* info, void*) {
  stopSignal = signal;
  const pid_t target = client;
  if (target > 0 && !ClientGotItToo(info, target)) kill(target, signal);
}

bool Exists(const std::filesystem::path& path) {
  std::error_code ignored;
  return !path.empty() && std::filesystem::exists(path, ignored);
}

}  // namespace

std::string PreloadLibrary() {
  std::error_code failed;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", failed);
  const std::string name = std::filesystem::path(QVT_BUILD_PRELOAD).filename();
  if (!failed) {
    const std::filesystem::path nextToUs = self.parent_path().parent_path() / "lib" / name;
    if (Exists(nextToUs)) return nextToUs.lexically_normal();
  }
  for (const char* candidate : {QVT_BUILD_PRELOAD, QVT_INSTALLED_PRELOAD})
    if (Exists(candidate)) return candidate;
  return "";
}

std::string PreloadValue(const std::string& library) {
  const char* previous = std::getenv("LD_PRELOAD");
  if (previous == nullptr || *previous == '\0') return library;
  return library + ":" + previous;
}

void InstallStopHandlers() {
  struct sigaction action {};
  action.sa_sigaction = OnStop;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool StopRequested() { return stopSignal != 0; }

int RunClient(const std::vector<std::string>& command, const std::string& device,
              const std::string& preload) {
  std::vector<char*> arguments;
  for (const std::string& a : command) arguments.push_back(const_cast<char*>(a.c_str()));
  arguments.push_back(nullptr);
  const std::string preloadValue = PreloadValue(preload);

  const pid_t pid = fork();
  if (pid < 0) {
    std::perror("qvt-emulator: fork");
    return 127;
  }
  if (pid == 0) {
    setenv("QVTSerialPort", device.c_str(), 1);
    if (!preload.empty()) setenv("LD_PRELOAD", preloadValue.c_str(), 1);
    AllowPreloadAheadOfSanitizer();
    execvp(arguments[0], arguments.data());
    std::fprintf(stderr, "qvt-emulator: cannot run %s: %s\n", arguments[0], std::strerror(errno));
    _exit(127);
  }
  client = pid;
  if (stopSignal != 0) kill(pid, stopSignal);  // a signal that came before the child was known
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) {
      std::perror("qvt-emulator: waitpid");
      return 127;
    }
  }
  client = 0;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return 127;
}

}  // namespace QVT::emulator
