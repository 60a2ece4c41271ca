#include "HeadsetReport.h"

#include <sstream>

#include "BatchLoop.h"
#include "HeadsetSearch.h"
#include "Interrupt.h"
#include "LibraryCalls.h"
#include "MessageLog.h"

namespace {

// Samples taken per call while emptying the buffers.
constexpr std::size_t kDiscardChunk = 1024;

}  // namespace

namespace QVT::Tools {

std::string ResolvePort(const std::string& port) {
  const std::string chosen = port == "DEFAULT" ? Copy(QVT_GetDefaultPort()) : port;
  return chosen == "auto" ? FindTheHeadset() : chosen;
}

HeadsetHandle Connect(const std::string& port, int verbosity) {
  HeadsetHandle headset(QVT_Headset_New(nullptr));
  ThrowIfFailed("cannot create a headset");
  RouteMessages(headset.get(), verbosity);
  QVT_Headset_Connect(headset.get(), port.c_str());
  ThrowIfFailed("cannot connect to " + port);
  return headset;
}

void PrintIdentity(QVT_Headset* headset, std::FILE* out) {
  const std::string model = Copy(QVT_Headset_GetHardwareModel(headset));
  const std::string revision = Copy(QVT_Headset_GetHardwareRevision(headset));
  const int serial = QVT_Headset_GetSerialNumber(headset);
  const int sensors = QVT_Headset_GetSensorCount(headset);
  const std::string firmware = Copy(QVT_Headset_GetFirmwareRevision(headset));
  const std::string battery = Copy(QVT_Headset_GetBatteryLevelString(headset));
  const double rate = QVT_Headset_GetSamplingRate(headset);
  const unsigned channels = QVT_Headset_GetNumberOfChannels(headset);
  const std::string montage = Copy(QVT_Headset_GetMontageString(headset));
  const std::string reference = Copy(QVT_Headset_GetReferenceString(headset));
  ThrowIfFailed("cannot read the headset's identity");
  std::fprintf(out, "Headset    %s, revision %s, serial number %d, %d sensors\n", model.c_str(),
               revision.c_str(), serial, sensors);
  std::fprintf(out, "Firmware   %s\n", firmware.c_str());
  std::fprintf(out, "Battery    %s\n", battery.c_str());
  std::fprintf(out, "Sampling   %.1f Hz\n", rate);
  std::fprintf(out, "Reference  %s\n", reference.empty() ? "(none)" : reference.c_str());
  std::fprintf(out, "Montage    %u channels: %s\n", channels, montage.c_str());
  std::fflush(out);
}

std::vector<QVT_Channel*> MontageChannels(QVT_Headset* headset) {
  std::vector<QVT_Channel*> channels(QVT_Headset_GetNumberOfChannels(headset));
  for (unsigned c = 0; c < channels.size(); ++c) channels[c] = QVT_Headset_GetChannelByIndex(headset, c);
  ThrowIfFailed("cannot read the montage");
  if (channels.empty()) throw RuntimeError("the montage has no channels");
  return channels;
}

std::size_t ChannelReader::Read(QVT_Headset* headset, std::size_t most) {
  values.resize(channels.size() * most);
  stride = most;
  const std::size_t taken = QVT_Headset_ReadChannels(headset, channels.empty() ? nullptr : channels.data(),
                                                     static_cast<unsigned>(channels.size()), values.data(),
                                                     most, nullptr);
  ThrowIfFailed("cannot read the buffers");
  return taken;
}

void DiscardBufferedSamples(QVT_Headset* headset) {
  // One channel at a time: a read takes as many as the emptiest channel
  // holds, and one just added holds none, which left the others' backlog
  // (the last samples of an impedance check) ahead of the headset's stamps.
  for (QVT_Channel* channel : MontageChannels(headset)) {
    ChannelReader alone({channel});
    while (alone.Read(headset, kDiscardChunk) > 0) {
    }
  }
}

std::vector<ElectrodeImpedance> MeasureImpedances(QVT_Headset* headset, double seconds,
                                                  ProgressDisplay& display) {
  const std::vector<QVT_Channel*> channels = MontageChannels(headset);
  QVT_Headset_StartImpedanceDriver(headset);
  ThrowIfFailed("cannot start the impedance driver");
  std::vector<ElectrodeImpedance> electrodes;
  try {
    // Only the sources' impedance estimates matter; the samples are drained
    // so that the buffers do not overflow.
    Progress progress;
    ChannelReader montage(channels);
    RunBatches(
        headset, seconds,
        [&](unsigned samples) {
          montage.Read(headset, samples);
          return true;
        },
        display, progress);
    // The link can be given up while the last batches still come in; the
    // estimates of a lost link are not worth reporting.
    if (QVT_Headset_GetLinkState(headset, nullptr) == QVT_LINK_LOST)
      throw LinkLostError("the link to the headset was lost while measuring impedances");
    // Read before the driver stops: every later sample resets the estimates.
    // Cut short, the averages have not filled and would read too low.
    const unsigned sources = Interrupted() ? 0 : QVT_Headset_GetNumberOfSources(headset);
    for (unsigned s = 0; s < sources; ++s) {
      QVT_Source* source = QVT_Headset_GetSourceByIndex(headset, s);
      if (QVT_Source_IsReferentialEEG(source) == 1)
        electrodes.push_back({Copy(QVT_Source_GetName(source)), QVT_Source_GetImpedanceEEG(source),
                              QVT_Source_IsFactoryReference(source) == 1});
    }
    ThrowIfFailed("cannot read the impedances");
  } catch (const LinkLostError&) {
    throw;  // no command gets through to a lost or silent headset
  } catch (...) {
    QVT_Headset_StopImpedanceDriver(headset);
    QVT_ClearError();
    throw;
  }
  QVT_Headset_StopImpedanceDriver(headset);
  ThrowIfFailed("cannot stop the impedance driver");
  return electrodes;
}

std::vector<Alarm> TakeAlarms(QVT_Headset* headset) {
  std::vector<Alarm> alarms;
  QVT_AlarmRecord record{};
  while (QVT_Headset_GetAlarmRecord(headset, &record, 1) == 1) alarms.push_back({record.code, record.text});
  ThrowIfFailed("cannot read the alarms");
  return alarms;
}

std::string FormatAlarms(const std::vector<Alarm>& alarms, std::size_t limit) {
  std::ostringstream text;
  text << alarms.size() << (alarms.size() == 1 ? " alarm" : " alarms") << "\n";
  for (std::size_t i = 0; i < alarms.size() && i < limit; ++i)
    text << "  " << alarms[i].code << "  " << (alarms[i].text.empty() ? "(no text)" : alarms[i].text) << "\n";
  if (alarms.size() > limit) text << "  ...\n";
  return text.str();
}

}  // namespace QVT::Tools
