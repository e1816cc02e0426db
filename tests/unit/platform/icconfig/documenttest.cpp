// Domains in JSON documents: what lies on the disk, and what happens when it is not what it should be.

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>

#include "tests/unit/platform/icconfig/configtesttools.h"
#include "tests/unit/support/logcapture.h"

using namespace std::string_literals;

namespace {

#ifdef SECC_SANITIZED
constexpr bool kIsInstrumented = true;
#else
constexpr bool kIsInstrumented = false;
#endif

using CChange = CRecorder::CChange;
using CKeys = std::vector<std::string>;

class ConfigDocument : public testing::Test {
 protected:
  std::shared_ptr<IcConfig::IConfig> Open()
  {
    return IcConfig::Create("list.json", mRecorder.GetErrorCB(), mRecorder.GetChangeCB());
  }

  CConfigFolders mFolders;
  const std::string mFile = mFolders.GetData("list.json");
  CLogCapture mLog;
  CRecorder mRecorder;
};

}  // namespace

TEST_F(ConfigDocument, IsOneObjectWithTheKeysAsMembers)
{
  const auto config = Open();
  EXPECT_TRUE(config->Apply({}, {{"b", 2}, {"a", "x"}}));
  EXPECT_EQ(ReadFile(mFile), "{\"a\":\"x\",\"b\":2}\n");
  EXPECT_TRUE(config->DeleteKey("a"));
  EXPECT_EQ(ReadFile(mFile), "{\"b\":2}\n");
  EXPECT_EQ(ListFolder(mFolders.GetData()), CKeys({"list.json"}));
}

TEST_F(ConfigDocument, IsReadWholeInAnyLayout)
{
  WriteFile(mFile, "{\n  \"a\" : { \"status\": 0 },\n  \"list_version\" : 5\n}\n");
  const auto config = Open();
  EXPECT_EQ(config->ListKeys(), CKeys({"a", "list_version"}));
  EXPECT_EQ(config->GetInt("list_version", 0), 5);
  EXPECT_EQ(config->GetUsedBytes(), 1u + 12u + 12u + 1u);
}

TEST_F(ConfigDocument, ReplacementByAnybodyIsSeenAndToldAsTheDifference)
{
  WriteFile(mFile, "{\"a\":1,\"b\":2,\"c\":3}");
  const auto config = Open();
  WriteFile(mFile + ".tmp", "{\"a\":1,\"b\":5,\"d\":4}");
  std::filesystem::rename(mFile + ".tmp", mFile);
  EXPECT_EQ(config->ListKeys(), CKeys({"a", "b", "d"}));
  ASSERT_TRUE(mRecorder.WaitForChanges(3));
  EXPECT_EQ(mRecorder.GetChanges(), (std::vector<CChange>{{"b", 5}, {"c", {}}, {"d", 4}}));
}

TEST_F(ConfigDocument, WritingInPlaceByAnEditorIsSeenWhenTheFileIsWhole)
{
  WriteFile(mFile, "{\"a\":1}");
  const auto config = Open();
  {
    // Not truncated first: whoever looks in between must find the old text or the new one.
    std::fstream file(mFile, std::ios::in | std::ios::out);
    file << "{\"a\":12345}";
  }
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  EXPECT_EQ(config->GetInt("a", 0), 12345);
}

TEST_F(ConfigDocument, RemovalBringsTheDefaultsBackAndIsTold)
{
  WriteFile(mFolders.GetDefaults("list.json"), "{\"a\":0}");
  WriteFile(mFile, "{\"a\":1,\"b\":2}");
  const auto config = Open();
  std::filesystem::remove(mFile);
  ASSERT_TRUE(mRecorder.WaitForChanges(2));
  EXPECT_EQ(mRecorder.GetChanges(), (std::vector<CChange>{{"a", 0}, {"b", {}}}));
  EXPECT_EQ(config->GetInt("a", -1), 0);
  EXPECT_EQ(config->GetUsedBytes(), 0u);
}

TEST_F(ConfigDocument, WhatIsNoObjectIsSetAside)
{
  WriteFile(mFolders.GetDefaults("list.json"), "{\"a\":5}");
  const std::vector<std::string> contents = {"",
                                             "x",
                                             "[]",
                                             "5",
                                             "{\"a\":1",
                                             "{\"a\":1}{}",
                                             "{\"a\":\"\xFF\"}",
                                             "{\"a\":1,\"a\":2}",
                                             "{\"a\":1}\0"s,
                                             std::string(100000, '['),
                                             std::string(1000000, '{')};
  int number = 0;
  for (const auto& content : contents) {
    mLog.Clear();
    WriteFile(mFile, content);
    const auto config = Open();
    EXPECT_EQ(config->GetInt("a", 0), 5);
    const std::string target = mFile + ".damaged-" + std::to_string(++number);
    EXPECT_TRUE(ReadFile(target) == content);
    EXPECT_TRUE(mRecorder.GetErrors().empty());
    const auto error = OnlyErrorLine(mLog);
    EXPECT_EQ(error.rfind("Configuration file " + mFile + " cannot be read: ", 0), 0u) << error;
    EXPECT_NE(error.find("Set aside as " + target), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
    EXPECT_TRUE(config->SetInt("b", 1));
    EXPECT_EQ(ReadFile(mFile), "{\"b\":1}\n");
  }
}

TEST_F(ConfigDocument, DamageWhileRunningIsSetAsideAndTheWriteIsDone)
{
  const auto config = Open();
  config->SetInt("a", 1);
  WriteFile(mFile, "{");
  EXPECT_TRUE(config->SetInt("b", 2));
  EXPECT_EQ(ReadFile(mFile), "{\"b\":2}\n");
  EXPECT_EQ(ReadFile(mFile + ".damaged-1"), "{");
}

TEST_F(ConfigDocument, ReadOnlyHandleLeavesADamagedFileAlone)
{
  WriteFile(mFolders.GetDefaults("list.json"), "{\"a\":5}");
  WriteFile(mFile, "{");
  for (const bool watch : {true, false}) {
    mRecorder.Clear();
    const auto config = IcConfig::CreateReadOnly("list.json", mRecorder.GetErrorCB(), watch);
    for (int read = 0; read < 10; ++read) EXPECT_EQ(config->GetInt("a", 0), 5);
    EXPECT_EQ(mRecorder.GetErrors().size(), 1u);
    EXPECT_EQ(ListFolder(mFolders.GetData()), CKeys({"list.json"}));
  }
}

TEST_F(ConfigDocument, LeftoverOfAnInterruptedReplacementIsNoHindrance)
{
  WriteFile(mFile, "{\"a\":1}");
  WriteFile(mFile + ".new", "{\"a\":");
  const auto config = Open();
  EXPECT_EQ(config->GetInt("a", 0), 1);
  EXPECT_TRUE(config->SetInt("a", 2));
  EXPECT_EQ(ListFolder(mFolders.GetData()), CKeys({"list.json"}));
}

TEST_F(ConfigDocument, FailedReplacementKeepsTheOldContent)
{
  const auto config = Open();
  config->SetInt("a", 1);
  std::filesystem::create_directory(mFile + ".new");  // where the temporary file would be
  EXPECT_FALSE(config->SetInt("a", 2));
  EXPECT_EQ(config->GetInt("a", 0), 1);
  EXPECT_EQ(ReadFile(mFile), "{\"a\":1}\n");
  EXPECT_TRUE(mLog.ContainsPart("Configuration file " + mFile + " cannot be written: "));
  std::filesystem::remove(mFile + ".new");
  EXPECT_TRUE(config->SetInt("a", 2));
}

TEST_F(ConfigDocument, ListOfFiveThousandEntriesLoadsInUnder100Ms)
{
  {
    std::vector<std::pair<std::string, Json::Value>> entries;
    for (int number = 0; number < 5000; ++number) {
      Json::Value entry(Json::objectValue);
      entry["status"] = number % 5;
      entry["parent_id"] = "PARENT";
      entry["expiry_date"] = "2030-01-01T00:00:00Z";
      entry["entry_date"] = "2026-01-01T00:00:00Z";
      entries.emplace_back("TAG" + std::to_string(number), entry);
    }
    ASSERT_TRUE(Open()->Apply({}, entries));
  }
  // Processor time: the machine may be busy with other things.
  const auto begin = std::clock();
  const auto config = Open();
  size_t count = 0;
  for (const auto& key : config->ListKeys()) count += config->GetJson(key, {}).isObject();
  const auto takenMs = (std::clock() - begin) * 1000 / CLOCKS_PER_SEC;
  EXPECT_EQ(count, 5000u);
  EXPECT_LT(takenMs, kIsInstrumented ? 2000 : 100);
}
