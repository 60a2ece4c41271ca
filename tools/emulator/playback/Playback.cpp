#include "Playback.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "ElectrodeLabel.h"
#include "MontageInverse.h"
#include "RecordingEvents.h"
#include "SlotPacket.h"

namespace QVT::emulator {

namespace {

// The headset's filter delays its EEG by this many samples at 300 and
// 600 Hz and the host delays the trigger lines to match, so the trigger
// byte of a packet belongs to the EEG sixteen packets later.
constexpr std::size_t kTriggerLead = 16;
// Frames made at a time: a few reads of the file per second.
constexpr long long kStretch = 64;
// A trigger annotation without a duration is a pulse this long.
constexpr double kPulseSeconds = 0.02;

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

std::string Joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text.empty() ? "none" : text;
}

std::string RateText(double rate) {
  std::ostringstream text;
  text << rate << " Hz";
  return text.str();
}

std::string Annotations(std::size_t n) { return std::to_string(n) + (n == 1 ? " annotation" : " annotations"); }

bool IsStatusChannel(const std::string& name) {
  std::string upper = name;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper == "STATUS";
}

}  // namespace

Playback::Playback(const PlaybackSettings& settings, const CalibrationImage& calibration)
    : settings_(settings),
      slots_(calibration),
      triggerShift_(TriggerShift(calibration)),
      file_(std::make_unique<RecordingFile>(settings.file)) {
  passFrames_ = static_cast<long long>(std::floor(file_->Seconds() * settings_.rate + 1e-9));
  if (passFrames_ <= 0) throw PlaybackError("it is shorter than one sample");
  kiloOhms_.fill(settings_.kiloOhms);
  for (int k = 0; k < kSlotCount; ++k) {
    gains_[static_cast<std::size_t>(k)] = slots_.Gain(k);
    takesCarriers_[static_cast<std::size_t>(k)] = slots_.TakesCarriers(k);
  }
  MatchSignals();
  ReadAnnotations();
}

Playback::~Playback() = default;

void Playback::MatchSignals() {
  const std::vector<RecordedSignal>& signals = file_->Signals();
  const double rate = settings_.rate;
  std::vector<FilledSlot> filled;
  std::vector<std::string> played, unmatched;
  std::array<std::string, kSlotCount> filledBy;
  for (std::size_t s = 0; s < signals.size(); ++s) {
    const RecordedSignal& signal = signals[s];
    const std::string name = ElectrodeOfLabel(signal.label);
    const std::optional<int> axis = slots_.AccelerometerAxisNamed(name);
    const std::optional<int> slot = slots_.SlotNamed(name);
    if (!triggerFeed_ && (slots_.NamesTrigger(name) || IsStatusChannel(name))) {
      triggerFeed_ = std::make_unique<SignalFeed>(*file_, s, rate, 1.0, SignalFeed::Shape::Held);
      summary_.push_back("  triggers: from the signal " + Quoted(signal.label));
    } else if (axis && !accelerometerFeeds_[static_cast<std::size_t>(*axis)]) {
      accelerometerFeeds_[static_cast<std::size_t>(*axis)] =
          std::make_unique<SignalFeed>(*file_, s, rate, 1.0, SignalFeed::Shape::Held);
      accelerometerGains_[static_cast<std::size_t>(*axis)] = slots_.AccelerometerGain(*axis);
    } else if (slot && filledBy[static_cast<std::size_t>(*slot)].empty()) {
      filledBy[static_cast<std::size_t>(*slot)] = signal.label;
      filled.push_back({*slot, slots_.ChannelWeights(*slot)});
      electrodeFeeds_.push_back(std::make_unique<SignalFeed>(*file_, s, rate, MicrovoltsPerUnit(signal.unit),
                                                             SignalFeed::Shape::Smooth));
      played.push_back((signal.label == slots_.Name(*slot) ? signal.label
                                                           : slots_.Name(*slot) + " <- " + Quoted(signal.label)) +
                       (signal.rate == rate ? "" : " (resampled from " + RateText(signal.rate) + ")"));
    } else {
      unmatched.push_back(Quoted(signal.label));
    }
  }
  if (filled.empty()) {
    std::vector<std::string> labels;
    for (const RecordedSignal& signal : signals) labels.push_back(Quoted(signal.label));
    throw PlaybackError("no signal's label names an electrode of this headset (labels: " +
                        Joined(labels) + ")");
  }

  // The montage reads each electrode against the headset's reference; the
  // slots get what makes it read the recorded values.
  std::vector<std::vector<double>> inverse = MontageInverse(filled);
  if (inverse.empty()) {
    summary_.push_back("  the montage cannot read these signals back apart; they go on their slots as they are");
    inverse.assign(kSlotCount, std::vector<double>(filled.size(), 0.0));
    for (std::size_t i = 0; i < filled.size(); ++i) inverse[static_cast<std::size_t>(filled[i].slot)][i] = 1.0;
  }
  countsPerSignal_.resize(filled.size());
  for (std::size_t i = 0; i < filled.size(); ++i)
    for (int k = 0; k < kSlotCount; ++k) {
      const double gain = gains_[static_cast<std::size_t>(k)];
      countsPerSignal_[i][static_cast<std::size_t>(k)] =
          gain != 0.0 ? inverse[static_cast<std::size_t>(k)][i] / gain : 0.0;
    }

  std::vector<std::string> unfilled;
  for (int k = 0; k < kSlotCount; ++k)
    if (filledBy[static_cast<std::size_t>(k)].empty() && slots_.SlotNamed(slots_.Name(k)) == k)
      unfilled.push_back(slots_.Name(k));
  summary_.insert(summary_.begin(), {"  slots: " + Joined(played), "  signals not played: " + Joined(unmatched),
                                     "  slots left empty: " + Joined(unfilled)});
}

void Playback::ReadAnnotations() {
  const double rate = settings_.rate;
  std::size_t triggers = 0;
  std::vector<std::string> unknown;
  for (const RecordedAnnotation& annotation : file_->Annotations()) {
    const long long sample = std::llround(annotation.onset * rate);
    if (const std::optional<int> value = AnnotatedTrigger(annotation.text)) {
      ++triggers;
      if (triggerFeed_) continue;  // the trigger signal has them already
      const double seconds = annotation.duration > 0.0 ? annotation.duration : kPulseSeconds;
      triggerEvents_.push_back(
          {sample, sample + std::max(1LL, std::llround(seconds * rate)), static_cast<std::uint8_t>(*value)});
    } else if (const std::optional<AnnotatedImpedance> z = AnnotatedImpedanceOf(annotation.text)) {
      const std::optional<int> slot = slots_.SlotNamed(ElectrodeOfLabel(z->electrode));
      if (slot)
        impedanceEvents_.push_back({sample, *slot, z->kiloOhms});
      else
        unknown.push_back(Quoted(annotation.text));
    }
  }
  const auto byStart = [](const auto& a, const auto& b) { return a.start < b.start; };
  std::stable_sort(triggerEvents_.begin(), triggerEvents_.end(), byStart);
  std::stable_sort(impedanceEvents_.begin(), impedanceEvents_.end(),
                   [](const ImpedanceEvent& a, const ImpedanceEvent& b) { return a.sample < b.sample; });
  if (!triggerFeed_)
    summary_.push_back("  triggers: " + (triggers > 0 ? "from " + Annotations(triggers)
                                                      : std::string("none")));
  std::ostringstream impedances;
  impedances << "  impedances: ";
  if (impedanceEvents_.empty())
    impedances << "every electrode " << settings_.kiloOhms << " kOhm";
  else
    impedances << "from " << Annotations(impedanceEvents_.size());
  summary_.push_back(impedances.str());
  if (!unknown.empty()) summary_.push_back("  impedance annotations naming no electrode: " + Joined(unknown));
}

std::string Playback::Summary() const {
  std::ostringstream text;
  text << "Playing " << settings_.file << ": " << file_->Seconds() << " s at " << settings_.rate << " Hz, "
       << (settings_.loop ? "over and over" : "then silent") << "\n";
  for (const std::string& line : summary_) text << line << "\n";
  return text.str();
}

std::uint8_t Playback::AnnotatedTriggerAt(long long sample) const {
  // The latest pulse begun by then, if it lasts until then.
  const auto after = std::upper_bound(triggerEvents_.begin(), triggerEvents_.end(), sample,
                                      [](long long s, const TriggerEvent& e) { return s < e.start; });
  if (after == triggerEvents_.begin()) return 0;
  const TriggerEvent& event = *(after - 1);
  return sample < event.end ? event.value : 0;
}

void Playback::StartPass() {
  file_->Rewind();
  for (auto& feed : electrodeFeeds_) feed->Restart();
  if (triggerFeed_) triggerFeed_->Restart();
  for (auto& feed : accelerometerFeeds_)
    if (feed) feed->Restart();
  generated_ = 0;
}

void Playback::Generate() {
  if (!finished_ && generated_ == passFrames_) {
    if (settings_.loop)
      StartPass();
    else
      finished_ = true;
  }
  if (finished_) {
    Frame past;
    past.past = true;
    frames_.push_back(past);
    return;
  }
  const auto count = static_cast<std::size_t>(std::min(kStretch, passFrames_ - generated_));
  std::vector<std::vector<double>> values(electrodeFeeds_.size(), std::vector<double>(count));
  for (std::size_t i = 0; i < electrodeFeeds_.size(); ++i) electrodeFeeds_[i]->Produce(values[i].data(), count);
  std::vector<double> triggers(count), axes[3];
  if (triggerFeed_) triggerFeed_->Produce(triggers.data(), count);
  for (std::size_t a = 0; a < 3; ++a) {
    axes[a].assign(count, 0.0);
    if (accelerometerFeeds_[a]) accelerometerFeeds_[a]->Produce(axes[a].data(), count);
  }
  for (std::size_t b = 0; b < count; ++b) {
    Frame frame;
    frame.sample = generated_ + static_cast<long long>(b);
    for (std::size_t i = 0; i < values.size(); ++i)
      for (std::size_t k = 0; k < kSlotCount; ++k) frame.counts[k] += countsPerSignal_[i][k] * values[i][b];
    const long long trigger =
        triggerFeed_ ? std::llround(triggers[b]) : static_cast<long long>(AnnotatedTriggerAt(frame.sample));
    frame.trigger = static_cast<std::uint8_t>((trigger << triggerShift_) & 0xFF);
    for (std::size_t a = 0; a < 3; ++a)
      frame.accelerometer[a] = static_cast<std::int16_t>(
          std::lround(std::clamp(accelerometerGains_[a] != 0.0 ? axes[a][b] / accelerometerGains_[a] : 0.0,
                                 -32768.0, 32767.0)));
    frames_.push_back(frame);
  }
  generated_ += static_cast<long long>(count);
}

std::string Playback::PacketBody(std::uint64_t index, double stampSeconds, bool impedanceDriver) {
  for (; position_ < index; ++position_) {
    if (frames_.empty()) Generate();
    frames_.pop_front();
  }
  while (frames_.size() <= kTriggerLead) Generate();
  const Frame& frame = frames_.front();
  if (frame.past) return "";
  // Impedances follow the annotations, from the start of every pass.
  if (frame.sample == 0 || (nextImpedance_ > 0 && impedanceEvents_[nextImpedance_ - 1].sample > frame.sample)) {
    kiloOhms_.fill(settings_.kiloOhms);
    nextImpedance_ = 0;
  }
  for (; nextImpedance_ < impedanceEvents_.size() && impedanceEvents_[nextImpedance_].sample <= frame.sample;
       ++nextImpedance_)
    kiloOhms_[static_cast<std::size_t>(impedanceEvents_[nextImpedance_].slot)] = impedanceEvents_[nextImpedance_].kiloOhms;

  SlotValues raw = frame.counts;
  if (impedanceDriver)
    for (std::size_t k = 0; k < kSlotCount; ++k)
      if (takesCarriers_[k]) raw[k] += CarrierCounts(kiloOhms_[k], gains_[k], stampSeconds);
  accelerometer_ = frame.accelerometer;
  const Frame& ahead = frames_[kTriggerLead];
  return SlotPacketBody(ahead.past ? 0 : ahead.trigger, raw);
}

std::array<std::int16_t, 3> Playback::Accelerometer() const { return accelerometer_; }

}  // namespace QVT::emulator
