// Construction, reset, connection, the connect handshake, and clean-up of a
// headset.
#include <ctime>
#include <string>

#include "core/Headset.h"
#include "core/SanityCheck.h"
#include "util/Text.h"
#include "util/Timing.h"

namespace QVT {

namespace {

constexpr int kGreetingAttempts = 10;
constexpr double kGreetingWait = 2.0;
constexpr double kGreetingPoll = 0.01;
constexpr double kReplyTimeout = 0.513;
constexpr int kAttempts = 20;
constexpr double kBatterySettling = 2.0;
constexpr int kDrainPeriods = 5;
constexpr double kDrainPeriod = 0.1;
constexpr int kStreaming = 1;

}  // namespace

Headset::Headset(const std::string& port) {
  // Fixes the process-wide time origin before any thread of this headset can
  // ask for it.
  PrecisionTime();
  try {
    Init();
    if (port != "deferred") Connect(port, true);
  } catch (...) {
    // The destructor does not run for a half-built object: stop what may
    // already run and release the link before the exception passes on.
    StopAndWaitFor(dataWatchdog);
    StopAndWaitFor(acquisitionThread);
    triggerBuffer.Clear();
    for (RingBuffer& buffer : accelerometerQueue) buffer.Clear();
    serial.CleanUp();
    throw;
  }
}

Headset::~Headset() {
  try {
    CleanUp();
  } catch (const std::string& message) {
    if (WouldIssue(1)) IssueMessage("QVT cleanup error during Delete (link likely dead): " + message, 1);
  } catch (...) {
    if (WouldIssue(1)) IssueMessage("QVT cleanup error during Delete: unknown exception", 1);
  }
  messageCallback.Set(nullptr);
  sampleCallback.Set(nullptr);
  StopAndWaitFor(dataWatchdog);
  StopAndWaitFor(acquisitionThread);
  triggerBuffer.Clear();
  for (RingBuffer& buffer : accelerometerQueue) buffer.Clear();
  ForgetSources();
  serial.CleanUp();
}

void Headset::Init() {
  SanityCheck();
  CleanUp();
  serialNumber = sensorCount = filterMode = dataAcquisitionMode = impedanceDriverMode = analogResetMode = -1;
  samplingRate = accelerometerRate = -1.0;
  {
    std::lock_guard<std::mutex> lock(reportLock);
    hardwareModel = hardwareRevision = firmwareRevisionMaster = firmwareRevisionSlave = "???";
    firmwareSubRevisionMaster.clear();
    firmwareSubRevisionSlave.clear();
    batteryLevel1 = batteryLevel2 = -1.0;
    computerClock = headsetClockQueried = headsetClockSet = blockClock = batteryClock = Clock();
  }
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
  MarkLinkOpened();
}

void Headset::CleanUp() {
  StopAndWaitFor(dataWatchdog);
  // The acquisition thread reads the link and the sources that go below.
  StopAndWaitFor(acquisitionThread);
  if (serial.SimulatedInput() != nullptr)
    serial.Close();
  else
    StopStreamingAndClose();
  ForgetSources();
  ClearAlarms();
  triggerBuffer.Clear();
  for (RingBuffer& buffer : accelerometerQueue) buffer.Clear();
}

void Headset::Disconnect() {
  RefuseInsideLinkWork("disconnect");
  StopAndWaitFor(dataWatchdog);
  StopAndWaitFor(acquisitionThread);
  if (serial.SimulatedInput() != nullptr) return;
  StopStreamingAndClose();
}

void Headset::StopStreamingAndClose() {
  if (!serial.IsOpen()) return;
  // Only a stream the headset reported is stopped: a headset never asked
  // (mode -1) is not sent a command that may go unanswered.
  if (DataAcquisitionModeNow() == kStreaming && !linkLost) {
    StopDataAcquisition();
    for (int period = 0; period < kDrainPeriods && DataAcquisitionModeNow() == kStreaming; ++period)
      ReadBlocksFor(kDrainPeriod);
  }
  serial.Close();
}

int Headset::DataAcquisitionModeNow() { return dataAcquisitionMode.load(); }

void Headset::Connect(const std::string& requestedPort, bool initialize) {
  RefuseInsideLinkWork("connect");
  // Both threads read the link that is about to be replaced.
  StopAndWaitFor(dataWatchdog);
  StopAndWaitFor(acquisitionThread);
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
  MarkLinkOpened();
  lastDataTime = serial.Elapsed();
  if (watchdogInterval > 0.0) dataWatchdog.Start();
  if (initialize) Initialize();
}

void Headset::Initialize() {
  const unsigned long flushed = FlushData(2.0);
  if (WouldIssue(3)) IssueMessage("Flushed " + std::to_string(flushed) + " bytes", 3);

  // Kept for the information report. Taken through a clock record, which
  // drops the fraction of a second that the report does not show anyway.
  long seconds = 0;
  double fraction = 0.0;
  Clock computerNow;
  computerNow.AskTheComputer(seconds, fraction);
  const RealTimeClockStruct record = LocalClockRecord(seconds);
  computerNow.Set(&record);
  {
    std::lock_guard<std::mutex> lock(reportLock);
    computerClock = computerNow;
  }

  // The watchdog may be reading replies too, so the flag is looked at under
  // the read lock.
  const auto greeted = [this] {
    std::lock_guard<OwnedMutex> lock(readLock);
    return echoReceived;
  };
  {
    std::lock_guard<OwnedMutex> lock(readLock);
    echoReceived = false;
  }
  for (int attempt = 0; attempt < kGreetingAttempts && !greeted(); ++attempt) {
    Echo("QVT Ready", 0.0, kAttempts);
    const double deadline = serial.Elapsed() + kGreetingWait;
    while (serial.Elapsed() < deadline) {
      TryToReadBlock();
      if (greeted()) break;
      Sleep(kGreetingPoll);
    }
  }
  if (!greeted()) Echo("HELLO", kReplyTimeout, kAttempts);

  KillDataStream(true);
  QueryDeviceID();
  QuerySerialNumberAndSensorCount();
  QueryFirmwareRevisions();
  SetClock();
  StartBatteryMonitor();
  Sleep(kBatterySettling);
  StopImpedanceDriver();
  ReleaseAnalogReset();
  QuerySensorInfo();
  QueryImpedanceDriverMode();
  QueryAnalogResetMode();
  ReadClock();
  QueryAccelerometerRate();

  ConfigureBufferingController(0.25, 0.998, 0.0, 0.0, 0.0);
  const double batch = samplingRate * 0.06 + 0.5;
  ConfigureBatch(batch > 0.0 ? static_cast<unsigned int>(batch) : 0u, 0.05);

  ChooseChannels("FACTORY", "FACTORY", false);
  if (SetTraditionalReference(true).empty() && WouldIssue(1))
    IssueMessage("failed to set ear/mastoid reference: signals will be referenced to factory reference " +
                     FactoryReferenceDescription(),
                 1);
}

void Headset::SetWatchdogInterval(double seconds) {
  RefuseInsideLinkWork("change the watchdog interval");
  // Stopped before the interval changes, so that a running check sees one
  // interval throughout.
  StopAndWaitFor(dataWatchdog);
  watchdogInterval = seconds;
  if ((serial.IsOpen() || serial.SimulatedInput() != nullptr) && seconds > 0.0) dataWatchdog.Start();
}

bool Headset::IsConnected() {
  if (!serial.IsOpen() && serial.SimulatedInput() == nullptr) return false;
  if (linkLost) return false;
  if (serial.Elapsed() - lastDataTime < 2.0) return true;
  // Inside a callback of the link's own work an echo could not be answered;
  // the link is busy, which is answer enough.
  if (InsideLinkWork()) return true;
  return VerifyConnection();
}

void Headset::SimulateInput() {
  serial.AttachSimulatedInput(&simulatedInput);
  serial.Open("simulated");
}

}  // namespace QVT
