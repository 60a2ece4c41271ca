#include "protocol/Codes.h"

#include <span>

namespace QVT {
namespace {

struct CodeName {
  long code;
  const char* name;
};

const char* LookUp(std::span<const CodeName> table, long code, const char* unknown) {
  for (const CodeName& entry : table)
    if (entry.code == code) return entry.name;
  return unknown;
}

constexpr CodeName kPacketSpecies[] = {
    {PacketSpecies::Nop, "Nop"},
    {PacketSpecies::ResponseFromMaster, "ResponseFromMaster"},
    {PacketSpecies::AlarmFromMaster, "AlarmFromMaster"},
    {PacketSpecies::Data, "Data"},
    {PacketSpecies::ExtendedData, "ExtendedData"},
    {PacketSpecies::ResponseFromSlave, "ResponseFromSlave"},
    {PacketSpecies::AlarmFromSlave, "AlarmFromSlave"},
    {PacketSpecies::Reserved7, "Reserved7"},
};

constexpr CodeName kExtendedDataSubtypes[] = {
    {ExtendedDataSubtype::AccelerometerData, "AccelerometerData"},
};

constexpr CodeName kCommandDestinations[] = {
    {CommandDestination::Master, "Master"},
    {CommandDestination::Slave, "Slave"},
};

constexpr CodeName kCommandFamilies[] = {
    {CommandFamily::FirmwareRevision, "FirmwareRevision"},
    {CommandFamily::FirmwareRevisionSub, "FirmwareRevisionSub"},
    {CommandFamily::DeviceIdentification, "DeviceIdentification"},
    {CommandFamily::LED, "LED"},
    {CommandFamily::DataAcquisitionMode, "DataAcquisitionMode"},
    {CommandFamily::SerialNumberAndSensorCount, "SerialNumberAndSensorCount"},
    {CommandFamily::CalibrationMemory, "CalibrationMemory"},
    {CommandFamily::RealTimeClock, "RealTimeClock"},
    {CommandFamily::AnalogResetMode, "AnalogResetMode"},
    {CommandFamily::SelfTest, "SelfTest"},
    {CommandFamily::AcquisitionSettings, "AcquisitionSettings"},
    {CommandFamily::AccelerometerRate, "AccelerometerRate"},
    {CommandFamily::BatteryMonitor, "BatteryMonitor"},
    {CommandFamily::Shutdown, "Shutdown"},
    {CommandFamily::InternalStorage, "InternalStorage"},
    {CommandFamily::ImpedanceDriverMode, "ImpedanceDriverMode"},
    {CommandFamily::Echo, "Echo"},
};

}  // namespace

const char* PacketSpeciesName(long code) { return LookUp(kPacketSpecies, code, "UnknownPacketSpecies"); }

const char* ExtendedDataSubtypeName(long code) {
  return LookUp(kExtendedDataSubtypes, code, "UnknownExtendedDataSubtype");
}

const char* CommandDestinationName(long code) {
  return LookUp(kCommandDestinations, code, "UnknownCommandDestination");
}

const char* CommandFamilyName(long code) { return LookUp(kCommandFamilies, code, "UnknownCommandFamily"); }

}  // namespace QVT
