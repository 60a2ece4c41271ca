"""qvt-monitor under the virtual headset, and what the scripts that check
it share."""
import re
import subprocess
import threading
import time


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def wait_for(what, predicate, seconds=30):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        value = predicate()
        if value:
            return value
        time.sleep(0.1)
    raise AssertionError(f"timed out waiting for {what}")


class Monitor:
    """qvt-monitor run by the emulator, serving on a free port of 127.0.0.1;
    its output is collected as it comes."""

    def __init__(self, emulator, monitor, record_dir, emulator_args):
        command = [emulator, "--rate", "600", *emulator_args, "--", monitor, "--listen", "127.0.0.1:0",
                   "--record-dir", record_dir]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.output = []
        self.serving = threading.Event()
        self.reader = threading.Thread(target=self._collect, daemon=True)
        self.reader.start()
        if not self.serving.wait(60):
            raise AssertionError("qvt-monitor did not start:\n" + self.stop())

    def _collect(self):
        for line in self.process.stdout:
            self.output.append(line)
            found = re.search(r"Serving (http://127\.0\.0\.1:(\d+)/)", line)
            if found and not self.serving.is_set():
                self.url, self.port = found.group(1), int(found.group(2))
                self.serving.set()

    def pid(self):
        """qvt-monitor's own process, the emulator's child."""
        with open(f"/proc/{self.process.pid}/task/{self.process.pid}/children") as children:
            return int(children.read().split()[0])

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(2)
            try:
                self.process.wait(timeout=30)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.reader.join(10)
        return "".join(self.output)
