// Small helpers over the C interface: failures become exceptions, returned
// strings become owned copies.
#pragma once

#include <stdexcept>
#include <string>

namespace QVT::Tools {

// A failure while talking to the headset; what() is one line for the user.
class RuntimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws RuntimeError "what: <last error>" when a library call since the
// previous check failed, and forgets the error.
void ThrowIfFailed(const std::string& what);

// A copy of a library string; returned strings are only lent.
std::string Copy(const char* text);

}  // namespace QVT::Tools
