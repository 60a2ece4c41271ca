"""Every program's command line against the shared convention, and its man page.

usage: check_command_lines.py MAN_DIR PROGRAM...

Each program answers --help (with its exit statuses) and --version with
status 0, and a bad command line with one line on stderr and status 2.
Arguments that parse and then fail on the missing headset end with status 1.
Each man page renders without a warning from groff.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

MAN_DIR, *PATHS = sys.argv[1:]
PROGRAMS = {os.path.basename(path): path for path in PATHS}
WORK = tempfile.mkdtemp(prefix="qvt_command_lines_")
EXISTING = os.path.join(WORK, "existing.bdf")
open(EXISTING, "w").close()
NEW = os.path.join(WORK, "new.bdf")
NO_HEADSET = ["--port", "/nonexistent"]

# program, arguments, status, what stderr says
CASES = [
    ("qvt-record", [*NO_HEADSET, "-s", "1", "-i", "1", "-v", NEW], 1, "nonexistent"),
    ("qvt-record", ["-i", "0.3", NEW], 2, "averaging time"),
    ("qvt-record", ["session.edf"], 2, r"\.bdf"),
    ("qvt-record", [], 2, "FILE"),
    ("qvt-record", [*NO_HEADSET, EXISTING], 2, "exists; give --overwrite"),
    ("qvt-record", [*NO_HEADSET, "--overwrite", EXISTING], 1, "nonexistent"),
    # The file is checked before any time goes into the headset.
    ("qvt-record", [*NO_HEADSET, "-i", "30", os.path.join(WORK, "no", "such.bdf")], 1, "No such file or directory"),
    ("qvt-stream", [*NO_HEADSET, "--seconds", "1", "--good-below", "5", "--log-level", "0"], 1, "nonexistent"),
    ("qvt-stream", ["--impedance", "0.1"], 2, "averaging time"),
    ("qvt-stream", ["stray"], 2, "stray"),
    ("qvt-emulator", ["--rate", "500"], 2, "300 or 600"),
    ("qvt-doctor", ["--devices", "/nonexistent"], 2, "nonexistent"),
    ("qvt-emulator", ["--drop-log", os.path.join(WORK, "no", "drops.txt")], 1, "No such file or directory"),
]
for program in PROGRAMS:
    CASES.append((program, ["--no-such-option"], 2, "--no-such-option"))

failures = []
for program, arguments, status, said in CASES:
    if program not in PROGRAMS:
        continue
    run = subprocess.run([PROGRAMS[program], *arguments], capture_output=True, text=True, timeout=60)
    one_line = run.stderr.count("\n") == 1 and run.stderr.startswith(program + ": ")
    if run.returncode != status or not re.search(said, run.stderr) or (status == 2 and not one_line):
        failures.append(f"{program} {arguments}: status {run.returncode}, expected {status} and '{said}'\n{run.stderr}")

for program, path in PROGRAMS.items():
    help_text = subprocess.run([path, "--help"], capture_output=True, text=True, timeout=60)
    version = subprocess.run([path, "-V"], capture_output=True, text=True, timeout=60)
    if help_text.returncode != 0 or "Exit status:" not in help_text.stdout or "--version" not in help_text.stdout:
        failures.append(f"{program} --help:\n{help_text.stdout}{help_text.stderr}")
    if version.returncode != 0 or not version.stdout.startswith(program + " "):
        failures.append(f"{program} -V: {version.stdout}{version.stderr}")
    page = os.path.join(MAN_DIR, program + ".1")
    if not os.path.exists(page):
        failures.append(f"no man page {page}")
    elif shutil.which("groff"):
        render = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z", page], capture_output=True, text=True)
        if render.returncode != 0 or render.stderr:
            failures.append(f"groff on {page}: {render.stderr}")
    else:
        text = open(page).read()
        failures += [f"{page} lacks {s}" for s in (".SH NAME", ".SH SYNOPSIS", ".SH OPTIONS") if s not in text]

shutil.rmtree(WORK)
print("\n".join(failures) or f"{len(CASES)} command lines and {len(PROGRAMS)} man pages ok")
sys.exit(1 if failures else 0)
