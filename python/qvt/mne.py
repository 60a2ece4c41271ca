"""Signals of a headset as MNE-Python objects. mne and numpy are imported
only when used, so the rest of the package does without them."""

# The library's channel kinds as mne channel types, and the factor that
# brings their values to mne's units: electrodes from µV to volts, the
# trigger and accelerometer values as they come.
_TYPES = {
    "eeg": ("eeg", 1e-6),
    "sensor": ("misc", 1e-6),
    "trigger": ("stim", 1.0),
    "other": ("misc", 1.0),
}


def to_raw(data, channel_names, channel_kinds, sampling_rate, model=None, serial_number=None):
    """An mne.io.RawArray of data (channels, samples) as Headset.read gives
    it, one kind per channel as Headset.channel_kinds gives them. EEG
    channels named as in the 10-05 system get their standard positions."""
    import mne
    import numpy

    data = numpy.asarray(data, dtype=float)
    # Anything else would be broadcast into every channel without a word.
    if data.ndim != 2 or data.shape[0] != len(channel_names):
        raise ValueError(f"data must have one row per channel, {len(channel_names)} rows, not shape {data.shape}")
    types = [_TYPES[kind][0] for kind in channel_kinds]
    scales = numpy.array([_TYPES[kind][1] for kind in channel_kinds])
    info = mne.create_info(list(channel_names), float(sampling_rate), types)
    if model is not None or serial_number is not None:
        # mne's .fif writer insists on a type.
        info["device_info"] = {"type": "EEG", "model": str(model), "serial": str(serial_number)}
    raw = mne.io.RawArray(data * scales[:, None], info, verbose="error")
    montage = mne.channels.make_standard_montage("standard_1005")
    raw.set_montage(montage, on_missing="ignore", verbose="error")
    return raw
