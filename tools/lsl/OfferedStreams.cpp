#include "OfferedStreams.h"

#include <mutex>
#include <set>

namespace QVT::Lsl {
namespace {

std::mutex lock;
std::multiset<std::string> offered;

}  // namespace

void NoteOffered(const std::string& uid) {
  const std::lock_guard guard(lock);
  offered.insert(uid);
}

void NoteWithdrawn(const std::string& uid) {
  const std::lock_guard guard(lock);
  if (const auto found = offered.find(uid); found != offered.end()) offered.erase(found);
}

bool OfferedHere(const std::string& uid) {
  const std::lock_guard guard(lock);
  return offered.contains(uid);
}

}  // namespace QVT::Lsl
