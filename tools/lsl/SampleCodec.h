// Samples as they travel in a 1.10 stream feed: a tag byte (2: an 8-byte
// stamp follows; 1: the stamp is the previous one plus a period), the stamp
// as a little-endian double, then the values in little-endian order; a
// string is a byte giving its length's size (1, 4 or 8), the length, the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ChannelFormat.h"

namespace QVT::Lsl {

// Appends one numeric sample; values holds channels values of format's size
// in this machine's (little-endian) order.
void AppendNumericSample(std::string& out, ChannelFormat format, double stamp, std::span<const std::byte> values,
                         bool suppressSubnormals);
void AppendStringSample(std::string& out, double stamp, std::span<const std::string> values);

// The two samples a feed starts with (offsets 4, then 2), by which an inlet
// checks that both sides read the bytes alike.
void AppendTestPattern(std::string& out, ChannelFormat format, int channels);

struct DecodedSample {
  bool stampDeduced = false;  // tag 1: no stamp on the wire
  double stamp = 0.0;
  std::vector<double> numbers;       // numeric formats
  std::vector<std::string> strings;  // the string format
};

enum class DecodeStatus { Complete, NeedMore, Malformed };

// Reads one sample from the front of bytes; on Complete, consumed says how
// many bytes it took. Strings longer than maxStringLength are Malformed.
DecodeStatus DecodeSample(std::string_view bytes, ChannelFormat format, int channels, DecodedSample& sample,
                          std::size_t& consumed, std::size_t maxStringLength = 1 << 24);

}  // namespace QVT::Lsl
