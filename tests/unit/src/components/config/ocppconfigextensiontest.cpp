#include "src/components/ocppconfigextension.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/logcapture.h"

namespace {

class OcppConfigExtension : public testing::Test {
 protected:
  OcppConfigExtension()
  {
    std::string name = testing::TempDir() + "tpmXXXXXX";
    mFolder = std::string(mkdtemp(name.data())) + "/";
    std::ofstream(mFolder + "meter1.pub.pem") << "-----BEGIN PUBLIC KEY-----\nMFkw\n-----END PUBLIC KEY-----\n";
  }
  ~OcppConfigExtension() override { std::filesystem::remove_all(mFolder); }

  bool GetPublicKey(const std::string& name)
  {
    return COcppConfigExtension(mFwUpdate, mHwInfo, mFolder).GetPublicKey(name, mOutput);
  }
  void Equip(bool hasTpm, bool hasMarking)
  {
    mHwInfo->Preset("HwHasTpm", hasTpm);
    mHwInfo->Preset("HwHasEichrechtLaserMarking", hasMarking);
  }

  CLogCapture mLog;
  std::string mFolder;
  std::string mOutput = "from before";
  std::shared_ptr<CFakeConfig> mFwUpdate = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mHwInfo = std::make_shared<CFakeConfig>();
};

}  // namespace

TEST_F(OcppConfigExtension, EquippedStationGivesTheTextOfTheFile)
{
  Equip(true, true);
  EXPECT_TRUE(GetPublicKey("meter1"));
  EXPECT_EQ(mOutput, "-----BEGIN PUBLIC KEY-----\nMFkw\n-----END PUBLIC KEY-----\n");
}

TEST_F(OcppConfigExtension, WithoutBothFlagsThereIsNoKey)
{
  for (const auto& [hasTpm, hasMarking] : {std::pair(false, false), std::pair(true, false), std::pair(false, true)}) {
    Equip(hasTpm, hasMarking);
    mOutput = "from before";
    EXPECT_FALSE(GetPublicKey("meter1"));
    EXPECT_EQ(mOutput, "");
  }
}

TEST_F(OcppConfigExtension, FlagsThatAreMissingCountAsFalse)
{
  EXPECT_FALSE(GetPublicKey("meter1"));
  EXPECT_FALSE(mLog.ContainsPart("Failed to open"));
}

TEST_F(OcppConfigExtension, FileThatCannotBeOpenedIsLogged)
{
  Equip(true, true);
  EXPECT_FALSE(GetPublicKey("meter2"));
  EXPECT_EQ(mOutput, "");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Failed to open " + mFolder + "meter2.pub.pem"), 1U);
}

TEST_F(OcppConfigExtension, KeysLieInTheFolderOfTheTpm)
{
  Equip(true, true);
  EXPECT_FALSE(COcppConfigExtension(mFwUpdate, mHwInfo).GetPublicKey("no-such-key", mOutput));
  EXPECT_TRUE(mLog.Contains("Failed to open /etc/tpm/no-such-key.pub.pem"));
}

TEST_F(OcppConfigExtension, UpdateStateIsThatOfTheUpdateProcess)
{
  const COcppConfigExtension extension(mFwUpdate, mHwInfo);
  EXPECT_EQ(extension.GetFwUpdateState(), 0);
  mFwUpdate->Preset("FwUpdateState", 3);
  EXPECT_EQ(extension.GetFwUpdateState(), 3);
}
