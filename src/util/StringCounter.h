// Counts occurrences of names, ordered bytewise.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace QVT {

class StringCounter {
 public:
  // The count stored for name, created as 0 on first use.
  std::int32_t& Count(const std::string& name) { return counts_[name]; }
  const std::map<std::string, std::int32_t>& Counts() const { return counts_; }

 private:
  std::map<std::string, std::int32_t> counts_;
};

}  // namespace QVT
