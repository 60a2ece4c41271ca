#include "serial/PortHolder.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <fstream>
#include <sstream>

namespace QVT {

namespace {

// The file as /proc/locks names it: major:minor:inode of the device that
// holds it, the numbers in hexadecimal, the inode in decimal.
std::string LockedFileKey(const struct stat& file) {
  std::ostringstream key;
  key << std::hex << major(file.st_dev) << ':' << minor(file.st_dev) << ':' << std::dec << file.st_ino;
  return key.str();
}

// "08:01:1234" and "8:1:1234" name the same file.
std::string Normalised(const std::string& key) {
  std::istringstream parts(key);
  unsigned long majorNumber = 0, minorNumber = 0, inode = 0;
  char colon = 0;
  parts >> std::hex >> majorNumber >> colon >> minorNumber >> colon >> std::dec >> inode;
  if (!parts) return "";
  std::ostringstream normal;
  normal << std::hex << majorNumber << ':' << minorNumber << ':' << std::dec << inode;
  return normal.str();
}

}  // namespace

std::string PortHolder(int descriptor) {
  struct stat file {};
  if (fstat(descriptor, &file) != 0) return "";
  const std::string wanted = LockedFileKey(file);
  // "1: FLOCK  ADVISORY  WRITE 1234 00:19:3 0 EOF"; a waiter's line has
  // "->" after its number.
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream fields(line);
    std::string number, kind, mode, access, pid, key;
    fields >> number >> kind;
    if (kind == "->" || kind != "FLOCK") continue;
    fields >> mode >> access >> pid >> key;
    if (!fields || Normalised(key) != wanted) continue;
    std::string name;
    std::getline(std::ifstream("/proc/" + pid + "/comm"), name);
    return (name.empty() ? "process" : name) + " (pid " + pid + ")";
  }
  return "";
}

}  // namespace QVT
