"""qvt-record killed without warning (SIGKILL) at 20 random moments leaves a
file that EDFlib and MNE both open, holding the records and annotations of
all but about the last second.

usage: kill_recording.py EMULATOR RECORDER BDF_READ [SEED]

Four kinds of moment, five kills at a time (two of them mid-record): during the
impedance check (no recording yet: no file, or one that opens), mid-record,
mid-annotation (impedances, triggers and dense gaps), and around a
reconnection (a 6 s outage from 2 s on). The seed is printed, to repeat a run.
"""
import os
import random
import signal
import subprocess
import sys
import tempfile
import threading
import time

import mne
import numpy as np

EMULATOR, RECORDER, BDF_READ = sys.argv[1:4]
SEED = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1 << 30)
WORK = tempfile.mkdtemp(prefix="qvt_kill_")
# What the file may lack: the record being filled and the annotations
# waiting for room, plus the scheduling of a busy machine.
BEHIND_SECONDS = 1.5

# name: emulator options, recorder options, kill window in seconds after
# recording began (negative: before), seconds of signal a link outage hides
SCENARIOS = {
    "impedance": (["--rate", "300"], ["--impedance", "4"], (-3.5, -0.5), None),
    "record": (["--rate", "600"], [], (0.3, 5.0), None),
    "annotation": (["--rate", "300", "--drop", "0.03"], ["--impedance", "1"], (0.5, 5.0), None),
    "reconnection": (["--rate", "300", "--outage", "2:6"], ["--reconnect"], (6.0, 10.0), 2.0),
}
KINDS = ["impedance", "record", "record", "annotation", "reconnection"]


def child_of(pid):
    for entry in os.listdir("/proc"):
        try:
            with open(f"/proc/{entry}/stat") as stat:
                if int(stat.read().rsplit(")", 1)[1].split()[1]) == pid:
                    return int(entry)
        except (OSError, ValueError, IndexError):
            pass
    return None


def run(index, kind, rng, results):
    emulator_args, recorder_args, window, _ = SCENARIOS[kind]
    path = os.path.join(WORK, f"{index:02}_{kind}.bdf")
    log = open(os.path.join(WORK, f"{index:02}_{kind}.txt"), "w+")
    process = subprocess.Popen([EMULATOR, "--seed", str(index + 1), *emulator_args, "--", RECORDER,
                                *recorder_args, path], stdout=log, stderr=subprocess.STDOUT)
    delay = rng.uniform(*window)
    began = time.monotonic()
    recording = None
    # The moment is counted from "Recording to", or from "Measuring" for
    # kills before it.
    mark = "Recording to" if delay >= 0 else "Measuring impedances"
    while recording is None and time.monotonic() - began < 60 and process.poll() is None:
        time.sleep(0.02)
        log.seek(0)
        if mark in log.read():
            recording = time.monotonic()
    if recording is None:
        results[index] = (kind, path, None, f"never printed {mark!r}")
        process.kill()
        return
    time.sleep(delay if delay >= 0 else delay - window[0])
    killed_after = time.monotonic() - recording
    recorder = child_of(process.pid)
    if recorder is not None:
        os.kill(recorder, signal.SIGKILL)
    process.wait(timeout=30)
    log.seek(0)
    results[index] = (kind, path, killed_after if delay >= 0 else None, log.read())


def edflib(path):
    out = subprocess.run([BDF_READ, path], capture_output=True, text=True)
    lines = out.stdout.splitlines()
    records = int(lines[0].split()[1]) if out.returncode == 0 else None
    return records, [line.split(" ", 2)[2] for line in lines if line.startswith("annotation ")]


def check(index, kind, path, killed_after, output):
    where = f"kill {index} ({kind}, {killed_after} s into the recording)"
    if killed_after is None:
        # Killed before recording began: nothing, or a file that opens.
        return [] if not os.path.exists(path) or edflib(path)[0] else [f"{where}: EDFlib refuses the file"]
    if not os.path.exists(path):
        return [f"{where}: no file\n{output}"]
    records, edflib_annotations = edflib(path)
    if records is None:
        return [f"{where}: EDFlib refuses the file\n{output}"]
    try:
        raw = mne.io.read_raw_bdf(path, preload=True, verbose="error")
    except Exception as error:  # noqa: BLE001 (any failure to read is the finding)
        return [f"{where}: MNE cannot read it: {error}"]
    problems = []
    rate = raw.info["sfreq"]
    seconds = raw.n_times / rate
    hidden = SCENARIOS[kind][3]
    expected = killed_after - BEHIND_SECONDS if hidden is None else min(killed_after, hidden) - BEHIND_SECONDS
    if seconds < expected:
        problems.append(f"{where}: {seconds:.1f} s of signal, expected {expected:.1f} s at least")
    annotations = [a["description"] for a in raw.annotations]
    if sorted(annotations) != sorted(edflib_annotations):
        problems.append(f"{where}: EDFlib and MNE disagree: {edflib_annotations} / {annotations}")
    # Every trigger onset but those of the last second is annotated.
    trigger = raw.get_data(picks=["TRG"])[0]
    rising = np.flatnonzero((trigger[1:] != 0) & (trigger[1:] != trigger[:-1])) + 1
    onsets = {round(a["onset"] * rate) for a in raw.annotations if a["description"].startswith("TRG ")}
    missing = [r for r in rising if r < raw.n_times - rate and r not in onsets]
    if missing:
        problems.append(f"{where}: triggers at samples {missing} not annotated")
    if "--impedance" in SCENARIOS[kind][1] and seconds > 1.0 and not any(a.startswith("Z ") for a in annotations):
        problems.append(f"{where}: impedances missing")
    if kind == "annotation" and seconds > 2.0 and not any(a.startswith("BAD gap") for a in annotations):
        problems.append(f"{where}: no gaps annotated")
    print(f"{where}: {seconds:.1f} s of signal, {len(annotations)} annotations")
    return problems


def main():
    rng = random.Random(SEED)
    results = {}
    for first in range(0, 20, len(KINDS)):
        threads = [threading.Thread(target=run, args=(first + k, kind, random.Random(rng.random()), results))
                   for k, kind in enumerate(KINDS)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    problems = []
    for index in sorted(results):
        problems += check(index, *results[index])
    if problems:
        sys.exit(f"seed {SEED}:\n" + "\n".join(problems))
    print(f"seed {SEED}: 20 kills, every file opens")


main()
