// The exception for link and data-stream failures. It is its message: every
// handler that catches a std::string catches it too.
#pragma once

#include <string>

class DataStreamError : public std::string {
 public:
  explicit DataStreamError(std::string message) : std::string(std::move(message)) {}
};
