// One headset: its serial link, what it has reported about itself, its
// sources, montage and processing cascade, its buffers and its threads.
//
// Headset is one large class on purpose; its methods are defined in the
// folder of the subsystem that owns them:
//   src/protocol/  block reading, command transmission, responses, alarms
//   src/model/     naming, montage, cascade, calibration memory
//   src/core/      lifecycle, sample processing, buffering, reports
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "model/Channel.h"
#include "model/ProcessingStage.h"
#include "model/RingBuffer.h"
#include "model/Source.h"
#include "model/SourceID.h"
#include "protocol/Command.h"
#include "protocol/WireRecords.h"
#include "serial/SerialConnection.h"
#include "util/Clock.h"
#include "util/Console.h"

namespace QVT {

class Headset {
 public:
  // The longest block the headset may send.
  static constexpr std::size_t kMaxBlockLength = 1024;
  static constexpr std::size_t kAlarmQueueLimit = 1000;
  static constexpr std::size_t kCalibrationMemorySize = 128;
  static constexpr int kCalibrationPages = 8;

  // Connects to port at once, unless port is "deferred".
  explicit Headset(const std::string& port);
  ~Headset();
  Headset(const Headset&) = delete;
  Headset& operator=(const Headset&) = delete;

  // ---- lifecycle (src/core/HeadsetLifecycle.cpp) ----------------------------
  void Init();
  void CleanUp();
  // Opens port ("DEFAULT" or "" take the QVTSerialPort variable).
  void Connect(const std::string& port, bool initialize);

  // Attaches the headset's own simulated input queue in place of a device,
  // so that bytes given to FeedFakeData are read as if they came from the
  // link. Used by tests, fuzzers and benchmarks.
  void SimulateInput();

  // ---- messages (src/core/HeadsetMessages.cpp) --------------------------------
  // True when a message of this level would reach the callback; callers test
  // it before composing a text, so quiet headsets compose nothing.
  bool WouldIssue(int level) const { return messageCallback != nullptr && verbosity >= level; }
  // Delivers RelativeTimeStamp(-1) + ":  " + text at level when deliverable.
  // A non-negative alarmCode marks a headset alarm: the text is prefixed with
  // "QVT headset issued alarm: " and the code is queued even when the
  // message is not delivered.
  void IssueMessage(const std::string& text, int level, int alarmCode = -1);

  // ---- reports (src/core/HeadsetReports.cpp) ----------------------------------
  // Seconds since the link opened (t < 0 means now), "%6.3f"; "---" before.
  std::string RelativeTimeStamp(double t) const;

  // ---- block reading (src/protocol/HeadsetBlocks.cpp) -------------------------
  bool TryToReadBlock();
  int ReadBlock();
  bool Resynchronize();
  unsigned DecodePacket(PacketHeaderStruct* packet, double blockTime);
  void FeedFakeData(const void* bytes, unsigned long count);
  std::string NullTerminatedString(const void* bytes, std::size_t size) const;

  // ---- command transmission (src/protocol/HeadsetSend.cpp) --------------------
  bool Send(Command& command, double timeout, int attempts, double writeLimit);
  // Gives the command the next command ID (never 95) and signs it.
  void Sign(Command& command);
  void ForgetPending(int id, bool final, bool refused);

  // ---- the named commands (src/protocol/HeadsetCommands.cpp) ------------------
  bool QueryDeviceID();
  bool QuerySerialNumberAndSensorCount();
  bool QueryFirmwareRevisions();
  bool QuerySensorInfo();
  bool WriteCalibrationMemoryPage(unsigned page, const std::uint8_t* data);
  bool WriteCalibrationMemory(unsigned first);
  bool QueryAcquisitionSettings();
  bool ConfigureAcquisitionSettings(unsigned short a, unsigned short b);
  bool QueryDataAcquisitionMode();
  bool StopDataAcquisition();
  bool StartDataAcquisition();
  bool StartBatteryMonitor();
  bool QueryImpedanceDriverMode();
  bool StopImpedanceDriver();
  bool StartImpedanceDriver();
  bool QueryAnalogResetMode();
  bool ReleaseAnalogReset();
  bool StartAnalogReset(bool wait);
  bool LockAnalogReset();
  bool ChangeLEDs(unsigned short pattern);
  bool QueryAccelerometerRate();
  void SetAccelerometerRate(unsigned short rate);
  bool ReadClock();
  bool SetClock();
  bool Shutdown();
  bool SelfTest();
  bool Echo(const std::string& text, double timeout, int attempts);
  void KillDataStream(bool wait);
  bool VerifyConnection();

  // ---- response and alarm processing (src/protocol/HeadsetResponses.cpp,
  //      src/protocol/HeadsetAlarms.cpp) -------------------------------------
  void ProcessResponse(ResponsePacketStruct& packet, double blockTime, double packetTime);
  void ProcessAlarm(AlarmPacketStruct& packet, double blockTime, double packetTime);

  // ---- sample processing (src/core/HeadsetSamples.cpp) -------------------------
  void ProcessData(DataPacketStruct& packet, double blockTime, double packetTime);
  void ProcessExtendedData(ExtendedDataHeaderStruct& header, double blockTime, double packetTime);

  // ---- buffering controller and batches (src/core/HeadsetBuffering.cpp) --------
  // Empties the serial input for at most `seconds`; the bytes discarded.
  unsigned long FlushData(double seconds);

  // ---- threads (src/core/HeadsetThreads.cpp) -----------------------------------

  // ---- naming, montage and processing cascade (src/model/) --------------------
  // Source naming (HeadsetNaming.cpp). Every text that names a source goes
  // through MatchSource: a name, then an alias, or a number from 1 (also
  // written "ch3" or "SRC03").
  Source* MatchSource(SourceID::Code code) const;
  Source* MatchSource(std::string name, bool mustMatch) const;
  bool RenameSource(const std::string& oldName, const std::string& newName);
  // "10-10"/"1010" or "10-20"/"1020": renames the temporal and parietal sources.
  void UseNamingScheme(const std::string& scheme);
  bool AddSourceAliases(const std::string& list);
  // Names of the sources that pass the SourceNameFilter bits, blank-separated.
  std::string SourceNames(unsigned short flags) const;

  // The montage (HeadsetMontage.cpp). A specification such as "Fz-Cz" or
  // "A1/2+A2/2"; a lone EEG electrode is re-referenced to the default
  // reference.
  std::unique_ptr<Channel> ConstructChannel(std::string specification, bool autoSwap) const;
  void AddChannelToMontage(std::unique_ptr<Channel> channel);  // null is ignored
  void AddChannelToMontage(Source* source);
  void AddChannelToMontage(const std::string& specification, bool autoSwap);
  void ChooseChannels(const std::string& channels, const std::string& reference, bool autoSwap);
  void SetDefaultReference(const std::string& reference, bool autoSwap);
  // Linked ears, else mastoids; the reference text used, or "" when none fits.
  std::string SetTraditionalReference(bool autoSwap);
  std::string MontageString(bool full) const;
  Channel* GetChannelByName(const std::string& name, bool mustMatch) const;
  Source* GetSourceByIndex(unsigned int index, bool allSources) const;
  Channel* GetChannelByIndex(unsigned int index) const;
  std::vector<Channel*> MontageChannels() const;
  std::string FactoryReferenceDescription() const;
  // The default reference, or the factory reference while none is set.
  std::string ReferenceDescription() const;
  // Slots of a new montage channel's buffer: channelBufferLength, at least 1.
  unsigned long MontageBufferLength() const;
  // Drops the cascade and the montage; the default reference stays.
  void ForgetMontage();
  // Drops the montage, the default reference and every source.
  void ForgetSources();

  // The processing cascade (HeadsetCascade.cpp).
  ProcessingStage* AddProcessingStage(const std::string& name, ProcessingStage::Callback callback,
                                      void* paramData, ProcessingStage* input);
  ProcessingStage* MatchProcessingStage(const std::string& name, bool mustExist = true) const;
  ProcessingStage* GetProcessingStageByIndex(unsigned int index) const;
  void ForgetCascade();

  // ---- calibration memory (src/model/) -----------------------------------------
  // Rebuilds the sources from the calibration image (after copying the 128
  // bytes at image into it, when image is another buffer) and forgets the set
  // of received pages. Drops the montage with the old sources.
  void InterpretCalibrationMemory(const void* image);
  // Records a new factory reference (common-mode follower) position in the
  // headset's page 7 and reinterprets; code 255 with version -1 restores the
  // unprogrammed state.
  void FlashNewCMFLocation(SourceID::Code code, signed char layoutVersion);
  // format: "DEC", "HEX" or "BIN", any case, surrounding blanks ignored.
  void DumpCalibrationMemoryToFile(const std::string& fileName, const std::string& format) const;
  // An empty format reads the header line for it. Loads and interprets the
  // image; the headset's own memory is not written. On failure nothing
  // changes.
  void ReadCalibrationMemoryFromFile(const std::string& fileName, const std::string& format);
  // Slots of every source's moving averages: samplingRate * impedanceSeconds,
  // rounded; 0 while the rate is unknown.
  unsigned long ImpedanceAveragingLength() const;

  // ---- state ------------------------------------------------------------------
  // Messages.
  MessageCallback messageCallback = Console;
  int verbosity = 2;

  // The link.
  SerialConnection serial;
  SerialConnection::ByteQueue simulatedInput;
  std::mutex sendLock;  // one command exchange at a time; taken before readLock
  std::mutex readLock;  // the link itself: block reading, writes, fed bytes
  std::atomic<bool> linkLost{false};
  std::atomic<double> lastDataTime{0.0};

  // Block reading. The buffer has room behind the longest block so that a
  // packet whose length byte reaches past the block is still read in bounds.
  std::array<std::uint8_t, kMaxBlockLength + 256> blockBuffer{};
  int expectedBlockNumber = -1;
  int expectedSequenceNumber = -1;
  bool resynchronizationNeeded = false;

  // Command transmission.
  std::string commandPrefix;
  std::atomic<Command*> pendingCommand{nullptr};
  int nextCommandID = 0;

  // What the headset reported; -1, -1.0 and "???" while unknown.
  std::int32_t serialNumber = -1;
  std::int32_t sensorCount = -1;
  std::int32_t filterMode = -1;
  std::int32_t dataAcquisitionMode = -1;
  std::int32_t impedanceDriverMode = -1;
  std::int32_t analogResetMode = -1;
  double samplingRate = -1.0;
  double accelerometerRate = -1.0;
  std::string hardwareModel = "???";
  std::string hardwareRevision = "???";
  std::string firmwareRevisionMaster = "???";
  std::string firmwareRevisionSlave = "???";
  std::map<int, int> firmwareSubRevisionMaster;
  std::map<int, int> firmwareSubRevisionSlave;
  bool echoReceived = false;

  // Clocks: the computer's at Initialize, the headset's as read back and as
  // last set, the one each block carries, and the one at the last battery
  // reading.
  Clock computerClock;
  Clock headsetClockQueried;
  Clock headsetClockSet;
  Clock blockClock;
  Clock batteryClock;

  // Alarms.
  double batteryLevel1 = -1.0;
  double batteryLevel2 = -1.0;
  bool connectionCreated = false;
  std::deque<std::int32_t> alarmQueue;

  // ---- state: sources, naming, montage, cascade (src/model/) ----
  // The sources in calibration slot order, then the host-made ones; their
  // numbering from 1 is what MatchSource accepts.
  std::vector<std::unique_ptr<Source>> sources;
  // The accepted naming scheme text, as passed to UseNamingScheme.
  std::string namingScheme;
  // Set when calibration memory is interpreted.
  SourceID::Code factoryReferenceCode = SourceID::Pz;
  std::string factoryReferenceName = "Pz";
  // A channel specification; empty means the factory reference.
  std::string defaultReference;
  std::vector<std::unique_ptr<Channel>> montage;
  std::vector<Source*> montageSources;  // each source of the montage once, in order of first use
  // The list of the last successful ChooseChannels, or one chosen before any
  // source existed.
  std::string chosenChannels;
  // Buffer slots for new montage channels; the buffering controller sets it
  // from the sampling rate. 0 until then (new channels still get one slot).
  unsigned long channelBufferLength = 0;
  std::vector<std::unique_ptr<ProcessingStage>> cascade;

  // ---- state: calibration memory (src/model/) ----
  // Calibration memory as read page by page.
  std::array<std::uint8_t, kCalibrationMemorySize> calibrationImage{};
  std::set<int> calibrationPagesReceived;
  // Byte 127 of the image at the last interpretation (-1 when unprogrammed).
  int calibrationLayoutVersion = -1;
  // Slots with an electrode fitted (slot byte 1 to 254) at the last
  // interpretation.
  int presentSlotCount = 0;
  // Seconds of signal that impedance and DC offset estimates average over
  // (the buffering controller sets it).
  double impedanceSeconds = 1.0;

  // The trigger delay line and the held accelerometer samples (T, X, Y, Z).
  RingBuffer triggerBuffer;
  std::array<RingBuffer, 4> accelerometerQueue;

  // Packets seen per species handler, until the sample path takes them over.
  std::uint64_t dataPacketsReceived = 0;
  std::uint64_t extendedDataPacketsReceived = 0;

  // ---- state: sample processing (src/core/) ----

  // ---- state: buffering controller (src/core/) ----

  // ---- state: lifecycle and threads (src/core/) ----
};

}  // namespace QVT
