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
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "model/Channel.h"
#include "model/ProcessingStage.h"
#include "model/RingBuffer.h"
#include "model/Source.h"
#include "model/SourceID.h"
#include "protocol/Command.h"
#include "protocol/QueuedAlarm.h"
#include "protocol/WireRecords.h"
#include "serial/SerialConnection.h"
#include "util/CallbackSlot.h"
#include "util/Clock.h"
#include "util/Console.h"
#include "util/OwnedMutex.h"
#include "util/Thread.h"
#include "util/WakeSignal.h"

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
  // Opens port ("DEFAULT" or "" take the QVTSerialPort variable), starts the
  // watchdog when an interval is set, and runs the handshake if asked.
  void Connect(const std::string& port, bool initialize);
  // The connect handshake: greeting echoes, identity and settings queries,
  // calibration memory, buffering defaults, factory montage and the
  // ear/mastoid reference.
  void Initialize();
  // 0 or less: no watchdog. Restarts the watchdog on an open link.
  void SetWatchdogInterval(double seconds);
  // Open or simulated, not lost, and heard from within 2 s or answering an
  // echo now (which may take seconds).
  bool IsConnected();
  // Stops the watchdog and the stream and closes the link; sources, montage
  // and settings stay.
  void Disconnect();
  // The data acquisition mode as last reported, read under the read lock
  // because any thread that reads blocks may be writing it.
  int DataAcquisitionModeNow();
  // Stops a stream the headset reported, drains the replies to that, and
  // closes an open device.
  void StopStreamingAndClose();

  // ---- link state (src/core/HeadsetLinkState.cpp) -----------------------------
  enum class LinkState { Closed = 1, Connected = 2, Streaming = 3, Lost = 4 };
  // The link's state as last learned, without sending anything; since is the
  // link's elapsed seconds at which that state began (0.0 while closed).
  LinkState CurrentLinkState(double& since) const;
  // Sets linkLost and records when; true when the link was not lost before,
  // so that the caller reports the loss once.
  bool MarkLinkLost();
  // The link answered: not lost, and connected again from now if it was.
  void MarkLinkAnswering();
  // A link just opened: not lost, and every state begins at its time 0.
  void MarkLinkOpened();
  // Stores the data acquisition mode the headset reported, and when
  // streaming began or ended.
  void SetDataAcquisitionMode(int mode);

  // Attaches the headset's own simulated input queue in place of a device,
  // so that bytes given to FeedFakeData are read as if they came from the
  // link. Used by tests, fuzzers and benchmarks.
  void SimulateInput();

  // ---- messages (src/core/HeadsetMessages.cpp) --------------------------------
  // True when a message of this level would reach the callback; callers test
  // it before composing a text, so quiet headsets compose nothing.
  bool WouldIssue(int level) const {
    return messageCallback.IsSet() && verbosity.load(std::memory_order_relaxed) >= level;
  }
  // Delivers RelativeTimeStamp(-1) + ":  " + text at level when deliverable.
  // A headset alarm: the text is prefixed with "QVT headset issued alarm: "
  // and the alarm is queued even when the message is not delivered.
  void IssueMessage(const std::string& text, int level, const QueuedAlarm* alarm = nullptr);

  // ---- reports (src/core/HeadsetReports.cpp) ----------------------------------
  // Seconds since the link opened (t < 0 means now), "%6.3f"; "---" before.
  std::string RelativeTimeStamp(double t) const;
  // "[ first, second ]"; "[ -1, -1 ]" before the first battery reading.
  std::string BatteryLevel() const;
  // "master (k:v,...) + slave (k:v,...)".
  std::string FirmwareRevision() const;
  // Everything known about the headset, one "'Key' : value," line per entry
  // with the separators aligned, between "{" and "}".
  std::string InfoString() const;
  // The oldest queued alarm code (taken off the queue when remove), 0 when
  // none is queued. The queue has a lock of its own, never held while a
  // callback runs, so these may be called from anywhere, callbacks included.
  int GetAlarm(bool remove);
  // The oldest queued alarm into alarm (taken off the queue when remove);
  // false, with alarm untouched, when none is queued.
  bool TakeAlarm(QueuedAlarm& alarm, bool remove);
  std::size_t NumberOfAlarms();
  void ClearAlarms();
  // Reported texts and readings, copied under the report lock.
  std::string HardwareModel() const;
  std::string HardwareRevision() const;
  // Battery reading 1 or 2; 0.0 for any other number.
  double BatteryReading(int which) const;

  // ---- block reading (src/protocol/HeadsetBlocks.cpp) -------------------------
  // Reads, checks and decodes one block; false when none came. Wakes the
  // waits that sleep on waitSignal.
  bool TryToReadBlock();
  // The same under the read lock, without the wake-up.
  bool ReadNextBlock();
  int ReadBlock();
  // ReadBlock without the exception: a bad block returns -1 with its text in
  // frameError. A noisy link delivers bad blocks all the time, and a throw
  // per block cost more than reading the block.
  int ReadCheckedBlock(const char*& frameError);
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

  // ---- sample processing (src/core/HeadsetSamples.cpp,
  //      src/core/HeadsetAccelerometer.cpp) ----------------------------------
  // The client's per-sample hook, called last for every sample.
  using SampleCallback = void (*)(Headset* headset, double sampleTime, void* clientData);

  // One accelerometer reading: time in seconds, raw counts per axis, and the
  // rate of change against the reading before it.
  struct AccelerometerSample {
    double t = 0.0;
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    double jerk = 0.0;
    // Stores and returns the magnitude of the change per second against
    // previous; -1.0, with jerk left alone, when both share a time.
    double CalculateJerk(const AccelerometerSample& previous);
  };

  // Checks the length and counter of a data packet, then ProcessSample.
  // The packet time is the sample time; the block time is not used.
  void ProcessData(DataPacketStruct& packet, double blockTime, double packetTime);
  // One sample through every source, impedance estimate, montage channel
  // and processing stage, then the sample callback.
  void ProcessSample(DataPacketStruct& packet, double blockTime, double packetTime);
  // Queues the three readings of an accelerometer packet; reports others.
  void ProcessExtendedData(ExtendedDataHeaderStruct& header, double blockTime, double packetTime);
  void HandleAccelerometerSample(double t, double x, double y, double z);
  // Mean common-mode impedance over the referential EEG sources in use that
  // have a gain; 0 when there are none.
  double ImpedanceCMF() const;

  // ---- buffering controller and batches (src/core/HeadsetBuffering.cpp) --------
  // Seconds of signal the buffers hold until the client asks otherwise:
  // ReallocateBuffers gets these once the sampling rate is known. At 300 Hz
  // one second holds whole periods of both impedance carriers.
  static constexpr double kDefaultBufferSeconds = 10.0;
  static constexpr double kDefaultImpedanceSeconds = 1.0;

  // Both reset the batch count and rebase the controller at the nominal rate.
  void ConfigureBatch(unsigned int size, double delay);
  void ConfigureBufferingController(double interval, double smoothingWeight, double p, double i, double d);
  // Restarts the pacing clock from now; a non-zero sampleRate becomes the
  // estimate; full also restarts the controller's memory. Returns true.
  bool RebaseBufferingController(double sampleRate, bool full);
  // Blocks until the next batch of batchSize samples is due; the link's
  // elapsed seconds when it was released.
  double WaitForBatch();
  // Returns once at least n samples wait in every delivery channel.
  void WaitForSamples(unsigned long n);

  // How a bounded wait ended.
  enum class WaitOutcome { Ready = 1, TimedOut = 2, Woken = 3 };
  // When a wait gives up: a deadline on the precision clock (infinity for
  // none) and, for a wait that WakeWaiters ends, the wake count at its start.
  // A bounded wait also checks a link that has gone silent with an echo,
  // unless the watchdog does so already.
  struct WaitLimit {
    double deadline = std::numeric_limits<double>::infinity();
    bool wakeable = false;
    bool checksSilence = false;
    std::uint64_t wakeCount = 0;
  };
  // A wakeable wait of timeoutSeconds, without limit when negative; NaN is
  // refused.
  WaitLimit BoundedWait(double timeoutSeconds) const;
  // The two waits above, ending early as limit says (nothing of the batch is
  // spent then: the next call takes it up again). timestamp is set when
  // Ready.
  WaitOutcome WaitForBatch(const WaitLimit& limit, double& timestamp);
  WaitOutcome WaitForSamples(unsigned long n, const WaitLimit& limit);
  // True, with why, when the wait is to end now.
  bool WaitEnded(const WaitLimit& limit, WaitOutcome& why) const;
  // Sleeps for seconds, or less when the wait's deadline comes first.
  void PauseWithin(const WaitLimit& limit, double seconds) const;
  // While the acquisition thread reads the link: sleeps until waitSignal
  // has been told anything since its count was seen, for seconds at most,
  // or less when the wait's deadline comes first.
  void AwaitNews(const WaitLimit& limit, WakeSignal::Ticket seen, double seconds);
  // Until CheckSilentLink would ask for an echo; infinity for a wait that
  // does not check silence or a link that is not checked.
  double SecondsUntilSilenceCheck(const WaitLimit& limit) const;
  // For a wait that checks silence: a real link without a watchdog that has
  // carried nothing for a while is asked for an echo, which marks it lost
  // when unanswered.
  void CheckSilentLink(const WaitLimit& limit);
  // Every wakeable wait under way returns Woken. From any thread.
  void WakeWaiters() {
    wakeCount.fetch_add(1);
    waitSignal.Notify();
  }
  // The fewest unread samples, and the most lost ones, over the delivery
  // channels (the last stage's outputs, else the montage); 0 without any.
  unsigned long Buffered() const;
  unsigned long BufferOverflow() const;
  // Leaves n samples unread in the montage channels.
  void WasteSamples(unsigned long n);
  // Marks the impedance buffers of the sources in use and every stage output
  // as read, zeroing sums and overflow; the montage is reached only through
  // the "raw" stage that views it.
  void FlushBuffers();
  // Reallocates every source's averaging buffers and every montage channel's
  // buffer for the given seconds at the nominal rate, and keeps both
  // durations for the sources and channels built later.
  void ReallocateBuffers(double channelSeconds, double averagingSeconds);
  void ReallocateStageBuffers(ProcessingStage* stage, double seconds);
  // The channels batches are read from.
  std::vector<Channel*> DeliveryChannels() const;
  // Takes the same number of unread samples, min(maxSamples, the fewest
  // unread over the channels), from each channel into out, channel-major:
  // channel c's at out + c * maxSamples. No channels means every montage
  // channel. Channels must be the montage's or a stage's of this headset,
  // each once. *firstIndex (when not null) is the running index of the first
  // channel's first sample taken. Returns the number taken per channel.
  // (src/core/HeadsetChannelReads.cpp)
  std::size_t ReadChannels(std::span<Channel* const> channels, double* out, std::size_t maxSamples,
                           std::uint64_t* firstIndex);
  // True while a background acquisition thread reads the link; the waits
  // then sleep until it has read a block instead of reading blocks.
  // Defined with the threads (HeadsetThreads.cpp).
  bool BackgroundAcquisitionRunning() const;
  // Empties the serial input for at most `seconds`; the bytes discarded.
  unsigned long FlushData(double seconds);

  // ---- threads (src/core/HeadsetThreads.cpp) -----------------------------------
  // Reads blocks while the headset streams. It starts the stream when the
  // headset was not streaming, and then stops it again at its end.
  class AcquisitionThread : public Thread {
   public:
    explicit AcquisitionThread(Headset& owner) : headset(owner) {}
    ~AcquisitionThread() override { StopAndWait(); }
    int Run() override;

   private:
    Headset& headset;
  };

  // Once a second: after watchdogInterval seconds without data it verifies
  // the link with an echo, and ends once the link is lost.
  class DataWatchdog : public Thread {
   public:
    explicit DataWatchdog(Headset& owner) : headset(owner) {}
    ~DataWatchdog() override { StopAndWait(); }
    int Run() override;

   private:
    Headset& headset;
  };

  // Asks a thread to stop and waits (1 ms polls) while it runs. Refused from
  // inside a callback, where the wait could never end.
  void StopAndWaitFor(Thread& thread);
  // True on a thread that is inside the headset's link work: holding the
  // send or read lock (so a callback of the block reader or of a command
  // exchange is running), or one of the headset's own threads. Waiting for
  // the link or for a thread from there would wait for ever.
  bool InsideLinkWork() const;
  // Throws "Cannot <action> from inside a callback ..." when InsideLinkWork.
  void RefuseInsideLinkWork(const std::string& action) const;
  // For a client's change of what the acquisition thread walks for every
  // sample (montage, sources, cascade, buffers): refuses while the thread
  // runs, and waits for it to end once it has been asked to.
  void WaitOutAcquisition(const std::string& action);
  // Stops a running acquisition thread first, so starting also restarts.
  bool StartBackgroundAcquisition();
  // Only asks the thread to stop; returns at once.
  void StopBackgroundAcquisition();
  // Reads blocks for `seconds` on the link's clock (for ever when negative)
  // without starting acquisition.
  void Idle(double seconds);
  // Streams for `duration` seconds (while the headset streams when
  // negative), then reads the replies for lingerTime more seconds (none when
  // 0, for ever when negative).
  void Receive(double duration, double lingerTime);
  // Reads blocks until `seconds` have passed on the link's clock.
  void ReadBlocksFor(double seconds);

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
  // Slots of a new montage channel's buffer: bufferSeconds at the current
  // sampling rate, at least 1.
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
  // Samples in `seconds` at the current sampling rate, rounded; 0 while the
  // rate is unknown.
  unsigned long SlotsFor(double seconds) const;

  // ---- state ------------------------------------------------------------------
  // Messages. Both may be changed by the client while other threads issue
  // messages.
  CallbackSlot<MessageCallback> messageCallback{Console};
  std::atomic<int> verbosity{2};

  // The link.
  SerialConnection serial;
  SerialConnection::ByteQueue simulatedInput;
  // One command exchange at a time; taken before readLock.
  OwnedMutex sendLock{"Cannot send a command from inside a callback of a command exchange in progress."};
  // The link itself: block reading, writes, fed bytes.
  OwnedMutex readLock{"Cannot read the headset's link from inside a callback of a block being read."};
  std::atomic<bool> linkLost{false};
  std::atomic<double> lastDataTime{0.0};
  // Link seconds at which the link was judged lost, and at which it last
  // began or stopped streaming or answered again after a loss.
  std::atomic<double> linkLostTime{0.0};
  std::atomic<double> linkStateTime{0.0};

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
  // The numbers are atomics: whichever thread reads the reply writes them,
  // while the client may read them during background acquisition. The
  // texts, tables, battery readings and clocks below are guarded by
  // reportLock, which is held only to copy them.
  mutable std::mutex reportLock;
  std::atomic<std::int32_t> serialNumber{-1};
  std::atomic<std::int32_t> sensorCount{-1};
  std::atomic<std::int32_t> filterMode{-1};
  std::atomic<std::int32_t> dataAcquisitionMode{-1};
  std::atomic<std::int32_t> impedanceDriverMode{-1};
  std::atomic<std::int32_t> analogResetMode{-1};
  std::atomic<double> samplingRate{-1.0};
  std::atomic<double> accelerometerRate{-1.0};
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

  // Alarms. The battery readings are guarded by reportLock, the queue by
  // alarmLock.
  double batteryLevel1 = -1.0;
  double batteryLevel2 = -1.0;
  std::atomic<bool> connectionCreated{false};
  std::mutex alarmLock;
  std::deque<QueuedAlarm> alarmQueue;

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
  // Seconds of signal a new montage channel holds, as last chosen through
  // ReallocateBuffers; its length follows the sampling rate at the time the
  // channel is made.
  double bufferSeconds = kDefaultBufferSeconds;
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
  // Seconds of signal that impedance and DC offset estimates average over,
  // as last chosen through ReallocateBuffers.
  double impedanceSeconds = kDefaultImpedanceSeconds;

  // The trigger delay line and the held accelerometer samples (T, X, Y, Z).
  RingBuffer triggerBuffer;
  std::array<RingBuffer, 4> accelerometerQueue;

  // ---- state: sample processing (src/core/) ----
  // expectedSequenceNumber (block reading) is the packet counter expected
  // next; the sample path owns it, resynchronisation resets it.
  // The client's per-sample hook and the data handed back to it untouched.
  CallbackSlot<SampleCallback> sampleCallback;
  // The accelerometer reading the sources show, and the queued one that takes
  // over once a sample's time reaches its own.
  AccelerometerSample currentAccelerometer;
  AccelerometerSample nextAccelerometer;

  // ---- state: buffering controller (src/core/) ----
  std::uint32_t batchSize = 0;             // samples per batch
  std::uint64_t batchIndex = 0;            // batches released since the last configuration
  std::uint64_t rebaseBatchIndex = 0;      // batchIndex at the last rebase
  std::uint64_t lastUpdateBatchIndex = 0;  // batchIndex at the last controller update
  bool refilling = false;                  // an underflow was reported and its batch is not out yet
  double rebaseTime = 0.0;                 // precision time at the last rebase
  double targetDelay = 0.0;                // seconds meant to stay buffered after a batch
  double estimatedSampleRate = 0.0;        // the rate the pacing clock runs at
  double updateInterval = 0.0;             // seconds between controller updates
  double smoothing = 0.0;                  // weight of the previous smoothed delay
  double smoothedDelay = 0.0;              // smoothed seconds of buffered data
  double gainP = 0.0;
  double gainI = 0.0;
  double gainD = 0.0;
  double previousError = 0.0;
  // Controller updates since the last full rebase.
  double updateCount = 0.0;
  double integratedError = 0.0;
  // Seconds the pacing clock is off the nominal sample clock since the rebase.
  double driftCorrection = 0.0;

  // ---- state: waits (src/core/) ----
  // One wait for a batch at a time: the controller's state is its own.
  OwnedMutex batchLock{"Cannot wait for a batch from inside a callback of a wait for a batch."};
  // Grows with every WakeWaiters.
  std::atomic<std::uint64_t> wakeCount{0};
  // Told whenever something a wait looks at may have changed: a block read,
  // a wake-up, a lost link, the end of the acquisition thread. Waits sleep on
  // it while the acquisition thread reads the link for them.
  WakeSignal waitSignal;
  // True while the acquisition thread's loop reads the link (it tells
  // waitSignal when it leaves); outside it waits look for themselves.
  std::atomic<bool> acquisitionReading{false};

  // ---- state: lifecycle and threads (src/core/) ----
  // Seconds of silence before the watchdog verifies the link; 0 or less
  // means no watchdog.
  std::atomic<double> watchdogInterval{0.0};
  // Declared last so that they are destroyed first, while everything their
  // bodies touch still exists.
  AcquisitionThread acquisitionThread{*this};
  DataWatchdog dataWatchdog{*this};
};

}  // namespace QVT
