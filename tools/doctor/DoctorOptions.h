// The command line of qvt-doctor.
#pragma once

#include <string>

#include "CommandLine.h"

namespace QVT::Doctor {

struct Options {
  std::string devices;  // where to look for device nodes
};

Tools::ProgramText DoctorProgramText(const std::string& version);

void DeclareDoctorOptions(Tools::CommandLine& line, Options& options);

}  // namespace QVT::Doctor
