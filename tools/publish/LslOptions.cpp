#include "LslOptions.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace QVT::Publish {

namespace {

constexpr const char* kTrigger = "TRG";

bool NamesTrigger(std::string channel) {
  std::transform(channel.begin(), channel.end(), channel.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return channel == kTrigger;
}

}  // namespace

Tools::ProgramText LslProgramText(const std::string& version) {
  return {"qvt-lsl",
          version,
          "publish a headset on the Lab Streaming Layer",
          "Publishes a headset's montage and trigger as an EEG stream (float32, microvolts, each sample stamped\n"
          "with the time it was taken) and its triggers, lost samples, alarms and link losses as a marker stream,\n"
          "for any Lab Streaming Layer program: recorders, analysis and stimulus software. Prints what it\n"
          "publishes, a status line every second and a summary. Discovery uses UDP port 16571, the streams the\n"
          "first free ports from 16572 to 16604.",
          {{"0", "published until Ctrl-C or the end of --seconds"},
           {std::to_string(Tools::kRuntimeFailure), "the headset, the link or the network failed"},
           {std::to_string(Tools::kUsageFailure), "a bad command line"},
           {std::to_string(Tools::kInterruptedTwice), "a second Ctrl-C stopped it at once"}},
          "QVTSerialPort names the headset's serial device when --port does not."};
}

std::vector<std::string> MontageWithTrigger(const std::string& montage) {
  std::vector<std::string> channels;
  std::istringstream words(montage);
  for (std::string channel; words >> channel;) channels.push_back(channel);
  if (!channels.empty() && std::none_of(channels.begin(), channels.end(), NamesTrigger))
    channels.emplace_back(kTrigger);
  return channels;
}

void DeclareLslOptions(Tools::CommandLine& line, LslOptions& options) {
  CLI::App& app = line.App();
  line.AddPort(options.port);
  app.add_option("-n,--name", options.name, "the EEG stream's name (default \"qvt MODEL SERIAL\"); the markers' "
                                            "is the same with \" Markers\" added")
      ->type_name("NAME");
  app.add_option_function<std::string>(
         "-m,--montage", [&options](const std::string& given) { options.montage = MontageWithTrigger(given); },
         "the channels to publish, e.g. \"Fp1-M1 Cz-M1 O1\" (the trigger is added); default: the headset's montage")
      ->type_name("\"CHANNEL ...\"");
  app.add_option("--listen", options.listen,
                 "the address to serve on: 127.0.0.1 (the default) for this computer only, 0.0.0.0 for the lab network; "
                 "either with its IPv6 twin (::1, ::) where the computer has IPv6")
      ->type_name("ADDRESS");
  line.AddImpedance(options.impedanceSeconds);
  line.AddSeconds(options.seconds, "stop after SECONDS of signal");
  app.add_flag("-r,--reconnect", options.reconnect, "when the link is lost, reconnect every 2 s and go on");
  Markers::AddMarkerOptions(line, options.markers);
  line.AddVerbosity(options.verbosity);
}

}  // namespace QVT::Publish
