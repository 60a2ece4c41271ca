// The numeric vocabulary of the headset's wire protocol and the names that the
// logs and reports print for it.
#pragma once

namespace QVT {

// The species byte at offset 1 of every incoming packet.
namespace PacketSpecies {
enum Code {
  Nop = 0,
  ResponseFromMaster = 1,
  AlarmFromMaster = 2,
  Data = 3,
  ExtendedData = 4,
  ResponseFromSlave = 5,
  AlarmFromSlave = 6,
  Reserved7 = 7,
};
}  // namespace PacketSpecies

// The subtype byte at offset 6 of an extended-data packet.
namespace ExtendedDataSubtype {
enum Code {
  AccelerometerData = 20,
};
}  // namespace ExtendedDataSubtype

// The headset's two processors; every command goes to one of them.
namespace CommandDestination {
enum Code {
  Master = 1,
  Slave = 2,
};
}  // namespace CommandDestination

namespace CommandFamily {
enum Code {
  FirmwareRevision = 0x12,
  FirmwareRevisionSub = 0x13,
  DeviceIdentification = 0x1D,
  LED = 0x1E,
  DataAcquisitionMode = 0x21,
  SerialNumberAndSensorCount = 0x28,
  CalibrationMemory = 0x2F,
  RealTimeClock = 0x30,
  AnalogResetMode = 0x41,
  SelfTest = 0x91,
  AcquisitionSettings = 0xA5,
  AccelerometerRate = 0xAC,
  BatteryMonitor = 0xBA,
  Shutdown = 0xBD,
  InternalStorage = 0xCB,
  ImpedanceDriverMode = 0xDA,
  Echo = 0xEC,
};
}  // namespace CommandFamily

// A response carries one of these instead of a family when the headset refuses
// a command. They deliberately have no family names.
namespace ResponseStatus {
enum Code {
  WrongMode = 0x80,
  FirstReserved = 0xE0,
  LastReserved = 0xE7,
  FirstBadParameter = 0xF0,  // parameter 0 of the command is bad
  LastBadParameter = 0xFF,   // parameter 15 of the command is bad
};

constexpr bool IsReserved(long code) { return code >= FirstReserved && code <= LastReserved; }
constexpr bool IsBadParameter(long code) { return code >= FirstBadParameter && code <= LastBadParameter; }
// Which parameter a bad-parameter code blames.
constexpr int BadParameterIndex(long code) { return static_cast<int>(code - FirstBadParameter); }
}  // namespace ResponseStatus

// Static texts; codes without a name give "Unknown...".
const char* PacketSpeciesName(long code);
const char* ExtendedDataSubtypeName(long code);
const char* CommandDestinationName(long code);
const char* CommandFamilyName(long code);

}  // namespace QVT
