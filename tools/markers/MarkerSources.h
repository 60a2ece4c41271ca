// Every marker source the command line asks for, delivering into one queue.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "LslMarkerSource.h"
#include "MarkerOptions.h"
#include "MarkerQueue.h"
#include "UdpMarkerSource.h"

namespace QVT::Markers {

class MarkerSources {
 public:
  // Starts them all, delivering into queue, which must outlive them; throws
  // std::runtime_error when the UDP port cannot be had. Without an ignore
  // rule of its own, LSL streams this process offers are not read.
  MarkerSources(const MarkerOptions& options, MarkerQueue& queue, LslMarkerSettings lslSettings = {});

  const UdpMarkerSource* Udp() const { return udp_.get(); }

 private:
  std::unique_ptr<UdpMarkerSource> udp_;
  std::vector<std::unique_ptr<LslMarkerSource>> lsl_;
};

}  // namespace QVT::Markers
