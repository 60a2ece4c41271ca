// qvt-monitor: holds a headset and serves the setup screen in a browser:
// impedances on a head map, live traces, the link's health, recording and
// markers, all from one acquisition.
#include <malloc.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include "Acquisition.h"
#include "HeadsetReport.h"
#include "ImpedanceCheck.h"
#include "Interrupt.h"
#include "LibraryCalls.h"
#include "MonitorHub.h"
#include "MonitorOptions.h"
#include "MonitorPart.h"
#include "PageControls.h"
#include "ProgramErrors.h"
#include "RecordingSwitch.h"
#include "RequestGuard.h"
#include "WebServer.h"
#include "qvt/qvt.h"
#ifdef QVT_MONITOR_LSL
#include "MarkerSources.h"
#include "PublishingPart.h"
#endif

namespace {

using namespace QVT::Monitor;
using namespace QVT::Tools;

// The page's files: as given, else beside the sources in a build tree, else
// where they were installed.
std::string WebDirectory(const std::string& given) {
  if (!given.empty()) return given;
  std::error_code error;
  const std::filesystem::path installed =
      (std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / QVT_MONITOR_INSTALLED_WEB_DIR)
          .lexically_normal();
  for (const std::filesystem::path& candidate : {std::filesystem::path(QVT_MONITOR_WEB_DIR), installed})
    if (std::filesystem::exists(candidate / "index.html", error)) return candidate.string();
  throw RuntimeError("the page's files are not installed (" + installed.string() + ")");
}

std::string PageAddress(const ListenAddress& address, int port, const std::string& token) {
  const bool ipv6 = address.host.find(':') != std::string::npos;
  std::string host = ipv6 ? "[" + address.host + "]" : address.host;
  if (host == "0.0.0.0" || host == "[::]") host = "THIS-HOST";
  return "http://" + host + ":" + std::to_string(port) + "/" + (token.empty() ? "" : "?token=" + token);
}

}  // namespace

int main(int argc, char** argv) {
  // A reconnection builds the new headset on a thread of its own; one arena
  // keeps the memory the old one gave back.
  mallopt(M_ARENA_MAX, 1);
  MonitorOptions options;
  CommandLine line(MonitorProgramText(std::string("qvt-monitor ") + QVT_MONITOR_VERSION + " (library " +
                                      QVT_GetAPIVersion() + ")"));
  DeclareMonitorOptions(line, options);
  if (const std::optional<int> status = line.ParseOrExit(argc, argv)) return *status;
  return RunReportingErrors("qvt-monitor", [&] {
    const ListenAddress address = ParseListen(options.listen);
    if (!IsLoopback(address.host))
      std::fprintf(stderr,
                   "qvt-monitor: warning: the page is served beyond this machine (%s); anyone who can reach "
                   "it with the token can record and set markers\n",
                   options.listen.c_str());
    const std::string webDirectory = WebDirectory(options.webDirectory);
    const std::string port = ResolvePort(options.port);
    if (port.empty()) throw UsageError("no headset port: give --port or set QVTSerialPort");
    InstallInterruptHandler();

    MonitorHub hub;
    ImpedanceCheck impedances;
    RecordingSwitch recording(options.recordDirectory, options.subject, hub);
    MonitorPart monitor(hub, impedances);
    QVT::Session::AcquisitionSettings settings;
    settings.program = "qvt-monitor";
    settings.port = port;
    settings.seconds = options.seconds;
    settings.reconnect = true;  // the page stays and says the link is lost
    settings.verbosity = options.verbosity;
    QVT::Session::Acquisition acquisition(settings, Connect(port, options.verbosity));
    acquisition.Add(monitor);
    acquisition.Add(recording);
#ifdef QVT_MONITOR_LSL
    std::optional<QVT::Publish::PublishingPart> publishing;
    if (options.lsl) acquisition.Add(publishing.emplace(*options.lsl, QVT::Lsl::OutletConfig{}));
#else
    if (options.lsl) throw UsageError("--lsl: this qvt-monitor was built without the Lab Streaming Layer");
#endif
#ifdef QVT_MONITOR_LSL
    // Declared after the parts, so they stop before what they deliver to.
    const QVT::Markers::MarkerSources markers(options.markers, acquisition.MarkerInbox());
#else
    if (options.markers.Any())
      throw UsageError("--markers-from, --marker-port: this qvt-monitor was built without the Lab Streaming Layer");
#endif
    PageControls controls(impedances, recording, acquisition);
    WebServer server({address.host, address.port, options.token, webDirectory}, hub, controls,
                     [](const std::string& text) { std::fprintf(stderr, "qvt-monitor: %s\n", text.c_str()); });
    std::printf("Serving %s (recordings go to %s)\n", PageAddress(address, server.Port(), options.token).c_str(),
                std::filesystem::absolute(options.recordDirectory).c_str());
    std::fflush(stdout);
    const int status = acquisition.Run();
    server.Stop();
    return status;
  });
}
