"""Blocks of samples as Headset.read and Headset.batches give them, and the
timeline that tells from the headset's own time stamps which samples never
came."""
from __future__ import annotations

from typing import Any, List, Optional, Sequence, Tuple, cast

import numpy
import numpy.typing

Array = numpy.typing.NDArray[numpy.float64]


class Block(Tuple[Array, Array]):
    """Samples of every montage channel with the time of each.

    A block unpacks as ``data, times = block``; ``block.gaps`` and
    ``block.lost`` tell which samples never came.

    Parameters
    ----------
    data : numpy.ndarray of float64, shape (n_channels, n_samples)
        The samples, electrode channels in µV, triggers and accelerometer in
        the library's own units.
    times : numpy.ndarray of float64, shape (n_samples,)
        Each sample's time in seconds on the headset's own clock. Consecutive
        samples lie one sampling period apart unless samples were lost
        between them.
    gaps : list of (int, int), optional
        ``(index, count)``: ``count`` samples were lost just before sample
        ``index``; index 0 means between the previous block and this one.
    """

    gaps: List[Tuple[int, int]]

    def __new__(cls, data: Array, times: Array, gaps: Sequence[Tuple[int, int]] = ()) -> "Block":
        block = super().__new__(cls, cast(Any, (data, times)))
        block.gaps = list(gaps)
        return block

    @property
    def data(self) -> Array:
        """The samples, shape (n_channels, n_samples)."""
        return self[0]

    @property
    def times(self) -> Array:
        """Each sample's time in seconds on the headset's clock."""
        return self[1]

    @property
    def lost(self) -> int:
        """Samples lost before and among these: the sum of the gaps' counts."""
        return sum(count for _, count in self.gaps)

    @staticmethod
    def joined(blocks: Sequence["Block"]) -> "Block":
        """One block of the samples of several.

        Parameters
        ----------
        blocks : sequence of Block
            Blocks that follow each other, at least one.

        Returns
        -------
        Block
            Their samples in order, with every gap at its place.
        """
        if len(blocks) == 1:
            return blocks[0]
        gaps = []
        offset = 0
        for block in blocks:
            gaps += [(offset + index, count) for index, count in block.gaps]
            offset += block.times.size
        return Block(numpy.hstack([b.data for b in blocks]), numpy.concatenate([b.times for b in blocks]), gaps)


class Timeline:
    """Which samples never came, told by their time stamps.

    Consecutive samples lie one period apart, so a longer step hides samples
    lost on the way. A step backwards or of no time is a restarted clock, not
    a gap: the line goes on from it.
    """

    def __init__(self, rate: float) -> None:
        self.rate = rate
        self._last: Optional[float] = None

    def restart(self) -> None:
        """Forgets the last stamp: the next block starts a new line."""
        self._last = None

    def gaps(self, times: Array) -> List[Tuple[int, int]]:
        """(index, count) of the samples missing before each of times."""
        if times.size == 0:
            return []
        first = times[0] - 1.0 / self.rate if self._last is None else self._last
        self._last = float(times[-1])
        steps = numpy.empty(times.size)
        steps[0] = times[0] - first
        numpy.subtract(times[1:], times[:-1], out=steps[1:])
        missing: Any = numpy.rint(steps * self.rate) - 1.0
        return [(int(i), int(missing[i])) for i in numpy.flatnonzero(missing >= 1.0)]
