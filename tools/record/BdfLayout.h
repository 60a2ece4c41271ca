// Where things lie in a BDF/EDF header: what the writer fills in and what a
// repair reads back.
#pragma once

#include <cstddef>
#include <string_view>

namespace QVT::Record::BdfLayout {

// The fixed part, 256 bytes: field offsets and widths.
constexpr std::size_t kFixedBytes = 256;
constexpr std::string_view kBdfVersion{
    "\xff"
    "BIOSEMI",
    8};
constexpr std::string_view kEdfVersion{"0       ", 8};
constexpr std::size_t kSubjectAt = 8, kSubjectWidth = 80;
constexpr std::size_t kRecordingAt = 88, kRecordingWidth = 80;
constexpr std::size_t kDateAt = 168, kTimeAt = 176;
constexpr std::size_t kHeaderBytesAt = 184;
constexpr std::size_t kReservedAt = 192, kReservedWidth = 44;
constexpr std::size_t kRecordCountAt = 236;
constexpr std::size_t kRecordSecondsAt = 244;
constexpr std::size_t kSignalCountAt = 252, kSignalCountWidth = 4;
constexpr std::size_t kNumberWidth = 8;  // of the fields above that have no width of their own

// Then 256 bytes per signal, field by field: every signal's label, then
// every signal's transducer, and so on.
constexpr std::size_t kSignalBytes = 256;
constexpr std::size_t kLabelWidth = 16, kTransducerWidth = 80, kUnitWidth = 8, kPrefilterWidth = 80,
                      kSignalReservedWidth = 32;
// The samples-per-record field of signal s of n lies at
// kFixedBytes + n * kSamplesFieldsBefore + s * kNumberWidth.
constexpr std::size_t kSamplesFieldsBefore =
    kLabelWidth + kTransducerWidth + kUnitWidth + 4 * kNumberWidth + kPrefilterWidth;

constexpr std::string_view kAnnotationLabel = "BDF Annotations";
constexpr std::string_view kEdfAnnotationLabel = "EDF Annotations";

}  // namespace QVT::Record::BdfLayout
