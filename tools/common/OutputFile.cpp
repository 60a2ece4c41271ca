#include "OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "CommandLine.h"

namespace QVT::Tools {

void CheckOutputFile(const std::string& path, bool overwrite) {
  struct stat info {};
  const bool exists = lstat(path.c_str(), &info) == 0;
  if (exists && !overwrite) throw UsageError(path + " exists; give --overwrite to replace it");
  // Opened without truncating: what exists stays as it is until the
  // recording starts.
  const int file = exists ? open(path.c_str(), O_WRONLY | O_CLOEXEC)
                          : open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0) throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
  close(file);
  if (!exists) unlink(path.c_str());
}

}  // namespace QVT::Tools
