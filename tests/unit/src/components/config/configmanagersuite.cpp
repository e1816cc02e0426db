// What every IOcppConfigManager does, run on the real one and on the fake that other tests use.
#include <gtest/gtest.h>

#include "src/components/ocppconfigexception.h"
#include "src/components/ocppconfigmanager.h"
#include "tests/unit/src/components/config/jsontext.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakeconfigmanager.h"

namespace {

// Each has the keys "Flag", "Number", "Text" and "List".
class CRealFactory {
 public:
  IOcppConfigManager& Get()
  {
    for (const auto& [key, type] : std::map<std::string, std::string>{
             {"Flag", "boolean"}, {"Number", "integer"}, {"Text", "string"}, {"List", "CSL"}}) {
      mMetadata->PresetDefault(key, ParseJson(R"({"type":")" + type + R"(","accessRight":"readWrite"})"));
    }
    mManager.Init();
    return mManager;
  }
  void FailWrites() { mStore->GetMedium().FailAllWrites(true); }

 private:
  std::shared_ptr<CFakeConfig> mMetadata = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeConfig> mStore = std::make_shared<CFakeConfig>();
  COcppConfigManager mManager{mMetadata, SConfigStores{mStore, mStore, mStore, mStore, mStore, mStore},
                              std::make_shared<CPhaseConfig>(mStore, mStore),
                              std::make_shared<COcppConfigExtension>(mStore, mStore)};
};

class CFakeFactory {
 public:
  IOcppConfigManager& Get()
  {
    mManager.SetBool("Flag", false);
    mManager.SetInt("Number", 0);
    mManager.SetString("Text", "");
    SConfigKeyInfo list;
    list.mType = EConfigType::ECsl;
    list.mAccess = EConfigAccess::EReadWrite;
    mManager.Define("List", list);
    return mManager;
  }
  void FailWrites() { mManager.FailWrites(true); }

 private:
  CFakeOcppConfigManager mManager;
};

template <typename TFactory>
class ConfigManagerSuite : public testing::Test {
 protected:
  TFactory mFactory;
  IOcppConfigManager& mManager = mFactory.Get();
};

using CFactories = testing::Types<CRealFactory, CFakeFactory>;
TYPED_TEST_SUITE(ConfigManagerSuite, CFactories);

}  // namespace

TYPED_TEST(ConfigManagerSuite, KeysAndTypesAreKnown)
{
  IOcppConfigManager& manager = this->mManager;
  EXPECT_TRUE(manager.HasKey("Flag"));
  EXPECT_FALSE(manager.HasKey("Nobody"));
  const std::map<std::string, EConfigType> expected = {{"Flag", EConfigType::EBoolean},
                                                       {"List", EConfigType::ECsl},
                                                       {"Number", EConfigType::EInteger},
                                                       {"Text", EConfigType::EString}};
  EXPECT_EQ(manager.GetAllKeys(), expected);
  const SConfigKeyInfo info = manager.GetKeyInfo("Number");
  EXPECT_EQ(info.mType, EConfigType::EInteger);
  EXPECT_EQ(info.mAccess, EConfigAccess::EReadWrite);
  EXPECT_EQ(info.mKeyName, "Number");
}

TYPED_TEST(ConfigManagerSuite, WhatWasWrittenIsRead)
{
  IOcppConfigManager& manager = this->mManager;
  EXPECT_FALSE(manager.ReadBool("Flag"));
  EXPECT_EQ(manager.ReadInt("Number"), 0);
  EXPECT_EQ(manager.ReadString("List"), "");
  EXPECT_TRUE(manager.WriteBool("Flag", true));
  EXPECT_TRUE(manager.WriteInt("Number", -7));
  EXPECT_TRUE(manager.WriteString("Text", "seven"));
  EXPECT_TRUE(manager.WriteString("List", "a,b"));
  EXPECT_TRUE(manager.ReadBool("Flag"));
  EXPECT_EQ(manager.ReadInt("Number"), -7);
  EXPECT_EQ(manager.ReadString("Text"), "seven");
  EXPECT_EQ(manager.ReadString("List"), "a,b");
}

TYPED_TEST(ConfigManagerSuite, MissingKeysAreRaised)
{
  IOcppConfigManager& manager = this->mManager;
  EXPECT_THROW(manager.GetKeyInfo("Nobody"), OcppConfigException);
  EXPECT_THROW(manager.ReadBool("Nobody"), OcppConfigException);
  EXPECT_THROW(manager.ReadInt("Nobody"), OcppConfigException);
  EXPECT_THROW(manager.ReadString("Nobody"), OcppConfigException);
  EXPECT_THROW(manager.WriteBool("Nobody", true), OcppConfigException);
  EXPECT_THROW((void)manager.RegisterChangeCallback("Nobody", {}), OcppConfigException);
}

TYPED_TEST(ConfigManagerSuite, FailedWriteGivesFalseAndLeavesTheValue)
{
  IOcppConfigManager& manager = this->mManager;
  manager.WriteInt("Number", 1);
  this->mFactory.FailWrites();
  EXPECT_FALSE(manager.WriteInt("Number", 2));
  EXPECT_EQ(manager.ReadInt("Number"), 1);
}

TYPED_TEST(ConfigManagerSuite, ChangesAreToldOnceUntilTheRegistrationEnds)
{
  IOcppConfigManager& manager = this->mManager;
  std::vector<std::string> heard;
  auto registration = manager.RegisterChangeCallback(
      "Text", [&](const std::string& key, const Json::Value& value) { heard.push_back(key + "=" + value.asString()); });
  manager.WriteString("Text", "a");
  manager.WriteString("Text", "a");
  manager.WriteInt("Number", 1);
  manager.WriteString("Text", "b");
  registration.reset();
  manager.WriteString("Text", "c");
  EXPECT_EQ(heard, (std::vector<std::string>{"Text=a", "Text=b"}));
}
