#include "src/components/ocppconfigmanager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "src/components/ocppconfigexception.h"
#include "tests/unit/src/components/config/jsontext.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/logcapture.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

class OcppConfigManager : public testing::Test {
 protected:
  void AddKey(const std::string& key, const std::string& type, const std::string& source = "")
  {
    AddMetadata(key, R"({"type":")" + type + R"(","accessRight":"readWrite")" +
                         (source.empty() ? "" : R"(,"source":)" + source) + "}");
  }
  void AddMetadata(const std::string& key, const std::string& text) { mMetadata->PresetDefault(key, ParseJson(text)); }

  COcppConfigManager& Manager()
  {
    if (!mManager) {
      mManager = std::make_unique<COcppConfigManager>(
          mMetadata, SConfigStores{mOcpp, mSettings, mSecrets, mNetwork, mFwInfo, mHwInfo},
          std::make_shared<CPhaseConfig>(mHwInfo, mOcpp),
          std::make_shared<COcppConfigExtension>(mFwUpdate, mHwInfo, mKeyFolder));
      mManager->Init();
    }
    return *mManager;
  }

  std::string GetFault(const std::function<void()>& call)
  {
    try {
      call();
    } catch (const OcppConfigException& exception) {
      return exception.what();
    }
    return "no exception";
  }

  CLogCapture mLog;
  std::string mKeyFolder = testing::TempDir();
  std::shared_ptr<CFakeConfig> mMetadata = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mOcpp = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mSettings = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mSecrets = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mNetwork = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mFwInfo = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mHwInfo = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mFwUpdate = std::make_shared<CFakeConfig>();
  std::unique_ptr<COcppConfigManager> mManager;
};

}  // namespace

TEST_F(OcppConfigManager, KeysAreThoseOfTheMetadata)
{
  AddKey("B", "boolean");
  AddKey("A", "CSL");
  AddMetadata("C", "{}");
  EXPECT_TRUE(Manager().HasKey("A"));
  EXPECT_FALSE(Manager().HasKey("a"));
  mOcpp->Preset("Unlisted", true);
  EXPECT_FALSE(Manager().HasKey("Unlisted"));
  EXPECT_THAT(Manager().GetAllKeys(), ElementsAre(Pair("A", EConfigType::ECsl), Pair("B", EConfigType::EBoolean),
                                                  Pair("C", EConfigType::EUnknown)));
}

TEST_F(OcppConfigManager, KeyInfoOfAMissingNameIsLoggedAndRaised)
{
  EXPECT_EQ(GetFault([&] { Manager().GetKeyInfo("Nobody"); }), "Key is missing in ocpp_meta.json: Nobody");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Configuration key Nobody is missing in metadata"), 1U);
}

TEST_F(OcppConfigManager, KeyInfoOfANameWithoutContentIsLoggedAndRaised)
{
  AddMetadata("Empty", "null");
  AddMetadata("Number", "5");
  EXPECT_TRUE(Manager().HasKey("Empty"));
  EXPECT_EQ(GetFault([&] { Manager().GetKeyInfo("Empty"); }), "Configuration key is missing in metadata: Empty");
  EXPECT_EQ(GetFault([&] { Manager().GetKeyInfo("Number"); }), "Configuration key is missing in metadata: Number");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Configuration key Empty is missing in metadata"), 1U);
}

TEST_F(OcppConfigManager, FaultyMetadataIsRaisedWithItsTextAtEachLookup)
{
  AddMetadata("Key", R"({"type":"float","accessRight":"readOnly"})");
  AddKey("Good", "boolean");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(GetFault([&] { Manager().GetKeyInfo("Key"); }), "Key has unknown data type in metadata.");
    EXPECT_EQ(GetFault([&] { Manager().ReadInt("Key"); }), "Key has unknown data type in metadata.");
  }
  EXPECT_FALSE(Manager().ReadBool("Good"));
}

TEST_F(OcppConfigManager, IntegerKeyWithoutBoundsTakesAny32BitValue)
{
  AddKey("Key", "integer");
  EXPECT_EQ(Manager().GetKeyInfo("Key").mMin, std::numeric_limits<int32_t>::min());
  EXPECT_EQ(Manager().GetKeyInfo("Key").mMax, std::numeric_limits<int32_t>::max());
  for (const int64_t value :
       {int64_t{std::numeric_limits<int32_t>::min()}, int64_t{std::numeric_limits<int32_t>::max()}}) {
    EXPECT_TRUE(Manager().WriteInt("Key", value));
    EXPECT_EQ(Manager().ReadInt("Key"), value);
  }
}

TEST_F(OcppConfigManager, IntegersAreRead64BitsWide)
{
  AddKey("Key", "integer");
  EXPECT_TRUE(Manager().WriteInt("Key", std::numeric_limits<int64_t>::max()));
  EXPECT_EQ(Manager().ReadInt("Key"), std::numeric_limits<int64_t>::max());
}

TEST_F(OcppConfigManager, KeyWithoutSourceReadsItsOwnNameFromOcpp)
{
  AddKey("Flag", "boolean");
  AddKey("Number", "integer");
  AddKey("Text", "string");
  AddKey("List", "CSL");
  mOcpp->Preset("Flag", true);
  mOcpp->Preset("Number", 7);
  mOcpp->Preset("Text", "seven");
  mOcpp->Preset("List", "a,b");
  EXPECT_TRUE(Manager().ReadBool("Flag"));
  EXPECT_EQ(Manager().ReadInt("Number"), 7);
  EXPECT_EQ(Manager().ReadString("Text"), "seven");
  EXPECT_EQ(Manager().ReadString("List"), "a,b");
}

TEST_F(OcppConfigManager, EverySourceIsReadFromItsStore)
{
  const std::map<std::string, std::shared_ptr<CFakeConfig>> stores = {{"ocpp", mOcpp},       {"settings", mSettings},
                                                                      {"secrets", mSecrets}, {"network", mNetwork},
                                                                      {"fwinfo", mFwInfo},   {"hwinfo", mHwInfo}};
  for (const auto& [name, store] : stores) {
    AddKey("Key_" + name, "string", R"({"file":")" + name + R"(","keyName":"Value"})");
    store->Preset("Value", "of " + name);
  }
  for (const auto& [name, store] : stores) EXPECT_EQ(Manager().ReadString("Key_" + name), "of " + name);
  EXPECT_FALSE(mLog.ContainsPart("Unexpected file redirection"));
}

TEST_F(OcppConfigManager, PackagedDefaultIsReadUntilAValueIsStored)
{
  AddKey("Key", "integer");
  mOcpp->PresetDefault("Key", 300);
  EXPECT_EQ(Manager().ReadInt("Key"), 300);
  EXPECT_TRUE(Manager().WriteInt("Key", 60));
  EXPECT_EQ(Manager().ReadInt("Key"), 60);
}

TEST_F(OcppConfigManager, ValueWithoutDefaultReadsAsNothing)
{
  AddKey("Flag", "boolean");
  AddKey("Number", "integer");
  AddKey("Text", "string");
  EXPECT_FALSE(Manager().ReadBool("Flag"));
  EXPECT_EQ(Manager().ReadInt("Number"), 0);
  EXPECT_EQ(Manager().ReadString("Text"), "");
}

TEST_F(OcppConfigManager, UnknownSourceReadsFromOcppAfterOneWarning)
{
  AddKey("Key", "integer", R"({"file":"foo"})");
  mOcpp->Preset("Key", 5);
  EXPECT_EQ(Manager().ReadInt("Key"), 5);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Unexpected file redirection detected, foo, map to ocpp as default"),
            1U);
}

TEST_F(OcppConfigManager, WritesGoToTheStoreAndNameOfTheSource)
{
  AddKey("Password", "string", R"({"file":"secrets","keyName":"Inner"})");
  AddKey("Flag", "boolean", R"({"file":"settings"})");
  AddKey("Number", "integer", R"({"file":"network"})");
  AddKey("List", "CSL");
  EXPECT_TRUE(Manager().WriteString("Password", "abc"));
  EXPECT_TRUE(Manager().WriteBool("Flag", true));
  EXPECT_TRUE(Manager().WriteInt("Number", -3));
  EXPECT_TRUE(Manager().WriteString("List", "x,y"));
  EXPECT_EQ(mSecrets->GetString("Inner", ""), "abc");
  EXPECT_TRUE(mSettings->GetBool("Flag", false));
  EXPECT_EQ(mNetwork->GetInt("Number", 0), -3);
  EXPECT_EQ(mOcpp->GetString("List", ""), "x,y");
}

TEST_F(OcppConfigManager, WriteToAReadOnlySourceGoesToOcppWithAWarning)
{
  for (const std::string file : {"fwinfo", "hwinfo", "foo"}) {
    AddKey("Key_" + file, "integer", R"({"file":")" + file + R"("})");
  }
  for (const std::string file : {"fwinfo", "hwinfo", "foo"}) {
    EXPECT_TRUE(Manager().WriteInt("Key_" + file, 4));
    EXPECT_EQ(mOcpp->GetInt("Key_" + file, 0), 4);
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                         "Unexpected file redirection detected, " + file + ", map to ocpp as default"),
              1U);
  }
}

TEST_F(OcppConfigManager, WriteThatTheStoreRefusesGivesFalse)
{
  AddKey("Key", "integer");
  mOcpp->Preset("Key", 1);
  mOcpp->GetMedium().FailAllWrites(true);
  EXPECT_FALSE(Manager().WriteInt("Key", 2));
  EXPECT_EQ(Manager().ReadInt("Key"), 1);
}

TEST_F(OcppConfigManager, WriteOfAKeyWhoseTypeIsUnknownGivesFalse)
{
  AddMetadata("Key", R"({"type":"float","accessRight":"readWrite"})");
  EXPECT_FALSE(Manager().WriteBool("Key", true));
  EXPECT_FALSE(Manager().WriteInt("Key", 1));
  EXPECT_FALSE(Manager().WriteString("Key", "1"));
  EXPECT_TRUE(mOcpp->ListKeys().empty());
}

TEST_F(OcppConfigManager, WriteOfAMissingKeyIsRaised)
{
  EXPECT_EQ(GetFault([&] { Manager().WriteBool("Nobody", true); }), "Key is missing in ocpp_meta.json: Nobody");
}

TEST_F(OcppConfigManager, WrongPhaseAmountIsRaisedByTheReadAndNotByTheLookup)
{
  AddKey("HwOneOrThreePhase", "integer", R"({"file":"hwinfo"})");
  mHwInfo->Preset("HwOneOrThreePhase", 2);
  EXPECT_EQ(Manager().GetKeyInfo("HwOneOrThreePhase").mType, EConfigType::EInteger);
  EXPECT_EQ(GetFault([&] { Manager().ReadInt("HwOneOrThreePhase"); }), "Invalid phase amount: 2");
  mHwInfo->Preset("HwOneOrThreePhase", 3);
  EXPECT_EQ(Manager().ReadInt("HwOneOrThreePhase"), 3);
  EXPECT_FALSE(Manager().IsOnePhasePermitted());
}

TEST_F(OcppConfigManager, PublicKeyComesFromTheFileThatTheMetadataNames)
{
  AddKey("Meter1EichrechtPublicKey", "string", R"({"file":"hwinfo","keyName":"signer"})");
  std::string folder = testing::TempDir() + "keysXXXXXX";
  mKeyFolder = std::string(mkdtemp(folder.data())) + "/";
  std::ofstream(mKeyFolder + "signer.pub.pem") << "the key";
  EXPECT_EQ(Manager().ReadString("Meter1EichrechtPublicKey"), "");
  mHwInfo->Preset("HwHasTpm", true);
  mHwInfo->Preset("HwHasEichrechtLaserMarking", true);
  EXPECT_EQ(Manager().ReadString("Meter1EichrechtPublicKey"), "the key");
  std::filesystem::remove_all(mKeyFolder);
}

TEST_F(OcppConfigManager, CustomKeyReadAsAnotherTypeHasNoReader)
{
  AddKey("HwOneOrThreePhase", "integer");
  AddKey("Meter1EichrechtPublicKey", "string");
  EXPECT_EQ(GetFault([&] { Manager().ReadString("HwOneOrThreePhase"); }),
            "No reader defined for custom key: HwOneOrThreePhase");
  EXPECT_EQ(GetFault([&] { Manager().ReadBool("HwOneOrThreePhase"); }),
            "No reader defined for custom key: HwOneOrThreePhase");
  EXPECT_EQ(GetFault([&] { Manager().ReadInt("Meter1EichrechtPublicKey"); }),
            "No reader defined for custom key: Meter1EichrechtPublicKey");
}

TEST_F(OcppConfigManager, FurtherStoresAreReadUnderTheirName)
{
  AddKey("OpenedTransaction", "boolean", R"({"file":"connector1/secc_persistentdata"})");
  const auto store = std::make_shared<CFakeConfig>();
  store->Preset("OpenedTransaction", true);
  Manager().AddReadOnlyStore("connector1/secc_persistentdata", store);
  EXPECT_TRUE(Manager().ReadBool("OpenedTransaction"));
  EXPECT_FALSE(mLog.ContainsPart("Unexpected file redirection"));
}

TEST_F(OcppConfigManager, MetadataIsReadOnce)
{
  AddKey("Key", "integer");
  Manager().ReadInt("Key");
  mMetadata->PresetDefault("Key", ParseJson("null"));
  mMetadata->PresetDefault("Late", ParseJson(R"({"type":"integer","accessRight":"readOnly"})"));
  EXPECT_EQ(Manager().GetKeyInfo("Key").mType, EConfigType::EInteger);
  EXPECT_FALSE(Manager().HasKey("Late"));
}

TEST_F(OcppConfigManager, ChangeIsToldUnderTheNameOfTheKey)
{
  AddKey("Interval", "integer", R"({"file":"settings","keyName":"Inner"})");
  std::vector<std::pair<std::string, int64_t>> changes;
  auto registration = Manager().RegisterChangeCallback(
      "Interval",
      [&](const std::string& key, const Json::Value& value) { changes.emplace_back(key, value.asInt64()); });
  mSettings->SetInt("Inner", 60);
  Manager().WriteInt("Interval", 30);
  mSettings->DeleteKey("Inner");
  EXPECT_THAT(changes, ElementsAre(Pair("Interval", 60), Pair("Interval", 30), Pair("Interval", 0)));
  registration.reset();
  mSettings->SetInt("Inner", 90);
  EXPECT_EQ(changes.size(), 3U);
}

TEST_F(OcppConfigManager, ChangeCallbackMayReadAndWriteThroughTheManager)
{
  AddKey("A", "integer");
  AddKey("B", "integer");
  const auto registration = Manager().RegisterChangeCallback(
      "A", [&](const std::string&, const Json::Value&) { Manager().WriteInt("B", Manager().ReadInt("A") + 1); });
  Manager().WriteInt("A", 41);
  EXPECT_EQ(Manager().ReadInt("B"), 42);
}

TEST_F(OcppConfigManager, ChangeCallbackOfAMissingKeyIsRaised)
{
  EXPECT_EQ(GetFault([&] { (void)Manager().RegisterChangeCallback("Nobody", {}); }),
            "Key is missing in ocpp_meta.json: Nobody");
}
