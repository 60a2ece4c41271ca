#include "RecordOptions.h"

#include <memory>

namespace QVT::Record {

namespace {

bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

Tools::ProgramText RecordProgramText(const std::string& version) {
  return {"qvt-record",
          version,
          "record a headset to a BDF+ file",
          "Records a headset's montage channels, trigger and accelerometer to a BDF+ file\n"
          "(24-bit, opened by EDFbrowser, MNE and others), with triggers, lost samples, alarms,\n"
          "impedances and link losses as annotations. The file is checked to be writable\n"
          "before the headset is connected.",
          {{"0", "recorded (also when stopped by Ctrl-C); with --repair: FILE is sound or mended"},
           {std::to_string(Tools::kRuntimeFailure),
            "the headset, the link or the file failed, or --repair could not mend FILE"},
           {std::to_string(Tools::kUsageFailure),
            "a bad command line, or FILE exists and --overwrite was not given"},
           {std::to_string(Tools::kInterruptedTwice),
            "a second Ctrl-C stopped it at once; the file holds what was written"}},
          "QVTSerialPort names the headset's serial device when --port does not."};
}

void DeclareRecordOptions(Tools::CommandLine& line, RecordOptions& options) {
  CLI::App& app = line.App();
  app.add_option("FILE", options.file, "the BDF+ file to write, ending in .bdf")
      ->type_name("")
      ->check(CLI::Validator(
          [](std::string& name) -> std::string {
            if (EndsWith(name, ".bdf") || EndsWith(name, ".BDF")) return "";
            return "the file must end in .bdf, not '" + name + "'";
          },
          ""));
  app.add_option("--repair", options.repair,
                 "instead of recording, make FILE readable again after a crash, a power cut or a full disk, "
                 "and say what was done; a sound file is left as it is")
      ->type_name("FILE");
  auto lslName = std::make_shared<std::string>();
  CLI::Option* lsl = app.add_option(
         "--lsl", *lslName,
         "also publish the signal and the events on the Lab Streaming Layer (as qvt-lsl does), under NAME if "
         "given (default \"qvt MODEL SERIAL\")")
      ->expected(0, 1)
      ->type_name("[NAME]");
  app.callback([&options, lsl, lslName] {
    if (lsl->count() > 0) options.lsl = *lslName;
    // "--lsl FILE.bdf": the file is no stream name.
    if (options.file.empty() && options.lsl && (EndsWith(*options.lsl, ".bdf") || EndsWith(*options.lsl, ".BDF"))) {
      options.file = *options.lsl;
      options.lsl = "";
    }
    if (options.file.empty() && options.repair.empty()) throw CLI::RequiredError("FILE");
    if (!options.file.empty() && !options.repair.empty())
      throw CLI::ValidationError("--repair", "mends a file, and records none");
  });
  line.AddPort(options.port);
  line.AddSeconds(options.seconds, "stop after SECONDS of signal");
  line.AddImpedance(options.impedanceSeconds);
  app.add_option("--subject", options.subject, "the subject's name or code, for the file's header")
      ->type_name("TEXT");
  app.add_flag("-r,--reconnect", options.reconnect, "when the link is lost, reconnect every 2 s and go on");
  app.add_flag("--overwrite", options.overwrite, "replace FILE if it exists");
  Markers::AddMarkerOptions(line, options.markers);
  line.AddVerbosity(options.verbosity);
  // For the tests: a disk that takes this long for every 0.1 s record.
  app.add_option("--slow-disk", options.slowDiskSeconds)->check(Tools::NumberFrom(0.0, 10.0))->group("");
}

}  // namespace QVT::Record
