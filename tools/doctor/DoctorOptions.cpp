#include "DoctorOptions.h"

#include "SerialDevices.h"

namespace QVT::Doctor {

Tools::ProgramText DoctorProgramText(const std::string& version) {
  return {"qvt-doctor",
          version,
          "find the headset and tell what keeps it from working",
          "Lists the serial devices that may lead to a headset (/dev/rfcomm*, /dev/ttyUSB*,\n"
          "/dev/ttyACM*) and the paired Bluetooth devices that no serial device is bound to.\n"
          "For each device it checks who may open it, which other programs hold it and\n"
          "whether ModemManager may probe it; then it talks to it: echo, identity, serial\n"
          "number, battery and the round trip of a command. It ends with what to do about\n"
          "each problem, as commands. A device that does not answer takes about half a\n"
          "minute. It changes nothing: no pairing, no scanning, no binding.",
          {{"0", "a working headset was found"},
           {std::to_string(Tools::kRuntimeFailure), "no working headset was found"},
           {std::to_string(Tools::kUsageFailure), "a bad command line"}},
          "QVT_DEVICE_DIR is where device nodes are looked for when --devices is not given."};
}

void DeclareDoctorOptions(Tools::CommandLine& line, Options& options) {
  options.devices = Tools::DeviceDirectory();
  line.App()
      .add_option("-d,--devices", options.devices, "look for device nodes in DIR (default: /dev)")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
}

}  // namespace QVT::Doctor
