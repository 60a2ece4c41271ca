// A program's options parsed with its option table alone, for the tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"

namespace QVT::Tools {

// Throws UsageError as the program would refuse the arguments.
template <class Options>
Options ParseWith(ProgramText text, void (*declare)(CommandLine&, Options&),
                  const std::vector<std::string>& arguments) {
  Options options;
  CommandLine line(std::move(text));
  declare(line, options);
  line.Parse(arguments);
  return options;
}

}  // namespace QVT::Tools
