#include "model/ProcessingStage.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <utility>

#include "model/ChannelLookup.h"

namespace QVT {

ProcessingStage::ProcessingStage(std::string stageName, Callback stageCallback, void* stageParamData,
                                 ProcessingStage* stageInput)
    : name(std::move(stageName)), callback(stageCallback), paramData(stageParamData), input(stageInput) {}

ProcessingStage::~ProcessingStage() { ClearChannels(); }

Channel* ProcessingStage::GetChannelByIndex(unsigned int i) const {
  if (i < channels.size()) return channels[i];
  std::ostringstream message;
  message << "Channel index " << i << " is out of range (" << channels.size()
          << " channels available in ProcessingStage \"" << name << "\")";
  throw message.str();
}

Channel* ProcessingStage::GetChannelByName(const std::string& channelName, bool mustMatch) const {
  return QVT::GetChannelByName(channels, channelName, mustMatch);
}

void ProcessingStage::CopyChannels(const std::vector<Channel*>& from) {
  ClearChannels();
  for (const Channel* original : from) {
    auto copy = std::make_unique<Channel>();
    if (original) {
      copy->sources = original->sources;
      copy->weights = original->weights;
      copy->name = original->name;
    }
    channels.push_back(copy.get());
    owned.push_back(std::move(copy));
  }
}

void ProcessingStage::ClearChannels() {
  // Borrowed channels belong to someone else. A view only drops its
  // pointers: a channel added to it lives on, for whoever holds it, until
  // the stage goes.
  channels.clear();
  if (channelsBorrowed) std::move(owned.begin(), owned.end(), std::back_inserter(retired));
  owned.clear();
  channelsBorrowed = false;
}

void ProcessingStage::BorrowChannels(const std::vector<Channel*>& borrowed) {
  ClearChannels();
  channels = borrowed;
  channelsBorrowed = true;
}

Channel* ProcessingStage::AddChannel(const std::string& channelName, std::size_t bufferSamples) {
  RingBuffer::CheckCapacity(bufferSamples);
  auto channel = std::make_unique<Channel>();
  channel->name = channelName;
  channel->buffer.Allocate(std::max<std::size_t>(bufferSamples, 1));
  channels.push_back(channel.get());
  owned.push_back(std::move(channel));
  return channels.back();
}

}  // namespace QVT
