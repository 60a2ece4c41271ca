"""Reads some seconds from the headset and saves them as an MNE .fif file:
python3 record_fif.py [SECONDS] [FILE]."""
import sys

import qvt

seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 5.0
path = sys.argv[2] if len(sys.argv) > 2 else "recording_raw.fif"

with qvt.Headset() as h:
    data, _ = h.read(seconds)  # (channels, samples) in µV
    raw = h.to_mne(data)  # volts, with channel types and 10-05 positions
raw.save(path, overwrite=True, verbose="error")
print(f"saved {raw.n_times} samples of {len(raw.ch_names)} channels ({seconds:g} s) to {path}")
