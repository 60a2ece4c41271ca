#include "HeadsetReport.h"

#include "BatchLoop.h"
#include "LibraryCalls.h"

namespace QVT::Stream {

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

namespace {

std::vector<QVT_Channel*> MontageChannels(QVT_Headset* headset) {
  std::vector<QVT_Channel*> channels(QVT_Headset_GetNumberOfChannels(headset));
  for (unsigned c = 0; c < channels.size(); ++c) channels[c] = QVT_Headset_GetChannelByIndex(headset, c);
  ThrowIfFailed("cannot read the montage");
  if (channels.empty()) throw RuntimeError("the montage has no channels");
  return channels;
}

}  // namespace

std::vector<ElectrodeImpedance> MeasureImpedances(QVT_Headset* headset, double seconds,
                                                  ProgressDisplay& display) {
  const std::vector<QVT_Channel*> channels = MontageChannels(headset);
  QVT_Headset_StartImpedanceDriver(headset);
  ThrowIfFailed("cannot start the impedance driver");
  std::vector<ElectrodeImpedance> electrodes;
  try {
    // Only the sources' impedance estimates matter; the samples are drained
    // so that the buffers do not overflow.
    RunBatches(
        headset, seconds,
        [&](unsigned samples) {
          for (unsigned i = 0; i < samples; ++i)
            for (QVT_Channel* channel : channels) QVT_Channel_ReadBuffered(channel);
        },
        display);
    // Read before the driver stops: every later sample resets the estimates.
    const unsigned sources = QVT_Headset_GetNumberOfSources(headset);
    for (unsigned s = 0; s < sources; ++s) {
      QVT_Source* source = QVT_Headset_GetSourceByIndex(headset, s);
      if (QVT_Source_IsReferentialEEG(source) == 1)
        electrodes.push_back({Copy(QVT_Source_GetName(source)), QVT_Source_GetImpedanceEEG(source),
                              QVT_Source_IsFactoryReference(source) == 1});
    }
    ThrowIfFailed("cannot read the impedances");
  } catch (...) {
    QVT_Headset_StopImpedanceDriver(headset);
    QVT_ClearError();
    throw;
  }
  QVT_Headset_StopImpedanceDriver(headset);
  ThrowIfFailed("cannot stop the impedance driver");
  return electrodes;
}

std::vector<ChannelRow> StreamChannels(QVT_Headset* headset, double seconds, ProgressDisplay& display,
                                       Progress& progress) {
  const std::vector<QVT_Channel*> channels = MontageChannels(headset);
  std::vector<ChannelRow> rows(channels.size());
  for (std::size_t c = 0; c < channels.size(); ++c) rows[c].name = Copy(QVT_Channel_GetName(channels[c]));
  ThrowIfFailed("cannot read the channel names");
  progress = RunBatches(
      headset, seconds,
      [&](unsigned samples) {
        for (unsigned i = 0; i < samples; ++i)
          for (std::size_t c = 0; c < channels.size(); ++c)
            rows[c].statistics.Add(QVT_Channel_ReadBuffered(channels[c]));
      },
      display);
  return rows;
}

std::vector<int> TakeAlarms(QVT_Headset* headset, unsigned& total, unsigned limit) {
  total = QVT_Headset_GetNumberOfAlarms(headset);
  std::vector<int> codes;
  for (unsigned i = 0; i < total && i < limit; ++i) codes.push_back(QVT_Headset_GetAlarm(headset, 1));
  ThrowIfFailed("cannot read the alarms");
  return codes;
}

}  // namespace QVT::Stream
