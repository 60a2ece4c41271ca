"""Signals of a headset as MNE-Python objects. mne is imported only when
used, so the rest of the package does without it."""
from __future__ import annotations

from typing import Any, List, Optional, Sequence, Tuple

import numpy

from ._formulas import electrode_against, weights

# The library's channel kinds as mne channel types, and the factor that
# brings their values to mne's units: electrodes from µV to volts, the
# trigger and accelerometer values as they come.
_TYPES = {
    "eeg": ("eeg", 1e-6),
    "sensor": ("misc", 1e-6),
    "trigger": ("stim", 1.0),
    "other": ("misc", 1.0),
}

def channel_labels(names: Sequence[str], formulas: Sequence[str], kinds: Sequence[str],
                   reference: str) -> Tuple[List[str], List[bool]]:
    """Unique labels for the channels, and which of them have a scalp place.

    Parameters
    ----------
    names : sequence of str
        The library's channel names.
    formulas : sequence of str
        The channels' formulas, such as "Fz-Cz".
    kinds : sequence of str
        Per channel "eeg", "sensor", "trigger" or "other".
    reference : str
        The montage's reference formula.

    Returns
    -------
    labels : list of str
        The electrode's name for an EEG channel that reads one electrode
        against the reference, the formula for any other EEG channel, the
        library's name otherwise; a label met before gets " #2", " #3" ...
    placed : list of bool
        True where the channel is one electrode against the reference, the
        only channels a scalp position describes.
    """
    labels, placed = [], []
    for name, formula, kind in zip(names, formulas, kinds):
        electrode = electrode_against(formula, reference) if kind == "eeg" else None
        placed.append(electrode is not None)
        labels.append(electrode if electrode is not None else formula if kind == "eeg" else name)
    unique: List[str] = []
    for label in labels:
        candidate, count = label, 1
        while candidate in unique:
            count += 1
            candidate = f"{label} #{count}"
        unique.append(candidate)
    return unique, placed


def to_raw(data: Any, channel_names: Sequence[str], channel_kinds: Sequence[str], sampling_rate: float,
           model: Optional[str] = None, serial_number: Optional[int] = None,
           formulas: Optional[Sequence[str]] = None, reference: str = "") -> Any:
    """The samples as an MNE raw object.

    Parameters
    ----------
    data : array_like, shape (n_channels, n_samples)
        Samples as Headset.read gives them: electrodes in µV.
    channel_names : sequence of str
        The library's name of each channel.
    channel_kinds : sequence of str
        Per channel "eeg", "sensor", "trigger" or "other", as
        Headset.channel_kinds gives them.
    sampling_rate : float
        Samples per second.
    model : str, optional
        The headset's model, kept in the device information.
    serial_number : int, optional
        The headset's serial number, kept there too.
    formulas : sequence of str, optional
        The channels' formulas ("Fz-Cz"); without them the names are used.
    reference : str, optional
        The montage's reference formula, recorded in the description.

    Returns
    -------
    mne.io.RawArray
        Electrodes in volts, triggers as stim channels. A channel that reads
        one electrode against the reference is named after the electrode and
        has its 10-05 position, and the reference's position where the
        reference is one electrode; other channels keep their formula as
        their name and have no position.

    Raises
    ------
    ValueError
        When data does not have one row per channel.
    """
    import mne

    samples = numpy.asarray(data, dtype=float)
    # Anything else would be broadcast into every channel without a word.
    if samples.ndim != 2 or samples.shape[0] != len(channel_names):
        raise ValueError(
            f"data must have one row per channel, {len(channel_names)} rows, not shape {samples.shape}")
    labels, placed = channel_labels(channel_names, formulas if formulas is not None else channel_names,
                                    channel_kinds, reference)
    types = [_TYPES[kind][0] for kind in channel_kinds]
    scales = numpy.array([_TYPES[kind][1] for kind in channel_kinds])
    info = mne.create_info(labels, float(sampling_rate), types)
    if model is not None or serial_number is not None:
        # mne's .fif writer insists on a type.
        info["device_info"] = {"type": "EEG", "model": str(model), "serial": str(serial_number)}
    if reference:
        info["description"] = f"reference: {reference}"
    raw = mne.io.RawArray(samples * scales[:, None], info, verbose="error")
    montage = mne.channels.make_standard_montage("standard_1005")
    # Only the placed channels carry an electrode's name; formulas match none.
    raw.set_montage(montage, on_missing="ignore", verbose="error")
    against = list(weights(reference) or {})
    if len(against) == 1 and against[0] in montage.ch_names:
        spot = mne.create_info(against, 1.0, "eeg")
        spot.set_montage(montage, verbose="error")
        for channel, here in zip(raw.info["chs"], placed):
            if here:
                channel["loc"][3:6] = spot["chs"][0]["loc"][:3]
    return raw
