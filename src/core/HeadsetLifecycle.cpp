// Construction, reset, connection and clean-up of a headset.
#include "core/Headset.h"
#include "core/SanityCheck.h"
#include "util/Text.h"

namespace QVT {

Headset::Headset(const std::string& port) {
  Init();
  if (port != "deferred") Connect(port, true);
}

Headset::~Headset() {
  try {
    CleanUp();
  } catch (const std::string& message) {
    if (WouldIssue(1)) IssueMessage("QVT cleanup error during Delete (link likely dead): " + message, 1);
  } catch (...) {
    if (WouldIssue(1)) IssueMessage("QVT cleanup error during Delete: unknown exception", 1);
  }
  messageCallback = nullptr;
  triggerBuffer.Clear();
  for (RingBuffer& buffer : accelerometerQueue) buffer.Clear();
  serial.CleanUp();
}

void Headset::Init() {
  SanityCheck();
  CleanUp();
  serialNumber = sensorCount = filterMode = dataAcquisitionMode = impedanceDriverMode = analogResetMode = -1;
  samplingRate = accelerometerRate = -1.0;
  hardwareModel = hardwareRevision = firmwareRevisionMaster = firmwareRevisionSlave = "???";
  firmwareSubRevisionMaster.clear();
  firmwareSubRevisionSlave.clear();
  batteryLevel1 = batteryLevel2 = -1.0;
  computerClock = headsetClockQueried = headsetClockSet = blockClock = batteryClock = Clock();
  connectionCreated = false;
  echoReceived = false;
  calibrationImage.fill(0);
  calibrationPagesReceived.clear();
  namingScheme.clear();
  factoryReferenceCode = SourceID::Pz;
  factoryReferenceName = SourceIDName(SourceID::Pz);
  expectedBlockNumber = expectedSequenceNumber = -1;
  resynchronizationNeeded = false;
  pendingCommand = nullptr;
  linkLost = false;
}

void Headset::CleanUp() {
  if (serial.SimulatedInput() != nullptr) {
    serial.Close();
  } else if (serial.IsOpen()) {
    serial.Close();
  }
  ForgetSources();
  alarmQueue.clear();
  triggerBuffer.Clear();
  for (RingBuffer& buffer : accelerometerQueue) buffer.Clear();
}

void Headset::Connect(const std::string& requestedPort, bool /*initialize*/) {
  serial.Close();
  std::string port = requestedPort;
  if (Upper(port) == "DEFAULT" || port.empty()) {
    port = DefaultPort();
    if (port.empty())
      throw std::string(
          "the serial port name must be given explicitly, because the QVTSerialPort environment variable is "
          "empty");
  }
  serial.Open(port + ":baud=921600 data=8 parity=N stop=1 dtr=on rts=on");
  if (WouldIssue(2)) IssueMessage("Connected to " + port, 2);
  linkLost = false;
  lastDataTime = serial.Elapsed();
}

void Headset::SimulateInput() {
  serial.AttachSimulatedInput(&simulatedInput);
  serial.Open("simulated");
}

}  // namespace QVT
