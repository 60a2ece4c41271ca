// Who writes a consumer's samples to its socket. The pushing thread sends
// them itself while the socket takes them at once, which spares every chunk
// a hand-over to the network thread; when the socket would block (a slow
// consumer) or fails, the network thread takes over until the queue runs
// dry again. Never both at once, and the pusher never waits for the
// consumer.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <asio.hpp>

#include "ConsumerQueue.h"

namespace QVT::Lsl {

class FeedWriter {
 public:
  // `socket` is the connected descriptor, which the network thread owns and
  // closes (after Close). The network thread writes first: the reply and
  // the test pattern go before any sample.
  FeedWriter(int socket, std::shared_ptr<ConsumerQueue> queue);

  // On the pushing thread, once samples wait in a queue that had run dry:
  // sends what is queued without blocking. Returns false when the network
  // thread must write them (see NextForNetwork).
  bool SendFromPusher();

  // On the network thread, once its previous write has completed: the bytes
  // to write next, valid until the next call. Empty when nothing waits;
  // from then on the pusher sends again.
  std::vector<asio::const_buffer> NextForNetwork();

  // No more sends; call before the socket is closed.
  void Close();

 private:
  const int socket;
  const std::shared_ptr<ConsumerQueue> queue;
  std::mutex mutex;
  bool closed = false;
  bool networkTurn = true;
  std::string unsent;                // what the pusher could not send, first in line
  std::vector<SharedBytes> writing;  // what the network thread writes now
  std::string writingUnsent;
};

}  // namespace QVT::Lsl
