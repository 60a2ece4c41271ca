"""A reentrant lock handed to waiting threads in the order they asked.

Python's own locks let the thread that releases one take it straight back:
a thread reading in a loop would keep a thread that wants to change the
montage waiting for ever. Here a release hands the lock to the longest
waiter.
"""
from __future__ import annotations

import collections
import threading
from types import TracebackType
from typing import Deque, Optional, Tuple, Type


class Turns:
    """A reentrant first-come, first-served lock; use it with ``with``."""

    def __init__(self) -> None:
        self._mutex = threading.Lock()
        self._owner: Optional[int] = None
        self._depth = 0
        self._waiting: Deque[Tuple[int, threading.Event]] = collections.deque()

    def acquire(self) -> None:
        """Waits for this thread's turn; at once when it holds the lock already."""
        me = threading.get_ident()
        with self._mutex:
            if self._owner == me:
                self._depth += 1
                return
            if self._owner is None and not self._waiting:
                self._owner, self._depth = me, 1
                return
            turn = threading.Event()
            self._waiting.append((me, turn))
        try:
            turn.wait()
        except BaseException:  # Ctrl-C while waiting: give the turn up
            with self._mutex:
                handed = (me, turn) not in self._waiting
                if not handed:
                    self._waiting.remove((me, turn))
            if handed:
                self.release()
            raise

    def release(self) -> None:
        """Gives the lock up, to the longest waiter when this is the last hold."""
        with self._mutex:
            if self._owner != threading.get_ident():
                raise RuntimeError("released by a thread that does not hold it")
            self._depth -= 1
            if self._depth > 0:
                return
            self._owner = None
            if self._waiting:
                owner, turn = self._waiting.popleft()
                self._owner, self._depth = owner, 1
                turn.set()

    def __enter__(self) -> "Turns":
        self.acquire()
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.release()
