"""qvt-record end to end against the virtual headset, read back with MNE.

usage: check_recording.py MODE EMULATOR RECORDER
  plain   10 s at 300 and at 600 Hz: samples, names, one trigger annotation
          per pulse on the trigger channel's onset, and the quick look
  drops   --drop 0.01: the gaps add up to exactly what the emulator dropped,
          and every trigger onset and accelerometer sample is where a
          fault-free recording has it
  outage  --outage 3:2: a gap; --outage 3:6 --reconnect: data before and after
          one BAD link lost
  ending  SIGTERM, a full disk and a slow disk each leave a readable file
"""
import ctypes
import ctypes.util
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

import mne
import numpy as np

MODE, EMULATOR, RECORDER = sys.argv[1:4]
WORK = tempfile.mkdtemp(prefix="qvt_record_")
EEG = ["Fp1", "Fpz", "Fp2", "F7", "F3", "Fz", "F4", "F8", "Pz", "T3", "C3", "Cz", "C4", "T4", "M2", "T5",
       "P3", "P4", "T6", "O1", "O2"]


def record(name, emulator_args=(), recorder_args=(), seconds=10, **popen):
    path = os.path.join(WORK, name)
    command = [EMULATOR, *emulator_args, "--", RECORDER, "--seconds", str(seconds), *recorder_args, path]
    return path, subprocess.run(command, capture_output=True, text=True, timeout=180, **popen)


def read(path):
    return mne.io.read_raw_bdf(path, preload=True, verbose="error")


def edflib_opens(path):
    # EDFlib is stricter than MNE: it refuses a header whose record count the
    # file does not hold.
    edflib = ctypes.CDLL(ctypes.util.find_library("edf"))
    header = ctypes.create_string_buffer(1 << 20)
    handle = edflib.edfopen_file_readonly(path.encode(), header, 2)
    return handle >= 0 and edflib.edfclose_file(handle) == 0


def described(raw, prefix):
    return [a for a in raw.annotations if a["description"].startswith(prefix)]


def bad_samples(raw):
    bad = np.zeros(raw.n_times, bool)
    for a in described(raw, "BAD"):
        bad[round(a["onset"] * raw.info["sfreq"]):round((a["onset"] + a["duration"]) * raw.info["sfreq"])] = True
    return bad


def parent_of(pid):
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return int(stat.read().rsplit(")", 1)[1].split()[1])
    except (OSError, IndexError, ValueError):
        return None


def child_of(pid):
    # The emulator runs the recorder as its child.
    children = [int(p) for p in os.listdir("/proc") if p.isdigit() and parent_of(p) == pid]
    check(len(children) == 1, f"recorder process not found: {children}")
    return children[0]


def check(condition, message, run=None):
    if not condition:
        sys.exit(message + ("" if run is None else "\nstdout:\n" + run.stdout + "\nstderr:\n" + run.stderr[-3000:]))


def plain():
    for rate in (300, 600):
        path, run = record(f"plain_{rate}.bdf", ["--seed", "4", "--rate", str(rate)])
        check(run.returncode == 0, f"qvt-record failed at {rate} Hz", run)
        raw = read(path)
        check(raw.info["sfreq"] == rate and raw.n_times == 10 * rate, f"{raw.n_times} samples at {rate} Hz")
        check(raw.ch_names == EEG + ["X1", "X2", "TRG", "ACCX", "ACCY", "ACCZ"], str(raw.ch_names))
        eeg = raw.get_data(picks=EEG) * 1e6
        check(1.0 < np.std(eeg) < 200.0, f"EEG of {np.std(eeg)} uV is no EEG")
        # One annotation per pulse, where the trigger channel turns on.
        trigger = raw.get_data(picks=["TRG"])[0]
        # A file that begins inside a pulse begins with its onset.
        rising = np.flatnonzero((trigger != 0) & (trigger != np.concatenate(([0.0], trigger[:-1]))))
        onsets = [round(a["onset"] * rate) for a in described(raw, "TRG ")]
        check(9 <= len(rising) <= 11 and onsets == list(rising), f"triggers at {onsets}, onsets {list(rising)}")
        texts = [a["description"] for a in described(raw, "TRG ")]
        check(texts == [f"TRG {v:.0f}" for v in trigger[rising]], f"trigger annotations {texts}")
    # The quick look at a recording.
    picture = os.path.join(WORK, "look.png")
    run = subprocess.run([sys.executable, "-m", "qvt.plot", path, "-o", picture], capture_output=True, text=True,
                         timeout=120)
    with open(picture, "rb") as png:
        check(run.returncode == 0 and png.read(8) == b"\x89PNG\r\n\x1a\n", "qvt.plot of a recording", run)


def drops():
    log = os.path.join(WORK, "drops.txt")
    path, run = record("drops.bdf", ["--seed", "5", "--rate", "600", "--drop", "0.01", "--drop-log", log])
    check(run.returncode == 0, "qvt-record failed", run)
    raw = read(path)
    check(raw.n_times == 6000, f"{raw.n_times} samples: the file's time is not the wall clock's")
    lost = sum(int(re.search(r"BAD gap: (\d+) samples lost", a["description"]).group(1))
               for a in described(raw, "BAD gap"))
    dropped = [int(line) for line in open(log)]
    # The stream's first few samples prime the library's buffers before the
    # file begins; the file covers the positions from there on.
    windows = [sum(1 for d in dropped if start <= d < start + raw.n_times) for start in range(0, 200)]
    check(lost > 20 and lost in windows, f"{lost} samples lost in the file, emulator dropped {windows[:5]}...")
    # Neighbouring gaps share an annotation when they come thick and fast.
    gaps = sum(int(m.group(1) or 1) for m in (re.search(r"in (\d+) gaps$|$", a["description"])
                                             for a in described(raw, "BAD gap")))
    check(f"lost {lost} in {gaps} gaps" in run.stdout, "the summary does not count the lost samples", run)

    # Each onset where the fault-free recording of the same seed has it, or,
    # when the pulse's first samples were lost, at the first sample after
    # them; the library shows the trigger 16 samples late.
    clean_path, clean_run = record("clean.bdf", ["--seed", "5", "--rate", "600"])
    clean = read(clean_path)
    bad = np.zeros(raw.n_times + 1, bool)
    for a in described(raw, "BAD gap"):
        bad[round(a["onset"] * 600):round((a["onset"] + a["duration"]) * 600)] = True
    fp1, clean_fp1 = raw.get_data(picks=["Fp1"])[0], clean.get_data(picks=["Fp1"])[0]
    kept = np.flatnonzero(~bad[:raw.n_times])[:100]
    # The two files begin where each run's priming ended, which a busy
    # machine can move by seconds.
    shift = next((d for d in range(-6000, clean_fp1.size - kept[-1]) if np.array_equal(fp1[kept], clean_fp1[np.clip(kept + d, 0, None)])),
                 None)
    check(shift is not None, f"the clean samples of the lossy file are nowhere in the fault-free one: {fp1[kept][:5]}")
    found = sorted(round(a["onset"] * 600) for a in described(raw, "TRG "))
    expected = []
    for onset in (round(a["onset"] * 600) - shift for a in described(clean, "TRG ")):
        first = onset
        while first - 16 >= 0 and bad[first - 16] and first < onset + 12:
            first += 1
        if 16 <= onset < raw.n_times - 16 and first < onset + 12:
            expected.append(first)
    check([f for f in found if 16 <= f < raw.n_times - 16] == expected, f"trigger onsets {found}, expected {expected}")

    # The accelerometer outside the BAD spans of either file, but where a
    # recording says it lacked an accelerometer sample: dropped data packets
    # delay the accelerometer's, a busy machine can lose them.
    both = np.arange(max(0, -shift), min(raw.n_times, clean.n_times - shift))
    both = both[~bad_samples(raw)[both] & ~bad_samples(clean)[both + shift]]
    accelerometer = ["ACCX", "ACCY", "ACCZ"]
    differ = np.any(raw.get_data(picks=accelerometer)[:, both] !=
                    clean.get_data(picks=accelerometer)[:, both + shift], axis=0)
    missed = sum(int(m) for m in re.findall(r"(\d+) samples hold the accelerometer sample", run.stdout + clean_run.stdout))
    check(differ.sum() <= missed, f"the accelerometer differs at {differ.sum()} of {len(both)} clean samples "
          f"(first at {both[differ][:5]}), {missed} missed")


def outage():
    # A silence of 2 s is a gap, not a lost link.
    path, run = record("short_outage.bdf", ["--seed", "6", "--outage", "3:2"], seconds=4)
    check(run.returncode == 0 and described(read(path), "BAD gap"), "a 2 s silence ended the recording", run)
    # A link is taken for lost after 4.5 s without data: the outage outlasts
    # that with room to spare, so that a busy machine cannot see the data
    # come back first.
    path, run = record("outage.bdf", ["--seed", "6", "--outage", "3:6"], ["--reconnect"], seconds=14)
    check(run.returncode == 0 and "Reconnected" in run.stdout and "1 link losses" in run.stdout, "no reconnection",
          run)
    raw = read(path)
    check(raw.n_times == 14 * 300, f"{raw.n_times} samples")
    lost = described(raw, "BAD link lost")
    check(len(lost) == 1 and 5.0 <= lost[0]["duration"] <= 11.0, f"link lost annotations {lost}", run)
    check(not described(raw, "BAD gap"), "samples lost beside the outage", run)
    start, end = lost[0]["onset"], lost[0]["onset"] + lost[0]["duration"]
    check(start > 0.5 and end < 13.5, f"nothing before or after the outage {start}-{end}")
    # Signal on both sides; flat inside.
    o1 = raw.get_data(picks=["O1"])[0]
    inside = o1[int(start * 300) + 1:int(end * 300) - 1]
    check(np.std(o1[:int(start * 300)]) > 0 and np.std(o1[int(end * 300):]) > 0 and np.ptp(inside) == 0,
          "data around the outage")


def ending():
    # SIGTERM or SIGHUP half-way: the file is closed with what was recorded.
    # During the impedance check: no impedances that had no time to settle,
    # and the alarms so far are still written.
    for name, options, ending_signal in (("term.bdf", [], signal.SIGTERM), ("hup.bdf", [], signal.SIGHUP),
                                         ("term_z.bdf", ["--impedance", "30"], signal.SIGTERM)):
        path = os.path.join(WORK, name)
        recorder = subprocess.Popen([EMULATOR, "--seed", "7", "--", RECORDER, *options, path],
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        time.sleep(6)
        os.kill(child_of(recorder.pid), ending_signal)
        out, err = recorder.communicate(timeout=60)
        check(recorder.returncode == 0 and "(interrupted)" in out, f"{name}: {recorder.returncode}\n{out}\n{err}")
        check(edflib_opens(path), f"EDFlib cannot open {name}\n{out}")
        raw = read(path)
        if options:
            check(not described(raw, "Z ") and described(raw, "ALARM"), f"cut impedance check\n{out}")
        else:
            check(raw.n_times >= 300, "nothing kept after SIGTERM")

    # A second SIGTERM ends it at once, even while the library waits on a
    # silent headset.
    recorder = subprocess.Popen([EMULATOR, "--silent-after", "0", "--", RECORDER, os.path.join(WORK, "silent.bdf")],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    time.sleep(2)
    for _ in range(2):
        os.kill(child_of(recorder.pid), signal.SIGTERM)
        time.sleep(0.5)
    recorder.communicate(timeout=5)

    # A full disk: a clear error, and no hang.
    full = os.path.join(WORK, "full.bdf")
    os.symlink("/dev/full", full)
    _, run = record("full.bdf", ["--seed", "7"], ["--overwrite"], seconds=3)
    check(run.returncode == 1 and "No space left on device" in run.stderr, "full disk", run)

    # A disk that takes 0.15 s per 0.1 s record at 600 Hz: nothing overflows,
    # and everything still reaches the file.
    path, run = record("slow.bdf", ["--seed", "7", "--rate", "600"], ["--slow-disk", "0.15"], seconds=5)
    check(run.returncode == 0 and read(path).n_times == 3000, "slow disk", run)
    check(not re.search(r"overflowed [1-9]", run.stdout), "the library's buffers overflowed", run)


{"plain": plain, "drops": drops, "outage": outage, "ending": ending}[MODE]()
print(MODE, "ok")
