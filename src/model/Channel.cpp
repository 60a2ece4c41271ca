#include "model/Channel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <sstream>

namespace QVT {

namespace {

// Weights that are ratios n/d of small integers print as such.
constexpr int kMaxRatioTerm = 24;
constexpr double kRatioTolerance = 1e-10;

bool FindSmallRatio(double w, int& numerator, int& denominator) {
  for (int n = 1; n <= kMaxRatioTerm; ++n) {
    if (std::fabs(w - n) < kRatioTolerance) {
      numerator = n;
      denominator = 1;
      return true;
    }
    for (int d = 2; d <= kMaxRatioTerm; ++d) {
      if (std::fabs(d * w - n) < kRatioTolerance) {
        numerator = n;
        denominator = d;
        return true;
      }
    }
  }
  return false;
}

// fma is exact, so both sums below agree to the bit. Where the processor
// has fused multiply-add, the second does each term in one instruction
// instead of a call into the maths library. Chosen once at start-up rather
// than by the loader, which would run the choice before sanitizers start.
const bool kProcessorHasFMA = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("fma") != 0;
}();

double WeightedSum(Source* const* sources, const double* weights, std::size_t terms) {
  double sum = 0.0;
  for (std::size_t i = 0; i < terms; ++i)
    if (sources[i]) sum = std::fma(weights[i], sources[i]->signal, sum);
  return sum;
}

__attribute__((target("fma"))) double WeightedSumWithFMA(Source* const* sources, const double* weights,
                                                         std::size_t terms) {
  double sum = 0.0;
  for (std::size_t i = 0; i < terms; ++i)
    if (sources[i]) sum = __builtin_fma(weights[i], sources[i]->signal, sum);
  return sum;
}

}  // namespace

double Channel::CalculateRawSignal() const {
  const std::size_t terms = std::min(sources.size(), weights.size());
  return kProcessorHasFMA ? WeightedSumWithFMA(sources.data(), weights.data(), terms)
                          : WeightedSum(sources.data(), weights.data(), terms);
}

Source* Channel::MaxPositiveSource() const {
  const std::size_t terms = std::min(sources.size(), weights.size());
  Source* best = nullptr;
  double bestWeight = 0.0;
  for (std::size_t i = 0; i < terms; ++i) {
    if (sources[i] && weights[i] > bestWeight) {
      best = sources[i];
      bestWeight = weights[i];
    }
  }
  return best;
}

std::string Channel::Name() const {
  if (!name.empty()) return name;
  const Source* s = MaxPositiveSource();
  return s ? s->name : std::string();
}

bool Channel::IsReferentialEEG() const {
  return !sources.empty() && std::all_of(sources.begin(), sources.end(),
                                         [](const Source* s) { return s && s->IsReferentialEEG(); });
}

bool Channel::AutoSwap(Source* s) {
  const std::size_t terms = std::min(sources.size(), weights.size());
  std::size_t positives = 0, negatives = 0, p = 0, n = 0;
  for (std::size_t i = 0; i < terms; ++i) {
    if (weights[i] > 0.0 && positives++ == 0) p = i;
    if (weights[i] < 0.0 && negatives++ == 0) n = i;
  }
  if (positives != 1 || negatives == 0 || sources[p] != sources[n]) return false;
  sources[p] = s;
  return true;
}

double Channel::LookBack(unsigned long n, bool strict) const {
  if (n >= buffer.Capacity()) {
    std::ostringstream message;
    message << "cannot look back " << n << " steps: buffer size is " << buffer.Capacity();
    throw message.str();
  }
  const std::uint64_t available = buffer.Count();
  if (n < available) return buffer.LookBack(n);
  if (!strict) return 0.0;
  std::ostringstream message;
  message << "cannot look back " << n << " steps: " << available << " samples available";
  throw message.str();
}

std::string Channel::String(bool full) const {
  const std::size_t terms = std::min(sources.size(), weights.size());
  std::ostringstream formula;
  for (std::size_t i = 0; i < terms; ++i) {
    double w = weights[i];
    if (w == 0.0) continue;
    if (w < 0.0) {
      formula << '-';
      w = -w;
    } else if (i > 0) {
      formula << '+';
    }
    if (sources[i]) formula << sources[i]->name;
    int numerator = 0, denominator = 0;
    if (!FindSmallRatio(w, numerator, denominator)) {
      formula << w;
      continue;
    }
    if (numerator != 1) formula << '*' << numerator;
    if (denominator != 1) formula << '/' << denominator;
    if (!full) break;
  }
  return formula.str();
}

}  // namespace QVT
