"""Reads some seconds from the headset and saves them as an MNE .fif file:
python3 record_fif.py [SECONDS] [FILE]."""
import sys

import qvt

seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 5.0
path = sys.argv[2] if len(sys.argv) > 2 else "recording_raw.fif"

with qvt.Headset() as h:
    block = h.read(seconds)  # data, times: (channels, samples) in µV, seconds on the headset's clock
    if block.lost:
        print(f"{block.lost} samples were lost on the link")
    raw = h.to_mne(block)  # volts, channel types, 10-05 positions of electrodes against the reference
raw.save(path, overwrite=True, verbose="error")
print(f"saved {raw.n_times} samples of {len(raw.ch_names)} channels ({seconds:g} s) to {path}")
