"""One Ctrl-C typed in a terminal under qvt-emulator -- qvt-record counts once:
the recording ends with its summary, not "at once" as a second one would.

usage: check_terminal_interrupt.py EMULATOR RECORDER
"""
import os
import pty
import select
import sys
import tempfile
import time

EMULATOR, RECORDER = sys.argv[1:3]
path = os.path.join(tempfile.mkdtemp(prefix="qvt_ctrl_c_"), "f.bdf")

pid, terminal = pty.fork()
if pid == 0:
    os.execv(EMULATOR, [EMULATOR, "--", RECORDER, "--seconds", "60", path])

output = b""


def read_for(seconds, until=None):
    global output
    end = time.monotonic() + seconds
    while time.monotonic() < end and (until is None or until not in output):
        if select.select([terminal], [], [], 0.1)[0]:
            try:
                chunk = os.read(terminal, 4096)
            except OSError:  # the terminal's other side is gone
                return
            if not chunk:
                return
            output += chunk


read_for(60, b"Recording to")
time.sleep(1)
os.write(terminal, b"\x03")  # the terminal signals its whole foreground process group
read_for(30)
_, status = os.waitpid(pid, 0)
text = output.decode(errors="replace")
if not (os.WIFEXITED(status) and os.WEXITSTATUS(status) == 0 and "(interrupted)" in text
        and "interrupted again" not in text):
    sys.exit(f"one Ctrl-C did not end the recording cleanly (status {status}):\n{text[-3000:]}")
print("ok")
