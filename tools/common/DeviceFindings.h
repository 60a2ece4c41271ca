// What a search for a headset finds out about each serial device, kept apart
// from how it is found so that the advice can be worked out (and tested)
// from the findings alone.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace QVT::Tools {

// A device node that may lead to a headset.
struct SerialDevice {
  std::string path;              // /dev/rfcomm0
  std::string kind;              // "Bluetooth serial port"
  std::string bluetoothAddress;  // what an RFCOMM device is bound to, when the system tells
};

// A Bluetooth device paired with this computer.
struct PairedDevice {
  std::string address;
  std::string name;
};

// Another process that has a device open.
struct Holder {
  std::string name;
  int pid = 0;
};

// Who may open a device, and who has it open.
struct DeviceAccess {
  bool exists = false;
  std::string problem;  // why it could not be examined (the system's reason)
  std::string owner;    // the user owning it
  std::string group;
  std::string mode;                  // "crw-rw----"
  bool mayOpen = false;              // this process may read and write it
  bool inGroupNow = false;           // this process has the owning group
  bool inGroupListed = false;        // the group database lists the user in it (a new login has it)
  std::vector<Holder> holders;       // other processes that have it open
  bool modemManagerIgnores = false;  // udev tells ModemManager to keep off it
};

// What the headset said when the library talked to it.
struct ProbeOutcome {
  std::string failure;  // the library's reason when it did not answer as a headset; empty when it did
  std::string model;
  std::string revision;
  int serialNumber = -1;
  int sensors = -1;
  std::string firmware;
  std::string battery;
  double samplingRate = -1.0;
  double roundTripMs = -1.0;  // a command and its reply
};

struct DeviceReport {
  SerialDevice device;
  DeviceAccess access;
  std::optional<ProbeOutcome> probe;  // none when it was not talked to (it may not be opened)

  bool Working() const { return probe && probe->failure.empty(); }
};

// What BlueZ said about paired devices.
enum class BluetoothState {
  NotAsked,  // the search looked elsewhere than /dev
  Absent,    // bluetoothctl is not installed
  Silent,    // the Bluetooth daemon did not answer
  Answered,
};

struct SearchReport {
  std::string directory;  // where the device nodes were looked for
  std::string user;
  std::vector<DeviceReport> devices;
  std::vector<PairedDevice> unboundPaired;  // paired, and no device bound to them
  BluetoothState bluetooth = BluetoothState::NotAsked;
  bool modemManagerRunning = false;
  std::string udevRule;      // the rule that gives headsets to dialout and keeps ModemManager off them
  bool udevRuleActive = false;  // it lies where udev reads rules
};

}  // namespace QVT::Tools
