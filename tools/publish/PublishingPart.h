// Publishing as a part of the acquisition: the signal on the lab network as
// an EEG stream stamped with each sample's acquisition time, and what
// happens to it on a marker stream: "TRG n" at the sample where the trigger
// changed, "BAD gap: N samples lost", each alarm's text, "link lost",
// "link restored", and every marker handed to the acquisition.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "OutletConfig.h"
#include "Part.h"

namespace QVT::Lsl {
class Outlet;
}

namespace QVT::Publish {

class PublishingPart : public Session::Part {
 public:
  // name: of the EEG stream; empty for "qvt <model> <serial>".
  PublishingPart(std::string name, Lsl::OutletConfig config);
  ~PublishingPart() override;
  PublishingPart(const PublishingPart&) = delete;
  PublishingPart& operator=(const PublishingPart&) = delete;

  void Start(const Session::SessionStart& start) override;
  void Samples(const Session::SampleBlock& block) override;
  void GapFound(const Session::Gap& gap) override;
  void EventFound(const Session::Event& event) override;
  void Report(Tools::Progress& progress) override;
  std::string End(const Session::SessionEnd& end) override;

 private:
  void Mark(const std::string& text, double stamp);

  std::string name;
  Lsl::OutletConfig config;
  std::unique_ptr<Lsl::Outlet> eeg;
  std::unique_ptr<Lsl::Outlet> markers;
  std::vector<float> values;
  std::uint64_t samples = 0;
  std::uint64_t marked = 0;
  std::size_t mostConsumers = 0;
  std::string reportText;  // the status line's part, as last formatted
  std::size_t reportedConsumers = 0;
  long long reportedDriftTenths = 0;
};

}  // namespace QVT::Publish
