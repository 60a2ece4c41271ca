#include "ElectrodePositions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>

namespace QVT::Tools {
namespace {

constexpr double kHalf = 0.70710678;

TEST(ElectrodePositions, LandmarksSitWhereTheSystemPutsThem) {
  struct Case {
    const char* name;
    ElectrodePosition expected;
  };
  for (const Case& c : {Case{"Cz", {0, 0, 1}}, Case{"Fpz", {0, 1, 0}}, Case{"Oz", {0, -1, 0}},
                        Case{"T7", {-1, 0, 0}}, Case{"t8", {1, 0, 0}}, Case{"T3", {-1, 0, 0}},
                        Case{"C3", {-kHalf, 0, kHalf}}, Case{"Fz", {0, kHalf, kHalf}}, Case{"Pz", {0, -kHalf, kHalf}}}) {
    const auto p = PositionOfElectrode(c.name);
    ASSERT_TRUE(p) << c.name;
    EXPECT_NEAR(p->x, c.expected.x, 1e-6) << c.name;
    EXPECT_NEAR(p->y, c.expected.y, 1e-6) << c.name;
    EXPECT_NEAR(p->z, c.expected.z, 1e-6) << c.name;
  }
}

TEST(ElectrodePositions, PairsMirrorAcrossTheMidlineOnTheUnitSphere) {
  for (const char* left : {"Fp1", "AF7", "F3", "FC5", "FT9", "C1", "CP3", "TP7", "P9", "PO3", "O1", "A1", "M1"}) {
    std::string right = left;
    const char last = right.back();
    right.back() = static_cast<char>(last == '9' ? '0' : last + 1);
    if (last == '9') right.insert(right.size() - 1, "1");
    const auto l = PositionOfElectrode(left);
    const auto r = PositionOfElectrode(right);
    ASSERT_TRUE(l && r) << left << " " << right;
    EXPECT_LT(l->x, 0) << left;
    EXPECT_NEAR(l->x, -r->x, 1e-9) << left;
    EXPECT_NEAR(l->y, r->y, 1e-9) << left;
    EXPECT_NEAR(l->z, r->z, 1e-9) << left;
    EXPECT_NEAR(std::hypot(l->x, l->y, l->z), 1.0, 1e-9) << left;
  }
}

TEST(ElectrodePositions, RowsRunFromNoseToNeck) {
  const char* midline[] = {"Nz", "Fpz", "AFz", "Fz", "FCz", "Cz", "CPz", "Pz", "POz", "Oz", "Iz"};
  // The angle from the vertex in the midline's plane, positive towards the nose.
  const auto forward = [](const char* name) {
    const auto p = *PositionOfElectrode(name);
    return std::atan2(p.y, p.z);
  };
  for (std::size_t i = 1; i < std::size(midline); ++i)
    EXPECT_NEAR(forward(midline[i - 1]) - forward(midline[i]), std::numbers::pi / 8, 1e-9) << midline[i];
  // Outward along a row the electrodes descend to the circumference and below.
  EXPECT_GT(PositionOfElectrode("F1")->z, PositionOfElectrode("F3")->z);
  EXPECT_NEAR(PositionOfElectrode("F7")->z, 0.0, 1e-9);
  EXPECT_LT(PositionOfElectrode("F9")->z, 0.0);
}

TEST(ElectrodePositions, OtherNamesHaveNone) {
  for (const char* name : {"", "X1", "EOG", "Fp3", "O5", "F11", "F0", "Cz1", "C", "Iz2", "TRIGGER"})
    EXPECT_FALSE(PositionOfElectrode(name)) << name;
}

}  // namespace
}  // namespace QVT::Tools
