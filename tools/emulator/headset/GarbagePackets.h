// Packets a hostile or broken headset might send, inside well-framed blocks
// with valid CRCs, so that all of them reach the packet handlers.
#pragma once

#include <random>
#include <string>

namespace QVT::testing {

// One to four random packets of every species: responses to any family
// (unknown ones, status codes, absurd accelerometer rates, any filter mode,
// calibration pages beyond the eighth), alarms with random codes and
// parameters, data and extended data of every length, and unknown species.
// Never longer than a block's packet area. Left out on purpose: a stop of the
// data stream, another sampling rate and calibration pages 0 to 7, which
// would legitimately end a client's stream, re-pace it or rebuild its
// montage.
std::string GarbagePackets(std::mt19937_64& random, std::uint32_t ticks, std::uint16_t samplingRate);

}  // namespace QVT::testing
