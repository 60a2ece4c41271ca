"""The package on a faulty link: each case under a virtual headset of its
own, made by the emulator that QVT_EMULATOR names."""
import json
import os
import subprocess
import sys

import numpy
import pytest

EMULATOR = os.environ.get("QVT_EMULATOR")
PACKAGE = os.path.join(os.path.dirname(__file__), "..")
pytestmark = pytest.mark.skipif(not EMULATOR, reason="QVT_EMULATOR names no emulator")


def under_emulator(options, script):
    """What script prints last, as JSON, run under a virtual headset with options."""
    run = subprocess.run([EMULATOR, *options, "--", sys.executable, "-c", "import json, qvt, time\n" + script],
                         env=dict(os.environ, PYTHONPATH=PACKAGE), capture_output=True, text=True, timeout=120)
    assert run.returncode == 0, run.stdout[-2000:] + run.stderr[-2000:]
    return json.loads(run.stdout.strip().splitlines()[-1])


def test_samples_dropped_on_the_link_are_gaps_in_the_times_where_they_were(tmp_path):
    log = tmp_path / "dropped.txt"
    read = under_emulator(["--seed", "3", "--drop", "0.03", "--drop-log", str(log)], """
with qvt.Headset() as h:
    block = h.read(4.0)
print(json.dumps({"times": block.times.tolist(), "gaps": block.gaps}))
""")
    times = numpy.array(read["times"])
    periods = (times - times[0]) * 300.0
    places = numpy.rint(periods).astype(int)
    assert numpy.allclose(periods, places, atol=1e-6)  # every sample at its true time
    missing = sorted(set(range(places[-1] + 1)) - set(places))
    assert len(missing) > 10
    assert [(i, int(places[i] - places[i - 1] - 1)) for i, _ in read["gaps"]] == [tuple(g) for g in read["gaps"]]
    assert sum(n for _, n in read["gaps"]) == len(missing)
    # The emulator counts packets from the start of the stream; the read
    # began somewhere near it.
    dropped = [int(line.split()[0]) for line in log.read_text().splitlines() if "garbled" not in line]
    matches = [start for start in range(0, 300)
               if [d - start for d in dropped if start <= d <= start + places[-1]] == missing]
    assert matches, f"the gaps {missing[:5]}... are not where the emulator dropped {dropped[:5]}..."


@pytest.mark.parametrize("options, kind", [
    # LED is the one family the handshake leaves alone; nothing public sends it.
    (["--refuse", "LED"], "HeadsetRefusedError"),
    (["--silent-after", "3"], "LinkLostError"),
])
def test_a_refused_command_and_a_silent_link_raise_their_kinds(options, kind):
    seen = under_emulator(options, """
from qvt import lib
with qvt.Headset() as h:
    start = time.monotonic()
    try:
        h.read(1.0)
        h._call(lib.QVT_Headset_ChangeLEDs, 3, kind=qvt.HeadsetRefusedError)
        h.read(60.0)
    except qvt.QvtError as error:
        print(json.dumps([type(error).__name__, time.monotonic() - start]))
""")
    assert seen[0] == kind and seen[1] < 20
