#include "ElectrodePositions.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <numbers>
#include <string>

namespace QVT::Tools {

namespace {

constexpr double kStep = 22.5;  // degrees of arc between rows, and across a row's half

struct Row {
  std::string_view prefix;
  // Inclination of the midline electrode from the vertex, positive towards
  // the nose; the row meets the circumference `edge` degrees from the front.
  double midline;
  double edge;
};

// The longer prefixes first, so that "FC3" is not read as "F" and "C3".
constexpr std::array<Row, 14> kRows = {{{"FP", 90, 18},
                                        {"AF", 3 * kStep, 36},
                                        {"FC", kStep, 72},
                                        {"FT", kStep, 72},
                                        {"CP", -kStep, 108},
                                        {"TP", -kStep, 108},
                                        {"PO", -3 * kStep, 144},
                                        {"F", 2 * kStep, 54},
                                        {"C", 0, 90},
                                        {"T", 0, 90},
                                        {"P", -2 * kStep, 126},
                                        {"O", -90, 162},
                                        {"I", -90 - kStep, 162},
                                        {"N", 90 + kStep, 18}}};

// Names of the 10-20 system and references, as the 10-10 electrode at or
// next to the same place.
constexpr std::array<std::pair<std::string_view, std::string_view>, 8> kAliases = {
    {{"T3", "T7"}, {"T4", "T8"}, {"T5", "P7"}, {"T6", "P8"}, {"A1", "T9"}, {"A2", "T10"}, {"M1", "TP9"},
     {"M2", "TP10"}}};

double Radians(double degrees) { return degrees * std::numbers::pi / 180.0; }

ElectrodePosition Midline(double inclination) {
  return {0.0, std::sin(Radians(inclination)), std::cos(Radians(inclination))};
}

ElectrodePosition OnCircumference(double fromFront, bool left) {
  return {(left ? -1.0 : 1.0) * std::sin(Radians(fromFront)), std::cos(Radians(fromFront)), 0.0};
}

// The point a fraction t of the way along the great circle from a to b
// (t beyond 1 goes on past b).
ElectrodePosition Along(const ElectrodePosition& a, const ElectrodePosition& b, double t) {
  const double angle = std::acos(std::clamp(a.x * b.x + a.y * b.y + a.z * b.z, -1.0, 1.0));
  if (angle < 1e-9) return a;
  const double wa = std::sin((1.0 - t) * angle) / std::sin(angle);
  const double wb = std::sin(t * angle) / std::sin(angle);
  return {wa * a.x + wb * b.x, wa * a.y + wb * b.y, wa * a.z + wb * b.z};
}

std::string Upper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

}  // namespace

std::optional<ElectrodePosition> PositionOfElectrode(std::string_view name) {
  std::string upper = Upper(name);
  for (const auto& [old, current] : kAliases)
    if (upper == old) upper = current;
  for (const Row& row : kRows) {
    if (!upper.starts_with(row.prefix)) continue;
    const std::string_view rest = std::string_view(upper).substr(row.prefix.size());
    if (rest == "Z") return Midline(row.midline);
    int number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc() || end != rest.data() + rest.size() || number < 1 || number > 10) return std::nullopt;
    const bool left = number % 2 == 1;
    // Rows on the circumference itself (Fp, O) hold only 1 and 2; the rows
    // below it (I, N) only their midline electrode.
    if (std::abs(row.midline) >= 90.0) {
      if (std::abs(row.midline) > 90.0 || number > 2) return std::nullopt;
      return OnCircumference(row.edge, left);
    }
    // Others: a quarter of the way from the midline to the circumference a
    // pair of numbers (1/2, 3/4, 5/6, 7/8), 9/10 a step below it.
    const double steps = (number + 1) / 2;
    return Along(Midline(row.midline), OnCircumference(row.edge, left), steps / 4.0);
  }
  return std::nullopt;
}

}  // namespace QVT::Tools
