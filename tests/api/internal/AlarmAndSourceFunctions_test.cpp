// Exported functions whose answers depend on state a headset only reaches
// by talking to real hardware, set here directly.
#include <gtest/gtest.h>

#include "core/Headset.h"
#include "qvt/qvt.h"

TEST(HeadsetAlarmFunctions, GetAlarmPeeksUnlessToldToRemove) {
  QVT::Headset headset("deferred");
  headset.alarmQueue = {17, 42};
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 0), 17);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 0), 17);
  EXPECT_EQ(QVT_Headset_GetNumberOfAlarms(&headset), 2u);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 1), 17);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 1), 42);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 1), 0);
  headset.alarmQueue = {5, 6};
  QVT_Headset_ClearAlarms(&headset);
  EXPECT_EQ(QVT_Headset_GetAlarm(&headset, 0), 0);
}

TEST(SourceFunctions, FactoryReferenceMeansExactlyZeroGainAndCommonModeMeansCodeCM) {
  QVT::Source reference(QVT::SourceID::Pz, "Pz", 0, 0.0, 0.0);
  QVT::Source tiny(QVT::SourceID::Fz, "Fz", 0, 1e-300, 0.0);
  QVT::Source common(QVT::SourceID::CM, "CM", 0, 1.0, 0.0);
  EXPECT_EQ(QVT_Source_IsFactoryReference(&reference), 1);
  EXPECT_EQ(QVT_Source_IsFactoryReference(&tiny), 0);
  EXPECT_EQ(QVT_Source_IsCommonModeSignal(&common), 1);
  EXPECT_EQ(QVT_Source_IsCommonModeSignal(&reference), 0);
}
