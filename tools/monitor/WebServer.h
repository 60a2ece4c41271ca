// The monitor's web server: the page's files, the stream of messages each
// open page reads (server-sent events), and the page's commands (POST).
// Runs on threads of its own; a page's slowness stays with that page.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "MonitorControls.h"
#include "MonitorHub.h"
#include "RequestGuard.h"

namespace httplib {
class Server;
}

namespace QVT::Monitor {

struct ServerSettings {
  std::string host = "127.0.0.1";
  int port = 8080;  // 0: any free port
  std::string token;  // required of every request when not empty
  std::string webDirectory;  // where the page's files are
};

class WebServer {
 public:
  // log receives one line per refused request, failed command, and page
  // that falls behind.
  WebServer(const ServerSettings& settings, MonitorHub& hub, MonitorControls& controls,
            std::function<void(const std::string&)> log);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // The port it listens on. Throws std::runtime_error when it cannot bind.
  int Port() const { return port; }
  // Stops serving; open pages see their stream end.
  void Stop();

 private:
  void Route();

  ServerSettings settings;
  MonitorHub& hub;
  MonitorControls& controls;
  std::function<void(const std::string&)> log;
  std::unique_ptr<httplib::Server> server;
  std::unique_ptr<RequestGuard> guard;
  int port = 0;
  std::thread thread;
};

}  // namespace QVT::Monitor
