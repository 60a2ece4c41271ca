// Whether standard output still takes what is written, so that a program
// whose output has gone stops instead of working on for nobody.
#pragma once

#include <string>

namespace QVT::Tools {

// Flushes standard output. Empty when it still takes what is written; else
// why not: a failed write (a full disk) or a pipe whose reader has gone
// (`| head -1`), noticed even when nothing is waiting to be written.
std::string StandardOutputFailure();

}  // namespace QVT::Tools
