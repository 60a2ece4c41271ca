"""Python access to qvt, the driver of a multi-channel EEG headset.

    import qvt
    with qvt.Headset() as h:           # the port in QVTSerialPort
        print(h.model, h.sampling_rate)
        data, times = h.read(2.0)      # (channels, samples) in µV, times in s

libqvt.so is loaded when the first headset is opened, so that qvt.plot and
qvt.mne_raw work on files without it.
"""
import sys

from . import mne_raw
from .alarms import Alarm
from .block import Block
from .errors import HeadsetRefusedError, InvalidArgumentError, LinkLostError, QvtError, QvtTimeoutError
from .headset import Headset

# qvt.mne was the module's name; a module of that name would shadow mne
# itself for a script run from inside the package.
mne = mne_raw
sys.modules[__name__ + ".mne"] = mne_raw

__all__ = ["Alarm", "Block", "Headset", "HeadsetRefusedError", "InvalidArgumentError", "LinkLostError",
           "QvtError", "QvtTimeoutError"]
