#include "WebServer.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "AcceptedConnections.h"

namespace QVT::Monitor {

namespace {

// Open pages at once; each holds a server thread while open, and a few more
// threads stay free for files and commands.
constexpr int kMostPages = 8;
constexpr int kThreads = kMostPages + 4;
// A page whose socket takes nothing for this long is let go. Twice the span
// of its queue: a page that stalls a while (a busy machine, a tab in the
// background) loses its oldest messages and then reads current ones; only
// a page that stays away gives its place back.
constexpr int kWriteTimeoutSeconds = 20;
constexpr auto kPatience = std::chrono::milliseconds(500);

struct PageFile {
  const char* path;
  const char* file;
  const char* type;
};

// Everything the server hands out from disk: fixed names, never a path
// taken from a request.
constexpr std::array<PageFile, 4> kPageFiles = {{{"/", "index.html", "text/html; charset=utf-8"},
                                                 {"/monitor.js", "monitor.js", "text/javascript; charset=utf-8"},
                                                 {"/headmap.js", "headmap.js", "text/javascript; charset=utf-8"},
                                                 {"/monitor.css", "monitor.css", "text/css; charset=utf-8"}}};

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return {};
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

bool On(const httplib::Request& request) { return request.get_param_value("on") == "1"; }

}  // namespace

WebServer::WebServer(const ServerSettings& given, MonitorHub& monitorHub, MonitorControls& pageControls,
                     std::function<void(const std::string&)> logLine)
    : settings(given), hub(monitorHub), controls(pageControls), log(std::move(logLine)),
      server(std::make_unique<httplib::Server>()) {
  server->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  server->set_write_timeout(kWriteTimeoutSeconds, 0);
  port = settings.port == 0 ? server->bind_to_any_port(settings.host)
                            : (server->bind_to_port(settings.host, settings.port) ? settings.port : -1);
  if (port <= 0)
    throw std::runtime_error("cannot listen on " + settings.host + ":" + std::to_string(settings.port));
  guard = std::make_unique<RequestGuard>(settings.host, port, settings.token);
  Route();
  thread = std::thread([this] { server->listen_after_bind(); });
}

WebServer::~WebServer() { Stop(); }

void WebServer::Stop() {
  if (!thread.joinable()) return;
  server->stop();
  // A stalled page would hold its thread, and so this join, for up to the
  // write time-out; idle kept-alive connections for their read time-out.
  ShutDownAcceptedConnections(port);
  thread.join();
}

void WebServer::Route() {
  server->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
    const std::string token = request.has_header("X-QVT-Token") ? request.get_header_value("X-QVT-Token")
                                                                 : request.get_param_value("token");
    const bool pageFile = std::any_of(kPageFiles.begin(), kPageFiles.end(),
                                      [&](const PageFile& file) { return request.path == file.path; });
    const std::string refusal =
        guard->Refusal(request.get_header_value("Host"), request.get_header_value("Origin"), token, pageFile);
    if (refusal.empty()) return httplib::Server::HandlerResponse::Unhandled;
    log("refused " + request.method + " " + request.path + ": " + refusal);
    response.status = 403;
    response.set_content("refused: " + refusal + "\n", "text/plain");
    return httplib::Server::HandlerResponse::Handled;
  });
  server->set_default_headers({{"Cache-Control", "no-store"},
                               {"X-Content-Type-Options", "nosniff"},
                               {"X-Frame-Options", "DENY"},
                               {"Content-Security-Policy", "default-src 'self'; frame-ancestors 'none'"}});

  for (const PageFile& file : kPageFiles)
    server->Get(file.path, [this, file](const httplib::Request&, httplib::Response& response) {
      const std::string text = ReadFile(settings.webDirectory + "/" + file.file);
      if (text.empty()) {
        response.status = 404;
        return;
      }
      response.set_content(text, file.type);
    });

  server->Get("/events", [this](const httplib::Request&, httplib::Response& response) {
    if (hub.Subscribers() >= kMostPages) {
      response.status = 503;
      response.set_content("too many open pages\n", "text/plain");
      return;
    }
    auto queue = hub.Subscribe();
    response.set_header("Cache-Control", "no-store");
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, queue, toldOfDrops = false](std::size_t, httplib::DataSink& sink) mutable {
          const std::vector<SharedText> messages = queue->Take(kPatience);
          if (queue->Closed() || !server->is_running()) return false;
          if (!toldOfDrops && queue->Dropped() > 0) {
            toldOfDrops = true;
            log("a page fell behind; its oldest messages are dropped");
          }
          // A comment line keeps the connection open through idle times
          // and lets a closed page be noticed.
          if (messages.empty()) return sink.write(": idle\n\n", 8);
          for (const SharedText& message : messages)
            if (!sink.write(message->data(), message->size())) return false;
          return true;
        },
        [this, queue](bool) {
          hub.Unsubscribe(queue);
          if (const std::uint64_t dropped = queue->Dropped())
            log("a page that fell behind went away; it lost " + std::to_string(dropped) + " messages");
        });
  });

  const auto command = [this](const char* path, std::function<void(const httplib::Request&)> act) {
    server->Post(path, [this, path, act](const httplib::Request& request, httplib::Response& response) {
      try {
        act(request);
        response.set_content("ok\n", "text/plain");
      } catch (const std::exception& error) {
        log(std::string(path) + ": " + error.what());
        response.status = 409;
        response.set_content(std::string(error.what()) + "\n", "text/plain");
      }
    });
  };
  command("/api/impedance", [this](const httplib::Request& r) { controls.SetImpedanceCheck(On(r)); });
  command("/api/recording", [this](const httplib::Request& r) {
    if (On(r))
      controls.StartRecording();
    else
      controls.StopRecording();
  });
  command("/api/marker", [this](const httplib::Request& r) { controls.Mark(r.get_param_value("text")); });
  command("/api/display", [this](const httplib::Request& r) {
    const std::string notch = r.get_param_value("notch");
    if (notch != "0" && notch != "50" && notch != "60") throw std::runtime_error("notch is 0, 50 or 60 Hz");
    hub.SetDisplay({std::stoi(notch), r.get_param_value("bandpass") == "1"});
  });
}

}  // namespace QVT::Monitor
