// The montage: channels built from channel specifications, the default
// reference, and lookups of montage channels and sources.
#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

#include "core/Headset.h"
#include "model/ChannelLookup.h"
#include "model/ChannelSpecification.h"
#include "model/SourceNameFilter.h"
#include "util/Text.h"

namespace QVT {

unsigned long Headset::MontageBufferLength() const { return std::max(SlotsFor(bufferSeconds), 1UL); }

std::unique_ptr<Channel> Headset::ConstructChannel(std::string specification, bool autoSwap) const {
  auto channel = std::make_unique<Channel>();
  channel->buffer.Allocate(MontageBufferLength());
  specification = Trim(std::move(specification));
  double multiplier = 1.0;
  bool referenced = false;
  while (!specification.empty()) {
    const ChannelTerm term = ReadChannelTerm(CutChannelTerm(specification), multiplier);
    channel->sources.push_back(MatchSource(term.source, true));
    channel->weights.push_back(term.weight);
    specification = Trim(std::move(specification));
    // A lone electrode reads against the reference, whose weights are scaled
    // by minus the electrode's: Cz*2 against A1/2+A2/2 is Cz*2-A1-A2. With
    // the reference's terms appended the channel never has one source again,
    // so this happens at most once.
    if (specification.empty() && channel->sources.size() == 1 && channel->sources[0]->IsReferentialEEG()) {
      specification = ReferenceDescription();
      multiplier = -term.weight;
      referenced = true;
    }
  }
  // An electrode that is part of its own reference (A1 against the linked
  // ears) reads the factory reference in its place.
  if (referenced && autoSwap) channel->AutoSwap(MatchSource(factoryReferenceCode));
  return channel;
}

void Headset::AddChannelToMontage(std::unique_ptr<Channel> channel) {
  if (!channel) return;
  // A null source (a channel made from a null pointer) contributes nothing
  // and is not listed, so the montage sources can always be dereferenced.
  for (Source* s : channel->sources)
    if (s && std::find(montageSources.begin(), montageSources.end(), s) == montageSources.end())
      montageSources.push_back(s);
  montage.push_back(std::move(channel));
}

void Headset::AddChannelToMontage(Source* source) {
  auto channel = std::make_unique<Channel>();
  channel->sources = {source};
  channel->weights = {1.0};
  channel->buffer.Allocate(MontageBufferLength());
  AddChannelToMontage(std::move(channel));
}

void Headset::AddChannelToMontage(const std::string& specification, bool autoSwap) {
  AddChannelToMontage(ConstructChannel(specification, autoSwap));
}

void Headset::ChooseChannels(const std::string& requestedChannels, const std::string& reference,
                             bool autoSwap) {
  std::string channels = requestedChannels;
  if (Similar(channels, "FACTORY")) {
    channels.clear();
    chosenChannels.clear();
  }
  // Without sources the list is kept for a later call.
  if (sources.empty()) {
    chosenChannels = channels;
    return;
  }
  const std::vector<std::string> known = Split(SourceNames(SourceNameFilter::kPlain), kListSeparators);

  if (Similar(reference, "FACTORY")) {
    defaultReference.clear();
  } else if (!reference.empty()) {
    ConstructChannel(reference, false);  // a bad reference throws before anything changes
    defaultReference = reference;
  }

  std::vector<std::string> words = Split(channels, kListSeparators);
  if (words.empty()) words = Split(chosenChannels, kListSeparators);
  ForgetMontage();

  if (words.empty()) {
    if (known.empty()) {
      // Nothing names the sources: every source becomes a channel as it is.
      for (const auto& s : sources) AddChannelToMontage(s.get());
      if (WouldIssue(1)) IssueMessage("Headset flash memory contains no information about source IDs.", 1);
      return;
    }
    words = Split(SourceNames(SourceNameFilter::kDefaultMontage), kListSeparators);
  }

  // A bad word does not stop the others; all failures are reported together.
  std::string failures;
  for (const std::string& word : words) {
    try {
      AddChannelToMontage(word, autoSwap);
    } catch (const std::string& failure) {
      if (!failures.empty()) failures += '\n';
      failures += failure;
    }
  }
  if (!failures.empty()) throw failures;

  chosenChannels = Join(" ", words);
  FlushBuffers();
  ProcessingStage* raw = AddProcessingStage("raw", nullptr, nullptr, nullptr);
  raw->BorrowChannels(MontageChannels());
}

void Headset::SetDefaultReference(const std::string& reference, bool autoSwap) {
  ChooseChannels("", reference, autoSwap);
}

std::string Headset::SetTraditionalReference(bool autoSwap) {
  struct Rule {
    std::array<const char*, 2> required;  // null when one source suffices
    const char* reference;
  };
  // Linked ears before mastoids; a single ear falls through to the mastoids.
  static constexpr std::array<Rule, 7> kRules = {{
      {{"A1A2", nullptr}, "A1A2"},
      {{"LE", nullptr}, "LE"},
      {{"A1", "A2"}, "A1/2+A2/2"},
      {{"M1M2", nullptr}, "M1M2"},
      {{"LM", nullptr}, "LM"},
      {{"M1", "M2"}, "M1/2+M2/2"},
      {{"TP9", "TP10"}, "TP9/2+TP10/2"},
  }};
  for (const Rule& rule : kRules) {
    const bool available = std::all_of(rule.required.begin(), rule.required.end(), [this](const char* name) {
      return name == nullptr || MatchSource(name, false) != nullptr;
    });
    if (!available) continue;
    SetDefaultReference(rule.reference, autoSwap);
    return rule.reference;
  }
  return "";
}

std::string Headset::MontageString(bool full) const {
  std::vector<std::string> formulas;
  for (const auto& channel : montage) formulas.push_back(channel->String(full));
  return Join(" ", formulas);
}

std::vector<Channel*> Headset::MontageChannels() const {
  std::vector<Channel*> channels;
  channels.reserve(montage.size());
  for (const auto& channel : montage) channels.push_back(channel.get());
  return channels;
}

Channel* Headset::GetChannelByName(const std::string& name, bool mustMatch) const {
  return QVT::GetChannelByName(MontageChannels(), name, mustMatch);
}

Source* Headset::GetSourceByIndex(unsigned int index, bool allSources) const {
  const std::size_t available = allSources ? sources.size() : montageSources.size();
  if (index < available) return allSources ? sources[index].get() : montageSources[index];
  std::ostringstream message;
  message << "Source index " << index << " is out of range (" << available << " sources available)";
  throw message.str();
}

Channel* Headset::GetChannelByIndex(unsigned int index) const {
  if (index < montage.size()) return montage[index].get();
  std::ostringstream message;
  message << "Channel index " << index << " is out of range (" << montage.size() << " channels available)";
  throw message.str();
}

std::string Headset::FactoryReferenceDescription() const { return factoryReferenceName; }

std::string Headset::ReferenceDescription() const {
  return defaultReference.empty() ? factoryReferenceName : defaultReference;
}

void Headset::ForgetMontage() {
  ForgetCascade();
  chosenChannels.clear();
  montageSources.clear();
  montage.clear();
}

void Headset::ForgetSources() {
  ForgetMontage();
  defaultReference.clear();
  sources.clear();
}

}  // namespace QVT
