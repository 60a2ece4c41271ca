// One stage of the client's processing cascade: named output channels, an
// input (the stage before it, or the montage when null), the client's
// parameter pointer and the callback the headset calls once per sample.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "model/Channel.h"

namespace QVT {

class Headset;

class ProcessingStage {
 public:
  // Called with the headset, the sample time in seconds and the stage itself.
  using Callback = void (*)(Headset* headset, double sampleTime, void* stage);

  ProcessingStage(std::string stageName, Callback stageCallback, void* stageParamData,
                  ProcessingStage* stageInput);
  ~ProcessingStage();
  ProcessingStage(const ProcessingStage&) = delete;
  ProcessingStage& operator=(const ProcessingStage&) = delete;

  Channel* GetChannelByIndex(unsigned int i) const;
  // Same rules as the montage's lookup by name.
  Channel* GetChannelByName(const std::string& channelName, bool mustMatch) const;

  // Replaces the outputs by owned copies (sources, weights, name) of from,
  // with unallocated buffers.
  void CopyChannels(const std::vector<Channel*>& from);
  // Drops every output; deletes those the stage owns.
  void ClearChannels();
  // Makes channels owned elsewhere (the montage) this stage's outputs, so the
  // stage is a view of them; ClearChannels then only drops the pointers.
  void BorrowChannels(const std::vector<Channel*>& borrowed);
  // A new owned output with no sources and a zero-filled buffer of
  // bufferSamples slots (0 is taken as 1).
  Channel* AddChannel(const std::string& channelName, std::size_t bufferSamples);

  std::string name;
  Callback callback;
  std::vector<Channel*> channels;
  void* paramData;
  bool channelsBorrowed = false;
  ProcessingStage* input;
  // The headset whose cascade holds this stage; null until it is added.
  Headset* headset = nullptr;

 private:
  // The outputs this stage made itself. Kept apart from channels so that a
  // channel added to a borrowed view is still freed with the stage.
  std::vector<std::unique_ptr<Channel>> owned;
  // Channels added to a view that was cleared since.
  std::vector<std::unique_ptr<Channel>> retired;
};

}  // namespace QVT
