// Data packets: one sample of every source, montage channel and processing
// stage per packet. Nothing on this path allocates except the messages,
// which are composed only when they will be delivered.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/Headset.h"

namespace QVT {

namespace {

constexpr double kTwoPi = 6.283185307179586;
// The impedance driver injects these two carriers; a zero reference pair
// tells the sources that no impedance is being measured.
constexpr double kEEGCarrierHz = 110.0;
constexpr double kCMFCarrierHz = 130.0;

// The body begins with the trigger byte; the slot values follow it.
constexpr std::size_t kTriggerOffset = 0;
constexpr std::size_t kSlotValuesOffset = 1;
constexpr std::size_t kPacketSlots = 24;

// The seven-electrode headset carries its trigger lines in the upper half of
// the trigger byte.
constexpr int kUpperNibbleTriggerModel = 7;

constexpr int kCounterModulus = 256;

}  // namespace

void Headset::ProcessData(DataPacketStruct& packet, double blockTime, double t) {
  lastDataTime.store(serial.Elapsed());
  if (packet.header.length < kDataPacketLength) {
    if (WouldIssue(2)) IssueMessage("malformed data packet", 2);
    return;
  }
  if (packet.header.length != kDataPacketLength && WouldIssue(3))
    IssueMessage("extraneous bytes in data packet", 3);

  const int counter = packet.sequenceNumber;
  if (expectedSequenceNumber < 0) expectedSequenceNumber = counter;
  // A gap is only reported: no sample is invented or dropped for it.
  const bool inSequence = counter == expectedSequenceNumber;
  const int level = inSequence ? 5 : 2;
  if (WouldIssue(level)) {
    char text[80];
    std::snprintf(text, sizeof text, "data packet %3d arrived timestamped %10.6f", counter, t);
    std::string message = text;
    if (!inSequence)
      message += " - OUT OF SEQUENCE (expected " + std::to_string(expectedSequenceNumber) + ")";
    IssueMessage(message, level);
  }
  expectedSequenceNumber = (counter + 1) % kCounterModulus;

  ProcessSample(packet, blockTime, t);
}

void Headset::ProcessSample(DataPacketStruct& packet, double /*blockTime*/, double t) {
  double eegI = 0.0, eegQ = 0.0, cmfI = 0.0, cmfQ = 0.0;
  if (impedanceDriverMode > 0) {
    eegI = std::cos(kTwoPi * kEEGCarrierHz * t);
    eegQ = std::sin(kTwoPi * kEEGCarrierHz * t);
    cmfI = std::cos(kTwoPi * kCMFCarrierHz * t);
    cmfQ = std::sin(kTwoPi * kCMFCarrierHz * t);
  }

  // How far the computer's clock runs ahead of the headset's, as stamped on
  // the latest block.
  double lag = -1.0;
  long computerSeconds = 0, clockSeconds = 0;
  double computerFraction = 0.0, clockFraction = 0.0;
  blockClock.AskTheComputer(computerSeconds, computerFraction);
  if (blockClock.TediousArithmetic(0.0, clockSeconds, clockFraction))
    lag = static_cast<double>(computerSeconds - clockSeconds) + (computerFraction - clockFraction);

  // The accelerometer is slower than the EEG: its queued readings are held
  // and each becomes current once the samples have caught up with it.
  if (accelerometerRate > 0.0 && nextAccelerometer.t <= t) {
    currentAccelerometer = nextAccelerometer;
    bool queued = true;
    for (const RingBuffer& axis : accelerometerQueue) queued = queued && axis.Count() > 0;
    if (queued) {
      nextAccelerometer.t = accelerometerQueue[0].Read();
      nextAccelerometer.x = accelerometerQueue[1].Read();
      nextAccelerometer.y = accelerometerQueue[2].Read();
      nextAccelerometer.z = accelerometerQueue[3].Read();
      nextAccelerometer.jerk = 0.0;
      nextAccelerometer.CalculateJerk(currentAccelerometer);
    }
  }

  // The trigger bits see the trigger word only when "TRG" comes before them
  // in the source list, as it does in every list the calibration memory
  // builds.
  std::int32_t trigger = 0;
  const std::uint8_t* const slotValues = packet.body + kSlotValuesOffset;
  const std::size_t sourceCount = sources.size();
  for (std::size_t i = 0; i < sourceCount; ++i) {
    Source& source = *sources[i];
    if (i < kPacketSlots) {
      source.SetRawSignal(ReadI16LE(slotValues + 2 * i));
      continue;
    }
    switch (source.id) {
      case SourceID::TRG: {
        const int byte = packet.body[kTriggerOffset];
        const int word = presentSlotCount == kUpperNibbleTriggerModel ? byte >> 4 : byte;
        // The delay line lines the trigger up with the headset's filtered EEG.
        if (triggerBuffer.Capacity() == 0) triggerBuffer.Allocate(1);
        triggerBuffer.Write(word);
        trigger = static_cast<std::int32_t>(triggerBuffer.Read());
        source.SetRawSignal(trigger);
        break;
      }
      case SourceID::SND:
        source.SetRawSignal(t);
        break;
      case SourceID::RCV:
        source.SetRawSignal(lag);
        break;
      case SourceID::TRG0:
      case SourceID::TRG1:
      case SourceID::TRG2:
      case SourceID::TRG3:
      case SourceID::TRG4:
      case SourceID::TRG5:
      case SourceID::TRG6:
      case SourceID::TRG7:
        source.SetRawSignal(((trigger >> (source.id - SourceID::TRG0)) & 1) != 0 ? 1.0 : 0.0);
        break;
      case SourceID::ACCT:
        source.SetRawSignal(currentAccelerometer.t);
        break;
      case SourceID::ACCX:
        source.SetRawSignal(currentAccelerometer.x);
        break;
      case SourceID::ACCY:
        source.SetRawSignal(currentAccelerometer.y);
        break;
      case SourceID::ACCZ:
        source.SetRawSignal(currentAccelerometer.z);
        break;
      case SourceID::JERK:
        source.SetRawSignal(currentAccelerometer.jerk);
        break;
      default:
        break;
    }
  }

  for (Source* source : montageSources)
    if (source->IsReferentialEEG()) source->ComputeImpedance(eegI, eegQ, cmfI, cmfQ);

  for (const std::unique_ptr<Channel>& channel : montage) {
    if (!channel) continue;
    const double value = channel->CalculateRawSignal();
    if (channel->buffer.Capacity() > 0) channel->buffer.Write(value);
  }

  // Indexed, so that a callback that adds a stage does not pull the cascade
  // out from under this loop.
  for (std::size_t k = 0; k < cascade.size(); ++k) {
    ProcessingStage* stage = cascade[k].get();
    if (stage != nullptr && stage->callback != nullptr) stage->callback(this, t, stage);
  }

  sampleCallback.Deliver(
      [&](const CallbackSlot<SampleCallback>::Pair& callback) { callback.function(this, t, callback.data); });
}

double Headset::ImpedanceCMF() const {
  double sum = 0.0;
  int counted = 0;
  for (const Source* source : montageSources) {
    if (!source->IsReferentialEEG() || source->gain == 0.0) continue;
    sum += source->ImpedanceCMF();
    ++counted;
  }
  return counted == 0 ? 0.0 : sum / counted;
}

}  // namespace QVT
