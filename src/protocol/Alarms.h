// The alarms that the headset's two processors report: their names, their
// message templates and the small printf-like formatter that fills a template
// with an alarm packet's parameters.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace QVT {

// Alarm code = species * 256 + alarm number: Master alarms are 513 to 563,
// Slave alarms 1537 to 1567.
struct AlarmDescription {
  long code;
  const char* name;
  const char* messageTemplate;  // users and tools match on these texts, quirks and all
};

// Every known alarm, in code order.
std::span<const AlarmDescription> AlarmTable();

// "Slave_UnknownAlarm" for 1536, "UnknownAlarm" for any other unlisted code.
const char* AlarmName(long code);

// "Unknown Alarm Code = %d" for 512, "Unknown Alarm Code =[%d]" for 1536,
// "UnknownAlarm" for any other unlisted code.
const char* AlarmMessage(long code);

// Fills templ with count parameters of width bytes each (1, or 2 for u16 LE)
// read from parameters. One output stream serves the whole message, so its
// state carries over: 'x' and 'X' switch the base to hexadecimal for good
// ('d' prints hexadecimal after them), a single digit sets the width of the
// next value only, '0' and ' ' set the fill character, which stays. Missing
// parameters print as 0; unknown characters inside a conversion are skipped.
std::string FormatAlarmMessage(const std::string& templ, const std::uint8_t* parameters, int count,
                               int width);

}  // namespace QVT
