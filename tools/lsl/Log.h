// Where the network component's messages go: standard error unless a program
// installs its own sink. Safe to call from any thread.
#pragma once

#include <functional>
#include <string>

namespace QVT::Lsl {

using LogSink = std::function<void(const std::string& line)>;

// Replaces the sink (an empty one restores standard error). The sink is
// called under a lock of its own, so it must not install another sink.
void SetLogSink(LogSink sink);
void Log(const std::string& line);

}  // namespace QVT::Lsl
