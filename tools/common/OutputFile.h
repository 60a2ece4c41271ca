// Whether a program's output file can be written, asked before any headset
// time is spent on it: a typo must not cost an impedance check.
#pragma once

#include <string>

namespace QVT::Tools {

// An existing file (or link) is kept unless `overwrite`: UsageError. A file
// that cannot be created or opened for writing: std::runtime_error with the
// system's reason. Leaves nothing behind.
void CheckOutputFile(const std::string& path, bool overwrite);

}  // namespace QVT::Tools
