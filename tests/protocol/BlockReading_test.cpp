// Block framing and packet decoding, fed through the simulated input queue.
// Every read that meets silence waits the 0.5 s read time-out, so the tests
// feed complete input wherever silence is not what they are about.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "core/Headset.h"
#include "headset/HeadsetWire.h"
#include "protocol/RecordedMessages.h"
#include "support/TestHeadsets.h"
#include "util/Text.h"

namespace {

using QVT::Headset;
using QVT::testing::RecordedMessage;
using QVT::testing::ThrownMessage;
namespace Wire = QVT::testing;

std::string Block(std::uint16_t number, const std::string& packets = "") {
  return Wire::EncodeBlock(number, 1800, {3, 15, 24, 10, 30, 45}, packets);
}

// Species 7 is dispatched to nobody: the decoder only reports it.
std::string Reserved(const std::string& body = "z") { return Wire::EncodePacket(7, 0, body); }
const char* const kIgnoredReserved = "Ignoring packet of species 0x07 (Reserved7).";
const char* const kIgnoredNop = "Ignoring packet of species 0x00 (Nop).";

std::string Decoded(int packets, int block) {
  return "Decoded " + std::to_string(packets) + " packet(s) from block " + std::to_string(block);
}

class BlockReading : public RecordingHeadsetTest {
 protected:
  BlockReading() {
    headset.SimulateInput();
    headset.verbosity = 4;
  }

  void Feed(const std::string& bytes) { headset.FeedFakeData(bytes.data(), bytes.size()); }
  std::size_t Unread() const { return headset.simulatedInput.size(); }
  static int Count(const std::string& text, int level) { return MessageRecorder::Count(text, level); }
};

TEST_F(BlockReading, WellFormedBlockDispatchesEachPacketAndSkipsPadding) {
  QVT::Command command;
  AwaitReply(command, 5);
  headset.verbosity = 6;
  const std::string block = Block(
      7, std::string(2, '\0') + Reserved("ab") + std::string(3, '\0') + Wire::EncodePacket(0xFF, 0, "zz") +
             Wire::EncodeResponse(1, QVT::CommandFamily::Echo, 5, "x") + Reserved());
  Feed(block);
  EXPECT_TRUE(headset.TryToReadBlock());

  EXPECT_EQ(Unread(), 0u);
  EXPECT_TRUE(command.ReplyIsFinal());
  // Each padding byte is offered to the dispatcher as a packet of length 0,
  // whose species byte is whatever follows it.
  EXPECT_EQ(MessageRecorder::StartingWith("Ignoring"),
            (std::vector<std::string>{
                kIgnoredNop, "Ignoring packet of species 0x08 (UnknownPacketSpecies).", kIgnoredReserved,
                kIgnoredNop, kIgnoredNop, "Ignoring packet of species 0x08 (UnknownPacketSpecies).",
                "Ignoring packet of species 0xFF (UnknownPacketSpecies).", kIgnoredReserved}));
  EXPECT_EQ(Count(Decoded(4, 7), 4), 1);
  EXPECT_EQ(Count(QVT::PythonString(block.data(), block.size() - 2, true), 6), 1);
  EXPECT_TRUE(MessageRecorder::StartingWith("Packet decoder").empty());
}

// Six bytes or fewer at the end of the packet area are never decoded, even
// when they would look like a packet; padding is skipped up to them.
TEST_F(BlockReading, ShortPacketAreaTailsAreReportedAsLeftOver) {
  headset.verbosity = 3;
  struct LeftOver {
    std::string packets;
    int decoded, padding;
    std::string tail;
  };
  std::vector<LeftOver> cases{{Reserved() + Reserved(""), 1, 0, Reserved("")},
                              {Reserved() + std::string(10, '\0'), 1, 4, std::string(6, '\0')}};
  for (std::size_t extra = 0; extra <= 6; ++extra) {
    const std::string tail = std::string("\x0A\x07xyzw", 6).substr(0, extra);
    cases.push_back({tail, 0, 0, tail});
  }
  std::uint16_t number = 0;
  for (const LeftOver& c : cases) {
    MessageRecorder::Clear();
    Feed(Block(++number, c.packets));
    EXPECT_TRUE(headset.TryToReadBlock());
    Messages expected(c.decoded, {kIgnoredReserved, 3});
    expected.insert(expected.end(), c.padding, {kIgnoredNop, 3});
    if (!c.tail.empty())
      expected.push_back({std::to_string(c.tail.size()) + " bytes left over in block " +
                              std::to_string(number) + " after decoding " + std::to_string(c.decoded) +
                              " packets: " + QVT::PythonString(c.tail.data(), c.tail.size(), true),
                          3});
    EXPECT_EQ(MessageRecorder::All(), expected) << "case " << number;
  }
}

// The longest block is accepted; a packet whose length reaches past it is
// dispatched all the same, with what lies behind the block.
TEST_F(BlockReading, ResponseAtTheEndOfTheLongestBlockReadsZerosBehindIt) {
  QVT::Command command;
  AwaitReply(command, 9);
  std::string packets;
  for (int i = 0; i < 4; ++i) packets += Reserved(std::string(242, 'f'));
  std::string response = Wire::EncodeResponse(1, QVT::CommandFamily::Echo, 9, "");
  response[0] = static_cast<char>(255);  // 8 bytes in the block, 247 behind it
  const std::string block = Block(1, packets + response);
  ASSERT_EQ(block.size(), Headset::kMaxBlockLength);
  Feed(block);

  EXPECT_TRUE(headset.TryToReadBlock());
  EXPECT_TRUE(command.ReplyIsFinal());
  EXPECT_EQ(Count("Packet decoder overshot by 247 bytes.", 1), 1);
  // The echoed payload: the block's end code, then the zeros behind it.
  const std::string behind = "\r\n" + std::string(245, '\0');
  EXPECT_EQ(Count(QVT::PythonString(behind.data(), behind.size(), false), 2), 1);
}

TEST_F(BlockReading, BlocksOf22And23BytesDecodeFromBehindTheirEnd) {
  // Their packet areas measure -2 and -1 bytes; decoding starts at offset 22
  // all the same, finds the zeroed slack or the line feed, and overshoots.
  const std::string short22 = Wire::FrameBlock(Wire::U16LE(1) + "\x03\x0F\x18\x0A");
  const std::string short23 = Wire::FrameBlock(Wire::U16LE(2) + "\x03\x0F\x18\x0A\x1E");
  ASSERT_EQ(short22.size(), 22u);
  ASSERT_EQ(short23.size(), 23u);
  Feed(short22 + short23);

  EXPECT_TRUE(headset.TryToReadBlock());
  EXPECT_EQ(Count(kIgnoredNop, 3), 1);  // a zero, taken for padding
  EXPECT_EQ(Count(Decoded(0, 1), 4), 1);
  EXPECT_EQ(Count("Packet decoder overshot by 3 bytes.", 1), 1);

  MessageRecorder::Clear();
  EXPECT_TRUE(headset.TryToReadBlock());
  EXPECT_EQ(Count(kIgnoredNop, 3), 1);  // length byte 0x0A, the line feed
  EXPECT_EQ(Count(Decoded(1, 2), 4), 1);
  EXPECT_EQ(Count("Packet decoder overshot by 11 bytes.", 1), 1);
}

struct FrameError {
  const char* what;
  std::string bytes;    // the damaged block
  const char* message;  // the error, before " - resynchronizing..."
  int nextDecoded;      // the block read after the resynchronisation
};

// Test names carry the case's name; this keeps the listing free of byte dumps.
void PrintTo(const FrameError& error, std::ostream* out) { *out << error.what; }

class BlockFrameErrors : public BlockReading, public ::testing::WithParamInterface<FrameError> {};

TEST_P(BlockFrameErrors, CostTheBlockUpToTheNextLineFeed) {
  const FrameError& error = GetParam();
  Feed(error.bytes + Block(100, Reserved()) + Block(101, Reserved()));
  headset.expectedBlockNumber = 42;

  EXPECT_TRUE(headset.TryToReadBlock());
  EXPECT_EQ(MessageRecorder::All(), (Messages{{std::string(error.message) + " - resynchronizing...", 2}}));
  EXPECT_FALSE(headset.resynchronizationNeeded);
  EXPECT_EQ(headset.expectedBlockNumber, -1);
  EXPECT_GT(headset.lastDataTime.load(), 0.0);

  MessageRecorder::Clear();
  EXPECT_TRUE(headset.TryToReadBlock());
  EXPECT_EQ(Count(Decoded(1, error.nextDecoded), 4), 1);
  EXPECT_TRUE(MessageRecorder::StartingWith("Block ").empty())
      << "no out-of-order report after resynchronising";
}

std::string WithLength(unsigned length) { return Block(0).replace(2, 2, Wire::U16LE(length)); }

std::string Damaged(std::size_t offset, char value) {
  std::string block = Block(0);
  block[offset] = value;
  return block;
}

// Errors found in the header leave the block's own CR LF to resynchronise on;
// a broken end code, the next block's. A block that only failed its check
// kept its frame and costs itself alone.
INSTANTIATE_TEST_SUITE_P(
    BlockReading, BlockFrameErrors,
    ::testing::Values(
        FrameError{"StartCode", Damaged(1, '3'), "Block did not start with the expected code.", 100},
        FrameError{"Length1025", WithLength(1025), "Headset wants to send too much data.", 100},
        FrameError{"Length14", WithLength(14), "Headset wants to send too little data.", 100},
        FrameError{"Length21", WithLength(21), "Headset wants to send too little data.", 100},
        // Below 14 the body size is negative and passes the size test; the body
        // read then takes what fits in the buffer and comes up short.
        FrameError{"Length10", WithLength(10) + std::string(1200, 'x') + "\r\n",
                   "Block body ended prematurely", 100},
        FrameError{"EndCode", Damaged(23, '\r'), "Block did not terminate with the expected code.", 101},
        FrameError{"CRC", Damaged(14, 1), "Block failed consistency check.", 100}),
    [](const ::testing::TestParamInfo<FrameError>& param) { return param.param.what; });

// Silence part-way through a block leaves the resynchronisation to the next
// read; silence alone is no error.
TEST_F(BlockReading, SilenceEndsTheReadAndLeavesResynchronisationForLater) {
  const struct {
    std::string fed;
    const char* message;
  } cases[] = {{"", nullptr},
               {Block(5).substr(0, 13), "Block header ended prematurely."},
               {Block(5, Reserved("abcdefgh")).substr(0, 30), "Block body ended prematurely"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fed.size());
    MessageRecorder::Clear();
    const double lastRead = headset.lastDataTime;
    Feed(c.fed);
    EXPECT_FALSE(headset.TryToReadBlock());
    const Messages expected =
        c.message ? Messages{{std::string(c.message) + " - resynchronizing...", 2}} : Messages{};
    EXPECT_EQ(MessageRecorder::All(), expected);
    EXPECT_EQ(headset.resynchronizationNeeded, c.message != nullptr);
    EXPECT_EQ(headset.lastDataTime.load(), lastRead);
    if (!c.message) continue;

    Feed("rest of it\r\n" + Block(6, Reserved()));
    EXPECT_TRUE(headset.TryToReadBlock());
    EXPECT_FALSE(headset.resynchronizationNeeded);
    EXPECT_EQ(Count(Decoded(1, 6), 4), 1);
  }
}

TEST_F(BlockReading, BabbleWithoutLineFeedsIsSkippedAcrossSeveralReads) {
  // One resynchronisation gives up after 64 KiB, so that no read holds the
  // link for as long as the babble lasts; the next read carries on.
  Feed("##" + std::string(100000, 'x') + "\r\n" + Block(3, Reserved()));
  EXPECT_FALSE(headset.TryToReadBlock());
  EXPECT_TRUE(headset.resynchronizationNeeded);
  EXPECT_GT(Unread(), 30000u);
  EXPECT_TRUE(headset.TryToReadBlock());  // the rest of the babble, then the block
  EXPECT_FALSE(headset.resynchronizationNeeded);
  EXPECT_EQ(Count(Decoded(1, 3), 4), 1);
  EXPECT_EQ(Unread(), 0u);

  // The limit falling between the carriage return and the line feed loses
  // nothing.
  headset.resynchronizationNeeded = true;
  Feed(std::string(65535, 'x') + "\r\n" + Block(4, Reserved()));
  EXPECT_TRUE(headset.TryToReadBlock());
  EXPECT_EQ(Count(Decoded(1, 4), 4), 1);
}

TEST_F(BlockReading, BlockNumbersOutOfOrderAreReportedAndFollowed) {
  headset.verbosity = 3;
  Feed(Block(7) + Block(9) + Block(10) + Block(65535) + Block(0));
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(headset.TryToReadBlock());
  EXPECT_EQ(MessageRecorder::StartingWith("Block "),
            (std::vector<std::string>{"Block 9 arrived out of order (expected 8).",
                                      "Block 65535 arrived out of order (expected 11)."}));
  EXPECT_EQ(headset.expectedBlockNumber, 1);  // 65535 wrapped to 0, then 0 arrived
}

TEST_F(BlockReading, FedBytesNeedBytesAndASimulatedLink) {
  headset.FeedFakeData(nullptr, 5);
  EXPECT_EQ(Unread(), 0u);
  // Stopping the stream flushes a real link only; fed bytes wait to be read.
  Feed(Block(1));
  headset.KillDataStream(true);
  EXPECT_TRUE(headset.TryToReadBlock());

  Headset unconnected("deferred");
  unconnected.FeedFakeData("abc", 3);
  EXPECT_TRUE(unconnected.simulatedInput.empty());
}

TEST(BlockReadingWithoutLink, RefusesWithPlainStringsThatPassThrough) {
  Headset headset("deferred");
  const std::string notConnected = "Cannot read from headset: serial-port connection not yet established.";
  const std::string noResync = "Cannot resynchronize: serial connection is not open.";
  EXPECT_EQ(ThrownMessage([&] { headset.ReadBlock(); }), notConnected);
  EXPECT_EQ(ThrownMessage([&] { headset.TryToReadBlock(); }), notConnected);
  EXPECT_EQ(ThrownMessage([&] { headset.Resynchronize(); }), noResync);
  headset.resynchronizationNeeded = true;
  EXPECT_EQ(ThrownMessage([&] { headset.TryToReadBlock(); }), noResync);
}

}  // namespace
