#include "Abandoned.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>

namespace QVT::Tools {

namespace {

std::atomic<bool> abandoned{false};

}  // namespace

void Abandon(HeadsetHandle& headset) {
  if (headset.release() != nullptr) abandoned = true;
}

void NoteAbandoned() { abandoned = true; }

int ExitStatus(int status) {
  if (!abandoned) return status;
  std::fflush(stdout);
  std::fflush(stderr);
  _exit(status);
}

}  // namespace QVT::Tools
