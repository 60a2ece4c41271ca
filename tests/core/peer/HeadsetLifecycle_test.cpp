// A headset on a pseudo-terminal whose other end plays a whole headset: the
// connect handshake, the information report, background acquisition, a link
// that falls silent, and deletion while data streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "core/Headset.h"
#include "headset/CalibrationImages.h"
#include "headset/HeadsetPeer.h"
#include "headset/PseudoTerminal.h"
#include "support/MessageRecorder.h"
#include "support/TestHeadsets.h"
#include "util/Timing.h"

namespace {

using QVT::Headset;
using namespace QVT::testing;
namespace Family = QVT::CommandFamily;

constexpr int kMaster = 1, kSlave = 2;
const std::string kStop{1, 0}, kStart{2, 0}, kQuery{0, 0};

bool WaitUntil(const std::function<bool()>& condition, double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    QVT::Sleep(0.005);
  }
  return true;
}

// The payloads of the data acquisition commands the peer saw from index on.
std::vector<std::string> AcquisitionCommands(const HeadsetPeer& peer, std::size_t from) {
  std::vector<std::string> payloads;
  const auto seen = peer.Commands();
  for (std::size_t i = from; i < seen.size(); ++i)
    if (seen[i].family == Family::DataAcquisitionMode) payloads.push_back(seen[i].payload);
  return payloads;
}

// Streams until the peer has sent this many more data packets.
bool SeeData(const HeadsetPeer& peer, std::uint64_t packets) {
  const std::uint64_t start = peer.DataPacketsSent();
  return WaitUntil([&] { return peer.DataPacketsSent() >= start + packets; }, 3.0);
}

// One headset through the whole handshake (which sleeps 2 s), shared by the
// tests that look at it or stream from it afterwards.
class ConnectedHeadset : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    pty = new PseudoTerminal;
    PeerProfile profile;
    profile.calibration = TenTwentyCalibrationImage();
    peer = new HeadsetPeer(*pty, profile);
    MessageRecorder::Clear();
    headset = new Headset("deferred");
    headset->messageCallback.Set(MessageRecorder::Callback);
    headset->verbosity = 2;
    // Chosen before connecting; the handshake must keep them.
    headset->ReallocateBuffers(2.0, 0.5);
    const auto start = std::chrono::steady_clock::now();
    headset->Connect(pty->SlavePath(), true);
    handshakeSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    handshakeMessages = MessageRecorder::All();
    headset->verbosity = 1;
  }
  static void TearDownTestSuite() {
    delete headset;  // first, while the peer still answers
    delete peer;
    delete pty;
  }

  static inline PseudoTerminal* pty = nullptr;
  static inline HeadsetPeer* peer = nullptr;
  static inline Headset* headset = nullptr;
  static inline double handshakeSeconds = 0.0;
  static inline std::vector<RecordedMessage> handshakeMessages;
};

TEST_F(ConnectedHeadset, HandshakeQueriesTheHeadsetInOrder) {
  // Destination, family and payload; the clock is set to the computer's time.
  using Seen = std::tuple<int, int, std::string>;
  std::vector<Seen> expected = {
      {kMaster, Family::Echo, "QVT Ready"},         {kMaster, Family::DataAcquisitionMode, kStop},
      {kMaster, Family::DeviceIdentification, ""},  {kMaster, Family::SerialNumberAndSensorCount, ""},
      {kMaster, Family::FirmwareRevision, ""},      {kSlave, Family::FirmwareRevision, ""},
      {kMaster, Family::FirmwareRevisionSub, ""},   {kSlave, Family::FirmwareRevisionSub, ""},
      {kMaster, Family::RealTimeClock, "(now)"},    {kMaster, Family::BatteryMonitor, {1, 0}},
      {kSlave, Family::ImpedanceDriverMode, kStop}, {kMaster, Family::AnalogResetMode, kStop}};
  for (char page = 0; page < 8; ++page)
    expected.emplace_back(kMaster, Family::CalibrationMemory, std::string{page, 0});
  expected.insert(expected.end(), {{kSlave, Family::ImpedanceDriverMode, kQuery},
                                   {kMaster, Family::AnalogResetMode, kQuery},
                                   {kMaster, Family::RealTimeClock, ""},
                                   {kSlave, Family::AccelerometerRate, ""}});
  std::vector<Seen> seen;
  for (const WrittenCommand& c : peer->Commands()) {
    EXPECT_TRUE(c.crcValid);
    const bool setsClock = c.family == Family::RealTimeClock && c.payload.size() == 6;
    seen.emplace_back(c.destination, c.family, setsClock ? "(now)" : c.payload);
  }
  EXPECT_EQ(seen, expected);
  EXPECT_GE(handshakeSeconds, 2.0);  // the battery monitor settles

  ASSERT_FALSE(headset->montage.empty());
  EXPECT_EQ(headset->montage[0]->buffer.Capacity(), 600u);
  EXPECT_EQ(headset->sources[0]->averages.Capacity(), 150u);
  EXPECT_EQ(handshakeMessages.front(), (RecordedMessage{"Connected to " + pty->SlavePath(), 2}));
}

TEST_F(ConnectedHeadset, InfoStringAlignsEveryKey) {
  const Headset& h = *headset;
  const std::vector<std::string> lines = {
      "{",
      "           'HardwareModel' : 'TestHeadset',",
      "        'HardwareRevision' : 'R1',",
      "            'SerialNumber' : 12345,",
      "             'SensorCount' : 24,",
      "        'FirmwareRevision' : '1.0 (0:1) + 1.0 (0:1)',",
      "'CalibrationLayoutVersion' : 2,",
      "          'AllSourceNames' : '" + h.SourceNames(535) + "',",
      "    'ConnectedSourceNames' : '" + h.SourceNames(19) + "',",
      "        'FactoryReference' : '" + h.FactoryReferenceDescription() + "',",
      "  'ChosenDefaultReference' : '" + h.ReferenceDescription() + "',",
      "                 'Montage' : '" + h.MontageString(true) + "',",
      "            'SamplingRate' : 300,",
      "       'AccelerometerRate' : 100,",
      "            'BatteryLevel' : [ 87, 85 ],",
      "     'TimeOnboardClockSet' : (date),",
      " 'TimeOnboardClockQueried' : (date),",
      "     'TimeBatteryMeasured' : (date),",
      "              'FilterMode' : 1,",
      "     'DataAcquisitionMode' : 0,",
      "     'ImpedanceDriverMode' : 0,",
      "         'AnalogResetMode' : 0,",
      "}",
  };
  std::string expected;
  for (const std::string& line : lines) expected += line + (line == "}" ? "" : "\n");
  const std::string info = h.InfoString();
  // The clock's values are the clock tests' ground; here, that all three are set.
  const std::regex date("'\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d'");
  EXPECT_EQ(std::regex_replace(info, date, "(date)"), expected);
}

// Stopping only asks; starting again waits for the old thread, which stops
// the stream it started, and then starts it anew. A stream the client
// started is left running.
TEST_F(ConnectedHeadset, BackgroundAcquisitionStopsOnlyTheStreamItStarted) {
  std::size_t before = peer->Commands().size();
  ASSERT_TRUE(headset->StartBackgroundAcquisition());
  EXPECT_TRUE(headset->BackgroundAcquisitionRunning());
  ASSERT_TRUE(SeeData(*peer, 30));

  // Fresh data: connected, without asking the headset.
  const std::size_t sent = peer->Commands().size();
  EXPECT_TRUE(headset->IsConnected());
  EXPECT_EQ(peer->Commands().size(), sent);

  headset->StopBackgroundAcquisition();
  ASSERT_TRUE(headset->StartBackgroundAcquisition());
  ASSERT_TRUE(SeeData(*peer, 15));
  headset->StopBackgroundAcquisition();
  ASSERT_TRUE(WaitUntil([] { return headset->acquisitionThread.Finished(); }, 3.0));
  EXPECT_FALSE(headset->acquisitionThread.Failed()) << headset->acquisitionThread.ErrorMessage();
  EXPECT_FALSE(headset->BackgroundAcquisitionRunning());
  EXPECT_EQ(AcquisitionCommands(*peer, before), (std::vector<std::string>{kStart, kStop, kStart, kStop}));

  ASSERT_TRUE(headset->StartDataAcquisition());
  before = peer->Commands().size();
  ASSERT_TRUE(headset->StartBackgroundAcquisition());
  ASSERT_TRUE(SeeData(*peer, 30));
  headset->StopBackgroundAcquisition();
  ASSERT_TRUE(WaitUntil([] { return headset->acquisitionThread.Finished(); }, 3.0));
  EXPECT_EQ(headset->DataAcquisitionModeNow(), 1);
  EXPECT_TRUE(AcquisitionCommands(*peer, before).empty());
  ASSERT_TRUE(headset->StopDataAcquisition());
}

// Headsets connected without the handshake; the peer outlives each of them.
class BareConnection : public ::testing::Test {
 protected:
  BareConnection() : peer(pty) { MessageRecorder::Clear(); }

  std::unique_ptr<Headset> Connected(double watchdogInterval = 0.0) {
    auto headset = std::make_unique<Headset>("deferred");
    headset->messageCallback.Set(MessageRecorder::Callback);
    headset->verbosity = 1;
    headset->SetWatchdogInterval(watchdogInterval);
    EXPECT_FALSE(headset->dataWatchdog.Running());  // nothing to watch yet
    headset->Connect(pty.SlavePath(), false);
    return headset;
  }

  PseudoTerminal pty;
  HeadsetPeer peer;
};

TEST_F(BareConnection, WatchdogReportsASilentLinkOnce) {
  peer.SetPolicy([](const WrittenCommand&) { return PeerReaction::Silence(); });
  const auto headset = Connected(0.5);

  // It verifies once the silence has lasted, then ends with the link lost.
  ASSERT_TRUE(WaitUntil([&] { return headset->dataWatchdog.Finished(); }, 10.0));
  EXPECT_TRUE(headset->linkLost);
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost").size(), 1u);
  const auto seen = peer.Commands();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].family, Family::Echo);
  EXPECT_EQ(seen[0].payload, "Hi");
}

// The state is what the traffic said; a bounded wait on a link gone silent,
// without a watchdog, asks for an echo and ends with the link lost.
TEST_F(BareConnection, LinkStateFollowsTheStreamAndASilentLinkEndsABoundedWait) {
  const auto headset = Connected();
  double since = -1.0;
  EXPECT_EQ(headset->CurrentLinkState(since), Headset::LinkState::Connected);
  EXPECT_EQ(since, 0.0);
  ASSERT_TRUE(headset->StartDataAcquisition());
  EXPECT_EQ(headset->CurrentLinkState(since), Headset::LinkState::Streaming);
  const double streaming = since;
  EXPECT_GT(streaming, 0.0);
  ASSERT_TRUE(headset->StopDataAcquisition());
  EXPECT_EQ(headset->CurrentLinkState(since), Headset::LinkState::Connected);
  EXPECT_GE(since, streaming);
  EXPECT_TRUE(MessageRecorder::All().empty());

  peer.SetPolicy([](const WrittenCommand&) { return PeerReaction::Silence(); });
  const std::size_t sent = peer.Commands().size();
  EXPECT_EQ(ThrownMessage([&] { headset->WaitForSamples(1, headset->BoundedWait(-1.0)); }),
            "QVT link lost: cannot wait for samples");
  EXPECT_EQ(headset->CurrentLinkState(since), Headset::LinkState::Lost);
  EXPECT_GE(since, 5.0);
  ASSERT_EQ(peer.Commands().size(), sent + 1);
  EXPECT_EQ(peer.Commands().back().payload, "Hi");
  EXPECT_EQ(MessageRecorder::StartingWith("QVT link lost").size(), 1u);
}

namespace {

std::size_t OpenDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

}  // namespace

// Connect, stream (in the background or by the client), delete while
// streaming, a hundred times: every delete stops the stream promptly and no
// descriptor stays behind (leaks are LeakSanitizer's, under make asan).
TEST_F(BareConnection, HundredDeletionsWhileStreamingLeaveNothingBehind) {
  const std::size_t descriptors = OpenDescriptors();
  double slowest = 0.0;
  for (int cycle = 0; cycle < 100; ++cycle) {
    SCOPED_TRACE(cycle);
    auto headset = Connected();
    ASSERT_TRUE(headset->QueryDataAcquisitionMode());
    const std::size_t before = peer.Commands().size();
    ASSERT_TRUE(cycle % 2 == 0 ? headset->StartBackgroundAcquisition() : headset->StartDataAcquisition());
    ASSERT_TRUE(SeeData(peer, 6));
    const auto start = std::chrono::steady_clock::now();
    headset.reset();
    slowest =
        std::max(slowest, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    // A stop that a starved machine answers late is sent again: the same stop.
    std::vector<std::string> commands = AcquisitionCommands(peer, before);
    commands.erase(std::unique(commands.begin(), commands.end()), commands.end());
    ASSERT_EQ(commands, (std::vector<std::string>{kStart, kStop}));
  }
  EXPECT_LT(slowest, 1.0);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_TRUE(MessageRecorder::All().empty());
}

}  // namespace
