// Calendar bookkeeping of the headset's real-time clock: a wall-clock reading
// taken at a reference instant, from which later instants are told in text.
#pragma once

#include <cstdint>
#include <string>

namespace QVT {

// The headset's clock on the wire: one unsigned byte per field.
struct RealTimeClockStruct {
  std::uint8_t month;  // 1 to 12
  std::uint8_t day;
  std::uint8_t year;  // years since 2000
  std::uint8_t hour;
  std::uint8_t minute;
  std::uint8_t second;
};

// The local calendar time of t as the headset's clock record.
RealTimeClockStruct LocalClockRecord(long t);

class Clock {
 public:
  // Takes the record as local time.
  Clock& Set(const RealTimeClockStruct* record);

  // The computer's clock, in the same two-part form.
  void AskTheComputer(long& seconds, double& fraction) const;

  // The reading t seconds after the reference instant; false while unset.
  bool TediousArithmetic(double t, long& seconds, double& fraction) const;

  // "YYYY-MM-DD HH:MM:SS" with `decimals` fractional digits; "" for negative t
  // or while unset. A fraction that rounds up to 1 shows as .000 without
  // carrying into the seconds.
  std::string String(double t, int decimals) const;

  bool IsSet() const { return isSet; }

 private:
  bool isSet = false;
  std::int64_t seconds = 0;
  double fraction = 0.0;
};

}  // namespace QVT
