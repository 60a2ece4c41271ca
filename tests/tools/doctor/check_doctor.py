"""qvt-doctor and `--port auto` against the situations a user meets.

usage: check_doctor.py EMULATOR DOCTOR STREAM PRELOAD

Each case gives the programs a directory of links to pseudo-terminals in
place of /dev: the virtual headset (found, identified, healthy; also twice,
for `--port auto` to refuse), the headset held by another process, a device
the user may not open (run as nobody; needs root), a device nobody answers
on, and no device at all.
"""
import fcntl
import os
import re
import shutil
import subprocess
import sys
import tempfile

EMULATOR, DOCTOR, STREAM, PRELOAD = sys.argv[1:5]


def inside_emulator(command):
    """Runs a shell command under the virtual headset, $HEADSET its device."""
    return [EMULATOR, "--", "sh", "-c", 'HEADSET="$QVTSerialPort"; ' + command]


def silent_pty(directory, name, group=None):
    """A pseudo-terminal nobody answers on, linked as directory/name; the
    master is returned and must stay open."""
    master, slave = os.openpty()
    path = os.ttyname(slave)
    os.close(slave)  # nobody else holds it
    if group is not None:
        shutil.chown(path, "root", group)
        os.chmod(path, 0o660)
    os.symlink(path, os.path.join(directory, name))
    return master


def run(command, directory, user=None):
    env = dict(os.environ, QVT_DEVICE_DIR=directory, LD_PRELOAD=PRELOAD)
    if not user:
        return subprocess.run(command, capture_output=True, text=True, timeout=150, env=env)
    # The build tree may be closed to the user (under /root): the program
    # and the library go where the user may run them.
    programs = tempfile.mkdtemp(prefix="qvt_doctor_programs_")
    try:
        os.chmod(programs, 0o755)
        for path in (command[0], os.path.join(os.path.dirname(PRELOAD), "libqvt.so.1")):
            shutil.copy(path, programs)
        del env["LD_PRELOAD"]
        env["LD_LIBRARY_PATH"] = programs
        command = ["setpriv", "--reuid=" + user, "--regid=nogroup", "--clear-groups",
                   os.path.join(programs, os.path.basename(command[0])), *command[1:]]
        return subprocess.run(command, capture_output=True, text=True, timeout=150, env=env)
    finally:
        shutil.rmtree(programs)


def held(directory):
    # Holds the device as another program would, then asks the doctor.
    script = (
        "import fcntl, os, subprocess, sys\n"
        "d = sys.argv[1]; os.symlink(os.environ['QVTSerialPort'], d + '/rfcomm0')\n"
        "fd = os.open(d + '/rfcomm0', os.O_RDWR | os.O_NOCTTY); fcntl.flock(fd, fcntl.LOCK_EX)\n"
        "print('holder', os.getpid()); sys.stdout.flush()\n"
        "sys.exit(subprocess.run([sys.argv[2], '--devices', d]).returncode)\n")
    return [EMULATOR, "--", sys.executable, "-c", script, directory, DOCTOR]


# name, the command given the directory, what to prepare there, user, status, what the output says
CASES = [
    ("virtual headset", lambda d: inside_emulator(f'ln -s "$HEADSET" {d}/rfcomm0 && {DOCTOR} --devices {d}'),
     None, None, 0, [r"a working headset", r"serial number +\d+", r"round trip +[\d.]+ ms", r"1 working headset found"]),
    ("auto finds the one headset",
     lambda d: inside_emulator(f'ln -s "$HEADSET" {d}/ttyUSB3 && {STREAM} --port auto --seconds 1'),
     None, None, 0, [r"samples in"]),
    ("auto refuses to choose",
     lambda d: inside_emulator(f'ln -s "$HEADSET" {d}/rfcomm0 && ln -s "$HEADSET" {d}/rfcomm1 && '
                               f'{STREAM} --port auto --seconds 1'),
     None, None, 1, [r"2 headsets found; choose one with --port:\n  \S+/rfcomm0 .*\n  \S+/rfcomm1 "]),
    ("held by another process", held, None, None, 1,
     [r"holder (\d+)", r"open in .*python3 \(pid \d+\)", r"in use by .*python3 \(pid \d+\)", r"kill \d+"]),
    ("not permitted", lambda d: [DOCTOR], lambda d: silent_pty(d, "ttyUSB0", "dialout"), "nobody", 1,
     [r"crw-rw---- root:dialout, you may not open it", r"sudo usermod -aG dialout nobody", r"newgrp dialout"]),
    ("not a headset", lambda d: [DOCTOR], lambda d: silent_pty(d, "ttyACM0"), None, 1,
     [r"you may open it", r"did not answer as a headset", r"0 working headsets found"]),
    ("no device", lambda d: [DOCTOR], None, None, 1, [r"No serial device in", r"bluetoothctl pair ADDRESS"]),
    ("auto without a headset", lambda d: [STREAM, "--port", "auto", "--seconds", "1"], None, None, 1,
     [r"^qvt-stream: no working headset found; Bluetooth: no serial device in .*\n\Z"]),
]

failures = []
for name, command, prepare, user, status, said in CASES:
    if user and os.getuid() != 0:
        print(f"skipped '{name}': running as another user needs root")
        continue
    directory = tempfile.mkdtemp(prefix="qvt_doctor_")
    os.chmod(directory, 0o755)
    master = prepare(directory) if prepare else None
    try:
        result = run(command(directory), directory, user)
    finally:
        if master is not None:
            os.close(master)
        shutil.rmtree(directory)
    output = result.stdout + result.stderr
    missing = [s for s in said if not re.search(s, output, re.MULTILINE)]
    if result.returncode != status or missing:
        failures.append(f"{name}: status {result.returncode} (expected {status}), missing {missing}\n{output}")
    # The process the doctor names as holder is the one holding the port.
    if name == "held by another process" and not missing:
        holder = re.search(r"holder (\d+)", output).group(1)
        if f"kill {holder}" not in output:
            failures.append(f"{name}: the holder {holder} is not the one to end\n{output}")

for failure in failures:
    print("FAILED", failure)
sys.exit(1 if failures else 0)
