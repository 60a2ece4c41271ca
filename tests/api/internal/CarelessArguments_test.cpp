// The arguments a careless client passes: null and empty texts, NaN, negative
// and huge counts and durations, unknown names. Each call gives the library's
// own error or a defined result, and leaves what it should not touch alone.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "qvt/qvt.h"
#include "support/TestHeadsets.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct CarelessCall {
  const char* what;
  std::function<void(QVT_Headset*, QVT_ProcessingStage*, QVT_Channel*)> call;
  // The start of the error expected; "" for none.
  std::string error;
};

TEST(CarelessArguments, GiveTheLibrarysOwnErrorOrADefinedResult) {
  auto owned = QVT::testing::MakeHeadset(QVT::testing::TenTwentyLayout());
  owned->SimulateInput();
  owned->samplingRate = 300.0;
  owned->ChooseChannels("Fz Cz", "", false);
  QVT_Headset* h = owned.get();
  QVT_Channel* fz = QVT_Headset_GetChannelByIndex(h, 0);
  // The stage on a headset of its own: its outputs would become the
  // channels that batches are read from.
  auto staged = QVT::testing::MakeHeadset(QVT::testing::TenTwentyLayout());
  QVT_ProcessingStage* stage = QVT_Headset_AddProcessingStage(staged.get(), "s", nullptr, nullptr, nullptr);
  ASSERT_NE(stage, nullptr);
  const unsigned stageChannels = QVT_ProcessingStage_GetNumberOfChannels(stage);

  const std::vector<CarelessCall> calls = {
      {"bytes of a null buffer", [](auto...) { QVT_PythonString(nullptr, 5, 0); }, "NULL buffer pointer"},
      {"no bytes of a null buffer", [](auto...) { EXPECT_STREQ(QVT_PythonString(nullptr, 0, 0), "\"\""); },
       ""},
      {"sleep NaN", [](auto...) { QVT_Sleep(kNaN); }, ""},
      {"huge buffer duration", [](QVT_Headset* x, auto...) { QVT_Headset_ReallocateBuffers(x, 1e300, 1.0); },
       "a buffer duration of 1e+300 seconds is longer than the longest, 3600"},
      {"NaN averaging duration",
       [](QVT_Headset* x, auto...) { QVT_Headset_ReallocateBuffers(x, 10.0, kNaN); },
       "a buffer duration must be a number of seconds, not nan"},
      {"infinite stage buffers",
       [](QVT_Headset* x, QVT_ProcessingStage* s, auto) {
         QVT_Headset_ReallocateStageBuffers(x, s, INFINITY);
       },
       "a buffer duration of inf seconds"},
      {"huge stage channel",
       [](auto, QVT_ProcessingStage* s, auto) { QVT_ProcessingStage_AddChannel(s, "c", 1UL << 62); },
       "cannot allocate a buffer of 4611686018427387904 samples: the most is 16777216"},
      {"more samples than fit", [](QVT_Headset* x, auto...) { QVT_Headset_WaitForSamples(x, ULONG_MAX); },
       "cannot wait for 18446744073709551615 samples: the buffers hold at most 3000"},
      {"a batch larger than the buffers",
       [](QVT_Headset* x, auto...) {
         QVT_Headset_ConfigureBatch(x, UINT_MAX, kNaN);
         QVT_Headset_WaitForBatch(x);
       },
       "cannot wait for 4294967299 samples"},
      {"idle NaN", [](QVT_Headset* x, auto...) { QVT_Headset_Idle(x, kNaN); },
       "a duration must be a number of seconds, not nan"},
      {"receive NaN", [](QVT_Headset* x, auto...) { QVT_Headset_Receive(x, 1.0, kNaN); },
       "a duration must be a number of seconds"},
      {"watchdog NaN", [](QVT_Headset* x, auto...) { QVT_Headset_SetWatchdogInterval(x, kNaN); }, ""},
      {"look back too far", [](auto, auto, QVT_Channel* c) { QVT_Channel_LookBack(c, ULONG_MAX); },
       "cannot look back 18446744073709551615 steps: buffer size is 3000"},
      {"null source name", [](QVT_Headset* x, auto...) { QVT_Headset_GetSourceByName(x, nullptr); },
       "Failed to match desired source \"\""},
      {"unknown channel", [](QVT_Headset* x, auto...) { QVT_Headset_GetChannelByName(x, "Q9"); },
       "Could not"},
      {"null scheme", [](QVT_Headset* x, auto...) { QVT_Headset_UseNamingScheme(x, nullptr); },
       "Unrecognized electrode naming scheme \"\""},
      {"null renames",
       [](QVT_Headset* x, auto...) { EXPECT_EQ(QVT_Headset_RenameSource(x, nullptr, nullptr), 0); }, ""},
      {"null aliases",
       [](QVT_Headset* x, auto...) { EXPECT_EQ(QVT_Headset_AddSourceAliases(x, nullptr), 0); }, ""},
      {"battery -7", [](QVT_Headset* x, auto...) { EXPECT_EQ(QVT_Headset_GetBatteryLevel(x, -7), 0.0); }, ""},
      {"channel index beyond", [](QVT_Headset* x, auto...) { QVT_Headset_GetChannelByIndex(x, UINT_MAX); },
       "?"},
  };
  for (const CarelessCall& c : calls) {
    QVT_ClearError();
    c.call(h, stage, fz);
    const char* error = QVT_Error();
    if (c.error.empty()) {
      EXPECT_EQ(error, nullptr) << c.what << ": " << error;
    } else if (c.error != "?") {
      ASSERT_NE(error, nullptr) << c.what;
      EXPECT_EQ(std::string(error).substr(0, c.error.size()), c.error) << c.what;
    } else {
      EXPECT_NE(error, nullptr) << c.what;
    }
  }
  // Nothing refused was half done.
  EXPECT_EQ(QVT_Channel_GetBufferCapacity(fz), 3000u);
  EXPECT_EQ(QVT_ProcessingStage_GetNumberOfChannels(stage), stageChannels);
  QVT_ClearError();
}

}  // namespace
