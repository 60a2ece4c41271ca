"""Python access to qvt, the driver of a multi-channel EEG headset.

    import qvt
    with qvt.Headset() as h:           # the port in QVTSerialPort
        print(h.model, h.sampling_rate)
        data, times = h.read(2.0)      # (channels, samples) in µV
"""
from .errors import QvtError
from .headset import Headset

__all__ = ["Headset", "QvtError"]
