#include "Log.h"

#include <cstdio>
#include <mutex>

namespace QVT::Lsl {
namespace {

std::mutex sinkMutex;
LogSink currentSink;

}  // namespace

void SetLogSink(LogSink sink) {
  std::lock_guard lock(sinkMutex);
  currentSink = std::move(sink);
}

void Log(const std::string& line) {
  std::lock_guard lock(sinkMutex);
  if (currentSink)
    currentSink(line);
  else
    std::fprintf(stderr, "lsl: %s\n", line.c_str());
}

}  // namespace QVT::Lsl
