"""qvt.Headset: one headset, its identity, montage and signals."""
from __future__ import annotations

import ctypes
import logging
import threading
import time
from typing import Any, Callable, List, Optional, Sequence, Tuple, Type, Union

from . import lib
from ._signals import Signals
from ._turns import Turns
from .alarms import Alarm, take_alarms
from .block import Array, Block, Timeline
from .errors import HeadsetRefusedError, InvalidArgumentError, LinkLostError, QvtError

_logger = logging.getLogger("qvt")

# The buffer and impedance-averaging durations this package keeps: a
# montage change rebuilds the buffers with them.
_BUFFER_SECONDS = 10.0
_AVERAGING_SECONDS = 1.0
# The headset's own time stamp of each sample, read as one more montage
# channel behind the caller's.
_TIME_CHANNEL = b"SND"
_SAMPLES_COME_WITHIN = 0.1  # seconds: several blocks of the slowest stream


def _log_level(level: int) -> int:
    """Library levels 1-2 are problems, 3 notices, 4 and up details."""
    return logging.WARNING if level <= 2 else logging.INFO if level == 3 else logging.DEBUG


def _message_callback() -> Any:
    """A message callback that hands the library's messages to logging."""

    def deliver(message: Optional[bytes], level: int) -> int:
        # Runs on the library's threads: nothing may escape into C.
        try:
            _logger.log(_log_level(level), "%s", lib.text(message))
        except Exception:  # pylint: disable=broad-except
            pass
        return 0

    return lib.MESSAGE_CALLBACK(deliver)


class Headset(Signals):
    """A connected headset.

    Use it as a context manager, or call `close`; it is also freed when
    garbage-collected. It may be used from several threads: calls that touch
    the montage or the signals take turns, in the order they were made, so
    a montage changed while another thread reads takes effect between two
    reads.

    Parameters
    ----------
    port : str, optional
        The serial device, such as "/dev/rfcomm0"; None for the one the
        QVTSerialPort environment variable names.

    Raises
    ------
    TypeError
        When port is neither a str nor None.
    QvtError
        When the port cannot be opened or the headset does not answer; the
        message is the library's.
    OSError
        When libqvt cannot be found.
    """

    def __init__(self, port: Optional[str] = None) -> None:
        if port is not None and not isinstance(port, str):
            raise TypeError(f"port must be a str naming the serial device, or None, not {port!r}")
        self._handle: Optional[int] = None
        self._turns = Turns()
        self._closing_lock = threading.Lock()
        self._closing = False
        self._woken = threading.Event()
        self._verbosity = 2
        self._acquiring = False  # the library's acquisition thread reads for this package
        self._streaming = False  # this package started the data stream
        self._channels = 0  # montage channels, the time channel included
        self._capacity = 0  # samples each channel buffers
        self._montage_changes = 0
        self._timeline = Timeline(1.0)
        handle = lib.call(lib.QVT_Headset_New, None)
        if not handle:
            raise QvtError("the headset could not be created")
        self._handle = handle
        # Kept here: the library holds only a pointer to it.
        self._message_callback = _message_callback()
        try:
            # Made unconnected and connected once the callback is set, so
            # that the connection's own messages come to it too.
            self._call(lib.QVT_Headset_SetMessageCallback, self._message_callback)
            self._call(lib.QVT_Headset_SetVerbosity, self._verbosity)
            self._call(lib.QVT_Headset_Connect, b"DEFAULT" if port is None else port.encode())
            self._timeline = Timeline(self._call(lib.QVT_Headset_GetSamplingRate))
            self._add_time_channel()
        except BaseException:
            self.close()
            raise

    # ---- calls into the library -------------------------------------------------
    def _call(self, function: Callable[..., Any], *arguments: Any, kind: Type[QvtError] = QvtError) -> Any:
        """function(handle, *arguments); a failure raises kind, or
        LinkLostError when the link is lost."""
        handle = self._handle
        if handle is None:
            raise QvtError("the headset is closed")
        try:
            return lib.blocking_call(function, handle, *arguments)
        except QvtError as error:
            raise self._kind_of(error, kind) from None

    def _kind_of(self, error: QvtError, kind: Type[QvtError]) -> QvtError:
        """The error as the subclass the link's state and the call tell.

        The library takes the link for lost when a command goes unanswered
        and also when the headset keeps refusing it; samples that still come
        tell the second case."""
        if type(error) is not QvtError or self._handle is None:
            return error
        if lib.QVT_Headset_GetLinkState(self._handle, None) != lib.LINK_LOST:
            return kind(str(error))
        if kind is HeadsetRefusedError and self._samples_come():
            return kind(str(error))
        return LinkLostError(str(error))

    def _samples_come(self) -> bool:
        if not self._acquiring:
            return False
        before = lib.QVT_Headset_GetNumberOfBufferedSamples(self._handle)
        time.sleep(_SAMPLES_COME_WITHIN)
        return bool(lib.QVT_Headset_GetNumberOfBufferedSamples(self._handle) != before)

    def close(self) -> None:
        """Stops everything and frees the headset; safe to call twice and
        from any thread (a read in progress ends with QvtError)."""
        with self._closing_lock:
            first = self._handle is not None and not self._closing
            if first:
                self._closing = True
                self._woken.set()
                lib.QVT_Headset_WakeWaiters(self._handle)
        with self._turns:
            if not first or self._handle is None:
                return
            handle, self._handle = self._handle, None
            lib.blocking_call(lib.QVT_Headset_SetMessageCallback, handle, lib.MESSAGE_CALLBACK(0))
            lib.blocking_call(lib.QVT_Headset_Delete, handle)

    def __enter__(self) -> "Headset":
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # pylint: disable=broad-except
            pass

    # ---- identity ---------------------------------------------------------------
    @property
    def model(self) -> str:
        """The headset's model, such as "VirtualHeadset"; "???" until it reports it."""
        return lib.text(self._call(lib.QVT_Headset_GetHardwareModel))

    @property
    def serial_number(self) -> int:
        """The headset's serial number; -1 until it reports it."""
        return int(self._call(lib.QVT_Headset_GetSerialNumber))

    @property
    def sampling_rate(self) -> float:
        """Samples per second of every channel (Hz)."""
        return float(self._call(lib.QVT_Headset_GetSamplingRate))

    @property
    def firmware(self) -> str:
        """The firmware revisions the headset reported."""
        return lib.text(self._call(lib.QVT_Headset_GetFirmwareRevision))

    @property
    def battery(self) -> Tuple[float, float]:
        """The charge of the two batteries in percent; -1.0 until reported."""
        return (float(self._call(lib.QVT_Headset_GetBatteryLevel, 1)),
                float(self._call(lib.QVT_Headset_GetBatteryLevel, 2)))

    @property
    def info(self) -> str:
        """Everything the library knows of the headset, as its text report."""
        return lib.text(self._call(lib.QVT_Headset_GetInfoString))

    @property
    def reference(self) -> str:
        """The formula channels of one electrode are read against, such as
        "M1/2+M2/2"."""
        with self._turns:
            return lib.text(self._call(lib.QVT_Headset_GetReferenceString))

    @property
    def source_names(self) -> List[str]:
        """The names of the headset's electrode inputs."""
        with self._turns:
            return lib.text(self._call(lib.QVT_Headset_GetSourceNames, 3)).split()

    @property
    def verbosity(self) -> int:
        """Messages of the library up to this level, 0 to 7, reach the
        "qvt" logger (2 by default: problems; 3 adds a notice per command,
        5 one per packet).

        Raises
        ------
        TypeError
            When set to anything but an int.
        ValueError
            When set outside 0 to 7.
        """
        return self._verbosity

    @verbosity.setter
    def verbosity(self, level: int) -> None:
        if isinstance(level, bool) or not isinstance(level, int):
            raise TypeError(f"verbosity must be an int from 0 to 7, not {level!r}")
        if not 0 <= level <= 7:
            raise ValueError(f"verbosity must be from 0 to 7, not {level}")
        self._call(lib.QVT_Headset_SetVerbosity, level)
        self._verbosity = level

    # ---- montage ----------------------------------------------------------------
    def _montage_channels(self) -> List[int]:
        """The caller's montage channels, the time channel left out."""
        return [self._call(lib.QVT_Headset_GetChannelByIndex, i) for i in range(self._channels - 1)]

    def _formulas(self) -> List[str]:
        return [lib.text(lib.call(lib.QVT_Channel_GetString, c)) for c in self._montage_channels()]

    @property
    def channel_names(self) -> List[str]:
        """The library's name of each montage channel: its first source's,
        such as "Fz" for "Fz-Cz"."""
        with self._turns:
            return [lib.text(lib.call(lib.QVT_Channel_GetName, c)) for c in self._montage_channels()]

    @property
    def montage(self) -> List[str]:
        """The channels' formulas, such as ``["Fz-Cz", "O1-M1/2-M2/2"]``.

        Set it to channel specifications ("Fz", "Fz-Cz", "A1/2+A2/2"), as a
        list or as one str of them separated by blanks; a channel of one
        electrode is read against the current reference. A change waits for
        a read in progress on another thread and starts the buffers afresh.

        Raises
        ------
        TypeError
            When set to anything but a str or a list or tuple of str.
        ValueError
            When set to no channels at all.
        InvalidArgumentError
            When the library refuses a specification; the message says which,
            and the montage stays as it was.
        """
        with self._turns:
            return self._formulas()

    @montage.setter
    def montage(self, specifications: Union[str, Sequence[str]]) -> None:
        if isinstance(specifications, str):
            specifications = specifications.split()
        elif not isinstance(specifications, (list, tuple)) or not all(isinstance(s, str) for s in specifications):
            raise TypeError(f"a montage is a list of str or one str, not {specifications!r}")
        if not specifications:
            raise ValueError("a montage needs at least one channel, such as [\"Fz-Cz\", \"O1\"]")
        with self._turns:
            resume = self._pause_acquisition()
            try:
                previous = self._formulas()
                try:
                    self._call(lib.QVT_Headset_ChooseChannels, " ".join(specifications).encode(), b"", 0,
                               kind=InvalidArgumentError)
                except QvtError:
                    # The library keeps the channels that worked: put back
                    # what the caller had.
                    self._call(lib.QVT_Headset_ForgetMontage)
                    if previous:
                        self._call(lib.QVT_Headset_ChooseChannels, " ".join(previous).encode(), b"", 0)
                    raise
                finally:
                    self._add_time_channel()
            finally:
                if resume:
                    self._start_acquisition()

    def _add_time_channel(self) -> None:
        """Puts the time channel behind the montage and makes the buffers afresh."""
        self._call(lib.QVT_Headset_AddChannelToMontage_FromString, _TIME_CHANNEL, 0)
        # Rebuilt rather than flushed: a flush restarts the impedance sums
        # while the averaged samples stay, and estimates would read near 0.
        self._call(lib.QVT_Headset_ReallocateBuffers, _BUFFER_SECONDS, _AVERAGING_SECONDS)
        self._channels = self._call(lib.QVT_Headset_GetNumberOfChannels)
        self._capacity = lib.call(lib.QVT_Channel_GetBufferCapacity,
                                  self._call(lib.QVT_Headset_GetChannelByIndex, 0))
        self._montage_changes += 1
        self._timeline.restart()

    @property
    def channel_kinds(self) -> List[str]:
        """Per montage channel: "eeg" (every source a referential EEG
        electrode), "sensor" (another electrode input, in µV too), "trigger",
        or "other" (accelerometer and the like, in the library's own units)."""
        kinds = []
        with self._turns:
            for channel in self._montage_channels():
                if lib.call(lib.QVT_Channel_IsReferentialEEG, channel) == 1:
                    kinds.append("eeg")
                    continue
                # Other channels are one source each, named after it; a
                # renamed one matches none and counts as "other".
                source = lib.QVT_Headset_GetSourceByName(self._handle, lib.QVT_Channel_GetName(channel))
                if source and lib.QVT_Source_IsTrigger(source) == 1:
                    kinds.append("trigger")
                elif source and lib.QVT_Source_IsSensor(source) == 1:
                    kinds.append("sensor")
                else:
                    kinds.append("other")
        return kinds

    def to_mne(self, data: Union[Block, Array]) -> Any:
        """The samples as an MNE raw object.

        Parameters
        ----------
        data : Block or numpy.ndarray, shape (n_channels, n_samples)
            Samples as `read` gives them, in µV.

        Returns
        -------
        mne.io.RawArray
            See `qvt.mne_raw.to_raw`: channels of one electrode against the
            reference are named after the electrode and placed on the scalp,
            the others keep their formula ("Fz-Cz") and have no place.

        Raises
        ------
        ValueError
            When data does not have one row per channel.
        """
        from .mne_raw import to_raw

        if isinstance(data, Block):
            data = data.data
        with self._turns:
            return to_raw(data, self.channel_names, self.channel_kinds, self.sampling_rate, model=self.model,
                          serial_number=self.serial_number, formulas=self._formulas(), reference=self.reference)

    def alarms(self) -> List[Alarm]:
        """The alarms the headset raised since the last call, oldest first,
        taken off the library's queue (which keeps the last 1000).

        Returns
        -------
        list of Alarm
            Each with its code, text, name, time and parameters; the text
            is there whatever the verbosity.
        """
        return take_alarms(lambda record: int(self._call(lib.QVT_Headset_GetAlarmRecord, ctypes.byref(record), 1)))
