#include "Options.h"

namespace QVT::Stream {

Tools::ProgramText StreamProgramText(const std::string& version) {
  return {"qvt-stream",
          version,
          "stream a headset's channels and summarise them",
          "Connects to a headset, prints what it reports about itself, optionally measures\n"
          "electrode impedances, streams its channels and prints per-channel statistics.\n"
          "Ctrl-C ends streaming early; the statistics are still printed. Streaming stops\n"
          "when the output can no longer be written (a closed pipe, a full disk).",
          {{"0", "streamed (also when stopped by Ctrl-C)"},
           {std::to_string(Tools::kRuntimeFailure), "the headset or the link failed, or the output could not be written"},
           {std::to_string(Tools::kUsageFailure), "a bad command line"},
           {std::to_string(Tools::kInterruptedTwice), "a second Ctrl-C stopped it at once"}},
          "QVTSerialPort names the headset's serial device when --port does not."};
}

void DeclareStreamOptions(Tools::CommandLine& line, Options& options) {
  line.AddPort(options.port);
  line.AddSeconds(options.seconds, "stream for SECONDS");
  line.AddImpedance(options.impedanceSeconds);
  line.App()
      .add_option("--good-below", options.goodBelowKOhm, "impedances below KOHM kOhm are good (default 10)")
      ->type_name("KOHM")
      ->check(Tools::NumberFrom(0.001, 1e6));
  line.AddVerbosity(options.verbosity);
}

}  // namespace QVT::Stream
