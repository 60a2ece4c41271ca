"""Channel formulas as the library writes them ("O1-M1/2-M2/2"), read back
into the weights of their sources."""
from __future__ import annotations

import re
from typing import Dict, Optional

# One term: a sign, a source name and its weight as a ratio ("-M1/2", "+A2*3").
_TERM = re.compile(r"([+-]?)([^+\-*/\s]+)(?:\*([0-9.]+))?(?:/([0-9.]+))?")


def weights(formula: str) -> Optional[Dict[str, float]]:
    """{source name: weight} of a formula, in its order; None for one this
    cannot read (a weight the library could not write as a ratio)."""
    text = "".join(formula.split())
    found: Dict[str, float] = {}
    position = 0
    while position < len(text):
        term = _TERM.match(text, position)
        if term is None:
            return None
        sign, name, factor, divisor = term.groups()
        try:
            weight = float(factor or 1) / float(divisor or 1)
        except (ValueError, ZeroDivisionError):
            return None
        found[name] = found.get(name, 0.0) + (-weight if sign == "-" else weight)
        position = term.end()
    return found


def electrode_against(formula: str, reference: str) -> Optional[str]:
    """The electrode a channel reads against the reference, or None.

    Parameters
    ----------
    formula : str
        The channel's formula, such as "O1-M1/2-M2/2".
    reference : str
        The montage's reference formula, such as "M1/2+M2/2" or "Pz".

    Returns
    -------
    str or None
        "O1" for the example: the one electrode the channel reads with
        weight 1, the rest of it being exactly the reference taken away;
        None for any other channel, such as "Fz-Cz" against "Pz" or
        "M1/2+M2/2" itself.
    """
    channel, against = weights(formula), weights(reference)
    if not channel or not against:
        return None
    electrode = next(iter(channel))
    rest = dict(channel)
    rest[electrode] -= 1.0
    names = set(rest) | set(against)
    if all(abs(rest.get(n, 0.0) + against.get(n, 0.0)) < 1e-9 for n in names):
        return electrode
    return None
