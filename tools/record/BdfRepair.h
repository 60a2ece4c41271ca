// Mends a BDF or EDF file that its writer never finished: left by a crash, a
// full or failing disk or an older qvt-record, which wrote its record count
// only on closing. Whole data records are kept, a torn last one and records
// that never reached the disk (all zeros) are dropped, and the header's
// count is set to what is left. A sound file is not touched.
#pragma once

#include <string>

namespace QVT::Record {

struct RepairOutcome {
  bool readable = false;  // sound, or mended and opened by EDFlib
  std::string report;     // what was found and done, lines ending in '\n'
};

// Never throws; what went wrong is in the report.
RepairOutcome RepairRecording(const std::string& path);

}  // namespace QVT::Record
