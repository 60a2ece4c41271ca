// A pseudo-terminal pair for tests: the master plays the headset's side of
// the serial line, the slave's path is what the library opens.
#pragma once

#include <cstddef>
#include <string>

namespace QVT::testing {

class PseudoTerminal {
 public:
  PseudoTerminal();
  ~PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  const std::string& SlavePath() const { return slavePath_; }
  int Master() const { return master_; }
  // A descriptor of the slave held open by the test, so that the line stays
  // up while the library's descriptor comes and goes.
  int Keeper() const { return keeper_; }

  // Writes to the library's side; throws on a short write.
  void Write(const std::string& bytes) const;

  // What the library wrote, waiting up to timeout seconds for want bytes.
  std::string Read(std::size_t want, double timeout) const;

 private:
  int master_ = -1;
  int keeper_ = -1;
  std::string slavePath_;
};

}  // namespace QVT::testing
