// Dump files of calibration memory. A dump begins with a header line "DEC",
// "HEX" or "BIN"; DEC and HEX then hold the 128 bytes as 16 lines of 8
// numbers, BIN the raw bytes. Readers take the header as the format, or are
// given the format explicitly, in which case a header is optional (and an
// explicit BIN means a headerless raw image).
//
// The parsing works on any stream so that it can be exercised on bytes in
// memory; the headset's file methods only open the file around it.
#pragma once

#include <istream>
#include <ostream>
#include <string>

#include "model/CalibrationLayout.h"

namespace QVT {

// The format trimmed and upper-cased; throws unless it is "DEC", "HEX" or
// "BIN".
std::string CalibrationDumpFormat(const std::string& format);

// Writes the header line and the image in a format that CalibrationDumpFormat
// accepted.
void WriteCalibrationDump(std::ostream& out, const CalibrationImage& image, const std::string& format);

// Reads an image from in, which must be seekable and positioned at its
// start. An empty format (after trimming) takes the format from the header.
// fileName appears only in messages. Throws the message on failure.
CalibrationImage ReadCalibrationDump(std::istream& in, const std::string& format,
                                     const std::string& fileName);

}  // namespace QVT
