// The client's cascade of processing stages.
#include <sstream>

#include "core/Headset.h"
#include "util/Text.h"

namespace QVT {

ProcessingStage* Headset::AddProcessingStage(const std::string& name, ProcessingStage::Callback callback,
                                             void* paramData, ProcessingStage* input) {
  if (MatchProcessingStage(name, false))
    throw "cannot add ProcessingStage \"" + name + "\" because this name already exists in the cascade";
  if (!input && !cascade.empty()) input = cascade.back().get();
  auto stage = std::make_unique<ProcessingStage>(name, callback, paramData, input);
  if (input) stage->CopyChannels(input->channels);
  stage->headset = this;
  cascade.push_back(std::move(stage));
  return cascade.back().get();
}

ProcessingStage* Headset::MatchProcessingStage(const std::string& name, bool mustExist) const {
  const std::string key = Trim(Upper(name));
  for (const auto& stage : cascade)
    if (Trim(Upper(stage->name)) == key) return stage.get();
  if (!mustExist) return nullptr;
  throw "failed to match processing stage \"" + name + "\"";
}

ProcessingStage* Headset::GetProcessingStageByIndex(unsigned int index) const {
  if (index < cascade.size()) return cascade[index].get();
  std::ostringstream message;
  message << "ProcessingStage index " << index << " is out of range (" << cascade.size()
          << " stages available)";
  throw message.str();
}

void Headset::ForgetCascade() {
  for (const auto& stage : cascade) stage->ClearChannels();
  cascade.clear();
}

}  // namespace QVT
