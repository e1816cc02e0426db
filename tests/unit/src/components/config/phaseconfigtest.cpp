#include "src/components/phaseconfig.h"

#include <gtest/gtest.h>

#include "src/components/ocppconfigexception.h"
#include "tests/unit/support/fakeconfig.h"

namespace {

class PhaseConfig : public testing::Test {
 protected:
  std::shared_ptr<CFakeConfig> mHwInfo = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mOcpp = std::make_shared<CFakeConfig>();
  CPhaseConfig mPhaseConfig{mHwInfo, mOcpp};
};

}  // namespace

TEST_F(PhaseConfig, SilentHardwareDescriptionMeansOnePhase)
{
  EXPECT_EQ(mPhaseConfig.ReadPhases(), 1);
  EXPECT_TRUE(mPhaseConfig.IsOnePhasePermitted());
}

TEST_F(PhaseConfig, ThreePhasesPermitOnePhaseOnlyWithASwitch)
{
  mHwInfo->Preset("HwOneOrThreePhase", 3);
  EXPECT_EQ(mPhaseConfig.ReadPhases(), 3);
  EXPECT_FALSE(mPhaseConfig.IsOnePhasePermitted());
  mOcpp->Preset("ConnectorSwitch3to1PhaseSupported", true);
  EXPECT_TRUE(mPhaseConfig.IsOnePhasePermitted());
}

TEST_F(PhaseConfig, AnyOtherNumberOfPhasesIsAFault)
{
  for (const int phases : {-1, 0, 2, 4}) {
    mHwInfo->Preset("HwOneOrThreePhase", phases);
    try {
      mPhaseConfig.ReadPhases();
      ADD_FAILURE() << phases;
    } catch (const OcppConfigException& exception) {
      EXPECT_EQ(exception.what(), "Invalid phase amount: " + std::to_string(phases));
    }
    EXPECT_THROW(mPhaseConfig.IsOnePhasePermitted(), OcppConfigException);
  }
}
