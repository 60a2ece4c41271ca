// Dumping the calibration image to a file and loading one back.
#include <fstream>

#include "core/Headset.h"
#include "model/CalibrationFile.h"

namespace QVT {

void Headset::DumpCalibrationMemoryToFile(const std::string& fileName, const std::string& format) const {
  // The format is checked before the file is touched.
  const std::string normalised = CalibrationDumpFormat(format);
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (!out) throw "failed to open \"" + fileName + "\" to dump calibration memory";
  WriteCalibrationDump(out, calibrationImage, normalised);
}

void Headset::ReadCalibrationMemoryFromFile(const std::string& fileName, const std::string& format) {
  std::ifstream in(fileName, std::ios::binary);
  if (!in) throw "failed to open \"" + fileName + "\" to read calibration memory";
  // Parsed into a separate image first, so a bad file leaves the headset as
  // it was.
  const CalibrationImage image = ReadCalibrationDump(in, format, fileName);
  calibrationImage = image;
  InterpretCalibrationMemory(nullptr);
}

}  // namespace QVT
