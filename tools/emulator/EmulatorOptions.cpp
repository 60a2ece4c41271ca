#include "EmulatorOptions.h"

#include <cstdlib>
#include <sstream>

#include "protocol/Codes.h"
#include "util/Text.h"

namespace QVT::emulator {

namespace {

double Number(const std::string& option, const std::string& text, double lowest, double highest) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !(value >= lowest && value <= highest)) {
    std::ostringstream message;
    message << option << " wants a number from " << lowest << " to " << highest << ", not \"" << text << "\"";
    throw message.str();
  }
  return value;
}

// A family by its name (any case) or its code, decimal or 0x hex.
std::uint8_t Family(const std::string& text) {
  for (int code = 0; code < 256; ++code) {
    const char* name = CommandFamilyName(code);
    if (name != nullptr && *name != '\0' && Upper(name) == Upper(text))
      return static_cast<std::uint8_t>(code);
  }
  char* end = nullptr;
  const long code = std::strtol(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || code < 0 || code > 255)
    throw "--refuse wants a command family name or code, not \"" + text + "\"";
  return static_cast<std::uint8_t>(code);
}

}  // namespace

EmulatorOptions ParseEmulatorOptions(int argc, char** argv) {
  EmulatorOptions options;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 >= argc) throw arg + " wants a value";
      return argv[++i];
    };
    if (arg == "--") {
      options.command.assign(argv + i + 1, argv + argc);
      break;
    } else if (arg == "-h" || arg == "--help") {
      options.help = true;
    } else if (arg == "--layout") {
      options.layout = value();
      if (options.layout != "10-20" && options.layout != "10-10" && options.layout != "7")
        throw "--layout wants 10-20, 10-10 or 7, not \"" + options.layout + "\"";
    } else if (arg == "--rate") {
      options.rate = static_cast<unsigned>(Number(arg, value(), 300, 600));
      if (options.rate != 300 && options.rate != 600) throw std::string("--rate wants 300 or 600");
    } else if (arg == "--impedance") {
      options.impedanceKiloOhms = Number(arg, value(), 0.0, 40.0);
    } else if (arg == "--eyes-closed") {
      options.eyesClosed = true;
    } else if (arg == "--seed") {
      options.seed = static_cast<std::uint64_t>(Number(arg, value(), 0, 4294967295.0));
    } else if (arg == "--corrupt") {
      options.corruptRate = Number(arg, value(), 0.0, 1.0);
    } else if (arg == "--drop") {
      options.dropRate = Number(arg, value(), 0.0, 1.0);
    } else if (arg == "--garbage") {
      options.garbageRate = Number(arg, value(), 0.0, 1.0);
    } else if (arg == "--silent-after") {
      options.silentAfter = Number(arg, value(), 0.0, 1e9);
    } else if (arg == "--outage") {
      const std::string spell = value();
      const auto colon = spell.find(':');
      if (colon == std::string::npos) throw "--outage wants START:SECONDS, not \"" + spell + "\"";
      options.outages.emplace_back(Number(arg, spell.substr(0, colon), 0.0, 1e9),
                                   Number(arg, spell.substr(colon + 1), 0.0, 1e9));
    } else if (arg == "--drop-log") {
      options.dropLog = value();
    } else if (arg == "--refuse") {
      options.refusedFamilies.push_back(Family(value()));
    } else if (arg == "--slow") {
      options.slow = true;
    } else if (arg == "--drift") {
      options.driftPpm = Number(arg, value(), -10000.0, 10000.0);
    } else if (arg == "--jitter") {
      options.jitterSeconds = Number(arg, value(), 0.0, 1000.0) / 1000.0;
    } else if (arg == "--truth") {
      options.truthFile = value();
    } else {
      throw "unknown option \"" + arg + "\" (see --help)";
    }
  }
  return options;
}

std::string EmulatorUsage(const std::string& program) {
  return "Usage: " + program +
         " [OPTIONS] [-- COMMAND [ARGS...]]\n"
         "\n"
         "A virtual headset on a pseudo-terminal. With a COMMAND, runs it with QVTSerialPort\n"
         "naming the virtual device and LD_PRELOAD giving that device the modem lines of a\n"
         "serial port, and exits with the command's status. Without one, prints how to\n"
         "connect and runs until interrupted.\n"
         "\n"
         "Headset:\n"
         "  --layout 10-20|10-10|7   calibration memory preset (default 10-20)\n"
         "  --rate 300|600           sampling rate in Hz (default 300)\n"
         "Signals:\n"
         "  --impedance KOHM         electrode impedance the carriers encode, 0 to 40 (default 5)\n"
         "  --eyes-closed            stronger alpha rhythm\n"
         "  --seed N                 seed of every random choice (default 1)\n"
         "Faults:\n"
         "  --corrupt RATE           garble each byte sent with this probability\n"
         "  --drop RATE              lose each data packet with this probability\n"
         "  --garbage RATE           follow each block of data, with this probability, by a\n"
         "                           well-framed block of random packets of every species\n"
         "  --silent-after SECONDS   send nothing more after this long\n"
         "  --outage START:SECONDS   fall silent START seconds after starting, for SECONDS,\n"
         "                           then answer again; may be repeated\n"
         "  --drop-log FILE          write the stream position of every data packet that was\n"
         "                           never sent (--drop, or no room on the line), one a line,\n"
         "                           and of every one sent garbled (\"N garbled\")\n"
         "  --refuse FAMILY          refuse a command family (name or code) with status 0x80;\n"
         "                           may be repeated\n"
         "  --slow                   a narrow link (about 230400 baud) with slow replies; at\n"
         "                           600 Hz it loses the blocks it has no room for\n"
         "Timing:\n"
         "  --drift PPM              the sample clock runs this much fast (negative: slow)\n"
         "  --jitter MS              hold each block of data back by a random delay of up to\n"
         "                           MS milliseconds, in order, as a radio link does\n"
         "  --truth FILE             write, each time streaming starts, when its samples were\n"
         "                           taken: \"stream T0 RATE STAMP0\", sample k complete at\n"
         "                           T0 + k / RATE seconds of CLOCK_MONOTONIC and stamped\n"
         "                           STAMP0 + k / nominal rate by the headset\n"
         "  -h, --help               this text\n";
}

}  // namespace QVT::emulator
