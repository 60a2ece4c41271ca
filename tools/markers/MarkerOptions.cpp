#include "MarkerOptions.h"

#include <arpa/inet.h>

#include <array>

namespace QVT::Markers {

void AddMarkerOptions(Tools::CommandLine& line, MarkerOptions& options) {
  CLI::App& app = line.App();
  const std::string group = "Markers from the experiment";
  app.add_option(
         "--markers-from", options.lslQueries,
         "read the markers of an LSL stream, by name or by LSL query (\"type='Markers'\"); repeatable")
      ->type_name("QUERY")
      ->allow_extra_args(false)
      ->group(group);
  app.add_option("--marker-port", options.udpPort,
                 "take each UDP datagram to PORT as one marker's text, stamped on arrival")
      ->type_name("PORT")
      ->check(CLI::Range(1, 65535))
      ->group(group);
  app.add_option("--marker-listen", options.udpListen,
                 "the address --marker-port listens on (default 127.0.0.1: this machine only)")
      ->type_name("ADDR")
      ->check(CLI::Validator(
          [](std::string& address) -> std::string {
            std::array<unsigned char, 16> bytes{};
            const bool ip = inet_pton(AF_INET, address.c_str(), bytes.data()) == 1 ||
                            inet_pton(AF_INET6, address.c_str(), bytes.data()) == 1;
            return ip ? "" : "'" + address + "' is no IP address";
          },
          ""))
      ->group(group);
}

}  // namespace QVT::Markers
