// A processing stage driven through the shared library only: its arguments
// reach the right channel and look-back, and failures become the error.
#include <gtest/gtest.h>

#include "qvt/qvt.h"

TEST(ProcessingStageFunctions, WriteReadAndLookBackOnTheStagesOwnChannel) {
  QVT_ClearError();
  QVT_Headset* headset = QVT_Headset_New("");
  QVT_ProcessingStage* stage = QVT_Headset_AddProcessingStage(headset, "smooth", nullptr, nullptr, nullptr);
  ASSERT_NE(stage, nullptr);
  QVT_Channel* out = QVT_ProcessingStage_AddChannel(stage, "avg", 3);
  ASSERT_EQ(QVT_ProcessingStage_GetChannelByIndex(stage, 0), out);

  for (double v : {1.0, 2.0, 3.0, 4.0}) QVT_ProcessingStage_Write(stage, 0, v);
  EXPECT_EQ(QVT_ProcessingStage_Read(stage, 0, 2), 2.0);
  EXPECT_EQ(QVT_Channel_GetNumberOfOverflowedSamples(out), 1ul);
  EXPECT_EQ(QVT_Channel_ReadBuffered(out), 2.0);
  EXPECT_EQ(QVT_Error(), nullptr);

  QVT_Channel_FlushOutputBuffer(out);
  EXPECT_EQ(QVT_Channel_ReadBuffered(out), 0.0);
  EXPECT_STREQ(QVT_Error(), "buffer underflow");
  EXPECT_EQ(QVT_ProcessingStage_Read(stage, 1, 0), 0.0);
  EXPECT_STREQ(QVT_Error(),
               "Channel index 1 is out of range (1 channels available in ProcessingStage \"smooth\")");
  EXPECT_EQ(QVT_Headset_IsConnected(headset), 0);  // an empty port defers, as a null one does
  QVT_Headset_Delete(headset);
}
