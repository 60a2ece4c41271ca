"""qvt-emulator --playback end to end, read back with MNE.

usage: check_playback.py MODE EMULATOR RECORDER
  roundtrip  record 14 s from the synthetic headset, replay the file and record
             10 s of it: every electrode, auxiliary and trigger channel sample by
             sample within one step of the headset's converter, the accelerometer
             exactly but for the recording's last samples (accelerometer_tail),
             the triggers on the same samples, the impedances measured before it
             the same.
  ending     a 2 s recording replayed: silent at its end (the recorder stops
             on a silent headset), again and again with --loop, twice as many
             samples a second with --speed 2; a file that cannot be played: a
             reason and status 1
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

import mne
import numpy as np

MODE, EMULATOR, RECORDER = sys.argv[1:4]
WORK = tempfile.mkdtemp(prefix="qvt_playback_")
GAIN = 0.302  # µV per count, the largest of the virtual headset's gains
# A recording's first samples are not compared: the host delays the trigger
# by 16 samples, and the packets made before the impedance check's end
# reached the headset still carry its carriers.
SETTLED = 50
# The accelerometer's readings travel three to a packet (at the virtual
# headset's 100 Hz: 0.03 s), in a block of six samples, and the host shows
# a reading up to two samples after it came: a recorder stopping before the
# reading after one of its last samples reached it writes that sample with
# the reading before.
def accelerometer_tail(rate):
    return round(0.03 * rate) + 6 + 2


def record(name, emulator_args, seconds, recorder_args=()):
    path = os.path.join(WORK, name)
    command = [EMULATOR, *emulator_args, "--", RECORDER, "--seconds", str(seconds), *recorder_args, path]
    return path, subprocess.run(command, capture_output=True, text=True, timeout=180)


def read(path):
    return mne.io.read_raw_bdf(path, preload=True, verbose="error")


def check(condition, message, run=None):
    if not condition:
        sys.exit(message + ("" if run is None else "\nstdout:\n" + run.stdout + "\nstderr:\n" + run.stderr[-3000:]))


def shift_of(first, second, picks):
    # The replay begins where the recorder starts reading, some samples into
    # the stream: find where the second file starts in the first.
    a, b = first.get_data(picks=picks), second.get_data(picks=picks)[:, SETTLED:SETTLED + 100]
    for d in range(0, first.n_times - second.n_times + 1):
        if np.max(np.abs(a[:, d + SETTLED:d + SETTLED + 100] - b)) < GAIN * 1e-6:
            return d
    sys.exit(f"the replay matches no stretch of the original at {first.info['sfreq']} Hz")


def onsets(raw):
    return [round(a["onset"] * raw.info["sfreq"]) for a in raw.annotations if a["description"].startswith("TRG ")]


def roundtrip():
    for rate in (300, 600):
        # Impedances measured first: the replay's carriers encode those the
        # original's "Z" annotations give, not the emulator's 5 kOhm.
        check_first = ["--impedance", "2"]
        original, run = record(f"original_{rate}.bdf", ["--seed", "3", "--rate", str(rate), "--electrode-impedance",
                                                        "12"], 14, check_first)
        check(run.returncode == 0, "recording the synthetic headset", run)
        replayed, run = record(f"replayed_{rate}.bdf", ["--rate", str(rate), "--playback", original], 10, check_first)
        check(run.returncode == 0, "recording the replay", run)
        check("M1 <- \"Pz\"" in run.stderr and "slots left empty: none" in run.stderr, "what is played where", run)
        first, second = read(original), read(replayed)
        check(first.ch_names == second.ch_names, f"channels {second.ch_names}")
        accelerometer = [c for c in first.ch_names if c.startswith("ACC")]
        signals = [c for c in first.ch_names if c not in accelerometer]
        check(len(accelerometer) == 3, f"channels {first.ch_names}")
        d = shift_of(first, second, signals[:-1])
        n = second.n_times
        check(d + n <= first.n_times, f"the replay is {d} samples into the original")
        a, b = first.get_data(picks=signals)[:, d + SETTLED:d + n], second.get_data(picks=signals)[:, SETTLED:]
        worst = np.max(np.abs(a - b), axis=1)
        # Electrode channels in V, the auxiliary inputs and the trigger in counts.
        step = np.array([GAIN if c in ("X1", "X2", "TRG") else GAIN * 1e-6 for c in signals])
        check(np.all(worst <= step), f"differences {dict(zip(signals, worst / step))} steps at {rate} Hz")
        end = n - accelerometer_tail(rate)
        a = first.get_data(picks=accelerometer)[:, d + SETTLED:d + end]
        b = second.get_data(picks=accelerometer)[:, SETTLED:end]
        # Counts, in steps of 1/256 in the file.
        off = np.nonzero(np.any(np.abs(a - b) > 1 / 512, axis=0))[0] + SETTLED
        check(len(off) == 0, f"the accelerometer differs on samples {off[:20]} of {end} at {rate} Hz")
        moved = [o - d for o in onsets(first) if SETTLED <= o - d < n]
        found = [o for o in onsets(second) if o >= SETTLED]
        check(found == moved and len(moved) >= 8, f"triggers {found}, expected {moved}")
        impedances = [[a["description"] for a in raw.annotations if a["description"].startswith("Z ")]
                      for raw in (first, second)]
        check(impedances[0] == impedances[1] and "Z Cz 12.0 kOhm" in impedances[0], f"impedances {impedances}")


def ending():
    short, run = record("short.bdf", ["--seed", "5"], 2)
    check(run.returncode == 0, "recording the synthetic headset", run)
    silent, run = record("silent.bdf", ["--playback", short], 8)
    check(run.returncode != 0 and "no data from the headset" in run.stderr, "an ended replay", run)
    check(read(silent).n_times <= read(short).n_times, "more recorded than was played")
    looped, run = record("looped.bdf", ["--playback", short, "--loop"], 5)
    check(run.returncode == 0, "recording a looped replay", run)
    fz = read(looped).get_data(picks=["Fz"])[0]
    period = read(short).n_times
    check(np.max(np.abs(fz[period:2 * period] - fz[:period])) < GAIN * 1e-6, "the loop does not repeat the file")
    stream = os.path.join(os.path.dirname(RECORDER), "qvt-stream")
    run = subprocess.run([EMULATOR, "--playback", short, "--loop", "--speed", "2", "--", stream, "--seconds", "4"],
                         capture_output=True, text=True, timeout=60)
    rate = re.search(r"samples in [0-9.]+ s \(([0-9.]+) per second\)", run.stdout)
    check(run.returncode == 0 and rate and float(rate.group(1)) > 500, "twice the speed", run)
    bad = os.path.join(WORK, "bad.edf")
    with open(bad, "wb") as f:
        f.write(b"0       " + b"x" * 500)
    _, run = record("never.bdf", ["--playback", bad], 1)
    check(run.returncode == 1 and "cannot play" in run.stderr, "a bad file", run)


{"roundtrip": roundtrip, "ending": ending}[MODE]()
shutil.rmtree(WORK)  # kept when a check fails, to look at
print(MODE, "ok")
