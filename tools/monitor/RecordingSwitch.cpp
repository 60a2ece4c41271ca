#include "RecordingSwitch.h"

#include <filesystem>

namespace QVT::Monitor {

namespace {

// The growing file's size goes to the pages a few times a second, not with
// every batch: more would crowd the signal out of a slow page's queue.
constexpr auto kSizeInterval = std::chrono::milliseconds(250);

}  // namespace

RecordingSwitch::RecordingSwitch(std::string recordDirectory, std::string subjectName, MonitorHub& monitorHub)
    : directory(std::move(recordDirectory)), subject(std::move(subjectName)), hub(monitorHub) {}

RecordingSwitch::~RecordingSwitch() = default;

std::string RecordingSwitch::NewFileName() const {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stem[32];
  std::strftime(stem, sizeof stem, "qvt-%Y%m%d-%H%M%S", &local);
  std::string name = std::string(stem) + ".bdf";
  for (int n = 2; std::filesystem::exists(std::filesystem::path(directory) / name); ++n)
    name = std::string(stem) + "-" + std::to_string(n) + ".bdf";
  return name;
}

void RecordingSwitch::Start(const Session::SessionStart& start) {
  session = start;
  session.impedances.clear();  // measured long before any file of the page's
  Show();
}

void RecordingSwitch::Switch() {
  const bool on = wanted;
  if (on == static_cast<bool>(part)) return;
  if (!on) {
    Finish();
    return;
  }
  status = {};
  try {
    const std::string name = NewFileName();
    options = {};
    options.file = (std::filesystem::path(directory) / name).string();
    options.subject = subject;
    part = std::make_unique<Record::RecordingPart>(options);
    part->Start(session);
    first = next;
    status.active = true;
    status.file = name;
  } catch (const std::exception& error) {
    part.reset();
    wanted = false;
    status.error = std::string("cannot record: ") + error.what();
  }
  Show();
}

void RecordingSwitch::Finish() {
  if (!part) return;
  Session::SessionEnd end;
  const std::string failure = part->End(end);
  part->Report(progress);
  part.reset();
  wanted = false;
  status.active = false;
  status.bytes = progress.fileBytes > 0 ? static_cast<std::uint64_t>(progress.fileBytes) : status.bytes;
  if (!failure.empty()) status.error = "the recording failed: " + failure;
  Show();
}

void RecordingSwitch::Samples(const Session::SampleBlock& block) {
  next = block.first + block.count;
  if (!part) return;
  Session::SampleBlock own = block;
  own.first -= first;
  part->Samples(own);
  if (const std::string failure = part->Failure(); !failure.empty()) Finish();
}

void RecordingSwitch::GapFound(const Session::Gap& gap) {
  next = gap.first + gap.samples;
  if (!part) return;
  Session::Gap own = gap;
  own.first -= std::min(own.first, first);
  part->GapFound(own);
}

void RecordingSwitch::EventFound(const Session::Event& event) {
  // Markers and triggers from before the file began belong to no file.
  if (!part || event.sample < first) return;
  Session::Event own = event;
  own.sample -= first;
  part->EventFound(own);
}

void RecordingSwitch::Report(Tools::Progress& shown) {
  Switch();
  if (!part) return;
  part->Report(progress);
  if (progress.fileBytes >= 0) status.bytes = static_cast<std::uint64_t>(progress.fileBytes);
  shown.fileBytes = progress.fileBytes;
  const auto now = std::chrono::steady_clock::now();
  if (now - lastShown < kSizeInterval) return;
  lastShown = now;
  Show();
}

std::string RecordingSwitch::End(const Session::SessionEnd& end) {
  if (!part) return {};
  const std::string failure = part->End(end);
  part.reset();
  status.active = false;
  Show();
  return failure;
}

void RecordingSwitch::Show() { hub.ShowRecording(status); }

}  // namespace QVT::Monitor
