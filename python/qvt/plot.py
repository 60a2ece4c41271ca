"""A quick look at a recording: the first seconds of every EEG channel with
its triggers and bad segments, the power spectra, and the impedances.

    python3 -m qvt.plot FILE.bdf -o look.png
    python3 -m qvt.plot --live 10 -o look.png      # from the headset

Needs numpy, scipy, matplotlib and mne; draws off-screen (no display).
"""
from __future__ import annotations

import argparse
import os
import re
import sys
from typing import Any, Dict, List, Mapping, Optional, Sequence, Tuple

Impedances = Mapping[str, Optional[float]]

GOOD_BELOW_KOHM = 10.0  # the impedance a good electrode stays under
ALPHA_BAND = (8.0, 12.0)
_STIM_NAMES = ("TRG", "TRIGGER", "STATUS")
_IMPEDANCE = re.compile(r"^Z\s+(\S+)\s+([-+0-9.eE]+)\s*kOhm$")
_TRIGGER = re.compile(r"^TRG\s+(\S+)$")


# ---- what a picture is made of ----------------------------------------------


def read_file(path: str) -> Tuple[Any, Dict[str, float]]:
    """A BDF recording and the impedances written into it.

    Parameters
    ----------
    path : str
        The file.

    Returns
    -------
    raw : mne.io.Raw
        Channels named like 10-05 electrodes are EEG, TRG the trigger, the
        rest misc.
    impedances : dict of str to float
        {electrode: kOhm} from "Z <electrode> <value> kOhm" annotations at
        the start; {} without any.
    """
    import mne

    raw = mne.io.read_raw_bdf(path, preload=True, infer_types=True, verbose="error")
    standard = set(mne.channels.make_standard_montage("standard_1005").ch_names)
    types = {}
    for name, kind in zip(raw.ch_names, raw.get_channel_types()):
        if name.upper() in _STIM_NAMES:
            types[name] = "stim"
        elif kind == "eeg" and name not in standard:
            types[name] = "misc"
    if types:
        raw.set_channel_types(types, verbose="error")
    raw.set_montage("standard_1005", on_missing="ignore", verbose="error")
    return raw, file_impedances(raw)


def file_impedances(raw: Any) -> Dict[str, float]:
    """{electrode: kOhm} from the "Z ..." annotations at the start of raw.

    Parameters
    ----------
    raw : mne.io.Raw
        A recording.

    Returns
    -------
    dict of str to float
        In the order of raw's channels.
    """
    found = {}
    for annotation in raw.annotations:
        match = _IMPEDANCE.match(annotation["description"].strip())
        # Measured before the recording, so written at its very start.
        if match and annotation["onset"] - raw.first_time < 0.5:
            found[match.group(1)] = float(match.group(2))
    # Annotations at one time come back in no set order: show the montage's.
    position = {name: i for i, name in enumerate(raw.ch_names)}
    return dict(sorted(found.items(), key=lambda item: position.get(item[0], len(position))))


def marks(raw: Any) -> Tuple[List[Tuple[float, str]], List[Tuple[float, float]]]:
    """The trigger onsets and bad spans of a recording.

    Parameters
    ----------
    raw : mne.io.Raw
        A recording, with annotations or stim channels.

    Returns
    -------
    triggers : list of (float, str)
        (seconds, label) of every trigger onset, from "TRG <value>"
        annotations or else the stim channels.
    bad : list of (float, float)
        (start, end) in seconds of the annotations whose description begins
        with BAD.
    """
    import numpy

    start = raw.first_time
    triggers: List[Tuple[float, str]] = []
    bad: List[Tuple[float, float]] = []
    for annotation in raw.annotations:
        text = annotation["description"].strip()
        onset = annotation["onset"] - start
        match = _TRIGGER.match(text)
        if match:
            triggers.append((onset, match.group(1)))
        elif text.upper().startswith("BAD"):
            bad.append((onset, onset + annotation["duration"]))
    if not triggers:
        for index in _picks(raw, "stim"):
            values = raw.get_data(picks=[index])[0]
            # An onset is where the value changes to something other than 0.
            changed = numpy.flatnonzero((values[1:] != values[:-1]) & (values[1:] != 0)) + 1
            if values.size and values[0] != 0:
                changed = numpy.concatenate((numpy.zeros(1, dtype=changed.dtype), changed))
            triggers.extend((raw.times[i], f"{values[i]:g}") for i in changed)
    return sorted(triggers), bad


def _picks(raw: Any, kind: str) -> List[int]:
    return [i for i, t in enumerate(raw.get_channel_types()) if t == kind]


def _nice(value: float) -> float:
    """The round number at or just above value (1, 1.5, 2, 3, 5, 7.5 times a power of 10)."""
    import math

    if not value > 0:
        return 1.0
    power = 10 ** math.floor(math.log10(value))
    return float(next(step * power for step in (1, 1.5, 2, 3, 5, 7.5, 10) if step * power >= value))


def live(seconds: float, impedance_seconds: float = 2.0,
         port: Optional[str] = None) -> Tuple[Any, Dict[str, Optional[float]], str]:
    """Signal and impedances from the headset.

    Parameters
    ----------
    seconds : float
        How much signal to read.
    impedance_seconds : float, optional
        How long to measure impedances first; 0 skips them.
    port : str, optional
        The serial device; None for QVTSerialPort's.

    Returns
    -------
    raw : mne.io.RawArray
        The signal.
    impedances : dict of str to float or None
        {electrode: kOhm}, as Headset.impedances gives them.
    title : str
        The picture's title.
    """
    from .headset import Headset

    with Headset(port) as headset:
        impedances: Dict[str, Optional[float]] = {}
        if impedance_seconds > 0:
            impedances = headset.impedances(impedance_seconds)
        data, _ = headset.read(seconds)
        raw = headset.to_mne(data)
    return raw, impedances, title_of(raw)


def title_of(raw: Any, name: Optional[str] = None) -> str:
    """Model, serial number, rate and length of a recording, as one line.

    Parameters
    ----------
    raw : mne.io.Raw
        The recording.
    name : str, optional
        A file's name, put first.

    Returns
    -------
    str
        Such as "VirtualHeadset  ·  serial 20240001  ·  300 Hz  ·  10.0 s".
    """
    device = raw.info.get("device_info") or {}
    parts = [name] if name else []
    if device.get("model"):
        parts.append(device["model"])
    if device.get("serial"):
        parts.append(f"serial {device['serial']}")
    parts.append(f"{raw.info['sfreq']:g} Hz")
    parts.append(f"{raw.times[-1] + 1 / raw.info['sfreq']:.1f} s")
    return "  ·  ".join(parts)


# ---- the picture --------------------------------------------------------------


def figure(raw: Any, impedances: Optional[Impedances] = None, seconds: float = 10.0,
           title: Optional[str] = None) -> Any:
    """The quick look at a recording.

    Parameters
    ----------
    raw : mne.io.Raw
        The recording.
    impedances : dict of str to float or None, optional
        {electrode: kOhm}; None or {} shows "not measured".
    seconds : float, optional
        The length of the traces shown.
    title : str, optional
        The title; `title_of` raw by default.

    Returns
    -------
    matplotlib.figure.Figure
        Not tied to a display.
    """
    import matplotlib
    from matplotlib.figure import Figure

    with matplotlib.rc_context({"font.size": 11, "axes.titlesize": 13, "axes.titleweight": "bold"}):
        fig = Figure(figsize=(16, 9), dpi=100, layout="constrained")
        grid = fig.add_gridspec(2, 2, width_ratios=(1.55, 1), height_ratios=(1.15, 1))
        _draw_traces(fig.add_subplot(grid[:, 0]), raw, seconds)
        _draw_spectra(fig.add_subplot(grid[0, 1]), raw)
        _draw_impedances(fig.add_subplot(grid[1, 1]), impedances or {})
        fig.suptitle(title or title_of(raw), fontsize=16, fontweight="bold")
    return fig


def _eeg(raw: Any) -> List[int]:
    """Indices of the channels to draw: the EEG ones, else all but stim."""
    picks = _picks(raw, "eeg")
    return picks or [i for i, t in enumerate(raw.get_channel_types()) if t != "stim"]


def _draw_traces(ax: Any, raw: Any, seconds: float) -> None:
    import numpy

    picks = _eeg(raw)
    end = min(raw.n_times, max(1, int(round(seconds * raw.info["sfreq"]))))
    times = raw.times[:end]
    data = raw.get_data(picks=picks, stop=end) * 1e6
    data -= data.mean(axis=1, keepdims=True)
    # One spacing for all, so that sizes compare across channels: wide enough
    # for most channels' spread, and one wild channel does not squash the rest.
    spread = numpy.percentile(numpy.percentile(data, 99, axis=1) - numpy.percentile(data, 1, axis=1), 75)
    spacing = _nice(spread)
    offsets = -spacing * numpy.arange(len(picks))
    ax.plot(times, (data + offsets[:, None]).T, color="#1f3b73", linewidth=0.7)
    ax.set_yticks(offsets, [raw.ch_names[i] for i in picks])
    ax.set_ylim(offsets[-1] - spacing, spacing)
    ax.set_xlim(times[0], times[-1])
    ax.set_xlabel("time (s)")
    ax.set_title(f"First {times[-1] - times[0]:.1f} s of {len(picks)} channels  (spacing {spacing:g} µV)")
    ax.grid(axis="x", alpha=0.3)

    triggers, bad = marks(raw)
    shown = [(t, label) for t, label in triggers if times[0] <= t <= times[-1]]
    for t, label in shown:
        ax.axvline(t, color="#d62728", linewidth=1.0, alpha=0.8)
        if len(shown) <= 40:
            ax.annotate(label, (t, 1), xycoords=("data", "axes fraction"), xytext=(2, -12),
                        textcoords="offset points", color="#d62728", fontsize=9)
    for start, stop in bad:
        if stop >= times[0] and start <= times[-1]:
            ax.axvspan(start, max(stop, start + 1 / raw.info["sfreq"]), color="#ff7f0e", alpha=0.25)
    handles = []
    if shown:
        handles.append(_line_handle("#d62728", f"trigger ({len(shown)})"))
    if bad:
        handles.append(_patch_handle("#ff7f0e", "bad segment"))
    if handles:
        ax.legend(handles=handles, loc="lower right", fontsize=9, framealpha=0.9)


def _line_handle(color: str, label: str) -> Any:
    from matplotlib.lines import Line2D

    return Line2D([], [], color=color, label=label)


def _patch_handle(color: str, label: str) -> Any:
    from matplotlib.patches import Patch

    return Patch(color=color, alpha=0.4, label=label)


def _draw_spectra(ax: Any, raw: Any) -> None:
    import numpy
    from scipy.signal import welch

    picks = _eeg(raw)
    rate = raw.info["sfreq"]
    data = raw.get_data(picks=picks) * 1e6
    frequencies, power = welch(data, fs=rate, nperseg=min(data.shape[1], int(2 * rate)))
    shown = (frequencies >= 1) & (frequencies <= min(45.0, rate / 2))
    for row in power:
        ax.semilogy(frequencies[shown], row[shown], color="#7f9cc9", linewidth=0.6, alpha=0.6)
    median = numpy.median(power, axis=0)
    ax.semilogy(frequencies[shown], median[shown], color="#1f3b73", linewidth=2, label="median of channels")
    ax.axvspan(*ALPHA_BAND, color="#2ca02c", alpha=0.15, label="alpha 8-12 Hz")
    peak = _peak(frequencies, median)
    if peak is not None:
        ax.axvline(peak, color="#2ca02c", linestyle=":", linewidth=1.2, label=f"peak {peak:.1f} Hz")
    ax.set_xlim(frequencies[shown][0], frequencies[shown][-1])
    ax.set_xlabel("frequency (Hz)")
    ax.set_ylabel("power (µV²/Hz)")
    ax.set_title(f"Power spectrum of {len(picks)} channels (Welch)")
    ax.grid(which="both", alpha=0.25)
    ax.legend(loc="upper right", fontsize=9)


def _peak(frequencies: Any, power: Any) -> Optional[float]:
    """The frequency from 4 to 30 Hz standing highest above the 1/f
    background (a straight line on log-log axes through 2 to 40 Hz)."""
    import numpy

    fitted = (frequencies >= 2) & (frequencies <= 40) & (power > 0)
    searched = (frequencies >= 4) & (frequencies <= 30) & (power > 0)
    if fitted.sum() < 3 or not searched.any():
        return None
    slope, intercept = numpy.polyfit(numpy.log10(frequencies[fitted]), numpy.log10(power[fitted]), 1)
    above = numpy.log10(power[searched]) - (slope * numpy.log10(frequencies[searched]) + intercept)
    return float(frequencies[searched][numpy.argmax(above)])


def _draw_impedances(ax: Any, impedances: Impedances) -> None:
    ax.set_title("Electrode impedances")
    if not impedances:
        ax.text(0.5, 0.5, "not measured", ha="center", va="center", fontsize=13, color="gray",
                transform=ax.transAxes)
        ax.set_xticks([])
        ax.set_yticks([])
        return
    names = list(impedances)
    values = [impedances[n] or 0.0 for n in names]
    colors = ["#bbbbbb" if impedances[n] is None else "#2ca02c" if (impedances[n] or 0.0) < GOOD_BELOW_KOHM
              else "#d62728" for n in names]
    ax.bar(range(len(names)), values, color=colors)
    ax.axhline(GOOD_BELOW_KOHM, color="#555555", linestyle="--", linewidth=1,
               label=f"good below {GOOD_BELOW_KOHM:g} kOhm")
    for x, name in enumerate(names):
        if impedances[name] is None:
            ax.annotate("?", (x, 0), ha="center", va="bottom", color="gray")
    ax.set_xticks(range(len(names)), names, rotation=90, fontsize=9)
    ax.set_xlim(-0.6, len(names) - 0.4)
    ax.set_ylim(0, max(max(values), GOOD_BELOW_KOHM) * 1.25)
    ax.set_ylabel("kOhm")
    ax.legend(loc="upper right", fontsize=9)


# ---- command line ------------------------------------------------------------------


def main(argv: Optional[Sequence[str]] = None) -> int:
    """The command line: ``python3 -m qvt.plot FILE | --live SECONDS [-o PNG]``.

    Parameters
    ----------
    argv : sequence of str, optional
        The arguments; sys.argv's by default.

    Returns
    -------
    int
        The exit status, 0.
    """
    parser = argparse.ArgumentParser(prog="python3 -m qvt.plot", description=(__doc__ or "").split("\n\n")[0])
    parser.add_argument("file", nargs="?", help="a BDF recording")
    parser.add_argument("--live", type=float, metavar="SECONDS",
                        help="record this long from the headset instead")
    parser.add_argument("--impedance", type=float, default=2.0, metavar="SECONDS",
                        help="with --live: measure impedances this long first, 0 skips (default 2)")
    parser.add_argument("--seconds", type=float, default=10.0, help="length of the traces shown (default 10)")
    parser.add_argument("-o", "--output", default="look.png", help="picture to write (default look.png)")
    options = parser.parse_args(argv)
    if (options.file is None) == (options.live is None):
        parser.error("give a FILE or --live SECONDS")
    if options.live is not None and options.live <= 0:
        parser.error("--live wants a positive number of seconds")

    import matplotlib

    matplotlib.use("Agg")
    impedances: Impedances
    if options.live is not None:
        raw, impedances, title = live(options.live, options.impedance)
    else:
        raw, impedances = read_file(options.file)
        title = title_of(raw, os.path.basename(options.file))
    figure(raw, impedances, options.seconds, title).savefig(options.output)
    print(f"wrote {options.output}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
