"""A page that stops reading its event stream, end to end, on a private
network namespace whose TCP buffers are shrunk so that the stalled socket
fills in a moment rather than minutes.

usage: check_frozen_page.py EMULATOR MONITOR  (run by in_private_network.sh)

Checks: while one client reads nothing, another keeps getting current signal
ten times a second; the recording goes on; qvt-monitor's memory stops growing
once the stalled page's queue is full; it counts and logs that page's dropped
messages; that page, reading again, soon has current data; and stopping
the monitor does not wait for a page frozen again.
"""
import http.client
import json
import os
import socket
import statistics
import sys
import tempfile
import threading
import time
import urllib.parse
import urllib.request

from monitor_harness import Monitor, check, wait_for

# Longer than the page's queue (10 s of signal), shorter than the time after
# which the server lets a silent page go.
FREEZE_SECONDS = 16
SHRUNK = "4096 4096 16384"
# Enough for the stalled socket to fill; the stop that follows must take
# far less than the 20 s a blocked write may wait.
REFREEZE_SECONDS = 5
STOP_SECONDS = 8
BINS_PER_SECOND = 100


def shrink_tcp_buffers():
    for name in ("tcp_wmem", "tcp_rmem"):
        path = f"/proc/sys/net/ipv4/{name}"
        with open(path, "w") as setting:
            setting.write(SHRUNK)
        with open(path) as setting:
            check(setting.read().split() == SHRUNK.split(), f"{name} shrunk in this namespace")


class EventStream:
    """One client of /events; a thread keeps (arrival, event, data) while
    `reading` is set and leaves everything else in the socket."""

    def __init__(self, port, receive_buffer=None):
        sock = socket.socket()
        if receive_buffer:
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        sock.connect(("127.0.0.1", port))
        connection = http.client.HTTPConnection("127.0.0.1", port)
        connection.sock = sock
        connection.request("GET", "/events")
        self.response = connection.getresponse()
        check(self.response.status == 200, f"/events answers {self.response.status}")
        self.events, self.ended = [], None
        self.reading = threading.Event()
        self.reading.set()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        kind = None
        while self.reading.wait() and (line := self.response.readline()):
            line = line.decode().rstrip("\n")
            if line.startswith("event: "):
                kind = line[len("event: "):]
            elif line.startswith("data: "):
                self.events.append((time.monotonic(), kind, json.loads(line[len("data: "):])))
        self.ended = time.monotonic()

    def of(self, kind, since=0.0, until=float("inf")):
        return [(t, data) for t, k, data in list(self.events) if k == kind and since <= t <= until]


def resident_kib(pid):
    with open(f"/proc/{pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:"))


def test(emulator, program):
    work = tempfile.mkdtemp(prefix="qvt_frozen_")
    monitor = Monitor(emulator, program, work, [])
    try:
        frozen = EventStream(monitor.port, receive_buffer=4096)
        live = EventStream(monitor.port)
        wait_for("the signal", lambda: len(frozen.of("signal")) >= 10 and live.of("signal"))
        urllib.request.urlopen(monitor.url + "api/recording", urllib.parse.urlencode({"on": 1}).encode(), 10)
        wait_for("the recording", lambda: [r for _, r in live.of("recording") if r["bytes"] > 0])
        frozen.reading.clear()
        pid, began = monitor.pid(), time.monotonic()
        memory = []
        while time.monotonic() - began < FREEZE_SECONDS:
            memory.append((time.monotonic() - began, resident_kib(pid)))
            time.sleep(0.5)
        frozen.reading.set()
        thawed = time.monotonic()
        time.sleep(3)
        # Frozen again until its socket takes nothing: stopping must not
        # wait for the page to read or time out.
        frozen.reading.clear()
        time.sleep(REFREEZE_SECONDS)
        stopping = time.monotonic()
    finally:
        output = monitor.stop()
    stopped = time.monotonic() - stopping
    check(monitor.process.returncode == 0, f"qvt-monitor ended with {monitor.process.returncode}:\n{output}")
    print(f"qvt-monitor stopped {stopped:.1f} s after Ctrl-C with a page frozen")
    check(stopped < STOP_SECONDS, "a frozen page does not hold up stopping")

    # By bin, the page's time axis: samples the link lost on a busy machine
    # move it on as well.
    signal = live.of("signal", began + 1, thawed)
    seconds = signal[-1][0] - signal[0][0]
    pace = statistics.linear_regression([t for t, _ in signal], [d["bin"] for _, d in signal]).slope / BINS_PER_SECOND
    longest = max(b[0] - a[0] for a, b in zip(signal, signal[1:]))
    health = live.of("health")[-1][1]
    print(f"live page: {len(signal) / seconds:.2f} signal messages/s, {pace:.3f} s of signal a second, longest "
          f"pause {longest:.2f} s over {seconds:.1f} s; samples lost on the link: {health['samplesLost']}")
    check(abs(pace - 1) < 0.1 and longest < 2, "the live page keeps getting current signal")
    sizes = [(t, data["bytes"]) for t, data in live.of("recording", began, thawed)]
    check(sizes and sizes[-1][0] > thawed - 1.5 and sizes[-1][1] > sizes[0][1], f"the recording grows: {sizes}")

    # The stalled page's queue fills for about 11 s and then holds.
    def resident(after):
        return next(kib for t, kib in memory if t >= after)
    filling, held = resident(6) - resident(0), memory[-1][1] - resident(FREEZE_SECONDS - 3)
    print(f"qvt-monitor resident: {resident(0)} KiB when the page froze, {filling:+} KiB over the next 6 s, "
          f"{held:+} KiB over the last 3 s")
    # A sanitizer's allocator keeps freed memory resident for a while, so
    # there the resident size says nothing about the queue.
    if not os.environ.get("QVT_TEST_SANITIZER"):
        check(held < filling / 4, "qvt-monitor's memory stops growing once the page's queue is full")

    dropped = health["pageMessagesDropped"]
    print(f"messages dropped for the frozen page: {dropped}")
    check(dropped > 0, "the dropped messages are counted")
    check("fell behind" in output, f"the drop is logged:\n{output}")

    check(frozen.ended is None or frozen.ended > thawed, "the frozen page was not let go")
    newest = live.of("signal", until=thawed)[-1][1]["bin"]
    current = [t - thawed for t, data in frozen.of("signal", thawed) if data["bin"] >= newest]
    check(current and current[0] < 2, f"the thawed page soon reads current data (live at bin {newest})")
    print(f"the thawed page had current data {current[0]:.2f} s after reading again")
    both = [data["bin"] for _, data in live.of("signal")]
    kept = [data["bin"] for _, data in frozen.of("signal") if data["bin"] >= both[0]]
    check(len(kept) < len(both), "the thawed page lost its oldest messages")
    print("1 passed, 0 failed")


if __name__ == "__main__":
    # Never shrink the buffers of the network this was started from.
    if os.readlink("/proc/self/ns/net") == os.readlink(f"/proc/{os.getppid()}/ns/net"):
        print("skipped: needs a private network namespace (run by in_private_network.sh)")
        sys.exit(77)
    try:
        shrink_tcp_buffers()
    except OSError as error:
        print(f"skipped: cannot shrink this namespace's TCP buffers ({error})")
        sys.exit(77)
    test(*sys.argv[1:3])
