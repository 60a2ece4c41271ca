#include "MonitorOptions.h"

#include <charconv>
#include <memory>

#include "RequestGuard.h"

namespace QVT::Monitor {

ListenAddress ParseListen(const std::string& listen) {
  const std::size_t colon = listen.rfind(':');
  if (colon == std::string::npos || colon == 0) throw Tools::UsageError("--listen takes ADDRESS:PORT");
  ListenAddress address;
  address.host = listen.substr(0, colon);
  if (address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']')
    address.host = address.host.substr(1, address.host.size() - 2);
  const char* first = listen.data() + colon + 1;
  const char* last = listen.data() + listen.size();
  const auto [end, error] = std::from_chars(first, last, address.port);
  if (error != std::errc() || end != last || address.port < 0 || address.port > 65535)
    throw Tools::UsageError("--listen: no port in '" + listen + "'");
  return address;
}

Tools::ProgramText MonitorProgramText(const std::string& version) {
  return {"qvt-monitor",
          version,
          "fit the cap and watch the signal in a browser",
          "Connects to a headset and serves a page at http://127.0.0.1:8080/ with the\n"
          "electrodes' impedances on a head map, live traces with their quality, the link's\n"
          "health, and buttons to record into --record-dir and to set markers. Recordings are\n"
          "BDF+ files as qvt-record writes them. Ctrl-C ends it (and any recording).",
          {{"0", "ended by Ctrl-C or after --seconds"},
           {std::to_string(Tools::kRuntimeFailure), "the headset, the link, the web server or a file failed"},
           {std::to_string(Tools::kUsageFailure), "a bad command line"},
           {std::to_string(Tools::kInterruptedTwice), "a second Ctrl-C stopped it at once"}},
          "QVTSerialPort names the headset's serial device when --port does not."};
}

void DeclareMonitorOptions(Tools::CommandLine& line, MonitorOptions& options) {
  CLI::App& app = line.App();
  line.AddPort(options.port);
  app.add_option("--listen", options.listen,
                 "serve the page on ADDRESS:PORT (default 127.0.0.1:8080; port 0 takes any free one); "
                 "beyond this machine only with --token")
      ->type_name("ADDRESS:PORT");
  app.add_option("--token", options.token,
                 "a secret every request must carry (the page's address ends in ?token=SECRET)")
      ->type_name("SECRET");
  app.add_option("--record-dir", options.recordDirectory,
                 "where the page's recordings go, as qvt-<date>-<time>.bdf (default: here)")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory.description(""));
  auto lslName = std::make_shared<std::string>();
  CLI::Option* lsl = app.add_option("--lsl", *lslName,
                                    "also publish the signal, the events and the page's markers on the Lab "
                                    "Streaming Layer (as qvt-lsl does), under NAME if given")
                         ->expected(0, 1)
                         ->type_name("[NAME]");
  line.AddSeconds(options.seconds, "end after SECONDS");
  app.add_option("--subject", options.subject, "the subject's name or code, for the files' headers")
      ->type_name("TEXT");
  line.AddVerbosity(options.verbosity);
  Markers::AddMarkerOptions(line, options.markers);
  app.add_option("--web-dir", options.webDirectory)->group("");  // the page's files, for a build tree
  app.callback([&options, lsl, lslName] {
    if (lsl->count() > 0) options.lsl = *lslName;
    ListenAddress address;
    try {
      address = ParseListen(options.listen);
    } catch (const Tools::UsageError& error) {
      throw CLI::ValidationError("--listen", error.what());
    }
    if (!IsLoopback(address.host) && options.token.empty())
      throw CLI::ValidationError("--listen", "beyond this machine, the page needs --token SECRET");
  });
}

}  // namespace QVT::Monitor
