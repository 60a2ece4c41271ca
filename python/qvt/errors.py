"""The exceptions a failing library call raises, by what went wrong."""


class QvtError(Exception):
    """A call into libqvt failed; the text is the library's own message."""


class LinkLostError(QvtError):
    """The link to the headset is lost: reconnect (open a new Headset)."""


class HeadsetRefusedError(QvtError):
    """The headset refused a command, or did not answer it in time."""


class InvalidArgumentError(QvtError, ValueError):
    """The library refused an argument, such as a montage naming no source."""


class QvtTimeoutError(QvtError, TimeoutError):
    """Samples did not come within the time allowed."""


for _error in (QvtError, LinkLostError, HeadsetRefusedError, InvalidArgumentError, QvtTimeoutError):
    _error.__module__ = "qvt"
