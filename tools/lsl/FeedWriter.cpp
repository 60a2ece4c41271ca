#include "FeedWriter.h"

#include <sys/socket.h>

#include <cerrno>

namespace QVT::Lsl {

FeedWriter::FeedWriter(int connected, std::shared_ptr<ConsumerQueue> consumerQueue)
    : socket(connected), queue(std::move(consumerQueue)) {}

bool FeedWriter::SendFromPusher() {
  std::lock_guard lock(mutex);
  if (closed) return true;
  if (networkTurn) return false;
  // Until a take comes back empty, which marks the queue dry again so that
  // the next push calls here.
  for (std::vector<SharedBytes> taken = queue->TakeAll(); !taken.empty(); taken = queue->TakeAll()) {
    for (const auto& sample : taken) unsent += *sample;
    std::size_t sent = 0;
    while (sent < unsent.size()) {
      const ssize_t written =
          ::send(socket, unsent.data() + sent, unsent.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
      if (written > 0)
        sent += static_cast<std::size_t>(written);
      else if (written < 0 && errno == EINTR)
        continue;
      else
        break;  // would block, or failed: the network thread finds out which
    }
    unsent.erase(0, sent);
    if (!unsent.empty()) {
      networkTurn = true;
      return false;
    }
  }
  return true;
}

std::vector<asio::const_buffer> FeedWriter::NextForNetwork() {
  std::lock_guard lock(mutex);
  writingUnsent.clear();
  writingUnsent.swap(unsent);
  writing = queue->TakeAll();
  std::vector<asio::const_buffer> buffers;
  if (writingUnsent.empty() && writing.empty()) {
    networkTurn = false;
    return buffers;
  }
  buffers.reserve(writing.size() + 1);
  if (!writingUnsent.empty()) buffers.push_back(asio::buffer(writingUnsent));
  for (const auto& sample : writing) buffers.push_back(asio::buffer(*sample));
  return buffers;
}

void FeedWriter::Close() {
  std::lock_guard lock(mutex);
  closed = true;
}

}  // namespace QVT::Lsl
