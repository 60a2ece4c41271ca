"""The parts of the package that need no headset."""
import os
import subprocess
import sys
import threading
import time

import numpy
import pytest

from qvt import _header, _prototypes
from qvt._formulas import electrode_against
from qvt._turns import Turns
from qvt.block import Block, Timeline
from qvt.mne_raw import channel_labels

PACKAGE = os.path.join(os.path.dirname(__file__), "..")
HEADER = os.path.join(PACKAGE, "..", "include", "qvt", "qvt.h")


def test_every_function_of_the_header_is_bound_with_its_types():
    with open(HEADER, encoding="utf-8") as header:
        expected = _header.render(header.read())
    with open(_prototypes.__file__, encoding="utf-8") as bound:
        assert bound.read() == expected, "regenerate with: python -m qvt._header include/qvt/qvt.h"


def test_files_and_pictures_need_no_library():
    script = ("import qvt, qvt.plot, qvt.mne; from qvt.mne import to_raw\n"
              "assert to_raw is qvt.mne_raw.to_raw\n"
              "assert 'libqvt.so' not in open('/proc/self/maps').read()\n")
    run = subprocess.run([sys.executable, "-c", script], env=dict(os.environ, PYTHONPATH=PACKAGE),
                         capture_output=True, text=True, timeout=60)
    assert run.returncode == 0, run.stderr


def test_the_package_is_clean_under_mypy():
    pytest.importorskip("mypy")
    cache = os.environ.get("MYPY_CACHE_DIR", os.devnull)
    run = subprocess.run([sys.executable, "-m", "mypy", "--cache-dir", cache, "qvt"], cwd=PACKAGE,
                         capture_output=True, text=True, timeout=300)
    assert run.returncode == 0, run.stdout + run.stderr


@pytest.mark.parametrize("stamps, previous, gaps", [
    ([0, 1, 2, 3], None, []),
    ([0, 1, 4, 5, 7], None, [(2, 2), (4, 1)]),
    ([10, 11], 9, []),
    ([12, 13], 9, [(0, 2)]),  # lost between two blocks
    ([3, 4, 4, 5], 2, []),  # a restarted or repeated stamp is no gap
])
def test_gaps_are_told_by_the_steps_of_the_stamps(stamps, previous, gaps):
    timeline = Timeline(300.0)
    if previous is not None:
        timeline.gaps(numpy.array([previous]) / 300.0)
    assert timeline.gaps(numpy.array(stamps, dtype=float) / 300.0) == gaps


def test_blocks_join_with_their_gaps_in_place():
    first = Block(numpy.zeros((2, 3)), numpy.arange(3.0), [(0, 1)])
    second = Block(numpy.ones((2, 2)), numpy.arange(5.0, 7.0), [(0, 2)])
    joined = Block.joined([first, second])
    data, times = joined
    assert data.shape == (2, 5) and list(times) == [0, 1, 2, 5, 6]
    assert joined.gaps == [(0, 1), (3, 2)] and joined.lost == 3


@pytest.mark.parametrize("formula, reference, electrode", [
    ("O1-M1/2-M2/2", "M1/2+M2/2", "O1"),
    ("O1-Pz", "Pz", "O1"),
    ("Fz-Cz", "Pz", None),
    ("Fz-Cz", "Cz", "Fz"),
    ("M1/2+M2/2", "M1/2+M2/2", None),
    ("Cz*2-M1-M2", "M1/2+M2/2", None),
    ("O1-M1/2-M2/2", "M1/2 + M2/2", "O1"),
])
def test_a_channel_is_one_electrode_only_against_the_reference(formula, reference, electrode):
    assert electrode_against(formula, reference) == electrode


def test_labels_keep_the_montage_text_and_are_unique():
    formulas = ["Fz-Cz", "O1-Pz", "O1-Cz", "O1-Pz", "TRG"]
    labels, placed = channel_labels(["Fz", "O1", "O1", "O1", "TRG"], formulas,
                                    ["eeg", "eeg", "eeg", "eeg", "trigger"], "Pz")
    assert labels == ["Fz-Cz", "O1", "O1-Cz", "O1 #2", "TRG"]
    assert placed == [False, True, False, True, False]


def test_turns_go_to_waiting_threads_in_order():
    turns, order = Turns(), []
    holder_started = threading.Event()

    def hog():
        # Takes the lock back at once, as a reader in a loop does.
        for _ in range(200):
            with turns:
                holder_started.set()
                with turns:  # reentrant
                    time.sleep(0.0005)

    def waiter(name):
        with turns:
            order.append(name)

    hogging = threading.Thread(target=hog)
    hogging.start()
    holder_started.wait()
    waiters = [threading.Thread(target=waiter, args=(n,)) for n in "ab"]
    for w in waiters:
        w.start()
        time.sleep(0.01)
    for w in waiters:
        w.join(timeout=0.5)
        assert not w.is_alive(), "a waiting thread never got its turn"
    hogging.join()
    assert order == ["a", "b"]
