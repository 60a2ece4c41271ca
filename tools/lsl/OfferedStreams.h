// The streams this process offers, by uid, so that its own readers can
// leave them alone: a query such as "type='Markers'" finds the process's
// own marker stream too. Safe from any thread.
#pragma once

#include <string>

namespace QVT::Lsl {

void NoteOffered(const std::string& uid);
void NoteWithdrawn(const std::string& uid);
bool OfferedHere(const std::string& uid);

}  // namespace QVT::Lsl
