#include "DeviceAccess.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

namespace QVT::Tools {

namespace {

// Calls `visit` with each process's id and /proc directory.
void ForEachProcess(const std::function<void(const std::string&, const std::filesystem::path&)>& visit) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const std::string pid = entry.path().filename().string();
    if (!pid.empty() && std::all_of(pid.begin(), pid.end(), [](char c) { return c >= '0' && c <= '9'; }))
      visit(pid, entry.path());
  }
}

std::string ProcessName(const std::filesystem::path& process) {
  std::string name;
  std::getline(std::ifstream(process / "comm"), name);
  return name;
}

std::vector<Holder> ProcessesHolding(dev_t device) {
  std::vector<Holder> holders;
  const std::string self = std::to_string(getpid());
  ForEachProcess([&](const std::string& pid, const std::filesystem::path& process) {
    if (pid == self) return;
    std::error_code error;
    for (const auto& fd : std::filesystem::directory_iterator(process / "fd", error)) {
      struct stat target {};
      if (stat(fd.path().c_str(), &target) == 0 && S_ISCHR(target.st_mode) && target.st_rdev == device) {
        holders.push_back({ProcessName(process), std::stoi(pid)});
        return;
      }
    }
  });
  return holders;
}

// A property udev recorded for a character device ("" when none).
std::string UdevProperty(dev_t device, const std::string& key) {
  std::ifstream data("/run/udev/data/c" + std::to_string(major(device)) + ":" + std::to_string(minor(device)));
  const std::string prefix = "E:" + key + "=";
  for (std::string line; std::getline(data, line);)
    if (line.rfind(prefix, 0) == 0) return line.substr(prefix.size());
  return "";
}

std::string ModeText(mode_t mode) {
  std::string text = S_ISCHR(mode) ? "c" : S_ISDIR(mode) ? "d" : "-";
  const char* letters = "rwxrwxrwx";
  for (int bit = 0; bit < 9; ++bit) text += (mode & (0400 >> bit)) ? letters[bit] : '-';
  return text;
}

std::string GroupName(gid_t gid) {
  group entry{}, *found = nullptr;
  char buffer[4096];
  if (getgrgid_r(gid, &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr) return found->gr_name;
  return std::to_string(gid);
}

std::string UserNameOf(uid_t uid, gid_t* primaryGroup = nullptr) {
  passwd entry{}, *found = nullptr;
  char buffer[4096];
  if (getpwuid_r(uid, &entry, buffer, sizeof buffer, &found) != 0 || found == nullptr) return std::to_string(uid);
  if (primaryGroup != nullptr) *primaryGroup = found->pw_gid;
  return found->pw_name;
}

bool ProcessHasGroup(gid_t gid) {
  if (getegid() == gid) return true;
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  return count > 0 && std::find(groups.begin(), groups.begin() + count, gid) != groups.begin() + count;
}

bool GroupDatabaseLists(gid_t gid) {
  gid_t primary = 0;
  const std::string user = UserNameOf(geteuid(), &primary);
  int count = 64;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  if (getgrouplist(user.c_str(), primary, groups.data(), &count) < 0) {
    groups.resize(static_cast<std::size_t>(count));
    if (getgrouplist(user.c_str(), primary, groups.data(), &count) < 0) return false;
  }
  return std::find(groups.begin(), groups.begin() + count, gid) != groups.begin() + count;
}

}  // namespace

DeviceAccess ExamineDevice(const std::string& path) {
  DeviceAccess found;
  struct stat node {};
  if (stat(path.c_str(), &node) != 0) {
    found.problem = std::strerror(errno);
    return found;
  }
  found.exists = true;
  found.owner = UserNameOf(node.st_uid);
  found.group = GroupName(node.st_gid);
  found.mode = ModeText(node.st_mode);
  found.mayOpen = access(path.c_str(), R_OK | W_OK) == 0;
  found.inGroupNow = ProcessHasGroup(node.st_gid);
  found.inGroupListed = GroupDatabaseLists(node.st_gid);
  if (S_ISCHR(node.st_mode)) {
    found.holders = ProcessesHolding(node.st_rdev);
    found.modemManagerIgnores = UdevProperty(node.st_rdev, "ID_MM_DEVICE_IGNORE") == "1";
  }
  return found;
}

bool ModemManagerRunning() {
  bool running = false;
  ForEachProcess([&](const std::string&, const std::filesystem::path& process) {
    running = running || ProcessName(process) == "ModemManager";
  });
  return running;
}

std::string UserName() { return UserNameOf(geteuid()); }

}  // namespace QVT::Tools
