"""Stamp error against true time, from the CSV files clock_accuracy writes.

usage: /usr/bin/python3 plot_stamp_errors.py OUT.png LABEL=FILE.csv ...
"""
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

out, runs = sys.argv[1], [a.split("=", 1) for a in sys.argv[2:]]
fig, (full, settled) = plt.subplots(2, 1, figsize=(9, 6.5), sharex=True)
for label, path in runs:
    t, error, latency = np.loadtxt(path, delimiter=",", unpack=True)
    error = np.where(np.diff(t, prepend=t[0]) > 0.1, np.nan, error)  # no line across a gap
    line, = full.plot(t, error, lw=1.2, label=label)
    full.plot(t, latency, ",", alpha=0.3, color=line.get_color())
    settled.plot(t, error, lw=1.0, color=line.get_color(), label=label)
full.set_ylabel("ms after the true time")
full.set_title("Arrival (dots) and acquisition stamp (lines)")
full.set_ylim(-2, 40)
full.legend(loc="upper right")
settled.axhline(0, color="black", lw=0.5)
settled.set_ylim(-1, 2)
settled.set_ylabel("stamp error, ms")
settled.set_xlabel("true time since the first sample, s")
fig.tight_layout()
fig.savefig(out, dpi=110)
