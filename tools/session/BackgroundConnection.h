// A connection made on a thread of its own, so that a recording can give up
// on it (Ctrl-C, the end of --seconds) while the library still waits on a
// silent headset. An attempt given up on is left to end by itself, and the
// process to end through Tools::ExitStatus.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "HeadsetReport.h"
#include "MontagePlan.h"

namespace QVT::Session {

class BackgroundConnection {
 public:
  // Lets go of the previous headset, if any (on a lost link that can take
  // as long as connecting), then connects and gives the new one the montage
  // of the plan.
  BackgroundConnection(Tools::HeadsetHandle previous, const std::string& port, int verbosity,
                       const std::vector<ChannelPlan>& plan);

  bool Done() const;
  // Once Done: the headset and its channels. Throws Tools::RuntimeError
  // when the attempt failed.
  Tools::HeadsetHandle Take(Channels& channels);

  ~BackgroundConnection();
  BackgroundConnection(const BackgroundConnection&) = delete;
  BackgroundConnection& operator=(const BackgroundConnection&) = delete;

 private:
  struct State;
  std::shared_ptr<State> state;
};

}  // namespace QVT::Session
