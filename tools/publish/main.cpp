// qvt-lsl: publishes a headset on the Lab Streaming Layer, an EEG stream
// stamped with acquisition times and a marker stream, until Ctrl-C.
#include <malloc.h>

#include <cstdio>
#include <optional>
#include <string>

#include "Acquisition.h"
#include "HeadsetReport.h"
#include "Interrupt.h"
#include "LslOptions.h"
#include "MarkerSources.h"
#include "ProgramErrors.h"
#include "PublishingPart.h"
#include "qvt/qvt.h"

int main(int argc, char** argv) {
  using namespace QVT::Tools;
  using namespace QVT::Publish;
  // A reconnection builds the new headset on a thread of its own (see qvt-record).
  mallopt(M_ARENA_MAX, 1);
  LslOptions options;
  CommandLine line(
      LslProgramText(std::string("qvt-lsl ") + QVT_LSL_VERSION + " (library " + QVT_GetAPIVersion() + ")"));
  DeclareLslOptions(line, options);
  if (const std::optional<int> status = line.ParseOrExit(argc, argv)) return *status;
  return RunReportingErrors("qvt-lsl", [&] {
    const std::string port = ResolvePort(options.port);
    if (port.empty()) throw UsageError("no headset port: give --port or set QVTSerialPort");
    InstallInterruptHandler();
    QVT::Lsl::OutletConfig outlet;
    outlet.listenAddress = options.listen;
    PublishingPart publishing(options.name, outlet);
    QVT::Session::AcquisitionSettings settings;
    settings.program = "qvt-lsl";
    settings.port = port;
    settings.seconds = options.seconds;
    settings.impedanceSeconds = options.impedanceSeconds;
    settings.reconnect = options.reconnect;
    settings.verbosity = options.verbosity;
    settings.montage = options.montage;
    // A consumer wants each block as soon as it arrives.
    settings.pacing.prompt = true;
    QVT::Session::Acquisition acquisition(settings, Connect(port, options.verbosity));
    acquisition.Add(publishing);
    // After the parts, so they stop before what they deliver to.
    const QVT::Markers::MarkerSources markers(options.markers, acquisition.MarkerInbox());
    return acquisition.Run();
  });
}
