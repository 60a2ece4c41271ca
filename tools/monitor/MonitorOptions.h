// The command line of qvt-monitor, parsed apart from any headset.
#pragma once

#include <optional>
#include <string>

#include "CommandLine.h"
#include "MarkerOptions.h"

namespace QVT::Monitor {

struct MonitorOptions {
  std::string port = "DEFAULT";  // "DEFAULT": the port named by QVTSerialPort
  std::string listen = "127.0.0.1:8080";
  std::string token;  // required of the page beyond loopback
  std::string recordDirectory = ".";
  std::optional<std::string> lsl;  // publish too, under this name ("": the default one)
  double seconds = 0.0;
  std::string subject;
  int verbosity = 1;
  std::string webDirectory;  // empty: where the page's files were installed
  Markers::MarkerOptions markers;  // from the experiment's software
};

// The address and port of --listen. Throws Tools::UsageError.
struct ListenAddress {
  std::string host;
  int port = 0;
};
ListenAddress ParseListen(const std::string& listen);

Tools::ProgramText MonitorProgramText(const std::string& version);

// The option table; `options` receives the values as the line is parsed.
// Refuses --listen beyond loopback without --token.
void DeclareMonitorOptions(Tools::CommandLine& line, MonitorOptions& options);

}  // namespace QVT::Monitor
