// Records what a headset says through its message callback. The callback is a
// plain function pointer, so the record is process-wide; it is locked, since
// messages may come from any thread that reads blocks.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace QVT::testing {

struct RecordedMessage {
  std::string text;  // behind the relative time stamp and ":  "
  int level;
  bool operator==(const RecordedMessage&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const RecordedMessage& m) {
  return out << "{\"" << m.text << "\", " << m.level << "}";
}

class MessageRecorder {
 public:
  // The callback to give a headset.
  static int Callback(const char* message, int level);

  static void Clear();
  static std::vector<RecordedMessage> All();
  // How often exactly this text came at this level.
  static int Count(const std::string& text, int level);
  static bool Contains(const std::string& text, int level) { return Count(text, level) > 0; }
  // The texts, in order, that begin with prefix.
  static std::vector<std::string> StartingWith(const std::string& prefix);
};

}  // namespace QVT::testing
