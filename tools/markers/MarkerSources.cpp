#include "MarkerSources.h"

namespace QVT::Markers {

MarkerSources::MarkerSources(const MarkerOptions& options, MarkerQueue& queue, LslMarkerSettings lslSettings) {
  if (options.udpPort != 0) udp_ = std::make_unique<UdpMarkerSource>(options.udpListen, options.udpPort, queue);
  for (const std::string& query : options.lslQueries)
    lsl_.push_back(std::make_unique<LslMarkerSource>(query, queue, lslSettings));
}

}  // namespace QVT::Markers
