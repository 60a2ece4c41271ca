// Paced batch delivery on the background acquisition thread, for a given
// time or until Ctrl-C.
#pragma once

#include <functional>

#include "ProgressDisplay.h"
#include "qvt/qvt.h"

namespace QVT::Stream {

// Starts background acquisition, calls readBatch(batchSize) whenever a batch
// is due, shows the progress, and stops acquisition again (also on error).
// Throws RuntimeError when the library fails or no data arrives for a while.
Progress RunBatches(QVT_Headset* headset, double seconds, const std::function<void(unsigned)>& readBatch,
                    ProgressDisplay& display);

}  // namespace QVT::Stream
