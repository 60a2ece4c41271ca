// Reading many samples of many channels in one call.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "core/Headset.h"

namespace QVT {

namespace {

bool Holds(const std::vector<Channel*>& list, const Channel* channel) {
  return std::find(list.begin(), list.end(), channel) != list.end();
}

}  // namespace

std::size_t Headset::ReadChannels(std::span<Channel* const> requested, double* out, std::size_t maxSamples,
                                  std::uint64_t* firstIndex) {
  const std::vector<Channel*> montageChannels = MontageChannels();
  const std::span<Channel* const> channels =
      requested.empty() ? std::span<Channel* const>(montageChannels) : requested;
  // Every channel is checked before any is read, so that a refused call
  // takes nothing.
  for (std::size_t c = 0; c < channels.size(); ++c) {
    Channel* const channel = channels[c];
    const bool ours = channel != nullptr &&
                      (Holds(montageChannels, channel) ||
                       std::any_of(cascade.begin(), cascade.end(),
                                   [&](const auto& stage) { return Holds(stage->channels, channel); }));
    if (!ours)
      throw "channel " + std::to_string(c) + " of the list is neither a montage channel nor a stage output " +
          "of this headset";
    if (channel->buffer.Capacity() == 0)
      throw "channel " + std::to_string(c) + " of the list has no buffer to read";
    if (std::find(channels.begin(), channels.begin() + static_cast<std::ptrdiff_t>(c), channel) !=
        channels.begin() + static_cast<std::ptrdiff_t>(c))
      throw "channel " + std::to_string(c) + " of the list appears twice";
  }
  if (channels.empty()) return 0;
  if (out == nullptr && maxSamples > 0) throw std::string("NULL sample array pointer");
  if (maxSamples > std::numeric_limits<std::size_t>::max() / sizeof(double) / channels.size())
    throw "cannot read " + std::to_string(maxSamples) + " samples of " + std::to_string(channels.size()) +
        " channels into one array";

  // Only the writer runs alongside, and it only adds samples: each channel
  // still holds at least this many when its turn comes.
  std::uint64_t fewest = maxSamples;
  for (Channel* channel : channels) fewest = std::min(fewest, channel->buffer.Count());
  const auto taken = static_cast<std::size_t>(fewest);
  // The first channel is asked even for no samples, for its running index.
  for (std::size_t c = 0; c < channels.size() && (c == 0 || taken > 0); ++c)
    channels[c]->buffer.ReadInto(out + c * maxSamples, taken, c == 0 ? firstIndex : nullptr);
  return taken;
}

}  // namespace QVT
