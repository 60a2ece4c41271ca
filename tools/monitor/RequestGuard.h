// Which requests the monitor answers: only those addressed to it by a name it
// serves under (so that a hostile name resolving to this machine, DNS
// rebinding, gets nothing), sent from its own page or from no page at all
// (so that another site cannot drive it), and, when it listens beyond this
// machine, carrying its token.
#pragma once

#include <string>
#include <vector>

namespace QVT::Monitor {

class RequestGuard {
 public:
  // host: the address the server listens on; token: empty for none.
  RequestGuard(const std::string& host, int port, std::string token);

  // The Host header, the Origin header (empty when absent) and the token
  // the request carries (empty when none); the page's own files need no
  // token (the browser fetches them without one). An empty string when
  // allowed, else why not.
  std::string Refusal(const std::string& host, const std::string& origin, const std::string& token,
                      bool pageFile = false) const;

  // The names the page may be reached under, "127.0.0.1:8080" and the like.
  const std::vector<std::string>& Authorities() const { return authorities; }

 private:
  std::vector<std::string> authorities;
  std::string token;
  bool anyHost = false;
};

// Whether the address is this machine's loopback (127.0.0.0/8, ::1, localhost).
bool IsLoopback(const std::string& host);

}  // namespace QVT::Monitor
