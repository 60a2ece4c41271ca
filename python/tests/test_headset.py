"""A headset of the package against the virtual headset: run under
`qvt-emulator --eyes-closed -- python3 -m pytest python/tests`. Every test
opens its own."""
import logging
import os
import signal
import threading
import time

import numpy
import pytest

import qvt
from qvt import lib

pytestmark = pytest.mark.skipif(not os.environ.get("QVTSerialPort"), reason="run under qvt-emulator")


@pytest.fixture
def headset():
    with qvt.Headset() as h:
        yield h


def steps(times, rate):
    return numpy.rint(numpy.diff(times) * rate)


def test_identity_and_montage(headset):
    assert (headset.model, headset.serial_number, headset.sampling_rate) == ("VirtualHeadset", 20240001, 300.0)
    assert headset.montage[:2] == ["Fp1-M1/2-M2/2", "Fpz-M1/2-M2/2"] and headset.montage[-1] == "ACCZ"
    assert "O1" in headset.channel_names and "Cz" in headset.source_names and headset.verbosity == 2
    assert "'SerialNumber' : 20240001," in headset.info


def test_reads_follow_each_other_without_loss_across_a_pause(headset):
    data, times = headset.read(0.5)
    assert data.shape == (len(headset.montage), 150) and data.dtype == numpy.float64
    time.sleep(2.0)
    later = headset.read(2.5)
    joined = numpy.concatenate([times, later.times])
    assert later.lost == 0 and set(steps(joined, 300.0)) == {1.0}
    assert headset.read(0).data.shape == (len(headset.montage), 0)


def test_closed_eyes_show_an_alpha_peak_in_O1(headset):
    data, _ = headset.read(4.0)
    o1 = data[headset.channel_names.index("O1")]
    power = numpy.abs(numpy.fft.rfft(o1 - o1.mean())) ** 2
    frequencies = numpy.fft.rfftfreq(o1.size, 1 / 300)
    band = (frequencies >= 2) & (frequencies <= 40)
    assert 8 <= frequencies[band][numpy.argmax(power[band])] <= 12


def test_ctrl_c_interrupts_a_long_read(headset):
    threading.Timer(0.5, os.kill, (os.getpid(), signal.SIGINT)).start()
    start = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        headset.read(30.0)
    assert time.monotonic() - start < 2.0


def test_a_montage_set_every_10_ms_while_another_thread_reads(headset):
    montages = [["Fz-Cz", "O1"], ["O1", "TRG", "Cz", "ACCX"], "Fp1 Fp2 F7"]
    shapes, failures, stop = set(), [], threading.Event()

    def reader():
        try:
            while not stop.is_set():
                shapes.add(headset.read(0.05).data.shape[0])
        except Exception as error:  # pylint: disable=broad-except
            failures.append(error)

    headset.montage = montages[-1]
    thread = threading.Thread(target=reader)
    thread.start()
    deadline = time.monotonic() + 3.0
    changes = 0
    while time.monotonic() < deadline:
        headset.montage = montages[changes % len(montages)]
        changes += 1
        time.sleep(0.01)
    stop.set()
    thread.join(timeout=10)
    assert not thread.is_alive() and not failures
    assert changes > 10 and shapes <= {2, 3, 4} and len(shapes) >= 2  # changes: about 50 in a plain build


def test_impedances_wait_for_a_read_on_another_thread(headset):
    reading = threading.Thread(target=headset.read, args=(1.5,))
    reading.start()
    time.sleep(0.2)
    eeg = [n for n, k in zip(headset.channel_names, headset.channel_kinds) if k == "eeg"]
    impedances = headset.impedances()
    reading.join(timeout=5)
    assert not reading.is_alive()
    assert set(eeg) - set(impedances) == {"Pz"}  # the headset's own reference
    assert all(abs(kohm - 5.0) < 0.5 for kohm in impedances.values())  # what the emulator encodes
    headset.montage = ["O1-Cz"]
    read = {k: v for k, v in headset.impedances(1.5).items() if v is not None}
    # Measured afresh after the change of montage, not offset by the samples before it.
    assert set(read) == {"O1", "Cz"} and all(abs(kohm - 5.0) < 0.5 for kohm in read.values())


def test_close_on_another_thread_ends_a_read(headset):
    failures = []
    threading.Timer(0.3, headset.close).start()
    try:
        headset.read(20.0)
    except qvt.QvtError as error:
        failures.append(error)
    assert failures and "closed" in str(failures[0])


def test_to_mne_names_places_and_units(headset):
    mne = pytest.importorskip("mne")
    headset.montage = ["Fz-Cz", "O1", "O1-Cz", "M1/2+M2/2", "TRG", "ACCX"]
    block = headset.read(3.0)
    raw = headset.to_mne(block)
    assert raw.ch_names == ["Fz-Cz", "O1", "O1-Cz", "M1/2+M2/2", "TRG", "ACCX"]
    assert raw.get_channel_types() == ["eeg", "eeg", "eeg", "eeg", "stim", "misc"]
    placed = [not numpy.isnan(raw.info["chs"][i]["loc"][0]) for i in range(4)]
    assert placed == [False, True, False, False]
    assert "M1/2+M2/2" in raw.info["description"] and raw.info["device_info"]["serial"] == "20240001"
    volts = numpy.array([True] * 4 + [False] * 2)
    assert numpy.array_equal(raw.get_data(), numpy.where(volts[:, None], block.data * 1e-6, block.data))
    # Streaming starts the trigger line with 16 empty samples, so a pulse
    # already under way shows from sample 16: not an onset to space.
    onsets = mne.find_events(raw, stim_channel="TRG", verbose="error")[:, 0]
    onsets = onsets[onsets > 16]
    # A pulse a second; samples lost on the way (the block says where)
    # shorten the spacing they fall in.
    lost = [sum(c for i, c in block.gaps if a < i <= b) for a, b in zip(onsets[:-1], onsets[1:])]
    assert len(onsets) >= 2 and list(numpy.diff(onsets) + lost) == [300] * (len(onsets) - 1), (onsets, block.gaps)
    with pytest.raises(ValueError, match="one row per channel"):
        headset.to_mne(block.data[0])


def test_alarms_come_with_their_texts_whatever_the_verbosity_or_the_logging(headset):
    class Raising(logging.Handler):
        def emit(self, record):
            raise RuntimeError("a careless handler")

    handler = Raising()
    logging.getLogger("qvt").addHandler(handler)
    try:
        headset.alarms()
        lib.QVT_Headset_SendBatteryQuery(headset._handle)  # pylint: disable=protected-access
        headset.read(0.3)
        alarms = headset.alarms()
    finally:
        logging.getLogger("qvt").removeHandler(handler)
    assert alarms[-1].code == 527 and alarms[-1].text.startswith("Battery voltage: battery 1 = 87%")
    assert headset.alarms() == []


def test_failures_raise_the_librarys_own_words_by_kind(headset):
    with pytest.raises(qvt.InvalidArgumentError, match='^Failed to match desired source "Q9"'):
        headset.montage = ["Q9-Cz"]
    headset.montage = "Fz-Cz O1"
    with pytest.raises(ValueError, match='"Nope"'):
        headset.montage = ["O2", "Nope", "C3"]
    assert headset.montage == ["Fz-Cz", "O1-M1/2-M2/2"] and headset.channel_names == ["Fz", "O1"]
    with pytest.raises(qvt.QvtTimeoutError) as waited:
        headset.read(5.0, timeout=0.3)
    assert isinstance(waited.value, TimeoutError)
    with pytest.raises(qvt.QvtError, match='^Failed to open COM port "/nonexistent"'):
        qvt.Headset("/nonexistent")


@pytest.mark.parametrize("careless, error", [
    (lambda h: qvt.Headset(5), TypeError),
    (lambda h: setattr(h, "verbosity", "5"), TypeError),
    (lambda h: setattr(h, "verbosity", 8), ValueError),
    (lambda h: setattr(h, "montage", [b"Fz"]), TypeError),
    (lambda h: setattr(h, "montage", []), ValueError),
    (lambda h: h.read(float("nan")), ValueError),
    (lambda h: h.read(1.0, timeout=-1), ValueError),
])
def test_arguments_of_the_wrong_kind_are_refused_by_name(headset, careless, error):
    with pytest.raises(error, match="port|verbosity|montage|seconds|timeout"):
        careless(headset)


def test_batches_are_paced_and_take_a_new_montage(headset):
    stamps = []
    for count, (data, times) in enumerate(headset.batches()):
        assert data.shape[1] == 18 and set(steps(times, 300.0)) == {1.0}
        stamps.append(times[0])
        if count == 3:
            headset.montage = ["O1", "TRG", "Cz"]
        if count == 4:
            assert data.shape[0] == 3
        if count == 20:
            break
    assert abs(numpy.median(numpy.diff(stamps)) - 0.06) < 0.01


def test_errors_of_two_threads_stay_apart():
    errors = {}

    def fail(port):
        try:
            qvt.Headset(port)
        except qvt.QvtError as error:
            errors[port] = str(error)

    threads_ports = ("/nonexistent/a", "/nonexistent/b")
    threads = [threading.Thread(target=fail, args=(p,)) for p in threads_ports]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == {p: f'Failed to open COM port "{p}": No such file or directory' for p in threads_ports}
