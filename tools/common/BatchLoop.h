// Paced batch delivery on the background acquisition thread, for a given
// time, until the caller has enough, or until Ctrl-C.
#pragma once

#include <functional>

#include "LibraryCalls.h"
#include "ProgressDisplay.h"
#include "qvt/qvt.h"

namespace QVT::Tools {

// The headset stopped answering: the library said so, or no data came for
// several seconds.
class LinkLostError : public RuntimeError {
 public:
  using RuntimeError::RuntimeError;
};

// How batches come: their length, and the signal kept buffered so that
// they come evenly despite the link's bursts. Shorter and less buffered
// for less delay, at the cost of more wake-ups.
struct BatchPacing {
  double batchSeconds = 0.1;
  double targetDelay = 0.05;
  // No pacing: whatever has arrived is read as soon as it is there, for
  // the least delay (more wake-ups, batches as uneven as the link); the
  // two values above are then not used.
  bool prompt = false;
};

// Starts background acquisition, calls readBatch(batchSize) whenever a batch
// is due until it returns false or `seconds` more have passed, shows the
// progress, and stops acquisition again (also on error). progress carries
// on from what it holds (elapsed time and samples add up over calls);
// readBatch may fill in its loss and file fields. Throws LinkLostError when
// the link is lost, RuntimeError when the library fails. After several
// seconds without data acquisition is left running (LinkLostError too): the
// caller lets go of the headset with Abandon, or asks QVT_Headset_IsConnected
// before deleting it, so that the teardown does not wait on a dead link.
void RunBatches(QVT_Headset* headset, double seconds, const std::function<bool(unsigned)>& readBatch,
                ProgressDisplay& display, Progress& progress, const BatchPacing& pacing = {});

}  // namespace QVT::Tools
