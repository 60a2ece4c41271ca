// Finding the serial devices that may be a headset, and the paired Bluetooth
// devices that no serial device is bound to yet. Read-only: nothing is
// paired, scanned for or bound.
#pragma once

#include <string>
#include <vector>

#include "DeviceFindings.h"

namespace QVT::Tools {

// Where device nodes are looked for: QVT_DEVICE_DIR, or /dev (tests point it
// at a directory of links to pseudo-terminals).
std::string DeviceDirectory();

// rfcomm*, ttyUSB* and ttyACM* in the directory, Bluetooth first, each kind
// in the order of its number.
std::vector<SerialDevice> FindSerialDevices(const std::string& directory);

// The paired Bluetooth devices as bluetoothctl lists them; nothing when it
// is not installed or the Bluetooth daemon does not answer within seconds,
// which `state` tells.
std::vector<PairedDevice> PairedBluetoothDevices(BluetoothState& state);

}  // namespace QVT::Tools
