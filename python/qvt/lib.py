"""The C interface of libqvt as ctypes functions: qvt.lib.QVT_Headset_New and
every other exported function, with their argument and result types.

The library is loaded when one of its functions is first asked for, so that
the parts of the package that only read files (qvt.plot, qvt.mne) work on a
machine without it. It is looked for in this order: the QVT_LIBRARY
environment variable (a path), the build tree next to this package
(build/lib/libqvt.so), then the system's library path.
"""
from __future__ import annotations

import ctypes
import ctypes.util
import os
import signal
import threading
from types import FrameType
from typing import Any, Callable, Dict, Iterator, List, Optional, Tuple

from ._prototypes import PROTOTYPES

HEADSET = CHANNEL = SOURCE = STAGE = ctypes.c_void_p
MESSAGE_CALLBACK = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_char_p, ctypes.c_int)
SAMPLE_CALLBACK = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_double, ctypes.c_void_p)
STAGE_FUNCTION = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_double, ctypes.c_void_p)


class AlarmRecord(ctypes.Structure):
    """One queued alarm as the library hands it out."""

    _fields_ = [
        ("code", ctypes.c_int),
        ("parameterCount", ctypes.c_int),
        ("parameters", ctypes.c_int * 63),
        ("time", ctypes.c_double),
        ("name", ctypes.c_char * 48),
        ("text", ctypes.c_char * 256),
    ]


# Link states of QVT_Headset_GetLinkState and results of the bounded waits.
LINK_CLOSED, LINK_CONNECTED, LINK_STREAMING, LINK_LOST = 1, 2, 3, 4
WAIT_READY, WAIT_TIMEOUT, WAIT_WOKEN = 1, 2, 3

_TYPES: Dict[str, Any] = {
    "None": None,
    "c_int": ctypes.c_int,
    "c_uint": ctypes.c_uint,
    "c_ulong": ctypes.c_ulong,
    "c_size_t": ctypes.c_size_t,
    "c_double": ctypes.c_double,
    "c_char_p": ctypes.c_char_p,
    "c_void_p": ctypes.c_void_p,
    "HEADSET": HEADSET,
    "CHANNEL": CHANNEL,
    "SOURCE": SOURCE,
    "STAGE": STAGE,
    "MESSAGE_CALLBACK": MESSAGE_CALLBACK,
    "SAMPLE_CALLBACK": SAMPLE_CALLBACK,
    "STAGE_FUNCTION": STAGE_FUNCTION,
    "DOUBLE_POINTER": ctypes.POINTER(ctypes.c_double),
    "ULONG_POINTER": ctypes.POINTER(ctypes.c_ulong),
    "ULONGLONG_POINTER": ctypes.POINTER(ctypes.c_ulonglong),
    "CHANNEL_ARRAY": ctypes.POINTER(ctypes.c_void_p),
    "ALARM_RECORD_POINTER": ctypes.POINTER(AlarmRecord),
}


def _candidates() -> Iterator[Tuple[str, Optional[str]]]:
    """(where, path) pairs in the order they are tried."""
    here = os.path.dirname(os.path.abspath(__file__))
    build = os.path.join(os.path.dirname(os.path.dirname(here)), "build", "lib", "libqvt.so")
    yield "QVT_LIBRARY", os.environ.get("QVT_LIBRARY")
    yield "the build tree", build if os.path.exists(build) else None
    yield "the system", ctypes.util.find_library("qvt")


def load() -> ctypes.CDLL:
    """The library, loaded from the first place that has it.

    Returns
    -------
    ctypes.CDLL
        The loaded library, its functions not yet typed.

    Raises
    ------
    OSError
        When no place has a library that loads; the message names every
        place looked at.
    """
    tried = []
    for where, path in _candidates():
        if not path:
            tried.append(f"{where}: nothing there")
            continue
        try:
            return ctypes.CDLL(path)
        except OSError as error:
            tried.append(f"{where}: {error}")
    raise OSError("libqvt was not found; looked at " + "; ".join(tried))


_functions: Dict[str, Any] = {}
_loading = threading.Lock()

# Errors: the library calls the error callback on the thread whose call
# failed, so each thread keeps its own last error and two threads with two
# headsets never see each other's.
_errors = threading.local()


def _on_error(message: Optional[bytes], _level: int) -> int:
    _errors.message = message.decode("utf-8", "replace") if message else ""
    return 0


_record_error = MESSAGE_CALLBACK(_on_error)


def _bind() -> Dict[str, Any]:
    """Every function of the interface, typed, the library loaded on first use."""
    with _loading:
        if not _functions:
            library = load()
            bound = {}
            for name, result, arguments in PROTOTYPES:
                function = getattr(library, name)
                function.restype = _TYPES[result]
                function.argtypes = [_TYPES[a] for a in arguments]
                bound[name] = function
            bound["QVT_SetErrorCallback"](_record_error)
            _functions.update(bound)
    return _functions


def __getattr__(name: str) -> Any:
    """qvt.lib.QVT_...: the library's function of that name."""
    if not name.startswith(("QVT_", "Load_QVT_API")):
        raise AttributeError(f"module 'qvt.lib' has no attribute {name!r}")
    try:
        return _bind()[name]
    except KeyError:
        raise AttributeError(f"libqvt has no function {name!r}") from None


def loaded() -> bool:
    """Whether the library has been loaded into this process."""
    return bool(_functions)


def text(raw: Optional[bytes]) -> str:
    """A string the library returned, decoded; "" for NULL."""
    return raw.decode("utf-8", "replace") if raw is not None else ""


def call(function: Callable[..., Any], *arguments: Any) -> Any:
    """function(*arguments), raising what the library reports.

    Parameters
    ----------
    function : ctypes function
        One of the library's functions.
    *arguments
        Its arguments.

    Returns
    -------
    object
        What the function returned.

    Raises
    ------
    QvtError
        When the library reports a failure of this call on this thread; the
        message is the library's own.
    """
    from .errors import QvtError

    _errors.message = None
    result = function(*arguments)
    if _errors.message is not None:
        message, _errors.message = _errors.message, None
        raise QvtError(message)
    return result


def blocking_call(function: Callable[..., Any], *arguments: Any) -> Any:
    """call(function, *arguments) with Ctrl-C held back until the library
    returns. Its usual handler would raise KeyboardInterrupt inside whichever
    callback runs Python on this thread meanwhile, and ctypes prints and
    drops exceptions of callbacks; the handler runs after the call instead."""
    if threading.current_thread() is not threading.main_thread():
        return call(function, *arguments)  # signals reach the main thread only
    previous = signal.getsignal(signal.SIGINT)
    if not callable(previous) or isinstance(previous, _Holder):
        return call(function, *arguments)
    holder = _Holder()
    signal.signal(signal.SIGINT, holder)
    try:
        return call(function, *arguments)
    finally:
        signal.signal(signal.SIGINT, previous)
        if holder.heard:
            previous(*holder.heard)


class _Holder:
    """A SIGINT handler that only notes the signal."""

    def __init__(self) -> None:
        self.heard: List[Any] = []

    def __call__(self, signum: int, frame: Optional[FrameType]) -> None:
        self.heard = [signum, frame]
