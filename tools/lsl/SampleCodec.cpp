#include "SampleCodec.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace QVT::Lsl {
namespace {

static_assert(std::endian::native == std::endian::little, "samples are sent in the machine's own byte order");

constexpr std::uint8_t kTagDeduced = 1;
constexpr std::uint8_t kTagStamped = 2;
constexpr double kTestPatternStamp = 123456.789;

template <typename T>
void AppendRaw(std::string& out, T value) {
  char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  out.append(bytes, sizeof(T));
}

template <typename T>
T ReadRaw(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof(T));
  return value;
}

// Inlets that cannot compute with subnormal numbers get zero instead.
template <typename Float>
void AppendFlushed(std::string& out, const std::byte* value) {
  const auto number = ReadRaw<Float>(reinterpret_cast<const char*>(value));
  AppendRaw(out, std::fpclassify(number) == FP_SUBNORMAL ? Float{0} : number);
}

void AppendStamp(std::string& out, double stamp) {
  out += static_cast<char>(kTagStamped);
  AppendRaw(out, stamp);
}

double ReadNumber(const char* bytes, ChannelFormat format) {
  switch (format) {
    case ChannelFormat::Float32: return ReadRaw<float>(bytes);
    case ChannelFormat::Double64: return ReadRaw<double>(bytes);
    case ChannelFormat::Int8: return ReadRaw<std::int8_t>(bytes);
    case ChannelFormat::Int16: return ReadRaw<std::int16_t>(bytes);
    case ChannelFormat::Int32: return ReadRaw<std::int32_t>(bytes);
    case ChannelFormat::Int64: return static_cast<double>(ReadRaw<std::int64_t>(bytes));
    case ChannelFormat::String: break;
  }
  return 0.0;
}

// Each numeric format's test values start past the range of the next
// narrower type, so that a value read at the wrong width shows; integers
// wrap at their type's largest value.
template <typename T>
void AppendTestValues(std::string& out, int channels, int offset, long long start) {
  for (int k = 0; k < channels; ++k) {
    long long magnitude = start + offset + k;
    if constexpr (std::is_integral_v<T> && sizeof(T) < 8) magnitude %= std::numeric_limits<T>::max();
    AppendRaw(out, static_cast<T>(k % 2 == 0 ? magnitude : -magnitude));
  }
}

}  // namespace

void AppendNumericSample(std::string& out, ChannelFormat format, double stamp, std::span<const std::byte> values,
                         bool suppressSubnormals) {
  AppendStamp(out, stamp);
  const auto size = ValueSize(format);
  if (!suppressSubnormals || !IsFloatingPoint(format)) {
    out.append(reinterpret_cast<const char*>(values.data()), values.size());
    return;
  }
  for (std::size_t at = 0; at + size <= values.size(); at += size) {
    if (format == ChannelFormat::Float32)
      AppendFlushed<float>(out, values.data() + at);
    else
      AppendFlushed<double>(out, values.data() + at);
  }
}

void AppendStringSample(std::string& out, double stamp, std::span<const std::string> values) {
  AppendStamp(out, stamp);
  for (const auto& value : values) {
    if (value.size() <= 0xff) {
      out += static_cast<char>(1);
      AppendRaw(out, static_cast<std::uint8_t>(value.size()));
    } else if (value.size() <= 0xffffffffu) {
      out += static_cast<char>(4);
      AppendRaw(out, static_cast<std::uint32_t>(value.size()));
    } else {
      out += static_cast<char>(8);
      AppendRaw(out, static_cast<std::uint64_t>(value.size()));
    }
    out += value;
  }
}

void AppendTestPattern(std::string& out, ChannelFormat format, int channels) {
  for (int offset : {4, 2}) {
    if (format == ChannelFormat::String) {
      std::vector<std::string> values;
      for (int k = 0; k < channels; ++k) values.push_back(std::to_string(k % 2 == 0 ? k + 10 : -(k + 10)));
      AppendStringSample(out, kTestPatternStamp, values);
      continue;
    }
    AppendStamp(out, kTestPatternStamp);
    switch (format) {
      case ChannelFormat::Float32: AppendTestValues<float>(out, channels, offset, 0); break;
      case ChannelFormat::Double64: AppendTestValues<double>(out, channels, offset, 16777217); break;
      case ChannelFormat::Int8: AppendTestValues<std::int8_t>(out, channels, offset, 1); break;
      case ChannelFormat::Int16: AppendTestValues<std::int16_t>(out, channels, offset, 257); break;
      case ChannelFormat::Int32: AppendTestValues<std::int32_t>(out, channels, offset, 65537); break;
      case ChannelFormat::Int64: AppendTestValues<std::int64_t>(out, channels, offset, 2147483649LL); break;
      case ChannelFormat::String: break;
    }
  }
}

DecodeStatus DecodeSample(std::string_view bytes, ChannelFormat format, int channels, DecodedSample& sample,
                          std::size_t& consumed, std::size_t maxStringLength) {
  if (bytes.empty()) return DecodeStatus::NeedMore;
  std::size_t at = 1;
  const auto tag = static_cast<std::uint8_t>(bytes[0]);
  sample = {};
  if (tag == kTagStamped) {
    if (bytes.size() < at + 8) return DecodeStatus::NeedMore;
    sample.stamp = ReadRaw<double>(bytes.data() + at);
    at += 8;
  } else if (tag == kTagDeduced) {
    sample.stampDeduced = true;
  } else {
    return DecodeStatus::Malformed;
  }
  if (format != ChannelFormat::String) {
    const auto size = ValueSize(format);
    if (bytes.size() < at + size * static_cast<std::size_t>(channels)) return DecodeStatus::NeedMore;
    for (int k = 0; k < channels; ++k, at += size) sample.numbers.push_back(ReadNumber(bytes.data() + at, format));
    consumed = at;
    return DecodeStatus::Complete;
  }
  for (int k = 0; k < channels; ++k) {
    if (bytes.size() < at + 1) return DecodeStatus::NeedMore;
    const auto lengthSize = static_cast<std::uint8_t>(bytes[at++]);
    if (lengthSize != 1 && lengthSize != 4 && lengthSize != 8) return DecodeStatus::Malformed;
    if (bytes.size() < at + lengthSize) return DecodeStatus::NeedMore;
    std::uint64_t length = 0;
    std::memcpy(&length, bytes.data() + at, lengthSize);  // little-endian into the low bytes
    at += lengthSize;
    if (length > maxStringLength) return DecodeStatus::Malformed;
    if (bytes.size() < at + length) return DecodeStatus::NeedMore;
    sample.strings.emplace_back(bytes.substr(at, length));
    at += length;
  }
  consumed = at;
  return DecodeStatus::Complete;
}

}  // namespace QVT::Lsl
