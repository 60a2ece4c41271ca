#include "RequestGuard.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>

namespace QVT::Monitor {

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Compares without stopping at the first difference, so that the time taken
// tells nothing about the token.
bool SameSecret(const std::string& a, const std::string& b) {
  unsigned char difference = a.size() == b.size() ? 0 : 1;
  for (std::size_t i = 0; i < a.size(); ++i)
    difference |= static_cast<unsigned char>(a[i] ^ (i < b.size() ? b[i] : 0));
  return difference == 0;
}

}  // namespace

bool IsLoopback(const std::string& host) {
  if (Lower(host) == "localhost" || host == "::1" || host == "[::1]") return true;
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

RequestGuard::RequestGuard(const std::string& host, int port, std::string secret) : token(std::move(secret)) {
  const std::string suffix = ":" + std::to_string(port);
  const auto add = [&](const std::string& name) {
    const std::string bracketed = name.find(':') != std::string::npos && name.front() != '[' ? "[" + name + "]" : name;
    authorities.push_back(Lower(bracketed) + suffix);
  };
  anyHost = !token.empty() && (host == "0.0.0.0" || host == "::" || host == "[::]");
  add(host);
  if (IsLoopback(host))
    for (const char* name : {"127.0.0.1", "localhost", "[::1]"})
      if (std::find(authorities.begin(), authorities.end(), name + suffix) == authorities.end()) add(name);
}

std::string RequestGuard::Refusal(const std::string& host, const std::string& origin, const std::string& given,
                                  bool pageFile) const {
  const auto known = [&](const std::string& authority) {
    return std::find(authorities.begin(), authorities.end(), Lower(authority)) != authorities.end();
  };
  // Listening on every address, the server cannot know its names: the
  // token it then requires keeps a rebound name out instead.
  if (!anyHost && !known(host)) return "unknown host \"" + host + "\"";
  if (!origin.empty() && Lower(origin) != "http://" + Lower(host))
    return "request from another site (\"" + origin + "\")";
  if (!pageFile && !token.empty() && !SameSecret(given, token)) return "missing or wrong token";
  return {};
}

}  // namespace QVT::Monitor
