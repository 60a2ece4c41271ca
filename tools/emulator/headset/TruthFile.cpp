#include "headset/TruthFile.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace QVT::testing {

std::string TruthLine(const StreamTruth& stream) {
  char line[96];
  std::snprintf(line, sizeof line, "stream %.9f %.9f %.9f\n", stream.firstSample, stream.rate, stream.firstStamp);
  return line;
}

std::vector<StreamTruth> ReadTruthFile(const std::string& path) {
  std::vector<StreamTruth> streams;
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::string word;
    StreamTruth stream;
    if (fields >> word >> stream.firstSample >> stream.rate >> stream.firstStamp && word == "stream")
      streams.push_back(stream);
  }
  return streams;
}

std::optional<double> TrueTime(const std::vector<StreamTruth>& streams, double nominalRate, double headsetTime) {
  const StreamTruth* found = nullptr;
  // Half a period of slack: stamps are whole ticks.
  for (const StreamTruth& s : streams)
    if (s.firstStamp <= headsetTime + 0.5 / nominalRate) found = &s;
  if (found == nullptr) return std::nullopt;
  const double k = std::round((headsetTime - found->firstStamp) * nominalRate);
  return found->firstSample + k / found->rate;
}

}  // namespace QVT::testing
