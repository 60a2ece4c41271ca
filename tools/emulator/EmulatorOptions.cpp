#include "EmulatorOptions.h"

#include <cstdlib>
#include <optional>

#include "protocol/Codes.h"
#include "util/Text.h"

namespace QVT::emulator {

namespace {

constexpr double kLongest = 1e9;  // seconds; any run ends before

// A family by its name (any case) or its code, decimal or 0x hex.
std::optional<std::uint8_t> Family(const std::string& text) {
  for (int code = 0; code < 256; ++code) {
    const char* name = CommandFamilyName(code);
    if (name != nullptr && *name != '\0' && Upper(name) == Upper(text))
      return static_cast<std::uint8_t>(code);
  }
  char* end = nullptr;
  const long code = std::strtol(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || code < 0 || code > 255) return std::nullopt;
  return static_cast<std::uint8_t>(code);
}

// CLI11 checks a value with a function that returns what is wrong, if anything.
CLI::Validator Check(std::function<std::string(const std::string&)> problem) {
  return CLI::Validator([problem](std::string& value) { return problem(value); }, "");
}

}  // namespace

Tools::ProgramText EmulatorProgramText(const std::string& version) {
  return {"qvt-emulator",
          version,
          "a virtual headset on a pseudo-terminal",
          "A virtual headset on a pseudo-terminal. With a COMMAND after --, runs it with\n"
          "QVTSerialPort naming the virtual device and LD_PRELOAD giving that device the modem\n"
          "lines of a serial port, and exits with the command's status. Without one, prints\n"
          "how to connect and runs until interrupted. With --playback, the headset's signals are\n"
          "those of an EDF, EDF+, BDF or BDF+ recording instead of synthetic ones.",
          {{"0", "stopped by Ctrl-C (without a COMMAND)"},
           {std::to_string(Tools::kRuntimeFailure),
            "the drop log or the truth file could not be written, or the recording cannot be played"},
           {std::to_string(Tools::kUsageFailure), "a bad command line"},
           {"127", "the COMMAND could not be run"},
           {"N", "with a COMMAND, its exit status (128 + the signal's number when a signal ended it)"}},
          ""};
}

void DeclareEmulatorOptions(Tools::CommandLine& line, EmulatorOptions& options) {
  using Tools::NumberFrom;
  CLI::App& app = line.App();
  app.add_option("-l,--layout", options.layout, "calibration memory preset: 10-20 (default), 10-10 or 7")
      ->type_name("LAYOUT")
      ->group("Headset")
      ->check(Check([](const std::string& value) -> std::string {
        if (value == "10-20" || value == "10-10" || value == "7") return "";
        return "needs 10-20, 10-10 or 7, not '" + value + "'";
      }));
  app.add_option("-r,--rate", options.rate, "sampling rate in Hz: 300 (default) or 600")
      ->type_name("HZ")
      ->group("Headset")
      ->check(Check([](const std::string& value) -> std::string {
        if (value == "300" || value == "600") return "";
        return "needs 300 or 600, not '" + value + "'";
      }));
  // Named for what it is: in the other programs --impedance is the length
  // of an impedance check. The old spelling still works.
  app.add_option("--electrode-impedance,--impedance", options.impedanceKiloOhms,
                 "electrode impedance the carriers encode, 0 to 40 kOhm (default 5)")
      ->type_name("KOHM")
      ->group("Signals")
      ->check(NumberFrom(0.0, 40.0));
  app.add_option("--playback", options.playback,
                 "play this EDF/BDF recording: signals on the slots their labels name, resampled to the "
                 "headset's rate, triggers from its trigger or status signal or its \"TRG n\" annotations, "
                 "impedances from its \"Z <electrode> <value> kOhm\" annotations; silent at its end")
      ->type_name("FILE")
      ->group("Signals");
  app.add_option("--speed", options.speed, "play the recording this many times faster than real time (default 1)")
      ->type_name("X")
      ->group("Signals")
      ->check(NumberFrom(0.01, 100.0));
  app.add_flag("--loop", options.loop, "start the recording again at its end")->group("Signals");
  app.add_flag("--eyes-closed", options.eyesClosed, "stronger alpha rhythm")->group("Signals");
  app.add_option("--serial", options.serialNumber, "the serial number it reports (default 20240001)")
      ->type_name("N")
      ->check(CLI::Range(1u, 99999999u));
  app.add_option("--seed", options.seed, "seed of every random choice (default 1)")
      ->type_name("N")
      ->group("Signals")
      ->check(Check([](const std::string& value) -> std::string {
        char* end = nullptr;
        const double number = std::strtod(value.c_str(), &end);
        if (!value.empty() && *end == '\0' && number >= 0 && number <= 4294967295.0 &&
            number == static_cast<double>(static_cast<std::uint64_t>(number)))
          return "";
        return "needs a whole number from 0 to 4294967295, not '" + value + "'";
      }));
  app.add_option("--corrupt", options.corruptRate, "garble each byte sent with this probability")
      ->type_name("RATE")
      ->group("Faults")
      ->check(NumberFrom(0.0, 1.0));
  app.add_option("--drop", options.dropRate, "lose each data packet with this probability")
      ->type_name("RATE")
      ->group("Faults")
      ->check(NumberFrom(0.0, 1.0));
  app.add_option("--garbage", options.garbageRate,
                 "follow each block of data, with this probability, by a well-framed block of random "
                 "packets of every species")
      ->type_name("RATE")
      ->group("Faults")
      ->check(NumberFrom(0.0, 1.0));
  app.add_option("--silent-after", options.silentAfter, "send nothing more after this long")
      ->type_name("SECONDS")
      ->group("Faults")
      ->check(NumberFrom(0.0, kLongest));
  app.add_option("--outage",
                 "fall silent START seconds after starting, for SECONDS, then answer again; "
                 "may be repeated")
      ->type_name("START:SECONDS")
      ->group("Faults")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(Check([](const std::string& value) -> std::string {
        const auto colon = value.find(':');
        std::string start = value.substr(0, colon);
        std::string seconds = colon == std::string::npos ? "" : value.substr(colon + 1);
        const CLI::Validator number = NumberFrom(0.0, kLongest);
        if (colon != std::string::npos && number(start).empty() && number(seconds).empty()) return "";
        return "needs START:SECONDS, two numbers from 0, not '" + value + "'";
      }))
      ->each([&options](const std::string& value) {
        const auto colon = value.find(':');
        options.outages.emplace_back(std::strtod(value.substr(0, colon).c_str(), nullptr),
                                     std::strtod(value.substr(colon + 1).c_str(), nullptr));
      });
  app.add_option("--drop-log", options.dropLog,
                 "write the stream position of every data packet that was never sent (--drop, or no room "
                 "on the line), one a line, and of every one sent garbled (\"N garbled\")")
      ->type_name("FILE")
      ->group("Faults");
  app.add_option("--refuse", "refuse a command family (name or code) with status 0x80; may be repeated")
      ->type_name("FAMILY")
      ->group("Faults")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(Check([](const std::string& value) -> std::string {
        if (Family(value)) return "";
        return "needs a command family name or code, not '" + value + "'";
      }))
      ->each([&options](const std::string& value) { options.refusedFamilies.push_back(*Family(value)); });
  app.add_flag("--slow", options.slow,
               "a narrow link (about 230400 baud) with slow replies; at 600 Hz it loses the blocks it has no "
               "room for")
      ->group("Faults");
  app.add_option("--drift", options.driftPpm, "the sample clock runs this much fast (negative: slow)")
      ->type_name("PPM")
      ->group("Timing")
      ->check(NumberFrom(-10000.0, 10000.0));
  app.add_option("--jitter",
                 "hold each block of data back by a random delay of up to MS milliseconds, in order, "
                 "as a radio link does")
      ->type_name("MS")
      ->group("Timing")
      ->check(NumberFrom(0.0, 1000.0))
      ->each([&options](const std::string& value) {
        options.jitterSeconds = std::strtod(value.c_str(), nullptr) / 1000.0;
      });
  app.add_option(
         "--truth", options.truthFile,
         "write, each time streaming starts, when its samples were taken: \"stream T0 RATE STAMP0\", "
         "sample k complete at T0 + k / RATE seconds of CLOCK_MONOTONIC and stamped STAMP0 + k / nominal "
         "rate by the headset")
      ->type_name("FILE")
      ->group("Timing");
  line.TakeCommandAfterDashes(options.command);
}

}  // namespace QVT::emulator
