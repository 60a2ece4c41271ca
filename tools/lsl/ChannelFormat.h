// The value types a stream's channels may carry, named as they travel in a
// stream's info, with the size each value takes in a sample on the wire.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace QVT::Lsl {

enum class ChannelFormat { Float32, Double64, String, Int32, Int16, Int8, Int64 };

// The name used in <channel_format>, e.g. "float32".
std::string_view FormatName(ChannelFormat format);
// The format a <channel_format> name stands for; nothing for an unknown name.
std::optional<ChannelFormat> FormatNamed(std::string_view name);
// Bytes per value on the wire; 0 for strings, whose values carry their length.
std::size_t ValueSize(ChannelFormat format);
bool IsFloatingPoint(ChannelFormat format);

}  // namespace QVT::Lsl
