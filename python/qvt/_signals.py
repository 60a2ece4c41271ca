"""The signals of a headset: the acquisition thread, reads, paced batches
and impedances. A part of qvt.Headset, kept apart for its size."""
from __future__ import annotations

import ctypes
import math
import threading
import time
from typing import Any, Callable, Dict, Iterator, List, Optional, Type

import numpy

from . import lib
from ._formulas import weights
from ._turns import Turns
from .block import Block, Timeline
from .errors import HeadsetRefusedError, QvtError, QvtTimeoutError

# The longest single wait inside the library: Ctrl-C is heard between two.
_SLICE = 0.2
_BATCH_SECONDS = 0.06  # the library's own batch length
_BATCH_DELAY = 0.05  # seconds of signal the library keeps buffered behind batches
_DOUBLES = ctypes.POINTER(ctypes.c_double)
# How long before the samples are due a read hands its wait to the library:
# a block of the link carries 10 ms of them.
_EARLY = 0.005


def _seconds(value: float, what: str) -> float:
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise TypeError(f"{what} must be a number of seconds, not {value!r}")
    if not 0 <= value < math.inf:
        raise ValueError(f"{what} must be a finite number of at least 0, not {value!r}")
    return float(value)


class Signals:
    """Reading a headset's signals; qvt.Headset provides what is declared here."""

    _handle: Optional[int]
    _turns: Turns
    _closing: bool
    _woken: threading.Event  # set when the headset closes
    _acquiring: bool  # the library's acquisition thread reads for this package
    _streaming: bool  # this package started the data stream
    _channels: int  # montage channels, the time channel included
    _capacity: int  # samples each channel buffers
    _montage_changes: int
    _timeline: Timeline

    def _call(self, function: Callable[..., Any], *arguments: Any, kind: Type[QvtError] = QvtError) -> Any:
        raise NotImplementedError

    def _kind_of(self, error: QvtError, kind: Type[QvtError]) -> QvtError:
        raise NotImplementedError

    def _formulas(self) -> List[str]:
        raise NotImplementedError

    def _start_acquisition(self) -> None:
        """The library's thread reads the link from now on, the stream
        started here so that the thread leaves it running when it stops."""
        if self._acquiring:
            return
        if self._call(lib.QVT_Headset_GetDataAcquisitionMode) != 1:
            self._call(lib.QVT_Headset_StartDataAcquisition, kind=HeadsetRefusedError)
            self._streaming = True
            self._timeline.restart()  # nothing came while the stream stood still
        if not self._call(lib.QVT_Headset_StartBackgroundAcquisition):
            raise QvtError("background acquisition could not be started")
        self._acquiring = True

    def _pause_acquisition(self) -> bool:
        """Asks the thread to end, so that the montage and the buffers may
        change; whether it was running."""
        if not self._acquiring:
            return False
        self._call(lib.QVT_Headset_StopBackgroundAcquisition)
        self._acquiring = False
        return True

    def start_background_acquisition(self) -> None:
        """Starts the data stream and the library's thread that reads it.

        `read`, `batches` and `impedances` do this themselves; from then on
        samples are buffered whether or not anyone reads, up to 10 s.

        Raises
        ------
        HeadsetRefusedError
            When the headset refuses to stream.
        """
        with self._turns:
            self._start_acquisition()

    def stop_background_acquisition(self) -> None:
        """Stops the library's thread and the data stream this package
        started; what is buffered stays to be read, and the next read starts
        both again."""
        with self._turns:
            self._pause_acquisition()
            if self._streaming:
                self._call(lib.QVT_Headset_StopDataAcquisition, kind=HeadsetRefusedError)
                self._streaming = False

    # ---- signals ----------------------------------------------------------------
    def _take(self, count: int) -> Block:
        """Up to count samples of every channel, in one call of the library."""
        out = numpy.empty((self._channels, count))
        taken = self._call(lib.QVT_Headset_ReadChannels, None, 0, out.ctypes.data_as(_DOUBLES), count, None)
        if taken < count:
            out = numpy.ascontiguousarray(out[:, :taken])
        times = out[-1]
        return Block(out[:-1], times, self._timeline.gaps(times))

    def _wait(self, wait: Callable[[float], int], deadline: Optional[float], what: str) -> None:
        """Calls wait(seconds) until it reports READY, in slices."""
        while True:
            if self._closing:
                raise QvtError("the headset is being closed")
            left = _SLICE if deadline is None else min(_SLICE, deadline - time.monotonic())
            if left <= 0:
                raise QvtTimeoutError(f"{what} did not come in time")
            result = wait(left)
            if result == lib.WAIT_READY:
                return
            if result not in (lib.WAIT_TIMEOUT, lib.WAIT_WOKEN):
                raise self._kind_of(QvtError(f"the wait for {what} failed"), QvtError)

    def _sleep_until_due(self, count: int, deadline: Optional[float]) -> None:
        """Sleeps through the part of a wait for count samples that the
        sampling rate makes certain, sparing the library's wait the wake-up
        of every block that comes before; the library still decides when
        the samples are there."""
        missing = count - int(lib.call(lib.QVT_Headset_GetNumberOfBufferedSamples, self._handle))
        seconds = missing / self._timeline.rate - _EARLY
        if deadline is not None:
            seconds = min(seconds, deadline - time.monotonic())
        if seconds > 0:
            self._woken.wait(seconds)

    def _read(self, seconds: float, timeout: Optional[float]) -> Block:
        self._start_acquisition()
        count = int(seconds * self._timeline.rate + 0.5)
        deadline = None if timeout is None else time.monotonic() + timeout
        # The library will not wait for more than its buffers hold, so a
        # long read is taken in parts, each well inside them.
        part = max(1, self._capacity // 2)
        blocks = []
        left = count
        while left > 0:
            size = min(left, part)
            self._sleep_until_due(size, deadline)
            self._wait(lambda limit: int(self._call(lib.QVT_Headset_WaitForSamplesTimeout, size, limit, None)),
                       deadline, f"{size} samples")
            blocks.append(self._take(size))
            left -= blocks[-1].times.size
        if not blocks:
            return Block(numpy.empty((self._channels - 1, 0)), numpy.empty(0))
        return Block.joined(blocks)

    def read(self, seconds: float, timeout: Optional[float] = None) -> Block:
        """The next seconds of signal of every montage channel.

        Samples are buffered from the first read on, so that those between
        two reads are not lost: each read continues where the last one ended,
        for up to 10 s between them. Longer pauses, and samples lost on the
        link, show as gaps in the times and in ``lost``.

        Parameters
        ----------
        seconds : float
            How much signal, in seconds: seconds times the sampling rate
            samples, rounded; 0 for none.
        timeout : float, optional
            The longest the read may wait for its samples, in seconds; None
            to wait as long as the link lives.

        Returns
        -------
        Block
            ``data, times``: data of shape (n_channels, n_samples), float64,
            electrodes in µV; times in seconds on the headset's clock;
            ``block.lost`` and ``block.gaps`` tell which samples never came.

        Raises
        ------
        TypeError, ValueError
            When seconds or timeout is not a finite number of at least 0.
        QvtTimeoutError
            When the samples did not come within timeout; those that did stay
            buffered for the next read.
        LinkLostError
            When the link is lost (the library asks a silent headset for an
            echo after 5 s).
        QvtError
            When the headset is closed meanwhile, or the library refuses.
        """
        seconds = _seconds(seconds, "seconds")
        if timeout is not None:
            timeout = _seconds(timeout, "timeout")
        with self._turns:
            return self._read(seconds, timeout)

    def batches(self, timeout: Optional[float] = None) -> Iterator[Block]:
        """Blocks of 60 ms of signal, paced by the library at the headset's
        true rate.

        The first batch drops what was buffered beyond a short cushion, so
        that batches follow the signal closely; a new montage takes effect
        from the next batch. Other threads may use the headset between two
        batches.

        Parameters
        ----------
        timeout : float, optional
            The longest to wait for each batch, in seconds; None to wait as
            long as the link lives.

        Yields
        ------
        Block
            ``data, times`` of one batch, as `read` gives them.

        Raises
        ------
        QvtTimeoutError, LinkLostError, QvtError
            As `read`.
        """
        if timeout is not None:
            timeout = _seconds(timeout, "timeout")
        configured = 0
        time_of_batch = ctypes.c_double()
        due = time.monotonic()
        while True:
            # The next batch is not released before a batch's time after
            # the last: slept here rather than in the library's wait, which
            # wakes with every block the acquisition thread reads.
            self._woken.wait(max(0.0, due - time.monotonic()))
            with self._turns:
                self._start_acquisition()
                size = max(1, int(self._timeline.rate * _BATCH_SECONDS + 0.5))
                if configured != self._montage_changes:
                    self._call(lib.QVT_Headset_ConfigureBatch, size, _BATCH_DELAY)
                    configured = self._montage_changes
                deadline = None if timeout is None else time.monotonic() + timeout
                self._wait(lambda limit: int(self._call(lib.QVT_Headset_WaitForBatchTimeout, limit,
                                                        ctypes.byref(time_of_batch))), deadline, "a batch")
                block = self._take(size)
            due = time.monotonic() + size / self._timeline.rate - _EARLY
            yield block

    def impedances(self, seconds: float = 2.0, timeout: Optional[float] = None) -> Dict[str, Optional[float]]:
        """Electrode impedances, measured with the impedance driver on.

        Waits for a read in progress on another thread to end. The samples
        taken while measuring are dropped, and the next read starts after
        them.

        Parameters
        ----------
        seconds : float, optional
            How long to measure. The library's estimates are averages that
            ramp up over its averaging time (1 s), so measure at least that.
        timeout : float, optional
            As for `read`.

        Returns
        -------
        dict of str to float or None
            {electrode: kOhm} for every referential EEG electrode of the
            headset but its own reference electrode (which reads 0), with
            None where the library has no estimate: for every electrode the
            montage does not read.

        Raises
        ------
        HeadsetRefusedError
            When the headset refuses to switch the driver.
        QvtTimeoutError, LinkLostError, QvtError
            As `read`.
        """
        seconds = _seconds(seconds, "seconds")
        with self._turns:
            self._start_acquisition()
            self._call(lib.QVT_Headset_StartImpedanceDriver, kind=HeadsetRefusedError)
            try:
                # Samples buffered before the driver answered carry no
                # carriers: the estimates need seconds of new ones.
                self._discard()
                self._read(seconds, timeout)
                # Read before the driver stops: later samples reset them.
                found = self._estimates()
            except BaseException:
                lib.QVT_Headset_StopImpedanceDriver(self._handle)
                raise
            self._call(lib.QVT_Headset_StopImpedanceDriver, kind=HeadsetRefusedError)
            # Samples still buffered carry the carriers; the next read should not.
            self._discard()
            self._timeline.restart()
            return found

    def _estimates(self) -> Dict[str, Optional[float]]:
        read = set()
        for formula in self._formulas():
            read |= set(weights(formula) or {})
        found: Dict[str, Optional[float]] = {}
        for index in range(self._call(lib.QVT_Headset_GetNumberOfSources)):
            source = self._call(lib.QVT_Headset_GetSourceByIndex, index)
            if lib.call(lib.QVT_Source_IsReferentialEEG, source) != 1:
                continue
            if lib.call(lib.QVT_Source_IsFactoryReference, source) == 1:
                continue
            name = lib.text(lib.call(lib.QVT_Source_GetName, source))
            # The others keep whatever estimate they had when last read.
            kohm = lib.call(lib.QVT_Source_GetImpedanceEEG, source)
            found[name] = float(kohm) if kohm >= 0 and name in read else None
        return found

    def _discard(self) -> None:
        self._take(self._capacity)
