// Feeds arbitrary text to the montage as a channel specification, a channel
// list or a reference, on a headset with 24 slots in the 10-20 layout. The
// first byte picks the operation and the automatic swap. Whatever the text,
// the montage either takes it or throws one of its documented messages, and
// every channel it builds points only at the headset's own sources.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "core/Headset.h"
#include "model/NamingScheme.h"

namespace {

using namespace QVT::SourceID;

std::unique_ptr<QVT::Headset> MakeTenTwentyHeadset() {
  auto h = std::make_unique<QVT::Headset>("deferred");
  h->messageCallback.Set(nullptr);
  QVT::StringCounter votes;
  votes.Count(QVT::kScheme1010) = 0;
  auto add = [&h](Code code, double gain) {
    h->sources.push_back(std::make_unique<QVT::Source>(code, QVT::SourceIDName(code), 0, gain, 0.0));
  };
  for (Code slot :
       {Fp1, Fp2, F7, F3, Fz, F4, F8, A1, T3, C3, Cz, C4, T4, A2, T5, P3, CM, P4, T6, O1, O2, X1, X2, X3})
    add(QVT::ResolveRedundantSourceIDs(slot, votes), 0.301);
  add(TRG, 1.0);
  add(Pz, 0.0);
  for (Code code : {SND, RCV}) add(code, 1.0);
  add(NUL, 0.0);
  for (int code = TRG0; code <= JERK; ++code) add(static_cast<Code>(code), 1.0);
  for (const char* aliases : QVT::kDefaultSourceAliases) h->AddSourceAliases(aliases);
  h->UseNamingScheme(QVT::ChooseNamingScheme(votes));
  return h;
}

bool Documented(const std::string& message) {
  static const char* const kPrefixes[] = {
      "could not interpret \"",
      "Invalid source number ",
      "The name \"",
      "Failed to match desired source \"",
  };
  return std::any_of(std::begin(kPrefixes), std::end(kPrefixes),
                     [&message](const char* prefix) { return message.rfind(prefix, 0) == 0; });
}

// The collected failures of a channel list come one per line; a channel
// list's words hold no line feeds, so every line is one message.
bool DocumentedLines(const std::string& messages) {
  std::istringstream lines(messages);
  std::string line;
  while (std::getline(lines, line))
    if (!Documented(line)) return false;
  return true;
}

void CheckChannel(const QVT::Headset& h, const QVT::Channel& c) {
  if (c.sources.size() != c.weights.size()) std::abort();
  for (const QVT::Source* s : c.sources) {
    const bool owned =
        std::any_of(h.sources.begin(), h.sources.end(), [s](const auto& o) { return o.get() == s; });
    if (!owned) std::abort();
  }
  (void)c.String(true);
  (void)c.Name();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::unique_ptr<QVT::Headset> h = MakeTenTwentyHeadset();
  if (size == 0) return 0;
  const int operation = data[0] % 3;
  const bool autoSwap = (data[0] & 0x80) != 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  try {
    switch (operation) {
      case 0:
        CheckChannel(*h, *h->ConstructChannel(text, autoSwap));
        break;
      case 1:
        h->ChooseChannels(text, "", autoSwap);
        break;
      default:
        h->ChooseChannels("Fz Cz A1 TRG", text, autoSwap);
        break;
    }
  } catch (const std::string& message) {
    if (operation == 1 ? !DocumentedLines(message) : !Documented(message)) std::abort();
  }
  for (const auto& channel : h->montage) CheckChannel(*h, *channel);
  (void)h->MontageString(true);
  // Freed now rather than at the next input: memory an input leaves behind
  // sends libFuzzer looking for a leak, a costly rerun.
  h->ForgetMontage();
  h->defaultReference.clear();
  return 0;
}
