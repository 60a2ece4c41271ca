"""The qvt package against the virtual headset: run under
`qvt-emulator --eyes-closed -- python3 -m pytest python/tests`."""
import logging
import os
import signal
import threading
import time

import pytest

import qvt
from qvt import _header, _prototypes, lib

HEADER = os.path.join(os.path.dirname(__file__), "..", "..", "include", "qvt", "qvt.h")
numpy = pytest.importorskip("numpy")
needs_headset = pytest.mark.skipif(not os.environ.get("QVTSerialPort"), reason="run under qvt-emulator")


def test_every_function_of_the_header_is_bound_with_its_types():
    with open(HEADER, encoding="utf-8") as header:
        expected = _header.render(header.read())
    with open(_prototypes.__file__, encoding="utf-8") as bound:
        assert bound.read() == expected, "regenerate with: python -m qvt._header include/qvt/qvt.h"
    assert len(_prototypes.PROTOTYPES) == 131


@pytest.fixture(scope="module")
def headset():
    with qvt.Headset() as h:
        yield h


@needs_headset
def test_identity_and_montage(headset):
    assert (headset.model, headset.serial_number, headset.sampling_rate) == ("VirtualHeadset", 20240001, 300.0)
    assert "O1" in headset.channel_names and "Cz" in headset.source_names
    assert headset.info.startswith("{\n") and "'SerialNumber' : 20240001," in headset.info


@needs_headset
def test_read_gives_channels_by_samples_at_the_sampling_rate(headset):
    data, times = headset.read(2.0)
    assert data.shape == (len(headset.channel_names), 600)
    assert numpy.allclose(numpy.diff(times), 1 / 300)
    assert headset.read(0)[0].shape == (len(headset.channel_names), 0)
    for careless in (-1, float("nan"), float("inf")):
        with pytest.raises(ValueError, match="seconds must be a finite number"):
            headset.read(careless)


@needs_headset
@pytest.mark.parametrize("verbosity", [2, 5])  # 5: a message, so Python in a callback, per packet
def test_ctrl_c_interrupts_a_long_read(headset, verbosity):
    headset.verbosity = verbosity
    threading.Timer(0.5, os.kill, (os.getpid(), signal.SIGINT)).start()
    start = time.monotonic()
    try:
        with pytest.raises(KeyboardInterrupt):
            headset.read(30.0)
    finally:
        headset.verbosity = 2
    assert time.monotonic() - start < 2.0


@needs_headset
def test_closed_eyes_show_an_alpha_peak_in_O1(headset):
    data, _ = headset.read(4.0)
    o1 = data[headset.channel_names.index("O1")]
    power = numpy.abs(numpy.fft.rfft(o1 - o1.mean())) ** 2
    frequencies = numpy.fft.rfftfreq(o1.size, 1 / 300)
    band = (frequencies >= 2) & (frequencies <= 40)
    assert 8 <= frequencies[band][numpy.argmax(power[band])] <= 12


@needs_headset
def test_impedances_of_every_electrode_but_the_reference(headset):
    eeg = [n for n, k in zip(headset.channel_names, headset.channel_kinds) if k == "eeg"]
    impedances = headset.impedances()
    assert set(eeg) - set(impedances) == {"Pz"}  # the headset's own reference
    assert all(abs(kohm - 5.0) < 0.5 for kohm in impedances.values())  # what the emulator encodes
    montage = headset.montage
    headset.montage = ["O1-Cz"]
    try:
        read = {k: v for k, v in headset.impedances(1.5).items() if v is not None}
    finally:
        headset.montage = montage
    # Measured afresh after the change of montage, not offset by the samples before it.
    assert set(read) == {"O1", "Cz"} and all(abs(kohm - 5.0) < 0.5 for kohm in read.values())


@needs_headset
def test_to_mne_keeps_the_samples_in_volts_and_the_triggers_once_a_second(headset):
    mne = pytest.importorskip("mne")
    data, _ = headset.read(3.0)
    raw = headset.to_mne(data)
    with pytest.raises(ValueError, match="one row per channel"):
        headset.to_mne(data[0])
    kinds = headset.channel_kinds
    types = {"eeg": "eeg", "sensor": "misc", "trigger": "stim", "other": "misc"}
    assert raw.get_channel_types() == [types[k] for k in kinds]
    assert raw.info["sfreq"] == 300.0 and raw.info["device_info"]["serial"] == "20240001"
    volts = [k in ("eeg", "sensor") for k in kinds]
    assert numpy.array_equal(raw.get_data(), numpy.where(numpy.array(volts)[:, None], data * 1e-6, data))
    onsets = mne.find_events(raw, stim_channel="TRG", verbose="error")[:, 0]
    assert len(onsets) >= 2 and set(numpy.diff(onsets)) == {300}
    assert not numpy.isnan(raw.info["chs"][raw.ch_names.index("O1")]["loc"][0])


@needs_headset
def test_alarms_pair_codes_with_the_texts_heard(headset):
    # Connecting queued alarms (a battery report, and the connection's when
    # the link was quiet before), heard with their texts; the battery report
    # asked for now comes with its text at verbosity 3.
    headset.verbosity = 3
    try:
        lib.QVT_Headset_SendBatteryQuery(headset._handle)  # pylint: disable=protected-access
        headset.read(0.3)
        alarms = headset.alarms()
    finally:
        headset.verbosity = 2
    assert len(alarms) >= 2 and all(text for _, text in alarms)
    assert alarms[-1] == (527, "Battery voltage: battery 1 = 87%, battery 2 = 85%; counts: 3087, 3085")
    assert headset.alarms() == []


@needs_headset
def test_failures_raise_the_librarys_own_words(headset):
    with pytest.raises(qvt.QvtError, match='^Failed to match desired source "Q9"'):
        headset.montage = ["Q9-Cz"]
    headset.montage = "Fz-Cz O1"
    assert headset.channel_names == ["Fz", "O1"]
    before = headset.montage
    with pytest.raises(qvt.QvtError, match='"Nope"'):
        headset.montage = ["O2", "Nope", "C3"]
    assert headset.montage == before
    with pytest.raises(qvt.QvtError, match='^Failed to open COM port "/nonexistent"'):
        qvt.Headset("/nonexistent")


@needs_headset
def test_a_new_montage_reaches_running_batches(headset):
    batches = headset.batches()
    next(batches)
    headset.montage = ["O1", "TRG", "Cz"]  # frees the channels the generator had
    assert next(batches)[1].shape == (3, 18)


@needs_headset
def test_background_batches_are_paced_and_messages_reach_logging(headset):
    seen = []

    class Keep(logging.Handler):
        def emit(self, record):
            seen.append(record)

    handler = Keep()
    logging.getLogger("qvt").addHandler(handler)
    logging.getLogger("qvt").setLevel(logging.DEBUG)
    headset.verbosity = 5  # a message for every packet, from the acquisition thread
    headset.start_background_acquisition()
    try:
        stamps = []
        for stamp, batch in headset.batches():
            assert batch.shape == (len(headset.channel_names), 18)
            stamps.append(stamp)
            if len(stamps) == 40:
                break
    finally:
        headset.verbosity = 2
        headset.stop_background_acquisition()
        logging.getLogger("qvt").removeHandler(handler)
    assert abs(numpy.median(numpy.diff(stamps)) - 0.06) < 0.01
    assert headset.read(0.3)[0].shape[1] == 90  # the thread's stream has stopped: reading starts one again
    assert any(r.levelno == logging.DEBUG and "data packet" in r.getMessage() for r in seen)


@needs_headset
@pytest.mark.parametrize(
    "careless, error",
    [(lambda h: qvt.Headset(5), TypeError), (lambda h: qvt.Headset(b"/dev/x"), TypeError),
     (lambda h: setattr(h, "verbosity", "5"), TypeError), (lambda h: setattr(h, "verbosity", 2**40), ValueError),
     (lambda h: setattr(h, "montage", [b"Fz"]), TypeError)],
)
def test_arguments_of_the_wrong_kind_are_refused_by_name(headset, careless, error):
    with pytest.raises(error, match="port|verbosity|montage"):
        careless(headset)


def test_errors_of_two_threads_stay_apart():
    errors = {}

    def fail(port):
        try:
            qvt.Headset(port)
        except qvt.QvtError as error:
            errors[port] = str(error)

    threads = [threading.Thread(target=fail, args=(p,)) for p in ("/nonexistent/a", "/nonexistent/b")]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == {p: f'Failed to open COM port "{p}": No such file or directory' for p in ("/nonexistent/a", "/nonexistent/b")}
