// How near their time markers land, and whether a steady stream of them
// arrives whole: run as the client of the virtual headset, in a private
// network namespace (the LSL search multicasts):
//   tests/tools/lsl/network/in_private_network.sh qvt-emulator --rate 600
//     --drift 200 --jitter 10 --truth T -- marker_accuracy T SECONDS [PER_SECOND]
// Three senders send PER_SECOND markers a second each (default 100) from
// the 2nd second to 2 s before the end: two LSL outlets, stamping each
// marker with this machine's clock as they push it, and one UDP socket.
// Samples are stamped as the programs stamp them (arrival stage,
// SampleStamper), and every marker is placed (MarkerPlacer) with samples
// and markers fed in the order they reached the program. Against the
// virtual headset's truth it prints, per kind of sender, how far the true
// time of a marker's sample lies from the marker's own time (its sender's
// stamp; for UDP its arrival), and per sender what was lost, duplicated or
// out of order.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "ArrivalStage.h"
#include "Clock.h"
#include "LslMarkerSource.h"
#include "MarkerPlacer.h"
#include "Outlet.h"
#include "SampleStamper.h"
#include "UdpMarkerSource.h"
#include "headset/TruthFile.h"
#include "qvt/qvt.h"

namespace {

using namespace QVT::Markers;
using Clock = std::chrono::steady_clock;
constexpr double kSettleSeconds = 10.0;  // the clock model's own settling time
constexpr int kSenders = 3;

struct Taken {
  Marker marker;
  double at;  // when the program took it from the queue
};

struct Errors {
  std::vector<double> samples;  // |error| in sample periods
  std::vector<double> settled;  // the same, from kSettleSeconds on

  static void Print(const char* kind, std::vector<double>& errors) {
    if (errors.empty()) return;
    std::sort(errors.begin(), errors.end());
    const auto within = std::count_if(errors.begin(), errors.end(), [](double e) { return e <= 1.0; });
    double sum = 0.0;
    for (double e : errors) sum += e;
    std::printf(
        "  %s: %zu markers, %.2f %% within one sample; |error| mean %.3f, p99 %.3f, worst %.3f samples\n",
        kind, errors.size(), 100.0 * static_cast<double>(within) / static_cast<double>(errors.size()),
        sum / static_cast<double>(errors.size()), errors[errors.size() * 99 / 100], errors.back());
  }
};

void Send(int sender, QVT::Lsl::Outlet* outlet, std::uint16_t udpPort, int count, double perSecond,
          Clock::time_point start) {
  asio::io_context io;
  asio::ip::udp::socket socket(io, asio::ip::udp::endpoint(asio::ip::udp::v4(), 0));
  for (int i = 0; i < count; ++i) {
    std::this_thread::sleep_until(
        start + std::chrono::duration_cast<Clock::duration>(
                    std::chrono::duration<double>((i + static_cast<double>(sender) / kSenders) / perSecond)));
    const std::string text = std::to_string(sender) + " " + std::to_string(i);
    if (outlet != nullptr)
      outlet->PushMarker(text, QVT::Lsl::LocalClock());
    else
      socket.send_to(asio::buffer(text), {asio::ip::address_v4::loopback(), udpPort});
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s TRUTH_FILE SECONDS [PER_SECOND]\n", argv[0]);
    return 2;
  }
  const double seconds = std::stod(argv[2]);
  const double perSecond = argc > 3 ? std::stod(argv[3]) : 100.0;
  const int count = static_cast<int>((seconds - 4.0) * perSecond);
  QVT_Headset* headset = QVT_Headset_New("DEFAULT");
  if (headset == nullptr || count <= 0) {
    std::fprintf(stderr, "marker_accuracy: cannot connect (%s) or too short\n", QVT_Error());
    return 1;
  }
  QVT_Headset_SetVerbosity(headset, 0);
  const double rate = QVT_Headset_GetSamplingRate(headset);
  const auto stage = QVT::Tools::AddArrivalStage(headset, seconds + 10.0);
  if (!stage) return 1;

  MarkerQueue queue;
  UdpMarkerSource udp("127.0.0.1", 0, queue);
  QVT::Lsl::Outlet a(
      QVT::Lsl::StreamInfo({"bench A", "Markers", 1, QVT::Lsl::ChannelFormat::String, 0.0, "a"}));
  QVT::Lsl::Outlet b(
      QVT::Lsl::StreamInfo({"bench B", "Markers", 1, QVT::Lsl::ChannelFormat::String, 0.0, "b"}));
  LslMarkerSource fromA("bench A", queue), fromB("bench B", queue);
  const auto until = Clock::now() + std::chrono::seconds(10);
  while ((a.Consumers() == 0 || b.Consumers() == 0) && Clock::now() < until)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));

  std::atomic<bool> streaming{true};
  std::thread acquisition([&] {
    QVT_Headset_Receive(headset, seconds, 0.2);
    streaming = false;
  });
  const auto start = Clock::now() + std::chrono::seconds(2);
  std::vector<std::thread> senders;
  QVT::Lsl::Outlet* outlets[kSenders] = {&a, &b, nullptr};
  for (int s = 0; s < kSenders; ++s)
    senders.emplace_back(Send, s, outlets[s], udp.Port(), count, perSecond, start);
  std::vector<Taken> taken;
  while (streaming)
    for (Marker& marker : queue.Take(std::chrono::milliseconds(20)))
      taken.push_back({std::move(marker), QVT::Lsl::LocalClock()});
  for (auto& sender : senders) sender.join();
  acquisition.join();
  for (Marker& marker : queue.Take(std::chrono::milliseconds(500)))
    taken.push_back({std::move(marker), QVT::Lsl::LocalClock()});

  std::vector<double> headsetTimes, arrivals;
  QVT::Tools::ReadArrivals(headset, *stage, headsetTimes, arrivals);
  QVT_Headset_Delete(headset);
  const auto truth = QVT::testing::ReadTruthFile(argv[1]);
  if (truth.empty() || headsetTimes.empty()) {
    std::fprintf(stderr, "marker_accuracy: no truth or no samples\n");
    return 1;
  }

  // Samples and markers in the order they reached the program.
  QVT::Tools::SampleStamper stamper(rate);
  MarkerPlacer placer(rate);
  std::vector<PlacedMarker> placed;
  std::map<std::uint64_t, double> headsetTimeAt;  // by position
  std::size_t next = 0;
  for (std::size_t i = 0; i < headsetTimes.size(); ++i) {
    for (; next < taken.size() && taken[next].at <= arrivals[i]; ++next) {
      placer.AddMarker(taken[next].marker, taken[next].at);
      for (auto& p : placer.Take(taken[next].at)) placed.push_back(std::move(p));
    }
    const auto position =
        static_cast<std::uint64_t>(std::llround((headsetTimes[i] - headsetTimes[0]) * rate));
    headsetTimeAt[position] = headsetTimes[i];
    placer.AddSample(position, stamper.Stamp(headsetTimes[i], arrivals[i]));
    for (auto& p : placer.Take(arrivals[i])) placed.push_back(std::move(p));
  }
  for (; next < taken.size(); ++next) placer.AddMarker(taken[next].marker, taken[next].at);
  for (auto& p : placer.Finish()) placed.push_back(std::move(p));

  Errors lsl, udpErrors;
  const double firstTrue = *QVT::testing::TrueTime(truth, rate, headsetTimes[0]);
  std::map<std::string, std::vector<long>> order;  // per sender, the numbers in placed order
  for (const PlacedMarker& p : placed) {
    const auto trueTime = QVT::testing::TrueTime(truth, rate, headsetTimeAt[p.position]);
    if (!trueTime) continue;
    const auto space = p.marker.text.find(' ');
    order[p.marker.text.substr(0, space)].push_back(std::stol(p.marker.text.substr(space + 1)));
    // Those at the edge of a gap are counted below: their sample was lost.
    if (p.where != Placement::AtItsTime) continue;
    const double error = std::fabs(*trueTime - p.marker.time) * rate;
    Errors& kind = p.marker.source.starts_with("udp:") ? udpErrors : lsl;
    kind.samples.push_back(error);
    if (*trueTime - firstTrue >= kSettleSeconds) kind.settled.push_back(error);
  }
  std::printf("%zu samples at %g Hz (%llu lost in %u gaps), %d senders x %d markers (%g a second each)\n",
              headsetTimes.size(), rate, static_cast<unsigned long long>(stamper.Timeline().LostSamples()),
              stamper.Timeline().Gaps(), kSenders, count, perSecond);
  std::printf("placed marker's true sample time - marker time, markers at their time:\n");
  Errors::Print("LSL (sender stamp)", lsl.samples);
  Errors::Print("UDP (arrival)", udpErrors.samples);
  std::printf("from %.0f s on:\n", kSettleSeconds);
  Errors::Print("LSL (sender stamp)", lsl.settled);
  Errors::Print("UDP (arrival)", udpErrors.settled);
  for (const auto& [sender, numbers] : order) {
    long duplicated = 0, outOfOrder = 0;
    std::vector<long> seen(static_cast<std::size_t>(count), 0);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      if (numbers[i] >= 0 && numbers[i] < count && seen[static_cast<std::size_t>(numbers[i])]++ > 0)
        ++duplicated;
      if (i > 0 && numbers[i] <= numbers[i - 1]) ++outOfOrder;
    }
    const auto received = std::count_if(seen.begin(), seen.end(), [](long n) { return n > 0; });
    std::printf("sender %s: %ld of %d received, %ld lost, %ld duplicated, %ld out of order\n", sender.c_str(),
                static_cast<long>(received), count, static_cast<long>(count - received), duplicated,
                outOfOrder);
  }
  std::printf(
      "placement: %llu before the first sample, %llu after the last, %llu in gaps, %llu late, %llu dropped\n",
      static_cast<unsigned long long>(placer.Placed(Placement::BeforeFirst)),
      static_cast<unsigned long long>(placer.Placed(Placement::AfterLast)),
      static_cast<unsigned long long>(placer.Placed(Placement::InGap)),
      static_cast<unsigned long long>(placer.Placed(Placement::Late)),
      static_cast<unsigned long long>(placer.Dropped()));
  return 0;
}
