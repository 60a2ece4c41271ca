"""The exception a failing library call raises."""


class QvtError(Exception):
    """A call into libqvt failed; the text is the library's own message."""


QvtError.__module__ = "qvt"
