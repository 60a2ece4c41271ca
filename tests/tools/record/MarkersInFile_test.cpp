// Run under qvt-emulator in a private network namespace: markers from an LSL
// outlet written here and from UDP datagrams, taken by the acquisition core
// as qvt-record takes them, are annotations at the sample whose acquisition
// stamp is nearest their time (one stamped before the first sample is at the
// first), and are republished on qvt's marker stream with their own time.
#include <edflib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "Acquisition.h"
#include "Clock.h"
#include "HeadsetReport.h"
#include "MarkerSources.h"
#include "Inlet.h"
#include "Outlet.h"
#include "PublishingPart.h"
#include "RecordingPart.h"

namespace QVT::Record {
namespace {

using namespace std::chrono_literals;

// Every sample's acquisition stamp, by position.
class StampSpy : public Session::Part {
 public:
  void Samples(const Session::SampleBlock& block) override {
    const std::lock_guard guard(lock);
    for (std::size_t k = 0; k < block.count; ++k) stamps[block.first + k] = block.stamps[k];
  }
  std::uint64_t Nearest(double time) const {
    const std::lock_guard guard(lock);
    std::uint64_t nearest = 0;
    double best = INFINITY;
    for (const auto& [position, stamp] : stamps)
      if (std::fabs(stamp - time) < best) {
        best = std::fabs(stamp - time);
        nearest = position;
      }
    return nearest;
  }

 private:
  mutable std::mutex lock;
  std::map<std::uint64_t, double> stamps;
};

TEST(MarkersInFile, AreAtTheSampleNearestTheirTime) {
  const std::string port = Tools::ResolvePort("DEFAULT");
  RecordOptions options;
  options.file = (std::filesystem::temp_directory_path() / "qvt_markers_in_file.bdf").string();
  options.seconds = 5.0;
  options.overwrite = true;
  Session::AcquisitionSettings settings;
  settings.program = "test";
  settings.port = port;
  settings.seconds = options.seconds;
  settings.verbosity = 0;
  Session::Acquisition acquisition(settings, Tools::Connect(port, 0));
  RecordingPart recording(options);
  StampSpy spy;
  Publish::PublishingPart publishing("qvt test", Lsl::OutletConfig{});
  acquisition.Add(recording);
  acquisition.Add(spy);
  acquisition.Add(publishing);
  Lsl::Outlet outlet(Lsl::StreamInfo({"stim", "Markers", 1, Lsl::ChannelFormat::String, 0.0, "stim-source"}));
  Markers::MarkerOptions wanted;
  wanted.lslQueries = {"stim"};
  wanted.udpPort = 15000;  // the namespace's own
  Markers::LslMarkerSettings lsl;
  lsl.ignore = [](const Lsl::StreamInfo&) { return false; };  // this process's outlet stands for another program's
  const Markers::MarkerSources sources(wanted, acquisition.MarkerInbox(), lsl);

  std::map<std::string, double> sent;  // text: its time
  std::map<std::string, double> republished;
  std::atomic<bool> running{true};
  std::thread reader([&] {
    std::vector<Lsl::ResolvedStream> found;
    while (running && found.empty())
      found = Lsl::Resolve(Lsl::QueryFor("qvt test Markers"),
                           Lsl::ResolveTargets::Peer(asio::ip::address_v4::loopback()), 200ms);
    if (found.empty()) return;
    Lsl::Inlet inlet(found.front());
    while (running)
      if (const auto sample = inlet.Pull(100ms)) republished[sample->strings.at(0)] = sample->stamp;
  });
  std::thread sender([&] {
    for (int i = 0; i < 250 && outlet.Consumers() == 0; ++i) std::this_thread::sleep_for(20ms);
    std::this_thread::sleep_for(1500ms);
    asio::io_context io;
    asio::ip::udp::socket udp(io, asio::ip::udp::endpoint(asio::ip::udp::v4(), 0));
    outlet.PushMarker("before", Lsl::LocalClock() - 3600.0);
    for (int i = 0; i < 8; ++i) {
      const double now = Lsl::LocalClock();
      outlet.PushMarker("lsl " + std::to_string(i), now - 0.2);  // an event the sender saw a while ago
      sent["lsl " + std::to_string(i)] = now - 0.2;
      udp.send_to(asio::buffer("udp " + std::to_string(i)), {asio::ip::address_v4::loopback(), 15000});
      sent["udp " + std::to_string(i)] = Lsl::LocalClock();
      std::this_thread::sleep_for(230ms);
    }
  });
  acquisition.Run();
  sender.join();
  running = false;
  reader.join();

  edf_hdr_struct header{};
  ASSERT_EQ(edfopen_file_readonly(options.file.c_str(), &header, EDFLIB_READ_ALL_ANNOTATIONS), 0);
  const double rate = static_cast<double>(header.signalparam[0].smp_in_datarecord) /
                      (static_cast<double>(header.datarecord_duration) / EDFLIB_TIME_DIMENSION);
  std::map<std::string, double> onsets;
  for (long long i = 0; i < header.annotations_in_file; ++i) {
    edf_annotation_struct annotation{};
    edf_get_annotation(header.handle, static_cast<int>(i), &annotation);
    onsets[annotation.annotation] = static_cast<double>(annotation.onset) / EDFLIB_TIME_DIMENSION;
  }
  edfclose_file(header.handle);
  std::filesystem::remove(options.file);

  ASSERT_TRUE(onsets.contains("before"));
  EXPECT_EQ(onsets["before"], 0.0);
  for (const auto& [text, time] : sent) {
    ASSERT_TRUE(onsets.contains(text)) << text;
    ASSERT_TRUE(republished.contains(text)) << text;
    // The time the core placed it by: the sender's own, through a measured
    // clock correction (LSL), or its arrival (UDP).
    const double placedBy = republished[text];
    EXPECT_NEAR(placedBy, time, text.starts_with("udp") ? 0.05 : 1e-3) << text;
    EXPECT_EQ(std::llround(onsets[text] * rate), static_cast<long long>(spy.Nearest(placedBy))) << text;
  }
}

}  // namespace
}  // namespace QVT::Record
