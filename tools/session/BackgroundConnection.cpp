#include "BackgroundConnection.h"

#include <mutex>
#include <thread>

#include "Abandoned.h"
#include "LibraryCalls.h"

namespace QVT::Session {

struct BackgroundConnection::State {
  std::mutex lock;
  bool done = false;
  Tools::HeadsetHandle headset;
  Channels channels;
  std::string error;
};

BackgroundConnection::BackgroundConnection(Tools::HeadsetHandle previous, const std::string& port,
                                           int verbosity, const std::vector<ChannelPlan>& plan)
    : state(std::make_shared<State>()) {
  std::thread([attempt = state, old = previous.release(), port, verbosity, plan] {
    // A headset that fell silent is asked once whether it is still there:
    // one that is gone is marked lost, and its teardown then sends no stop
    // command that it would retry for 20 s.
    if (old != nullptr) QVT_Headset_IsConnected(old);
    Tools::HeadsetHandle(old).reset();
    Tools::HeadsetHandle headset;
    Channels channels;
    std::string error;
    try {
      headset = Tools::Connect(port, verbosity);
      channels = PrepareMontage(headset.get(), plan);
    } catch (const std::exception& e) {
      error = e.what();
      headset.reset();
    }
    std::lock_guard<std::mutex> guard(attempt->lock);
    attempt->headset = std::move(headset);
    attempt->channels = channels;
    attempt->error = error;
    attempt->done = true;
  }).detach();
}

BackgroundConnection::~BackgroundConnection() {
  if (!Done()) Tools::NoteAbandoned();
}

bool BackgroundConnection::Done() const {
  std::lock_guard<std::mutex> guard(state->lock);
  return state->done;
}

Tools::HeadsetHandle BackgroundConnection::Take(Channels& channels) {
  std::lock_guard<std::mutex> guard(state->lock);
  if (!state->error.empty()) throw Tools::RuntimeError(state->error);
  channels = state->channels;
  return std::move(state->headset);
}

}  // namespace QVT::Session
