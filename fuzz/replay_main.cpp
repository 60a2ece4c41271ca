// Replays saved inputs through a fuzz target's entry point without the
// fuzzer: the empty input, then every file of each directory (or each file)
// named on the command line, in name order. A crash or a sanitizer report
// fails the run.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const fs::path where(argv[i]);
    if (fs::is_directory(where)) {
      for (const auto& entry : fs::recursive_directory_iterator(where))
        if (entry.is_regular_file()) inputs.push_back(entry.path());
    } else if (fs::exists(where)) {
      inputs.push_back(where);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  LLVMFuzzerTestOneInput(nullptr, 0);
  for (const fs::path& input : inputs) {
    std::ifstream file(input, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::cout << inputs.size() << " saved inputs replayed\n";
  return 0;
}
