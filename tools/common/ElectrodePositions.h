// Where the electrodes of the 10-20 and 10-10 systems sit on an idealised
// spherical head, worked out from the systems' own rule (steps of a tenth of
// the nasion-inion and ear-to-ear arcs) rather than kept as a table of
// numbers. The head map and anything that describes a channel's location
// take them from here.
#pragma once

#include <optional>
#include <string_view>

namespace QVT::Tools {

// A point on the unit sphere: x towards the right ear, y towards the nose,
// z up through the vertex (Cz). The circumference through Fpz, T7, Oz and T8
// lies at z = 0.
struct ElectrodePosition {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

// The position of a 10-10 electrode ("C3", "AFz", "FT9"), also under its
// older 10-20 name (T3, T4, T5, T6) and the ear references (A1/A2 by the
// ears, M1/M2 on the mastoids); nothing for any other name. Case-insensitive.
std::optional<ElectrodePosition> PositionOfElectrode(std::string_view name);

}  // namespace QVT::Tools
