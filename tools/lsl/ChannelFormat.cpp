#include "ChannelFormat.h"

#include <array>

namespace QVT::Lsl {
namespace {

struct FormatTraits {
  ChannelFormat format;
  std::string_view name;
  std::size_t valueSize;
  bool floatingPoint;
};

constexpr std::array<FormatTraits, 7> kFormats{{
    {ChannelFormat::Float32, "float32", 4, true},
    {ChannelFormat::Double64, "double64", 8, true},
    {ChannelFormat::String, "string", 0, false},
    {ChannelFormat::Int32, "int32", 4, false},
    {ChannelFormat::Int16, "int16", 2, false},
    {ChannelFormat::Int8, "int8", 1, false},
    {ChannelFormat::Int64, "int64", 8, false},
}};

const FormatTraits& TraitsOf(ChannelFormat format) {
  for (const auto& traits : kFormats)
    if (traits.format == format) return traits;
  return kFormats[0];
}

}  // namespace

std::string_view FormatName(ChannelFormat format) { return TraitsOf(format).name; }

std::optional<ChannelFormat> FormatNamed(std::string_view name) {
  for (const auto& traits : kFormats)
    if (traits.name == name) return traits.format;
  return std::nullopt;
}

std::size_t ValueSize(ChannelFormat format) { return TraitsOf(format).valueSize; }

bool IsFloatingPoint(ChannelFormat format) { return TraitsOf(format).floatingPoint; }

}  // namespace QVT::Lsl
