// A headset made without a port, driven through the shared library only:
// what it reports before any headset has spoken, and a processing stage with
// one output channel.
#include <gtest/gtest.h>

#include "qvt/qvt.h"

namespace {

void IgnoreSample(QVT_Headset*, double, void*) {}

class DeferredHeadset : public ::testing::Test {
 protected:
  void SetUp() override {
    QVT_ClearError();
    headset = QVT_Headset_New(nullptr);
    ASSERT_NE(headset, nullptr);
  }
  void TearDown() override { QVT_Headset_Delete(headset); }

  QVT_Headset* headset = nullptr;
};

}  // namespace

TEST_F(DeferredHeadset, NullAndEmptyPortsBothLeaveTheHeadsetUnconnected) {
  QVT_Headset* empty = QVT_Headset_New("");
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(QVT_Headset_IsConnected(headset), 0);
  EXPECT_EQ(QVT_Headset_IsConnected(empty), 0);
  QVT_Headset_Delete(empty);
  EXPECT_EQ(QVT_Error(), nullptr);
}

// Readings count from 1; any other number is no reading at all.
TEST_F(DeferredHeadset, BatteryReadingsCountFromOneAndThereAreTwo) {
  for (int which : {0, 1, 2, 3})
    EXPECT_EQ(QVT_Headset_GetBatteryLevel(headset, which), which % 3 ? -1.0 : 0.0);
  EXPECT_EQ(QVT_Error(), nullptr);
}

TEST_F(DeferredHeadset, AStageWritesAndReadsItsOwnOutputChannel) {
  QVT_ProcessingStage* stage =
      QVT_Headset_AddProcessingStage(headset, "smooth", IgnoreSample, nullptr, nullptr);
  ASSERT_NE(stage, nullptr);
  QVT_Channel* out = QVT_ProcessingStage_AddChannel(stage, "avg", 3);
  ASSERT_EQ(QVT_ProcessingStage_GetChannelByIndex(stage, 0), out);

  for (double v : {1.0, 2.0, 3.0, 4.0}) QVT_ProcessingStage_Write(stage, 0, v);
  EXPECT_EQ(QVT_ProcessingStage_Read(stage, 0, 0), 4.0);
  EXPECT_EQ(QVT_ProcessingStage_Read(stage, 0, 2), 2.0);
  EXPECT_EQ(QVT_Channel_GetNumberOfOverflowedSamples(out), 1ul);
  EXPECT_EQ(QVT_Channel_ReadBuffered(out), 2.0);
  EXPECT_EQ(QVT_Channel_GetNumberOfBufferedSamples(out), 2ul);
  EXPECT_EQ(QVT_Channel_LookBack(out, 2), 0.0);  // already read
  EXPECT_EQ(QVT_Error(), nullptr);

  QVT_Channel_FlushOutputBuffer(out);
  EXPECT_EQ(QVT_Channel_GetSignal(out), 0.0);
  EXPECT_EQ(QVT_Channel_ReadBuffered(out), 0.0);
  EXPECT_STREQ(QVT_Error(), "buffer underflow");
  EXPECT_EQ(QVT_ProcessingStage_Read(stage, 1, 0), 0.0);
  EXPECT_STREQ(QVT_Error(),
               "Channel index 1 is out of range (1 channels available in ProcessingStage \"smooth\")");
}
