// Feeds arbitrary bytes to the virtual headset's recording player as if they
// were an EDF or BDF file. Whatever the bytes, it either refuses the file
// with a PlaybackError or plays it: a second of packets, each the 49 bytes
// of a data packet's body, or none once a short recording has ended.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "headset/CalibrationImages.h"
#include "playback/Playback.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int fd = memfd_create("recording", 0);
  if (fd < 0) return 0;
  if (write(fd, data, size) == static_cast<ssize_t>(size)) {
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    try {
      QVT::emulator::Playback playback({path, 300, false, 5.0}, QVT::testing::TenTwentyCalibrationImage());
      for (std::uint64_t n = 0; n < 300; ++n) {
        const std::string body = playback.PacketBody(n, static_cast<double>(n) / 300.0, n % 2 == 0);
        if (body.size() != 49 && !body.empty()) std::abort();
      }
    } catch (const QVT::emulator::PlaybackError&) {
    }
  }
  close(fd);
  return 0;
}
