#include "protocol/Alarms.h"

#include <iomanip>
#include <sstream>

#include "protocol/WireRecords.h"

namespace QVT {
namespace {

constexpr AlarmDescription kAlarms[] = {
    {513, "SystemStarted", "Unit system started"},
    {514, "PowerDown", "Unit powering down.  Good night"},
    {515, "UnassignedInterrupt", "Unassigned interrupt detected. Interrupt vector [%d] disabled:"},
    {516, "MissingInterrupt", "Missing Interrupt Function for vector [0x%x]"},
    {517, "FirmwareProtection", "Firmware protection code executed in module %d line %d."},
    {518, "ClockFaultMain", "Main Clock Oscillator Fault detected"},
    {519, "ClockFault32kHz", "32 KHz Clock Oscillator Fault detected"},
    {520, "ClockFault12kHz", "12 KHz internal VClock Oscillator Fault detected"},
    {521, "ClockRateMismatch", "ACLK clock rate vis Main Clock rate mis-match"},
    {522, "CommandError", "Unable to execute command 0x%02x with parameter 0x%02x, due to error code 0x%02x"},
    {523, "LowBattery", "Battery voltage has dropped past warning level (level: %d) (ADC counts:%d)"},
    {524, "HighBattery", "Battery voltage too high to monitor: battery 1 = %d%%, battery 2 = %d%%"},
    {525, "SlowUSB", "Slow USB plug detected"},
    {526, "FastUSB", "Fast USB plug detected. Analog power disabled"},
    {527, "BatteryLevel", "Battery voltage: battery 1 = %d%%, battery 2 = %d%%; counts: %d, %d"},
    {528, "ButtonPress", "Button [%d] pressed"},
    {529, "DAQStateChange", "Data Acquisition system state change to [state %d ][rate=%d]"},
    {530, "SyncLoss427",
     "427 sync loss, Reinitializing  DAQ subsystem (pending seq#%d)(incoming #%d) (chip "
     "#[0..3]%d)(List:0x%x)"},
    {531, "BlockOversize427", "427: Block Size > 16 (Oversize error) in move memory block code"},
    {532, "RevAnswerTooSmall427", "427 answer to Rev? undersized (%d)"},
    {533, "CfgAnswerTooSmall427", "427 answer to that configuration query undersized (%d)"},
    {534, "BadPacket427", "Can not parse 427 packet. bad chip number=%d"},
    {535, "EXTSyncError427", "427 EXT sync err, working #%d, packet in #%d, chip #%d, list:0x%x"},
    {536, "STDSyncError427", "427 STD sync err, working #%d, packet in #%d, chip #%d "},
    {537, "EXTDataOOP427", "427 EXT data() out of place data packet, (pending #%d), (chip #%d)"},
    {538, "STDDataOOP427", "427 STD data() out of place data packet, (pending #%d), (chip #%d)"},
    {539, "Reset427", "427 Reset detected for (chip #=%d) (parameters=0x%x)"},
    {540, "CommandError427", "427 interface command error detected for (chip#%d) (parameters:0x%x)"},
    {541, "SPIError", "SPI error detected. Resetting internal SPI configuration"},
    {542, "EOCTimeout427", "427 EOC timeout error detected"},
    {543, "WakeupFailure427", "427: Wakeup test failure for 427 chip list [0x%x]"},
    {544, "SelfTestTimeout427", "427: time out list code [0x%x] during self test"},
    {545, "OverrunInMasterFIFO", "Master Data FIFO overrun detected.  Data loss of [seq #%d] and later"},
    {546, "OverrunInSlaveFIFO",
     "Slave Data FIFO (of master) overrun detected.  Data loss of [seq #%d] and later"},
    {547, "BufferResync",
     "Data buffers resynchronized after skipping [%d] master records and [%d] Slave records"},
    {548, "SDCardAbsent", "SD Card not detected"},
    {549, "SDCardUnformatted", "SD Card needs formatting"},
    {550, "SDCardLacksConfig", "Velmar Config file not found on the SD Card"},
    {551, "SDCardFull", "SD Card is full"},
    {552, "SDCardError", "SD Card Error during [%d]. Error Codes [0x%x][0x%x]"},
    {553, "RTCLostOscillator", "RTC reports it lost its oscillator since last access"},
    {554, "RTCMismatch", "RTC bad.  Set time != Read time"},
    {555, "SPIFailedSelfTest", "SPI Ram chip failed Self test"},
    {556, "SlaveCommBadCount", "Slave Comm error: byte count mismatch- expected [%d] <> received [%d]"},
    {557, "SlaveCommCheckFailed", "Slave Comm error: consistency check failed"},
    {558, "PCCommReset", "PC comm reset - last command ignored"},
    {559, "HoldOffDelay", "PC Rx Comm Reset due to hold off delay - last command ignored"},
    {560, "PacketSizeError", "PC receive buffer has been reset due to packet size error: %d"},
    {561, "CheckFailed", "PC receive buffer has been reset due to packet consistency failure"},
    {562, "MissingTxData", "Comm Mon detected missing Tx data. Expected[%d] <> got[%d] blk sequence."},
    {563, "ConnectionCreated", "BlueTooth connection created"},
    {1537, "Slave_SystemStarted", "Slave subsystem started"},
    {1538, "Slave_UnassignedInterrupt", "Unassigned interrupt detected. Interrupt vector [%d] disabled"},
    {1539, "Slave_MissingInterrupt", "Missing Interrupt Function for vector [0x%x]"},
    {1540, "Slave_PowerDown", "xxx Slave powering down.  Good night"},
    {1541, "Slave_FirmwareProtection", "Firmware protection code executed in module %d line %d"},
    {1542, "Slave_CommandError", "Unable to execute [command= 0x%x],[parameter 0x%x], do to [error code %d]"},
    {1543, "Slave_ClockFaultMain", "Main Clock Oscillator Fault detected"},
    {1544, "Slave_ClockFault32kHz", "32KHz Clock Oscillator Fault detected"},
    {1545, "Slave_ClockRateMismatch", "ACLK clock rate vis Main Clock rate mis-match"},
    {1546, "Slave_ClockFault12kHz", "12 KHz internal VClock Oscillator Fault detected"},
    {1547, "Slave_CalibrationTimeout",
     "DAC automatic calibration timeout error [1st DAC cntr 0x%x],[2nd Dac cntr 0x%x]"},
    {1548, "Slave_BlockOversize427", "427: Block Size > 16 (Oversize error) in move memory block code"},
    {1549, "Slave_RevAnswerTooSmall427", "427: answer to Rev? undersized (%d)"},
    {1550, "Slave_CfgAnswerTooSmall427", "427: answer to configuration query undersized (%d)"},
    {1551, "Slave_BadPacket427", "Can not parse 427 packet. bad chip number=%d"},
    {1552, "Slave_EXTSyncError427", "427: EXT sync err, working #%d, packet in #%d, chip #%d, list:0x%x"},
    {1553, "Slave_STDSyncError427", "427: STD sync err, working #%d, packet in #%d, chip #%d "},
    {1554, "Slave_EXTDataOOP427", "427: EXT data() out of place data packet, (pending #%d), (chip #%d)"},
    {1555, "Slave_STDDataOOP427", "427: STD data() out of place data packet, (pending #%d), (chip #%d)"},
    {1556, "Slave_Reset427", "427: Reset detected for (chip #%d), (parameters=0x%x)"},
    {1557, "Slave_CommandError427",
     "427: interface command error detected for (chip #%d), (parameters:0x%x)"},
    {1558, "Slave_SyncLoss427",
     "427: sync loss, Reinitializing  DAQ subsystem (pending seq#%d),(incoming #%d), (chip "
     "#[0..3]%d),(List:0x%x)"},
    {1559, "Slave_SPIError", "SPI error detected. Resetting internal SPI configuration"},
    {1560, "Slave_EOCTimeout427", "427: EOC timeout error detected"},
    {1561, "Slave_WakeupFailure427", "427: Wakeup test failure for 427 chip list [0x%x]"},
    {1562, "Slave_SelfTestTimeout427", "427: time out list code [0x%x] during self test"},
    {1563, "Slave_OverrunInFIFO", "Data FIFO overrun detected.  Data loss after [seq #%d]"},
    {1564, "Slave_DAQStateChange", "Data Acquisition system state change to state [0x%d]"},
    {1565, "Slave_UnexpectedTrigger", "Trigger signal detected on pins [0x%x] while not in DAQ mode"},
    {1566, "Slave_InputTooBig",
     "Input Packet too big. Got [%d] bytes, expected [%d] bytes. limit is [%d] bytes"},
    {1567, "Slave_OutputTooBig", "Output packet too big. Was [%d] bytes of type [%d]. limit is [%d] bytes"},
};

const AlarmDescription* FindAlarm(long code) {
  for (const AlarmDescription& alarm : kAlarms)
    if (alarm.code == code) return &alarm;
  return nullptr;
}

constexpr long kUnknownMasterAlarm = 512;
constexpr long kUnknownSlaveAlarm = 1536;

}  // namespace

std::span<const AlarmDescription> AlarmTable() { return kAlarms; }

const char* AlarmName(long code) {
  if (const AlarmDescription* alarm = FindAlarm(code)) return alarm->name;
  return code == kUnknownSlaveAlarm ? "Slave_UnknownAlarm" : "UnknownAlarm";
}

const char* AlarmMessage(long code) {
  if (const AlarmDescription* alarm = FindAlarm(code)) return alarm->messageTemplate;
  if (code == kUnknownMasterAlarm) return "Unknown Alarm Code = %d";
  if (code == kUnknownSlaveAlarm) return "Unknown Alarm Code =[%d]";
  return "UnknownAlarm";
}

std::string FormatAlarmMessage(const std::string& templ, const std::uint8_t* parameters, int count,
                               int width) {
  std::ostringstream out;
  int next = 0;
  auto writeNextParameter = [&] {
    unsigned value = 0;
    if (next < count) {
      const std::uint8_t* p = parameters + static_cast<std::ptrdiff_t>(next) * width;
      value = width == 2 ? ReadU16LE(p) : *p;
    }
    ++next;
    out << value;
  };
  bool inConversion = false;
  for (char c : templ) {
    if (!inConversion) {
      if (c == '%')
        inConversion = true;
      else
        out << c;
      continue;
    }
    switch (c) {
      case '%':
        out << '%';
        inConversion = false;
        break;
      case 'd':
        writeNextParameter();
        inConversion = false;
        break;
      case 'x':
        out << std::hex;
        writeNextParameter();
        inConversion = false;
        break;
      case 'X':
        out << std::hex << std::uppercase;
        writeNextParameter();
        inConversion = false;
        break;
      case '0':
      case ' ':
        out << std::setfill(c);
        break;
      default:
        if (c >= '1' && c <= '9') out << std::setw(c - '0');
        break;  // anything else is skipped and the conversion goes on
    }
  }
  return out.str();
}

}  // namespace QVT
