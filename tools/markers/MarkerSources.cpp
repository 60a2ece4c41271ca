#include "MarkerSources.h"

#include "OfferedStreams.h"

namespace QVT::Markers {

MarkerSources::MarkerSources(const MarkerOptions& options, MarkerQueue& queue, LslMarkerSettings lslSettings) {
  // The program's own streams (its marker stream, say) are never read back.
  if (!lslSettings.ignore)
    lslSettings.ignore = [](const Lsl::StreamInfo& info) { return Lsl::OfferedHere(info.Uid()); };
  if (options.udpPort != 0) udp_ = std::make_unique<UdpMarkerSource>(options.udpListen, options.udpPort, queue);
  for (const std::string& query : options.lslQueries)
    lsl_.push_back(std::make_unique<LslMarkerSource>(query, queue, lslSettings));
}

}  // namespace QVT::Markers
