"""The C interface of libqvt as ctypes functions: qvt.lib.QVT_Headset_New and
every other exported function, with their argument and result types.

The library is looked for in this order: the QVT_LIBRARY environment variable
(a path), the build tree next to this package (build/lib/libqvt.so), then the
system's library path.
"""
import ctypes
import ctypes.util
import os
import signal
import threading

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


_TYPES = {
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


def _candidates():
    """(where, path) pairs in the order they are tried."""
    here = os.path.dirname(os.path.abspath(__file__))
    build = os.path.join(os.path.dirname(os.path.dirname(here)), "build", "lib", "libqvt.so")
    yield "QVT_LIBRARY", os.environ.get("QVT_LIBRARY")
    yield "the build tree", build if os.path.exists(build) else None
    yield "the system", ctypes.util.find_library("qvt")


def load():
    """The loaded library; OSError naming every place looked at when none is found."""
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


_library = load()
for _name, _result, _arguments in PROTOTYPES:
    _function = getattr(_library, _name)
    _function.restype = _TYPES[_result]
    _function.argtypes = [_TYPES[a] for a in _arguments]
    globals()[_name] = _function


# Errors: the library calls the error callback on the thread whose call
# failed, so each thread keeps its own last error and two threads with two
# headsets never see each other's.
_errors = threading.local()


@MESSAGE_CALLBACK
def _record_error(message, _level):
    _errors.message = message.decode("utf-8", "replace") if message else ""
    return 0


QVT_SetErrorCallback(_record_error)  # noqa: F821 (bound above)


def call(function, *arguments):
    """function(*arguments); a library failure on this thread raises QvtError."""
    from .errors import QvtError

    _errors.message = None
    result = function(*arguments)
    if _errors.message is not None:
        message, _errors.message = _errors.message, None
        raise QvtError(message)
    return result


def blocking_call(function, *arguments):
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

    def __init__(self):
        self.heard = None

    def __call__(self, signum, frame):
        self.heard = (signum, frame)
