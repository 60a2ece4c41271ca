// How markers fared, in words: the status line's counts per source, the
// summary's lines, and the text a file can show.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "MarkerPlacer.h"
#include "MarkerQueue.h"

namespace QVT::Markers {

// "markers udp:5000 3, stim 12": received per source; empty without sources.
std::string MarkerStatus(const std::map<std::string, SourceCounts>& counts);

// Lines for the summary: per source what was received, dropped and cut,
// then the markers that found no sample at their time.
std::string MarkerSummary(const std::map<std::string, SourceCounts>& counts, const MarkerPlacer& placer);

// Text any reader of a file shows: well-formed UTF-8 is kept, control bytes
// become spaces and bytes of no character become '?'.
std::string PrintableText(std::string_view text);

}  // namespace QVT::Markers
