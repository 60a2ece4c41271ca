"""The quick-look picture, from a BDF file and live from the virtual headset."""
import os
import struct
import subprocess
import sys

import pytest

numpy = pytest.importorskip("numpy")
pytest.importorskip("mne")
pytest.importorskip("matplotlib")
pytest.importorskip("scipy")

from qvt import plot  # noqa: E402 (after the skips)


def write_bdf(path, names, rate, microvolts, annotations):
    """A BDF+ file of one-second records: rows in µV (TRG as is) and
    annotations [(onset, duration or None, text)] in the first record."""
    seconds = microvolts.shape[1] // rate
    tal_bytes = 300
    labels = list(names) + ["BDF Annotations"]
    header = b"\xffBIOSEMI" + b" " * 160 + b"01.01.24" + b"00.00.00"
    header += f"{256 * (len(labels) + 1):<8}{'BDF+C':<44}{seconds:<8}{1:<8}{len(labels):<4}".encode()
    fields = [
        [f"{n:<16}" for n in labels],
        [" " * 80] * len(labels),
        ["uV      " if n != "TRG" else " " * 8 for n in names] + [" " * 8],
        [f"{-100000 if n != 'TRG' else -8388608:<8}" for n in names] + ["-1      "],
        [f"{100000 if n != 'TRG' else 8388607:<8}" for n in names] + ["1       "],
        ["-8388608"] * len(labels),
        ["8388607 "] * len(labels),
        [" " * 80] * len(labels),
        [f"{rate:<8}"] * len(names) + [f"{tal_bytes // 3:<8}"],
        [" " * 32] * len(labels),
    ]
    header += "".join("".join(f) for f in fields).encode()
    # Digital -8388608..8388607 spans -100000..100000 µV; TRG is stored as is.
    digital = [row if n == "TRG" else row * 8388607.5 / 100000 - 0.5 for n, row in zip(names, microvolts)]
    with open(path, "wb") as out:
        out.write(header)
        for record in range(seconds):
            for row in digital:
                part = row[record * rate:(record + 1) * rate]
                out.write(b"".join(struct.pack("<i", round(v))[:3] for v in part))
            tal = f"+{record}\x14\x14\x00"
            if record == 0:
                for onset, duration, text in annotations:
                    tal += f"+{onset}" + (f"\x15{duration}" if duration else "") + f"\x14{text}\x14\x00"
            out.write(tal.encode().ljust(tal_bytes, b"\x00"))


def test_a_bdf_recording_gives_types_marks_impedances_and_the_three_panels(tmp_path):
    rate, seconds = 200, 4
    t = numpy.arange(rate * seconds) / rate
    trigger = numpy.zeros_like(t)
    trigger[rate:rate + 4] = 3
    rows = numpy.array([20 * numpy.sin(20 * numpy.pi * t), 5 * numpy.sin(6 * numpy.pi * t), 0 * t, trigger])
    path = str(tmp_path / "look.bdf")
    annotations = [(0, None, "Z Fz 4.5 kOhm"), (0, None, "Z O1 12 kOhm"), (1, None, "TRG 3"),
                   (2, 0.5, "BAD move")]
    write_bdf(path, ["Fz", "O1", "ACCX", "TRG"], rate, rows, annotations)

    raw, impedances = plot.read_file(path)
    assert raw.ch_names == ["Fz", "O1", "ACCX", "TRG"]
    assert raw.get_channel_types() == ["eeg", "eeg", "misc", "stim"]
    assert numpy.allclose(raw.get_data(picks=["Fz"])[0], rows[0] * 1e-6, atol=2e-8)
    assert impedances == {"Fz": 4.5, "O1": 12.0}
    assert plot.marks(raw) == ([(1.0, "3")], [(2.0, 2.5)])

    traces, spectra, bars = plot.figure(raw, impedances).axes
    assert [label.get_text() for label in traces.get_yticklabels()] == ["Fz", "O1"]
    assert spectra.get_yscale() == "log"
    assert [label.get_text() for label in bars.get_xticklabels()] == ["Fz", "O1"]


@pytest.mark.skipif(not os.environ.get("QVTSerialPort"), reason="run under qvt-emulator")
def test_live_picture_is_written(tmp_path):
    picture = tmp_path / "look.png"
    subprocess.run([sys.executable, "-m", "qvt.plot", "--live", "3", "--impedance", "1", "-o", str(picture)],
                   check=True, timeout=120)
    with open(picture, "rb") as png:
        head = png.read(24)
    assert head[:8] == b"\x89PNG\r\n\x1a\n"
    assert struct.unpack(">II", head[16:24]) == (1600, 900)
