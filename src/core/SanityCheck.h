// Checks of the build-time assumptions the library rests on.
#pragma once

namespace QVT {

// Throws, as one string, the description of every assumption that does not
// hold; returns quietly in a correct build.
void SanityCheck();

}  // namespace QVT
