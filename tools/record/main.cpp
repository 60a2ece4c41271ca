// qvt-record: records a headset to a BDF+ file, with triggers, lost
// samples, alarms, impedances and link losses as annotations; optionally
// reconnects when the link is lost and goes on in the same file.
#include <malloc.h>

#include <cstdio>
#include <optional>
#include <string>

#include "Acquisition.h"
#include "BdfFile.h"
#include "BdfRepair.h"
#include "HeaderText.h"
#include "HeadsetReport.h"
#include "Interrupt.h"
#include "OutputFile.h"
#include "ProgramErrors.h"
#include "RecordOptions.h"
#include "RecordingPart.h"
#include "qvt/qvt.h"
#ifdef QVT_RECORD_LSL
#include "MarkerSources.h"
#include "PublishingPart.h"
#endif

namespace {

using namespace QVT::Record;
using namespace QVT::Tools;

// The header holds plain ASCII in a field of its own width: the user hears
// what became of a name that does not fit it.
void NoteSubject(const std::string& subject) {
  const HeaderField stored = FitHeaderField(subject, BdfFile::kSubjectRoom);
  if (stored.cut)
    std::printf("The subject is too long for the file's header; it is cut to \"%s\"\n", stored.text.c_str());
  else if (AsciiText(subject) != subject)
    std::printf("The subject is written as \"%s\" (the file's header holds plain letters only)\n",
                stored.text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  // A reconnection builds the new headset on a thread of its own; with an
  // arena per thread, the memory the old headset gave back would stay with
  // the main thread's arena and each reconnection would add a headset's worth.
  mallopt(M_ARENA_MAX, 1);
  RecordOptions options;
  CommandLine line(RecordProgramText(std::string("qvt-record ") + QVT_RECORD_VERSION + " (library " +
                                     QVT_GetAPIVersion() + ")"));
  DeclareRecordOptions(line, options);
  if (const std::optional<int> status = line.ParseOrExit(argc, argv)) return *status;
  return RunReportingErrors("qvt-record", [&] {
    if (!options.repair.empty()) {
      const RepairOutcome outcome = RepairRecording(options.repair);
      std::printf("%s", outcome.report.c_str());
      return outcome.readable ? 0 : kRuntimeFailure;
    }
    CheckOutputFile(options.file, options.overwrite);
    const std::string port = ResolvePort(options.port);
    if (port.empty()) throw UsageError("no headset port: give --port or set QVTSerialPort");
    NoteSubject(options.subject);
    InstallInterruptHandler();
    QVT::Session::AcquisitionSettings settings;
    settings.program = "qvt-record";
    settings.port = port;
    settings.seconds = options.seconds;
    settings.impedanceSeconds = options.impedanceSeconds;
    settings.reconnect = options.reconnect;
    settings.verbosity = options.verbosity;
    // Consumers of the published stream want each block as soon as it arrives.
    settings.pacing.prompt = options.lsl.has_value();
    QVT::Session::Acquisition acquisition(settings, Connect(port, options.verbosity));
    RecordingPart recording(options);
    acquisition.Add(recording);
#ifdef QVT_RECORD_LSL
    std::optional<QVT::Publish::PublishingPart> publishing;
    if (options.lsl) acquisition.Add(publishing.emplace(*options.lsl, QVT::Lsl::OutletConfig{}));
#else
    if (options.lsl) throw UsageError("--lsl: this qvt-record was built without the Lab Streaming Layer");
#endif
#ifdef QVT_RECORD_LSL
    // Declared after the parts, so they stop before what they deliver to.
    const QVT::Markers::MarkerSources markers(options.markers, acquisition.MarkerInbox());
#else
    if (options.markers.Any()) throw UsageError("--markers-from, --marker-port: this qvt-record was built without the Lab Streaming Layer");
#endif
    return acquisition.Run();
  });
}
