// The connections this process has accepted on one of its listening ports,
// found among its open descriptors. The web server keeps no list of them,
// and a page that has stopped reading holds a server thread in a blocked
// write until the write time-out; shutting its connection down ends that
// write at once.
#pragma once

namespace QVT::Monitor {

// Shuts down, both ways, every connected TCP socket of this process whose
// local port is `port`. The descriptors stay open for their owners to
// close. Returns how many were shut down.
int ShutDownAcceptedConnections(int port);

}  // namespace QVT::Monitor
