// What the tools tell about a connected headset, the connection itself, the
// impedance check and the alarms.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ElectrodeImpedance.h"
#include "ProgressDisplay.h"
#include "qvt/qvt.h"

namespace QVT::Tools {

struct HeadsetDeleter {
  void operator()(QVT_Headset* headset) const { QVT_Headset_Delete(headset); }
};
using HeadsetHandle = std::unique_ptr<QVT_Headset, HeadsetDeleter>;

// The port to use: "DEFAULT" means the one QVTSerialPort names (empty when
// it names none), "auto" the one working headset a search finds (it throws
// RuntimeError with the list of several, or the diagnosis of none).
std::string ResolvePort(const std::string& port);

// Connects with the library's messages routed through the tools' message
// log (shown up to `verbosity`). Throws RuntimeError.
HeadsetHandle Connect(const std::string& port, int verbosity);

// Identity, firmware, battery, sampling rate and montage.
void PrintIdentity(QVT_Headset* headset, std::FILE* out);

// The montage's channels, in order. Throws RuntimeError when there are none.
std::vector<QVT_Channel*> MontageChannels(QVT_Headset* headset);

// Channels read together, a batch at a time, with one library call.
class ChannelReader {
 public:
  explicit ChannelReader(std::vector<QVT_Channel*> read = {}) : channels(std::move(read)) {}

  // Takes up to `most` samples of each channel; how many it took (the
  // same for every channel). Throws RuntimeError.
  std::size_t Read(QVT_Headset* headset, std::size_t most);
  // Sample k of channel c from the last Read.
  double At(std::size_t c, std::size_t k) const { return values[c * stride + k]; }

  std::vector<QVT_Channel*> channels;  // empty: every montage channel

 private:
  std::vector<double> values;  // channel-major, `stride` per channel
  std::size_t stride = 0;
};

// Empties every montage channel; call it with acquisition stopped, after
// adding channels to a chosen montage. Batches are paced by the channels the
// montage was chosen with: one added later starts empty, and while the others
// still held samples from before, a batch could find it short.
void DiscardBufferedSamples(QVT_Headset* headset);

// Runs the impedance driver while streaming for the given seconds and
// returns the impedance of every referential EEG electrode (none when Ctrl-C
// cut the measurement short); the driver is stopped again, also on failure,
// unless the link is lost (LinkLostError, after which the caller lets go of
// the headset as RunBatches says).
std::vector<ElectrodeImpedance> MeasureImpedances(QVT_Headset* headset, double seconds,
                                                  ProgressDisplay& display);

struct Alarm {
  int code = 0;
  std::string text;  // empty when the library gave none
};

// The queued alarms, oldest first, taken off the queue.
std::vector<Alarm> TakeAlarms(QVT_Headset* headset);

// "4 alarms" and one indented line per alarm, at most `limit` of them.
std::string FormatAlarms(const std::vector<Alarm>& alarms, std::size_t limit);

}  // namespace QVT::Tools
