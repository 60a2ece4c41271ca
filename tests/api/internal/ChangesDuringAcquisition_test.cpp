// What the acquisition thread walks for every sample (montage, sources,
// cascade, buffers) cannot be changed under it: such calls fail while it
// runs, and wait for it to end once it has been asked to stop.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "core/Headset.h"
#include "qvt/qvt.h"
#include "support/TestHeadsets.h"

using namespace QVT::testing;

TEST(ChangesDuringBackgroundAcquisition, FailUntilTheThreadIsAskedToStopThenWaitForIt) {
  const auto h = MakeSimulatedHeadset();
  const std::string montage = h->MontageString(true);
  QVT_ProcessingStage* raw = QVT_Headset_GetProcessingStageByIndex(h.get(), 0);
  const std::function<void()> changes[] = {
      [&] { QVT_Headset_ChooseChannels(h.get(), "O1", "", 0); },
      [&] { QVT_Headset_FlushBuffers(h.get()); },
      [&] { QVT_Headset_RenameSource(h.get(), "Cz", "Vertex"); },
      [&] { QVT_Headset_AddProcessingStage(h.get(), "next", nullptr, nullptr, nullptr); },
      [&] { QVT_ProcessingStage_AddChannel(raw, "extra", 4); },
  };
  ASSERT_TRUE(h->StartBackgroundAcquisition());
  for (const auto& change : changes) {
    QVT_ClearError();
    change();
    const std::string error = QVT_Error() ? QVT_Error() : "(none)";
    EXPECT_EQ(error.substr(0, 11), "Cannot chan") << error;
  }
  EXPECT_EQ(h->MontageString(true), montage);
  EXPECT_EQ(h->cascade.size(), 1u);

  QVT_Headset_StopBackgroundAcquisition(h.get());
  QVT_ClearError();
  QVT_Headset_ChooseChannels(h.get(), "O1", "", 0);
  EXPECT_EQ(QVT_Error(), nullptr);
  EXPECT_FALSE(h->BackgroundAcquisitionRunning());
  EXPECT_EQ(h->MontageString(false), "O1");
}
