"""Streams for a few seconds and prints, once a second, the alpha (8-12 Hz)
and beta (13-30 Hz) power of every EEG channel over the last two seconds."""
import sys

import numpy

import qvt

SECONDS = float(sys.argv[1]) if len(sys.argv) > 1 else 5.0
BANDS = {"alpha": (8.0, 12.0), "beta": (13.0, 30.0)}

with qvt.Headset() as h:
    rate = h.sampling_rate
    eeg = [i for i, kind in enumerate(h.channel_kinds) if kind == "eeg"]
    names = [h.channel_names[i] for i in eeg]
    window = numpy.zeros((len(eeg), int(2 * rate)))  # the last two seconds
    received, reported = 0, 0
    print("channel  " + "".join(f"{band:>12}" for band in BANDS) + "   (µV²)")
    for batch, _ in h.batches():  # (channels, samples) in µV, and their times
        size = batch.shape[1]
        window = numpy.roll(window, -size, axis=1)
        window[:, -size:] = batch[eeg]
        received += size
        if received >= window.shape[1] and received // rate > reported:
            reported = received // rate
            spectrum = numpy.abs(numpy.fft.rfft(window - window.mean(axis=1, keepdims=True))) ** 2
            spectrum *= 2 / (window.shape[1] * rate)  # one-sided density, µV²/Hz
            frequencies = numpy.fft.rfftfreq(window.shape[1], 1 / rate)
            step = frequencies[1]
            print(f"-- {received / rate:.0f} s")
            for name, row in zip(names, spectrum):
                powers = [row[(frequencies >= lo) & (frequencies <= hi)].sum() * step
                          for lo, hi in BANDS.values()]
                print(f"{name:8} " + "".join(f"{p:12.1f}" for p in powers))
        if received >= SECONDS * rate:
            break
