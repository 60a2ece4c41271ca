#include "util/Clock.h"

#include <cmath>
#include <ctime>
#include <iomanip>
#include <sstream>

#include "util/Timing.h"

namespace QVT {

RealTimeClockStruct LocalClockRecord(long t) {
  const std::time_t when = t;
  std::tm local{};
  localtime_r(&when, &local);
  return RealTimeClockStruct{static_cast<std::uint8_t>(local.tm_mon + 1),
                             static_cast<std::uint8_t>(local.tm_mday),
                             static_cast<std::uint8_t>(local.tm_year + 1900 - 2000),
                             static_cast<std::uint8_t>(local.tm_hour),
                             static_cast<std::uint8_t>(local.tm_min),
                             static_cast<std::uint8_t>(local.tm_sec)};
}

namespace {

// mktime looks the time zone up again on every call (a stat of the zone file
// each time); every block carries a clock record that changes once a second,
// so the last conversion of each thread is kept.
struct LastConversion {
  RealTimeClockStruct record{};
  std::int64_t seconds = 0;
  bool valid = false;
};
thread_local LastConversion lastConversion;

bool SameRecord(const RealTimeClockStruct& a, const RealTimeClockStruct& b) {
  return a.month == b.month && a.day == b.day && a.year == b.year && a.hour == b.hour &&
         a.minute == b.minute && a.second == b.second;
}

}  // namespace

Clock& Clock::Set(const RealTimeClockStruct* record) {
  if (lastConversion.valid && SameRecord(lastConversion.record, *record)) {
    seconds = lastConversion.seconds;
    fraction = 0.0;
    isSet = true;
    return *this;
  }
  std::tm calendar{};
  calendar.tm_sec = record->second;
  calendar.tm_min = record->minute;
  calendar.tm_hour = record->hour;
  calendar.tm_mday = record->day;
  calendar.tm_mon = record->month - 1;
  calendar.tm_year = record->year + 100;
  calendar.tm_isdst = -1;  // unknown: let mktime decide
  seconds = std::mktime(&calendar);
  lastConversion = LastConversion{*record, seconds, true};
  fraction = 0.0;
  isSet = true;
  return *this;
}

void Clock::AskTheComputer(long& secs, double& frac) const {
  const double t = PrecisionTime();
  secs = static_cast<long>(t);
  frac = t - static_cast<double>(secs);
}

bool Clock::TediousArithmetic(double t, long& secs, double& frac) const {
  if (!isSet) return false;
  const auto k = static_cast<std::int32_t>(std::floor(t));
  secs = static_cast<long>(seconds + k);
  frac = fraction + (t - k);
  while (frac >= 1.0) {
    frac -= 1.0;
    ++secs;
  }
  return true;
}

std::string Clock::String(double t, int decimals) const {
  long secs = 0;
  double frac = 0.0;
  if (t < 0.0 || !TediousArithmetic(t, secs, frac)) return "";
  const std::time_t when = secs;
  std::tm calendar{};
  localtime_r(&when, &calendar);
  char buffer[100];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &calendar);
  std::string text = buffer;
  if (decimals >= 1) {
    std::ostringstream digits;
    digits << std::fixed << std::setprecision(decimals) << frac;
    text += digits.str().substr(1);
  }
  return text;
}

}  // namespace QVT
