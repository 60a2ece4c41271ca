/*
 * qvt: host-side driver of a multi-channel EEG headset. C interface.
 *
 * Names
 *   The exported names, their arguments and the meaning of their results are
 *   fixed for compatibility: clients and language bindings look them up by
 *   name. What is added later comes as new functions.
 *
 * Units
 *   Signals are in microvolts (µV) for EEG sources and channels made of them;
 *   trigger sources read 0 or 1 (or the trigger byte), accelerometer sources
 *   raw counts. Impedances are in kilohms (kOhm), times and durations in
 *   seconds, rates in samples per second (Hz), battery readings in percent.
 *
 * Objects
 *   A client holds headsets (QVT_Headset_New, QVT_Headset_Delete). Everything
 *   else it is handed (channels, sources, processing stages) belongs to its
 *   headset and lives until the headset forgets it (a new montage, new
 *   calibration, QVT_Headset_Delete); the client never frees it.
 *
 * Errors
 *   No function of this interface lets a library error escape. When a call
 *   fails it records a message as the last error (QVT_Error), calls the error
 *   callback set with QVT_SetErrorCallback (with the message and level 1, on
 *   the calling thread), and returns its failure value: 0 for integers and
 *   flags, 0.0 for reals, NULL for pointers and strings, nothing for void.
 *   A NULL handle is such a failure: "NULL Headset pointer", "NULL Channel
 *   pointer", "NULL Source pointer" or "NULL ProcessingStage pointer".
 *   Success does not clear the last error: it stays until QVT_ClearError is
 *   called or a later failure replaces it. To test one call, clear the error
 *   first and look at QVT_Error afterwards. The text itself is a string of
 *   the ring below: read or copy it before 31 more strings are handed out.
 *   QVT_Headset_GetAlarmRecord, QVT_Headset_GetLinkState,
 *   QVT_Headset_ReadChannels, the bounded waits and QVT_Headset_WakeWaiters
 *   fail in the same way on anything else that goes wrong inside them (such
 *   as memory running out): "internal error: " and what went wrong. The
 *   other functions let such failures pass on as C++ exceptions.
 *
 * Strings
 *   Every string this interface returns, error messages included, lives in a
 *   process-wide ring of 32 slots owned by the library. A returned pointer
 *   stays valid for the next 31 string-returning calls; copy a text you want
 *   to keep. Never free it.
 *
 * Threads
 *   Samples are processed by whichever thread reads the headset's link: the
 *   background acquisition thread while it runs, otherwise the client's own
 *   thread inside QVT_Headset_WaitForBatch, QVT_Headset_WaitForSamples,
 *   QVT_Headset_Idle, QVT_Headset_Receive and every function that sends a
 *   command. Processing-stage functions and the sample callback run there.
 *   The message callback runs on any of the headset's threads (the client's,
 *   the acquisition thread, the link watchdog), at times on two at once.
 *
 *   While background acquisition runs, any thread of the client may wait for
 *   and read data (QVT_Headset_WaitForBatch, QVT_Headset_WaitForSamples,
 *   their bounded forms, QVT_Headset_ReadChannels, the buffered and
 *   overflowed sample counts, the reading functions of QVT_Channel_* and
 *   QVT_ProcessingStage_Read), wake waiting threads
 *   (QVT_Headset_WakeWaiters), ask for reported values and texts (the
 *   QVT_Headset_Get* functions that do not return objects, the link state
 *   among them), look at and clear alarms, call QVT_Headset_IsConnected,
 *   send commands (the
 *   Start, Stop and query functions, QVT_Headset_ChangeLEDs,
 *   QVT_Headset_SendBatteryQuery, QVT_Headset_ConfigureADC,
 *   QVT_Headset_SetAccelerometerRate), set the verbosity, the message
 *   callback and the sample callback, and call
 *   QVT_Headset_StopBackgroundAcquisition. Everything else waits until the
 *   thread has ended. QVT_Headset_StopBackgroundAcquisition only asks it to
 *   end: it finishes the block it is reading and, when it started the data
 *   stream, stops the stream first. QVT_Headset_Connect, _Disconnect and
 *   _Delete wait for it by themselves. So do the calls that change what it
 *   walks for every sample (the montage and its reference, source names and
 *   aliases, processing stages and their outputs, and the buffers:
 *   ReallocateBuffers, ReallocateStageBuffers, FlushBuffers) once it has
 *   been asked to end; before that they fail with an error beginning
 *   "Cannot" and change nothing. QVT_Source_SetName and QVT_Channel_SetName
 *   are not checked: call them only while the thread does not run.
 *
 *   Setting a callback is safe at any time and from any thread. Each
 *   delivery uses one callback with the client data set together with it;
 *   once QVT_Headset_SetMessageCallback or QVT_Headset_SetSampleCallback has
 *   returned, the previous callback is no longer running and is not called
 *   again, so what it used may be freed. Made from inside a callback, the
 *   change takes effect from the next delivery (the call cannot wait for
 *   itself).
 *
 *   Inside a message, sample or processing-stage callback a client may call
 *   everything listed above, with two groups of exceptions, which fail at
 *   once with an error beginning "Cannot" instead of waiting for ever for
 *   the thread that is busy running the callback:
 *   - sending a command, QVT_Headset_WaitForBatch, QVT_Headset_WaitForSamples
 *     (and their bounded forms), QVT_Headset_Idle and QVT_Headset_Receive,
 *     whenever the callback runs
 *     while the headset reads its link or exchanges a command (sample and
 *     stage callbacks always do, message callbacks mostly), and the two
 *     waits also on the headset's own threads;
 *   - QVT_Headset_StartBackgroundAcquisition, QVT_Headset_Connect,
 *     QVT_Headset_Disconnect, QVT_Headset_SetWatchdogInterval and
 *     QVT_Headset_Delete, from any callback of the headset's link work or
 *     on one of its threads.
 *   QVT_Headset_IsConnected answers inside such a callback without sending
 *   an echo: the link is busy delivering, which is answer enough.
 *
 *   One thread at a time waits for a batch: a second one waits until the
 *   first has its batch (or, in the bounded form, until its own limit or a
 *   wake-up).
 *
 *   The last error, the error callback and the string ring are shared by the
 *   whole process. Calls from several threads at once do not corrupt them,
 *   but which thread's error is the last one is then a matter of timing, and
 *   32 string-returning calls on any threads overwrite a returned string.
 *   The error callback is called on the thread whose call failed, so a
 *   client that wants the errors of each thread apart can keep them there.
 */
#ifndef QVT_QVT_H
#define QVT_QVT_H

#include <stddef.h>

#if defined(_WIN32)
#define QVT_API __declspec(dllimport)
#elif defined(__GNUC__)
#define QVT_API __attribute__((visibility("default")))
#else
#define QVT_API
#endif

/* Opaque handles. C++ clients see the library's own classes, declared only. */
#ifdef __cplusplus
namespace QVT {
class Headset;
class Channel;
class Source;
class ProcessingStage;
}  // namespace QVT
typedef QVT::Headset QVT_Headset;
typedef QVT::Channel QVT_Channel;
typedef QVT::Source QVT_Source;
typedef QVT::ProcessingStage QVT_ProcessingStage;
#else
typedef struct QVT_Headset QVT_Headset;
typedef struct QVT_Channel QVT_Channel;
typedef struct QVT_Source QVT_Source;
typedef struct QVT_ProcessingStage QVT_ProcessingStage;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Receives a message and its level; the return value is ignored. */
typedef int (*QVT_MessageCallback)(const char* message, int level);

/* Called once per sample, after every processing stage, with the headset,
 * the sample's time stamp in seconds on the headset's clock and the client
 * data given with it. */
typedef void (*QVT_SampleCallback)(QVT_Headset* headset, double sampleTime, void* clientData);

/* A processing stage's work, called once per sample with the headset, the
 * sample's time stamp in seconds on the headset's clock and the stage
 * itself (a QVT_ProcessingStage*). */
typedef void (*QVT_ProcessingStageFunction)(QVT_Headset* headset, double sampleTime, void* stage);

/* ---- global functions ------------------------------------------------------ */

/* Does nothing and returns 0: an initialiser for clients that expect one. */
QVT_API int Load_QVT_API(void);

/* The last error message, or NULL when none has been recorded since the last
 * QVT_ClearError. The text lives in the string ring. */
QVT_API const char* QVT_Error(void);

/* Returns the last error (or NULL) and forgets it. */
QVT_API const char* QVT_ClearError(void);

/* Sets the function called with every error message (level 1); NULL removes
 * it. The callback must not call back into a failing path of the library. */
QVT_API void QVT_SetErrorCallback(QVT_MessageCallback callback);

/* Checks the library's build-time assumptions; records an error listing
 * what failed, and does nothing in a correct build. */
QVT_API void QVT_SanityCheck(void);

/* Writes message (an empty line for NULL) to standard error and returns
 * debugLevel; 0 on failure. */
QVT_API int QVT_Console(const char* message, int debugLevel);

/* Sleeps for the given seconds, rounded to the millisecond; a negative
 * duration returns at once. */
QVT_API void QVT_Sleep(double seconds);

/* The bytes as a double-quoted literal: \t, \n, \r and \xHH escapes, or
 * \xHH for every byte when flag is non-zero. NULL on failure (a NULL buffer
 * with a length above 0 among them). String ring. */
QVT_API const char* QVT_PythonString(const void* buffer, size_t length, int flag);

/* The interface version, "1.20.4". String ring. */
QVT_API const char* QVT_GetAPIVersion(void);

/* The serial port named by the environment variable QVTSerialPort, or ""
 * when it is not set. String ring. */
QVT_API const char* QVT_GetDefaultPort(void);

/* ---- headsets: creation, link and threads ---------------------------------- */

/* A new headset. With a port name ("DEFAULT" or "" meaning QVTSerialPort)
 * it connects and runs the handshake; with NULL or "" nothing is opened and
 * the client calls QVT_Headset_Connect later. NULL on failure. The client
 * owns the result and frees it with QVT_Headset_Delete. */
QVT_API QVT_Headset* QVT_Headset_New(const char* port);

/* Stops its threads and the data stream, closes the link and frees the
 * headset with everything it owns. Clean-up errors go to the headset's
 * message callback (level 1), not to QVT_Error. Refused (the headset stays)
 * from inside the headset's own callbacks. */
QVT_API void QVT_Headset_Delete(QVT_Headset* headset);

/* Messages above this level are not delivered (default 2). */
QVT_API void QVT_Headset_SetVerbosity(QVT_Headset* headset, int level);

/* Where the headset's messages go (standard error by default); NULL
 * silences them. On return the previous callback is not running and is not
 * called again (see Threads). */
QVT_API void QVT_Headset_SetMessageCallback(QVT_Headset* headset, QVT_MessageCallback callback);

/* Calls callback once per sample with clientData; NULL removes it. On
 * return the previous pair is not in use any more (see Threads). */
QVT_API void QVT_Headset_SetSampleCallback(QVT_Headset* headset, QVT_SampleCallback callback,
                                           void* clientData);

/* Opens port (as in QVT_Headset_New) and runs the handshake. */
QVT_API void QVT_Headset_Connect(QVT_Headset* headset, const char* port);

/* 1 when the link is up: at once when data arrived within 2 s, otherwise
 * after an echo to the headset (which may take seconds). 0 otherwise. */
QVT_API int QVT_Headset_IsConnected(QVT_Headset* headset);

/* After this many seconds without data the link is checked with an echo,
 * and reported lost when it does not answer; 0 turns the watchdog off. */
QVT_API void QVT_Headset_SetWatchdogInterval(QVT_Headset* headset, double seconds);

/* Seconds since the link was opened; 0.0 on failure. Batch time stamps,
 * alarm times and link-state times count on this clock. */
QVT_API double QVT_Headset_SecondsSinceConnection(QVT_Headset* headset);

/* The serial device's name. String ring. */
QVT_API const char* QVT_Headset_GetPort(QVT_Headset* headset);

/* Stops the watchdog and the data stream and closes the link; sources,
 * montage and settings are kept for a later QVT_Headset_Connect. */
QVT_API void QVT_Headset_Disconnect(QVT_Headset* headset);

/* Starts (or restarts) the thread that reads the link in the background;
 * it starts the data stream unless it runs already. 1 when the thread
 * started (without a link it ends again at once), else 0. */
QVT_API int QVT_Headset_StartBackgroundAcquisition(QVT_Headset* headset);

/* Asks the acquisition thread to end and returns at once. */
QVT_API void QVT_Headset_StopBackgroundAcquisition(QVT_Headset* headset);

/* Reads and processes what arrives for the given seconds (for ever when
 * negative) without starting the data stream. NaN is refused. */
QVT_API void QVT_Headset_Idle(QVT_Headset* headset, double seconds);

/* Starts the data stream if needed and reads it for duration seconds (until
 * it ends when negative), stops it, then reads lingerTime seconds more (for
 * ever when negative). NaN is refused. */
QVT_API void QVT_Headset_Receive(QVT_Headset* headset, double duration, double lingerTime);

/* ---- headsets: commands ------------------------------------------------------ */

/* Sends the two acquisition settings words (16 bits each). */
QVT_API void QVT_Headset_ConfigureADC(QVT_Headset* headset, unsigned a, unsigned b);

/* Sets the accelerometer's sampling rate (16 bits). */
QVT_API void QVT_Headset_SetAccelerometerRate(QVT_Headset* headset, unsigned rate);

/* Stops a data stream the headset may still be sending; with wait non-zero
 * until it has gone quiet. */
QVT_API void QVT_Headset_KillDataStream(QVT_Headset* headset, int wait);

/* Asks for a battery reading; the answer arrives later. */
QVT_API void QVT_Headset_SendBatteryQuery(QVT_Headset* headset);

/* Starts or stops the data stream; each waits for the headset's answer and
 * records an error when none comes. */
QVT_API void QVT_Headset_StartDataAcquisition(QVT_Headset* headset);
QVT_API void QVT_Headset_StopDataAcquisition(QVT_Headset* headset);

/* Switches on or off the impedance driver, whose carriers let the library
 * estimate electrode impedances; errors as above. */
QVT_API void QVT_Headset_StartImpedanceDriver(QVT_Headset* headset);
QVT_API void QVT_Headset_StopImpedanceDriver(QVT_Headset* headset);

/* Starts the analog reset and waits for the headset's confirmation. */
QVT_API void QVT_Headset_StartAnalogReset(QVT_Headset* headset);

/* Holds the analog front end in reset, or releases it; errors as above. */
QVT_API void QVT_Headset_LockAnalogReset(QVT_Headset* headset);
QVT_API void QVT_Headset_ReleaseAnalogReset(QVT_Headset* headset);

/* Switches the headset off. */
QVT_API void QVT_Headset_Shutdown(QVT_Headset* headset);

/* With on non-zero every command is preceded by the character '~'. */
QVT_API void QVT_Headset_UseOptionalCommandPrefix(QVT_Headset* headset, int on);

/* Sets the LEDs to pattern (16 bits). */
QVT_API void QVT_Headset_ChangeLEDs(QVT_Headset* headset, unsigned pattern);

/* ---- headsets: montage, sources and references ------------------------------ */

/* Rebuilds the montage from a blank-separated list of channel specifications
 * ("Fz Cz Pz-Oz", or "FACTORY") against reference ("" keeps the current one,
 * "FACTORY" the headset's own); autoSwap non-zero repairs channels that would
 * read an electrode against itself. Failing words are reported together. */
QVT_API void QVT_Headset_ChooseChannels(QVT_Headset* headset, const char* montage, const char* reference,
                                        int autoSwap);

/* Appends a channel reading one source. */
QVT_API void QVT_Headset_AddChannelToMontage_FromSource(QVT_Headset* headset, QVT_Source* source);

/* Appends the channel of a specification such as "Fz" or "A1/2+A2/2". */
QVT_API void QVT_Headset_AddChannelToMontage_FromString(QVT_Headset* headset, const char* specification,
                                                        int autoSwap);

/* References the montage to linked ears, else mastoids, when the headset has
 * them; the reference used, or "" when none fits. String ring. */
QVT_API const char* QVT_Headset_SetTraditionalReference(QVT_Headset* headset, int autoSwap);

/* Rebuilds the montage against a new default reference ("FACTORY" for the
 * headset's own). */
QVT_API void QVT_Headset_SetDefaultReference(QVT_Headset* headset, const char* reference, int autoSwap);

/* The headset's own reference electrode. String ring. */
QVT_API const char* QVT_Headset_GetFactoryReferenceString(QVT_Headset* headset);

/* The reference new channels are read against. String ring. */
QVT_API const char* QVT_Headset_GetReferenceString(QVT_Headset* headset);

/* Drops the montage and the processing cascade. */
QVT_API void QVT_Headset_ForgetMontage(QVT_Headset* headset);

/* "10-20" or "10-10": renames the electrodes whose names differ. */
QVT_API void QVT_Headset_UseNamingScheme(QVT_Headset* headset, const char* scheme);

/* Renames the source named from; 1 when renamed, 0 when no source is named
 * from (no error is recorded then) or on failure. */
QVT_API int QVT_Headset_RenameSource(QVT_Headset* headset, const char* from, const char* to);

/* Adds the words of a blank- or comma-separated list as further names of the
 * one source that a word of it names already, e.g. "Fp1 LeftEye". 1 when
 * added; 0 when the list is empty or names no source (no error is recorded
 * then) or on failure, such as a list naming two sources. */
QVT_API int QVT_Headset_AddSourceAliases(QVT_Headset* headset, const char* aliases);

/* The montage's channels written out in full, blank-separated. String ring. */
QVT_API const char* QVT_Headset_GetMontageString(QVT_Headset* headset);

/* The names of the sources passing the filter bits flags (16 bits),
 * blank-separated. String ring. */
QVT_API const char* QVT_Headset_GetSourceNames(QVT_Headset* headset, unsigned flags);

/* Sizes of the montage and of the source list; 0 on failure. */
QVT_API unsigned QVT_Headset_GetNumberOfChannels(QVT_Headset* headset);
QVT_API unsigned QVT_Headset_GetNumberOfSources(QVT_Headset* headset);

/* Montage channel by index from 0, or by name or formula; NULL when there is
 * none (an error). Owned by the headset. */
QVT_API QVT_Channel* QVT_Headset_GetChannelByIndex(QVT_Headset* headset, unsigned index);
QVT_API QVT_Channel* QVT_Headset_GetChannelByName(QVT_Headset* headset, const char* name);

/* Source by index from 0 among all sources, or by name, alias or number
 * from 1; NULL when there is none (an error). Owned by the headset. */
QVT_API QVT_Source* QVT_Headset_GetSourceByIndex(QVT_Headset* headset, unsigned index);
QVT_API QVT_Source* QVT_Headset_GetSourceByName(QVT_Headset* headset, const char* name);

/* ---- headsets: buffers and batches -------------------------------------------- */

/* Resizes the channel buffers to hold bufferSeconds of signal and the
 * impedance averages to span averagingSeconds; both durations are kept for
 * what is built later, at the sampling rate of that time. A negative
 * duration means no slots (channels keep one); NaN, durations over 3600 s
 * and buffers over 16777216 samples are refused before anything changes. */
QVT_API void QVT_Headset_ReallocateBuffers(QVT_Headset* headset, double bufferSeconds,
                                           double averagingSeconds);

/* Marks the buffered samples as read. The running sums behind the impedance
 * estimates restart from 0 while the averaged samples stay, so the estimates
 * read low (or 0) from then on until the averages are rebuilt by
 * QVT_Headset_ReallocateBuffers; QVT_Headset_ChooseChannels flushes too. */
QVT_API void QVT_Headset_FlushBuffers(QVT_Headset* headset);

/* Unread samples in the channels batches are read from (the fewest over
 * them), and samples lost to full buffers (the most); 0 on failure. */
QVT_API unsigned QVT_Headset_GetNumberOfBufferedSamples(QVT_Headset* headset);
QVT_API unsigned QVT_Headset_GetNumberOfOverflowedSamples(QVT_Headset* headset);

/* Tunes the controller that paces batches: seconds between updates, the
 * smoothing weight of the measured delay, and its P, I and D gains. */
QVT_API void QVT_Headset_ConfigureBufferingController(QVT_Headset* headset, double interval, double smoothing,
                                                      double p, double i, double d);

/* Batches of samples samples, paced so that about delay seconds of signal
 * stay buffered. */
QVT_API void QVT_Headset_ConfigureBatch(QVT_Headset* headset, unsigned samples, double delay);

/* Blocks until the next batch is due; its time stamp in seconds since the
 * link opened. 0.0 on failure. Without montage channels (and no processing
 * stage) there is nothing to wait for and it never returns: build a montage
 * first. A batch larger than the channel buffers is refused, and so is a wait
 * for samples once the link has been reported lost. Without background
 * acquisition it reads the link itself, but only while more than 67 ms are
 * left before the release: batches shorter than that (the default of 60 ms
 * among them) keep running dry ("Real-time violation") unless background
 * acquisition runs or the batch is made longer. */
QVT_API double QVT_Headset_WaitForBatch(QVT_Headset* headset);

/* Blocks until at least n samples are buffered; the number then buffered,
 * 0 on failure. Without montage channels it never returns (build a montage
 * first); more samples than the buffers hold are refused, and so is any
 * wait once the link has been reported lost. */
QVT_API unsigned long QVT_Headset_WaitForSamples(QVT_Headset* headset, unsigned long n);

/* How the bounded waits below end. */
#define QVT_WAIT_READY 1   /* what was waited for is there */
#define QVT_WAIT_TIMEOUT 2 /* the time limit ran out first */
#define QVT_WAIT_WOKEN 3   /* QVT_Headset_WakeWaiters was called meanwhile */

/* QVT_Headset_WaitForBatch within timeoutSeconds (no limit when negative;
 * NaN is refused). QVT_WAIT_READY with the batch's time stamp (seconds since
 * the link opened) in *batchTime (batchTime may be NULL): read the batch
 * now, as after QVT_Headset_WaitForBatch. QVT_WAIT_TIMEOUT or
 * QVT_WAIT_WOKEN when no batch was released; the next call takes the same
 * batch up again, so a client calls it in a loop and looks at its own
 * flags in between. The first batch after QVT_Headset_ConfigureBatch waits
 * until the buffers hold the batch, a cushion and the target delay, and
 * gives the rest of the samples up: no priming of its own is needed.
 * 0 on failure: what QVT_Headset_WaitForBatch refuses, and a lost link
 * (a real link silent for 5 s, without a watchdog, is asked for an echo).
 * Without background acquisition the limit may be overrun by one read of
 * the link (up to 0.5 s on a silent link); with it the wait sleeps until
 * the acquisition thread has read a block, so it costs no CPU meanwhile
 * and returns as soon as the block's samples are there. */
QVT_API int QVT_Headset_WaitForBatchTimeout(QVT_Headset* headset, double timeoutSeconds, double* batchTime);

/* QVT_Headset_WaitForSamples within timeoutSeconds, as above: one of
 * QVT_WAIT_*, or 0 on failure. *buffered (buffered may be NULL) is set to
 * the number of samples buffered when it returns (not on failure). */
QVT_API int QVT_Headset_WaitForSamplesTimeout(QVT_Headset* headset, unsigned long n, double timeoutSeconds,
                                              unsigned long* buffered);

/* Every thread waiting in QVT_Headset_WaitForBatchTimeout or
 * QVT_Headset_WaitForSamplesTimeout of this headset returns QVT_WAIT_WOKEN
 * (at once with background acquisition; without it within 10 ms, or one
 * read of the link).
 * From any thread, callbacks included. Waits that begin later are not
 * affected. */
QVT_API void QVT_Headset_WakeWaiters(QVT_Headset* headset);

/* Takes the same number of unread samples, min(maxSamples, the fewest unread
 * over the channels), from each of count channels into out, channel-major:
 * sample k of channels[c] goes to out[c * maxSamples + k], in µV (or the
 * unit a stage writes). channels NULL with count 0: every montage channel in
 * order. The channels may be montage channels or processing-stage outputs
 * of this headset, each once; anything else is refused. out is the
 * caller's, count * maxSamples doubles. *firstIndex (firstIndex may be NULL)
 * is set to the running index of the first sample taken: the samples
 * written to the first channel's buffer before it since the buffer was
 * made (a montage change or QVT_Headset_ReallocateBuffers starts again at
 * 0). Returns the samples taken per channel; 0 when none are buffered (no
 * error) or on failure (nothing taken). One lock and pass per channel;
 * safe while background acquisition runs. */
QVT_API size_t QVT_Headset_ReadChannels(QVT_Headset* headset, QVT_Channel* const* channels, unsigned count,
                                        double* out, size_t maxSamples, unsigned long long* firstIndex);

/* ---- headsets: processing cascade -------------------------------------------- */

/* Appends a stage named name (unique, case and blanks ignored) that reads
 * input (NULL: the last stage, if any, else the montage) and starts with a
 * copy of its input stage's channels (none when it reads the montage
 * directly, which only a headset without a chosen montage does: choosing
 * one makes the stage "raw" that views it); func is called once per
 * sample, paramData is kept for it. NULL on failure. Owned by the headset. */
QVT_API QVT_ProcessingStage* QVT_Headset_AddProcessingStage(QVT_Headset* headset, const char* name,
                                                            QVT_ProcessingStageFunction func, void* paramData,
                                                            QVT_ProcessingStage* input);

/* Gives every output channel of stage a buffer of seconds of signal; a NULL
 * stage does nothing (no error). */
QVT_API void QVT_Headset_ReallocateStageBuffers(QVT_Headset* headset, QVT_ProcessingStage* stage,
                                                double seconds);

QVT_API unsigned QVT_Headset_GetNumberOfProcessingStages(QVT_Headset* headset);

/* Stage by index from 0 or by name; NULL when there is none (an error). */
QVT_API QVT_ProcessingStage* QVT_Headset_GetProcessingStageByIndex(QVT_Headset* headset, unsigned index);
QVT_API QVT_ProcessingStage* QVT_Headset_GetProcessingStageByName(QVT_Headset* headset, const char* name);

/* ---- headsets: alarms and state ---------------------------------------------- */

/* The oldest queued alarm code, taken off the queue when remove is
 * non-zero; 0 when the queue is empty or on failure. */
QVT_API int QVT_Headset_GetAlarm(QVT_Headset* headset, int remove);

/* The number of queued alarm codes (at most 1000); 0 on failure. */
QVT_API unsigned QVT_Headset_GetNumberOfAlarms(QVT_Headset* headset);

/* Empties the alarm queue. */
QVT_API void QVT_Headset_ClearAlarms(QVT_Headset* headset);

/* One queued alarm as data. The caller owns it; QVT_Headset_GetAlarmRecord
 * fills it. */
typedef struct QVT_AlarmRecord {
  int code;           /* species * 256 + alarm number, as QVT_Headset_GetAlarm */
  int parameterCount; /* 0..63 */
  int parameters[63]; /* the packet's parameters, in order; 0 beyond the count */
  double time;        /* seconds since the link opened, when the alarm arrived */
  char name[48];      /* e.g. "LowBattery" */
  char text[256];     /* the message, without prefix or time stamp (cut to fit,
                         NUL-terminated) */
} QVT_AlarmRecord;

/* Copies the oldest queued alarm into *record, taking it off the queue when
 * remove is non-zero. 1 when the queue held an alarm; 0 when it is empty
 * (no error) or on failure (a NULL record among them). The same queue as
 * QVT_Headset_GetAlarm, QVT_Headset_GetNumberOfAlarms and
 * QVT_Headset_ClearAlarms: taking from one takes from the other. The text is
 * there whatever the verbosity. Safe from any thread and from callbacks. */
QVT_API int QVT_Headset_GetAlarmRecord(QVT_Headset* headset, QVT_AlarmRecord* record, int remove);

/* The states of a headset's link. */
#define QVT_LINK_CLOSED 1    /* no link is open */
#define QVT_LINK_CONNECTED 2 /* open, the headset not streaming */
#define QVT_LINK_STREAMING 3 /* open, the headset streaming data */
#define QVT_LINK_LOST                                 \
  4 /* judged dead: a command went unanswered, or the \
       watchdog's or a wait's echo did */

/* The link's state as last learned, without sending anything (no echo);
 * one of QVT_LINK_*, 0 on failure. *sinceSeconds (sinceSeconds may be NULL)
 * is set to the seconds since the link opened at which that state began,
 * 0.0 for QVT_LINK_CLOSED. Safe from any thread and from callbacks. */
QVT_API int QVT_Headset_GetLinkState(QVT_Headset* headset, double* sinceSeconds);

/* 1 once the headset has reported its wireless connection, else 0. */
QVT_API int QVT_Headset_IsBlueToothInitialized(QVT_Headset* headset);

/* Battery reading 1 or 2 in percent (-1.0 until known); 0.0 for any other
 * which. */
QVT_API double QVT_Headset_GetBatteryLevel(QVT_Headset* headset, int which);

/* Both battery readings in percent, "[ r1, r2 ]". String ring. */
QVT_API const char* QVT_Headset_GetBatteryLevelString(QVT_Headset* headset);

/* Identity texts ("???" until known). String ring. */
QVT_API const char* QVT_Headset_GetHardwareModel(QVT_Headset* headset);
QVT_API const char* QVT_Headset_GetHardwareRevision(QVT_Headset* headset);
QVT_API const char* QVT_Headset_GetFirmwareRevision(QVT_Headset* headset);

/* Everything known about the headset, one "'Key' : value," line each.
 * String ring. */
QVT_API const char* QVT_Headset_GetInfoString(QVT_Headset* headset);

/* Reported values; -1 (or -1.0) until known, 0 on failure. */
QVT_API int QVT_Headset_GetSensorCount(QVT_Headset* headset);
QVT_API int QVT_Headset_GetSerialNumber(QVT_Headset* headset);
/* Samples per second (Hz) of the signals and of the accelerometer. */
QVT_API double QVT_Headset_GetSamplingRate(QVT_Headset* headset);
QVT_API double QVT_Headset_GetAccelerometerRate(QVT_Headset* headset);
QVT_API int QVT_Headset_GetFilterMode(QVT_Headset* headset);
/* 1 while the headset streams data, 0 when it does not. */
QVT_API int QVT_Headset_GetDataAcquisitionMode(QVT_Headset* headset);
QVT_API int QVT_Headset_GetImpedanceDriverMode(QVT_Headset* headset);
QVT_API int QVT_Headset_GetAnalogResetMode(QVT_Headset* headset);

/* Mean common-mode impedance in kOhm of the referential EEG electrodes in
 * use; 0.0 when there are none. */
QVT_API double QVT_Headset_GetImpedanceCMF(QVT_Headset* headset);

/* ---- processing stages --------------------------------------------------------- */

/* Output channel by index from 0 or by name; NULL when there is none (an
 * error). Owned by the stage. */
QVT_API QVT_Channel* QVT_ProcessingStage_GetChannelByIndex(QVT_ProcessingStage* stage, unsigned index);
QVT_API QVT_Channel* QVT_ProcessingStage_GetChannelByName(QVT_ProcessingStage* stage, const char* name);

/* Drops every output channel. */
QVT_API void QVT_ProcessingStage_ClearChannels(QVT_ProcessingStage* stage);

/* The stage read by this one; NULL when it reads the montage. */
QVT_API QVT_ProcessingStage* QVT_ProcessingStage_GetInput(QVT_ProcessingStage* stage);

/* The stage's name. String ring. */
QVT_API const char* QVT_ProcessingStage_GetName(QVT_ProcessingStage* stage);

/* The paramData given to QVT_Headset_AddProcessingStage. */
QVT_API void* QVT_ProcessingStage_ParamData(QVT_ProcessingStage* stage);

QVT_API unsigned QVT_ProcessingStage_GetNumberOfChannels(QVT_ProcessingStage* stage);

/* Output channel channelIndex of stage, samplesBack samples before its
 * newest value (0.0 beyond its unread values), in the unit the stage
 * writes. */
QVT_API double QVT_ProcessingStage_Read(QVT_ProcessingStage* stage, unsigned channelIndex,
                                        unsigned long samplesBack);

/* Appends value to output channel channelIndex of stage: how a stage
 * publishes its result for the current sample. */
QVT_API void QVT_ProcessingStage_Write(QVT_ProcessingStage* stage, unsigned channelIndex, double value);

/* A new output channel named name with a buffer of bufferSamples samples
 * (at least 1, at most 16777216). NULL on failure. Owned by the stage. */
QVT_API QVT_Channel* QVT_ProcessingStage_AddChannel(QVT_ProcessingStage* stage, const char* name,
                                                    size_t bufferSamples);

/* ---- channels ------------------------------------------------------------------- */

/* The value (µV for EEG channels) samplesBack samples before the newest,
 * while still unread (0.0 beyond); an error when samplesBack reaches the
 * buffer's capacity. */
QVT_API double QVT_Channel_LookBack(QVT_Channel* channel, unsigned long samplesBack);

/* Takes the oldest unread sample (µV for EEG channels); an error when none
 * is left. For many samples of many channels, QVT_Headset_ReadChannels. */
QVT_API double QVT_Channel_ReadBuffered(QVT_Channel* channel);

QVT_API unsigned long QVT_Channel_GetNumberOfBufferedSamples(QVT_Channel* channel);
QVT_API unsigned long QVT_Channel_GetNumberOfOverflowedSamples(QVT_Channel* channel);
QVT_API unsigned long QVT_Channel_GetBufferCapacity(QVT_Channel* channel);

/* Empties the channel's buffer. */
QVT_API void QVT_Channel_FlushOutputBuffer(QVT_Channel* channel);

QVT_API void QVT_Channel_SetName(QVT_Channel* channel, const char* name);

/* The channel's name: the one set, else its main source's. String ring. */
QVT_API const char* QVT_Channel_GetName(QVT_Channel* channel);

/* The channel's full formula, such as "Fz-A1/2-A2/2". String ring. */
QVT_API const char* QVT_Channel_GetString(QVT_Channel* channel);

/* The newest unread sample, µV for EEG channels (0.0 when none). */
QVT_API double QVT_Channel_GetSignal(QVT_Channel* channel);

/* The channel's weighted sum over its sources' current values (µV for EEG
 * sources). */
QVT_API double QVT_Channel_CalculateRawSignal(QVT_Channel* channel);

/* 1 when every source is a referential EEG electrode, else 0. */
QVT_API int QVT_Channel_IsReferentialEEG(QVT_Channel* channel);

/* 1 for every channel. */
QVT_API int QVT_Channel_IsTrigger(QVT_Channel* channel);

/* ---- sources ---------------------------------------------------------------------- */

/* Kind of source: 1 or 0. */
QVT_API int QVT_Source_IsTrigger(QVT_Source* source);
QVT_API int QVT_Source_IsSensor(QVT_Source* source);
QVT_API int QVT_Source_IsReferentialEEG(QVT_Source* source);
/* 1 for the headset's own reference electrode (gain exactly 0.0). */
QVT_API int QVT_Source_IsFactoryReference(QVT_Source* source);
/* 1 for the common-mode electrode "CM". */
QVT_API int QVT_Source_IsCommonModeSignal(QVT_Source* source);

QVT_API void QVT_Source_SetName(QVT_Source* source, const char* name);

/* String ring. */
QVT_API const char* QVT_Source_GetName(QVT_Source* source);

/* The latest scaled value (µV for EEG sources), its gain, the latest
 * impedance estimates in kOhm (-1.0 when not measured) and the DC offset
 * (the signal's mean over the averaging time); 0.0 on failure. */
QVT_API double QVT_Source_GetSignal(QVT_Source* source);
QVT_API double QVT_Source_GetGain(QVT_Source* source);
QVT_API double QVT_Source_GetImpedanceEEG(QVT_Source* source);
QVT_API double QVT_Source_GetImpedanceCMF(QVT_Source* source);
QVT_API double QVT_Source_GetDCOffset(QVT_Source* source);

#ifdef __cplusplus
}
#endif

#endif /* QVT_QVT_H */
