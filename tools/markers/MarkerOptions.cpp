#include "MarkerOptions.h"

#include <asio/ip/address.hpp>

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
            asio::error_code error;
            asio::ip::make_address(address, error);
            return error ? "'" + address + "' is no IP address" : "";
          },
          ""))
      ->group(group);
}

}  // namespace QVT::Markers
