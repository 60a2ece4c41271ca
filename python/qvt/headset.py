"""qvt.Headset: one headset, its identity, montage and signals."""
import logging
import math
import re
import threading
import time

from . import lib
from .errors import QvtError

try:  # numpy is used when there is one; lists otherwise
    import numpy
except ImportError:  # pragma: no cover - exercised by interpreters without numpy
    numpy = None

_logger = logging.getLogger("qvt")


def _text(raw):
    return raw.decode("utf-8", "replace") if raw is not None else None


def _array(values):
    return numpy.array(values) if numpy is not None else values


def _log_level(level):
    """Library levels 1-2 are problems, 3 notices, 4 and up details."""
    return logging.WARNING if level <= 2 else logging.INFO if level == 3 else logging.DEBUG


# Waits for samples are made of slices this long, so that Ctrl-C is heard
# and a silent link noticed; after _QUIET seconds without a new sample the
# library is asked whether the link still answers.
_SLICE = 0.03
_QUIET = 2.0
_STOP_WAIT = 5.0  # seconds allowed for the acquisition thread to stop its stream
_BATCH_DELAY = 0.05  # seconds of signal the library keeps buffered behind batches
# The library's buffer and impedance-averaging durations, which this package
# keeps: a montage change rebuilds the buffers with them.
_BUFFER_SECONDS = 10.0
_AVERAGING_SECONDS = 1.0

_ALARM_PREFIX = "QVT headset issued alarm: "
_ALARM_QUEUE_LIMIT = 1000  # codes the library keeps; it drops the oldest beyond


class _AlarmTexts:
    """Pairs the texts of alarm messages with the codes the library queues.

    The library queues an alarm's code and then delivers its message on the
    same thread, so while the message is delivered its code is the newest in
    the queue. Counting the codes taken off so far turns that into a place in
    the sequence of every alarm since the headset was made.
    """

    def __init__(self):
        self.handle = None
        self._lock = threading.Lock()
        self._taken = 0
        self._texts = {}  # place in the sequence -> text

    def heard(self, message):
        """Called with an alarm message, on the thread that delivers it."""
        text = message.split(_ALARM_PREFIX, 1)[1]
        with self._lock:
            queued = lib.QVT_Headset_GetNumberOfAlarms(self.handle)
            # 0: the code was taken before its text came; a full queue may
            # have dropped codes, and then places no longer add up.
            if 0 < queued < _ALARM_QUEUE_LIMIT:
                self._texts[self._taken + queued - 1] = text

    def take(self, next_code):
        """[(code, text or None)] for the codes next_code() hands out until 0."""
        with self._lock:
            codes = []
            try:
                code = next_code()
                while code != 0:
                    codes.append(code)
                    code = next_code()
            finally:  # codes taken are gone from the queue, failure or not
                first, self._taken = self._taken, self._taken + len(codes)
            texts = [self._texts.pop(first + i, None) for i in range(len(codes))]
            if len(codes) >= _ALARM_QUEUE_LIMIT:
                texts = [None] * len(codes)
            self._texts = {place: t for place, t in self._texts.items() if place >= self._taken}
            return list(zip(codes, texts))


def _message_callback(alarm_texts, logged):
    """A message callback for one headset: logs messages up to the level
    logged[0], and keeps alarm texts of any level."""

    @lib.MESSAGE_CALLBACK
    def deliver(message, level):
        # Runs on the library's threads: never let anything escape into C.
        try:
            text = _text(message)
            if level <= logged[0]:
                _logger.log(_log_level(level), "%s", text)
            if _ALARM_PREFIX in text:
                alarm_texts.heard(text)
        except Exception:  # pylint: disable=broad-except
            pass
        return 0

    return deliver


class Headset:
    """A connected headset; port None means the QVTSerialPort variable.

    Use it as a context manager, or call close(); it is also freed when
    garbage-collected. Library failures raise QvtError with the library's text.
    """

    def __init__(self, port=None):
        if port is not None and not isinstance(port, str):
            raise TypeError(f"port must be a str naming the serial device, or None, not {port!r}")
        self._handle = None
        self._background = False
        self._thread_streams = False  # the acquisition thread started the stream
        self._montage_changes = 0  # channels fetched before a change are freed
        # Made unconnected and connected once the callback is set, so that
        # the connection's own messages and alarms come to it too.
        handle = lib.call(lib.QVT_Headset_New, None)
        if not handle:
            raise QvtError("the headset could not be created")
        self._handle = handle
        self._alarm_texts = _AlarmTexts()
        self._alarm_texts.handle = handle
        self._logged = [2]  # the verbosity asked for
        # Kept here: the library holds only a pointer to it.
        self._message_callback = _message_callback(self._alarm_texts, self._logged)
        try:
            self._call(lib.QVT_Headset_SetMessageCallback, self._message_callback)
            # Start-up alarms are sent at level 3: heard for their texts,
            # logged only at the verbosity asked for.
            self._call(lib.QVT_Headset_SetVerbosity, 3)
            self._call(lib.QVT_Headset_Connect, b"DEFAULT" if port is None else port.encode())
            self._call(lib.QVT_Headset_SetVerbosity, self._logged[0])
        except BaseException:
            self.close()
            raise

    def _call(self, function, *arguments):
        if self._handle is None:
            raise QvtError("the headset is closed")
        return lib.blocking_call(function, self._handle, *arguments)

    def close(self):
        """Stops everything and frees the headset; safe to call twice."""
        if self._handle is not None:
            lib.blocking_call(lib.QVT_Headset_SetMessageCallback, self._handle, lib.MESSAGE_CALLBACK())
            lib.blocking_call(lib.QVT_Headset_Delete, self._handle)
            self._handle = None

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def __del__(self):
        try:
            self.close()
        except Exception:  # pylint: disable=broad-except
            pass

    # ---- identity -------------------------------------------------------------
    @property
    def model(self):
        return _text(self._call(lib.QVT_Headset_GetHardwareModel))

    @property
    def serial_number(self):
        return self._call(lib.QVT_Headset_GetSerialNumber)

    @property
    def sampling_rate(self):
        return self._call(lib.QVT_Headset_GetSamplingRate)

    @property
    def firmware(self):
        return _text(self._call(lib.QVT_Headset_GetFirmwareRevision))

    @property
    def battery(self):
        return (self._call(lib.QVT_Headset_GetBatteryLevel, 1), self._call(lib.QVT_Headset_GetBatteryLevel, 2))

    @property
    def info(self):
        return _text(self._call(lib.QVT_Headset_GetInfoString))

    @property
    def reference(self):
        return _text(self._call(lib.QVT_Headset_GetReferenceString))

    @property
    def source_names(self):
        return _text(self._call(lib.QVT_Headset_GetSourceNames, 3)).split()

    @property
    def verbosity(self):
        raise AttributeError("the library does not report its verbosity")

    @verbosity.setter
    def verbosity(self, level):
        """Messages up to this level, 0 to 7, reach the "qvt" logger (default 2)."""
        if isinstance(level, bool) or not isinstance(level, int):
            raise TypeError(f"verbosity must be an int from 0 to 7, not {level!r}")
        if not 0 <= level <= 7:
            raise ValueError(f"verbosity must be from 0 to 7, not {level}")
        self._call(lib.QVT_Headset_SetVerbosity, level)
        self._logged[0] = level

    # ---- montage ----------------------------------------------------------------
    def _channels(self):
        count = self._call(lib.QVT_Headset_GetNumberOfChannels)
        return [self._call(lib.QVT_Headset_GetChannelByIndex, i) for i in range(count)]

    @property
    def channel_names(self):
        return [_text(lib.call(lib.QVT_Channel_GetName, c)) for c in self._channels()]

    @property
    def montage(self):
        """The channels' formulas, such as ["Fz-Cz", "O1-M1/2-M2/2"]. Set it
        to channel specifications ("Fz", "Fz-Cz", "A1/2+A2/2"), as a list or
        as one str of them separated by blanks; channels without a reference
        of their own get the current one. When a specification fails, QvtError
        says which and the montage stays as it was."""
        return _text(self._call(lib.QVT_Headset_GetMontageString)).split()

    @montage.setter
    def montage(self, specifications):
        if isinstance(specifications, str):
            specifications = specifications.split()
        elif not isinstance(specifications, (list, tuple)) or not all(isinstance(s, str) for s in specifications):
            raise TypeError(f"a montage is a list of str or one str, not {specifications!r}")
        previous = _text(self._call(lib.QVT_Headset_GetMontageString))
        try:
            self._call(lib.QVT_Headset_ChooseChannels, " ".join(specifications).encode(), b"", 0)
            # Choosing flushes the buffers, which restarts the impedance sums
            # while the averaged samples stay: estimates would read near 0
            # from then on. Rebuilt, they start afresh.
            self._call(lib.QVT_Headset_ReallocateBuffers, _BUFFER_SECONDS, _AVERAGING_SECONDS)
        except QvtError:
            # The library keeps the specifications that worked; put back the
            # montage the caller had, unless it is still there (a refusal).
            if _text(self._call(lib.QVT_Headset_GetMontageString)) != previous:
                if previous:
                    self._call(lib.QVT_Headset_ChooseChannels, previous.encode(), b"", 0)
                else:  # an empty specification would choose the headset's own montage
                    self._call(lib.QVT_Headset_ForgetMontage)
                self._call(lib.QVT_Headset_ReallocateBuffers, _BUFFER_SECONDS, _AVERAGING_SECONDS)
            raise
        finally:
            self._montage_changes += 1

    @property
    def channel_kinds(self):
        """Per montage channel: "eeg" (every source a referential EEG
        electrode), "sensor" (another electrode input, in µV too), "trigger",
        or "other" (accelerometer and the like, in the library's own units)."""
        kinds = []
        for channel in self._channels():
            if lib.call(lib.QVT_Channel_IsReferentialEEG, channel) == 1:
                kinds.append("eeg")
                continue
            # Other channels are one source each, named after it; a renamed
            # one matches none and counts as "other".
            source = lib.QVT_Headset_GetSourceByName(self._handle, lib.QVT_Channel_GetName(channel))
            if source and lib.QVT_Source_IsTrigger(source) == 1:
                kinds.append("trigger")
            elif source and lib.QVT_Source_IsSensor(source) == 1:
                kinds.append("sensor")
            else:
                kinds.append("other")
        return kinds

    # ---- signals ----------------------------------------------------------------
    def start_background_acquisition(self):
        """Reads the link on a thread of the library's own from now on."""
        if not self._background:
            self._thread_streams = self._call(lib.QVT_Headset_GetDataAcquisitionMode) == 0
        if not self._call(lib.QVT_Headset_StartBackgroundAcquisition):
            raise QvtError("background acquisition could not be started")
        self._background = True

    def stop_background_acquisition(self):
        """Ends the library's thread; reads go on in the foreground."""
        self._call(lib.QVT_Headset_StopBackgroundAcquisition)
        self._background = False
        if self._thread_streams:
            # The thread stops the stream it started once it has read its
            # last block: a read before that would find a stream about to
            # end. Waiting for it leaves one the next read can start again.
            deadline = time.monotonic() + _STOP_WAIT
            while self._call(lib.QVT_Headset_GetDataAcquisitionMode) != 0 and time.monotonic() < deadline:
                time.sleep(_SLICE)
            self._thread_streams = False

    def _delivering_channels(self):
        channels = self._channels()
        # Without channels the library's waits would never return.
        if not channels:
            raise QvtError("the montage has no channels: choose some first")
        return channels

    def _take(self, channels, count):
        """count samples of every channel, oldest first, in µV, as lists."""
        return [[lib.call(lib.QVT_Channel_ReadBuffered, c) for _ in range(count)] for c in channels]

    def _start_streaming(self):
        if not self._background and self._call(lib.QVT_Headset_GetDataAcquisitionMode) != 1:
            self._call(lib.QVT_Headset_StartDataAcquisition)

    def _wait_for_samples(self, count):
        """Until count samples are buffered; QvtError when the link is lost.

        The library's own wait blocks in C for as long as it takes, for ever
        on a dead link, and Ctrl-C cannot reach it."""
        buffered = self._call(lib.QVT_Headset_GetNumberOfBufferedSamples)
        last_news = time.monotonic()
        while buffered < count:
            if self._background:
                time.sleep(_SLICE)
            else:
                self._start_streaming()  # someone may have stopped it meanwhile
                self._call(lib.QVT_Headset_Idle, _SLICE)
            before, buffered = buffered, self._call(lib.QVT_Headset_GetNumberOfBufferedSamples)
            if buffered != before:
                last_news = time.monotonic()
            elif time.monotonic() - last_news >= _QUIET:
                # Answers at once while data flows, else after an echo.
                if self._call(lib.QVT_Headset_IsConnected) != 1:
                    raise QvtError("the link to the headset is lost: no samples and no answer to an echo")
                last_news = time.monotonic()

    def read(self, seconds):
        """(data, times): data of shape (channels, samples) in µV, and the
        time of each sample in seconds since the link opened; no samples for
        0 seconds. Raises ValueError for a negative or non-finite duration."""
        if not 0 <= seconds < math.inf:
            raise ValueError(f"seconds must be a finite number of at least 0, not {seconds!r}")
        channels = self._delivering_channels()
        self._start_streaming()
        rate = self.sampling_rate
        count = max(1, int(seconds * rate + 0.5)) if seconds > 0 else 0
        # The library will not wait for more than its buffers hold, so a long
        # read is taken in parts, each well inside them.
        capacity = min(lib.call(lib.QVT_Channel_GetBufferCapacity, c) for c in channels)
        part = max(1, capacity // 2)
        rows = [[] for _ in channels]
        left = count
        while left > 0:
            size = min(left, part)
            self._wait_for_samples(size)
            for row, taken in zip(rows, self._take(channels, size)):
                row.extend(taken)
            left -= size
        end = self._call(lib.QVT_Headset_SecondsSinceConnection)
        times = [end - (count - k) / rate for k in range(count)]
        return _array(rows), _array(times)

    def to_mne(self, data):
        """data as read (channels, samples) in µV as an mne.io.RawArray; see
        qvt.mne.to_raw."""
        from . import mne as qvt_mne

        return qvt_mne.to_raw(
            data,
            self.channel_names,
            self.channel_kinds,
            self.sampling_rate,
            model=self.model,
            serial_number=self.serial_number,
        )

    def impedances(self, seconds=2.0):
        """{electrode: kOhm} with the impedance driver on while streaming for
        seconds. Every referential EEG electrode of the headset is there, in
        the montage or not, with None where the library has no estimate (for
        every electrode the montage does not read); the
        headset's own reference electrode is left out (it reads 0). The
        library's estimates are averages that ramp up over its averaging time
        (1 s unless changed), so measure at least that long."""
        channels = self._delivering_channels()
        self._call(lib.QVT_Headset_StartImpedanceDriver)
        try:
            # Samples buffered before the driver answered carry no carriers:
            # the estimates need seconds of new ones. Only the estimates
            # matter; the samples go.
            self._discard_buffered(channels)
            self.read(seconds)
            # Read before the driver stops: later samples reset the estimates.
            electrodes = {}
            for index in range(self._call(lib.QVT_Headset_GetNumberOfSources)):
                source = self._call(lib.QVT_Headset_GetSourceByIndex, index)
                if lib.call(lib.QVT_Source_IsReferentialEEG, source) != 1:
                    continue
                if lib.call(lib.QVT_Source_IsFactoryReference, source) == 1:
                    continue
                electrodes[_text(lib.call(lib.QVT_Source_GetName, source))] = source
            # The library estimates the electrodes the montage reads; the
            # others keep whatever estimate they had when last read.
            read = self._electrodes_read(channels, electrodes)
            found = {}
            for name, source in electrodes.items():
                kohm = lib.call(lib.QVT_Source_GetImpedanceEEG, source)
                found[name] = kohm if kohm >= 0 and name in read else None
        except BaseException:
            lib.QVT_Headset_StopImpedanceDriver(self._handle)
            raise
        self._call(lib.QVT_Headset_StopImpedanceDriver)
        # Samples still buffered carry the carriers; the next read should not.
        self._discard_buffered(channels)
        return found

    @staticmethod
    def _electrodes_read(channels, names):
        """The names among names that the channels' formulas use."""
        used = set()
        for channel in channels:
            # Terms such as "Fz", "-M1/2" or "+A2*3"; the longest name that
            # starts a term is its source (a weight may follow it directly).
            for term in re.split(r"[+-]", _text(lib.call(lib.QVT_Channel_GetString, channel))):
                starting = [name for name in names if term.startswith(name)]
                if starting:
                    used.add(max(starting, key=len))
        return used

    def _discard_buffered(self, channels):
        # Read rather than flushed: flushing would wait for a running thread.
        self._take(channels, self._call(lib.QVT_Headset_GetNumberOfBufferedSamples))

    def batches(self):
        """Yields (timestamp, data of shape (channels, batch size)), paced by
        the library at the headset's true rate. A new montage takes effect
        from the next batch."""
        channels = self._delivering_channels()
        changes = self._montage_changes
        self._start_streaming()
        rate = self.sampling_rate
        size = max(1, int(rate * 0.06 + 0.5))
        self._call(lib.QVT_Headset_ConfigureBatch, size, _BATCH_DELAY)
        # The library's wait for a batch is bounded once a batch is buffered;
        # the first also waits for the cushion it primes the buffers with.
        due = size + 4 + int(rate * _BATCH_DELAY + 0.5)
        while True:
            if self._montage_changes != changes:  # the channels fetched before are freed
                channels, changes = self._delivering_channels(), self._montage_changes
            self._wait_for_samples(due)
            due = size
            stamp = self._call(lib.QVT_Headset_WaitForBatch)
            yield stamp, _array(self._take(channels, size))

    def alarms(self):
        """The alarms queued since the last call, oldest first, taken off the
        queue: [(code, text)]. The text is the library's message without its
        prefix, or None when no message came: the library sends one only at
        a verbosity reaching the alarm's level (2 for most, 3 for start-up,
        connection and battery reports; those of the connection are always
        heard), and none after a queue overflow of 1000 codes."""
        return self._alarm_texts.take(lambda: self._call(lib.QVT_Headset_GetAlarm, 1))
