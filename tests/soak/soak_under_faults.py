"""A long recording through a poor link: qvt-record --reconnect against
`qvt-emulator --rate 600 --corrupt 1e-4 --drop 1e-3` with silent spells,
watched from outside and read back with MNE.

usage: soak_under_faults.py EMULATOR RECORDER [MINUTES]

Passes when, after two minutes, the recorder's memory grows by less than 1 MB
beyond its annotations (EDFlib keeps them, about 64 bytes each, until the file
closes) and its descriptors do not grow; nothing overflows; each spell longer
than the 4.5 s the recorder waits for data costs one link loss and no shorter one
any; and the samples marked lost cover every dropped packet and nearly every
garbled one (a block garbled only in the header bytes its CRC does not cover
arrives whole), plus at most one more block per garbled one (the search for
the next block's start after one that broke its frame).
"""
import os
import re
import subprocess
import sys
import tempfile
import time

import mne

EMULATOR, RECORDER = sys.argv[1:3]
MINUTES = float(sys.argv[3]) if len(sys.argv) > 3 else 30.0
SECONDS = MINUTES * 60
WORK = tempfile.mkdtemp(prefix="qvt_soak_")
# Long spells every ten minutes from the third, short ones (well under the
# 4.5 s after which the recorder takes the link for lost) in between.
LONG = [(start, 6.0) for start in range(180, int(SECONDS) - 60, 600)]
SHORT = [(start, 0.4) for start in range(480, int(SECONDS) - 60, 600)]


def parent_of(pid):
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return int(stat.read().rsplit(")", 1)[1].split()[1])
    except (OSError, IndexError, ValueError):
        return None


def watch(pid):
    with open(f"/proc/{pid}/status") as status:
        rss = int(re.search(r"VmRSS:\s+(\d+) kB", status.read()).group(1))
    return rss, len(os.listdir(f"/proc/{pid}/fd"))


def main():
    path = os.path.join(WORK, "soak.bdf")
    log = os.path.join(WORK, "drops.txt")
    spells = [item for start, length in LONG + SHORT for item in ("--outage", f"{start}:{length}")]
    command = [EMULATOR, "--rate", "600", "--seed", "9", "--corrupt", "1e-4", "--drop", "1e-3", "--drop-log", log,
               *spells, "--", RECORDER, "--reconnect", "--seconds", str(int(SECONDS)), path]
    out = open(os.path.join(WORK, "stdout.txt"), "w+")
    err = open(os.path.join(WORK, "stderr.txt"), "w+")
    emulator = subprocess.Popen(command, stdout=out, stderr=err)
    samples = []  # (seconds, rss kB, descriptors)
    start = time.monotonic()
    recorder = None
    while emulator.poll() is None:
        time.sleep(10)
        if recorder is None:
            children = [p for p in os.listdir("/proc") if p.isdigit() and parent_of(p) == emulator.pid]
            recorder = children[0] if children else None
        try:
            if recorder is not None:
                samples.append((time.monotonic() - start, *watch(recorder)))
        except (OSError, AttributeError):
            pass
    out.seek(0)
    stdout = out.read()
    failures = []
    if emulator.returncode != 0:
        failures.append(f"exit status {emulator.returncode}")

    settled = [s for s in samples if s[0] >= 120]
    rss_growth = settled[-1][1] - settled[0][1] if settled else 0
    fds = {s[2] for s in settled}
    raw = mne.io.read_raw_bdf(path, preload=False, verbose="error")
    if rss_growth >= 1024 + len(raw.annotations) * 64 / 1024:
        failures.append(f"memory grew by {rss_growth} kB after warm-up, {len(raw.annotations)} annotations")
    # Reconnections open and close the port; only growth from end to end counts.
    if settled and settled[-1][2] > settled[0][2]:
        failures.append(f"descriptors grew from {settled[0][2]} to {settled[-1][2]}")
    overflowed = [int(n) for n in re.findall(r"overflowed (\d+)", stdout)]
    if any(overflowed):
        failures.append(f"the library's buffers overflowed: {max(overflowed)}")

    link_lost = [a for a in raw.annotations if a["description"] == "BAD link lost"]
    gaps = sum(int(re.search(r"(\d+) samples", a["description"]).group(1))
               for a in raw.annotations if a["description"].startswith("BAD gap"))
    lines = [line.strip() for line in open(log) if line.strip()]
    garbled = sum(1 for line in lines if line.endswith("garbled"))
    dropped = len(lines) - garbled
    if len(link_lost) != len(LONG):
        failures.append(f"{len(link_lost)} link losses for {len(LONG)} long spells")

    print(f"{MINUTES:g} min: {raw.n_times} samples, memory grew {rss_growth} kB, descriptors {sorted(fds)}, "
          f"{len(link_lost)} link losses, {gaps} samples lost in gaps, {dropped} dropped, {garbled} garbled")
    # 8 of a 360-byte block's bytes are neither framing nor checked.
    fewest = dropped + int(0.95 * garbled)
    if not fewest <= gaps <= dropped + 2 * garbled:
        failures.append(f"gaps {gaps} outside [{fewest}, {dropped + 2 * garbled}]")
    if failures:
        err.seek(0)
        sys.exit("\n".join(failures) + "\n" + stdout[-2000:] + err.read()[-2000:])


main()
