"""Alarms of a headset as the library queues them."""
from __future__ import annotations

import ctypes
from typing import Callable, List, NamedTuple, Tuple

from . import lib


class Alarm(NamedTuple):
    """One alarm the headset raised.

    Parameters
    ----------
    code : int
        The alarm's code: its species times 256 plus its number.
    text : str
        The library's description, such as "Battery voltage: battery 1 = 87%, ...".
    name : str
        The alarm's name, such as "LowBattery".
    time : float
        Seconds since the link opened when it arrived.
    parameters : tuple of int
        The numbers the headset sent with it.
    """

    code: int
    text: str
    name: str
    time: float
    parameters: Tuple[int, ...]


def take_alarms(take: Callable[[ctypes.Structure], int]) -> List[Alarm]:
    """Every queued alarm, oldest first, each taken off the queue by take(record)."""
    record = lib.AlarmRecord()
    alarms = []
    while take(record) == 1:
        count = max(0, min(record.parameterCount, len(record.parameters)))
        alarms.append(Alarm(record.code, record.text.decode("utf-8", "replace"),
                            record.name.decode("utf-8", "replace"), record.time,
                            tuple(record.parameters[:count])))
    return alarms
