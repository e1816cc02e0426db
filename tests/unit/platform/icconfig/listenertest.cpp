// What of a domain's changes is read, and when, on a store that the test controls.

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/icconfig/config.h"
#include "tests/unit/platform/icconfig/configtesttools.h"

namespace {

using CChange = CRecorder::CChange;

// In memory; other processes write to it as well, without an event.
class CSharedStore : public IcConfig::IStore {
 public:
  explicit CSharedStore(std::string folder) : mFolder(std::move(folder)) {}

  // The next one who asks for the revision gets it just before a change by somebody else.
  void ChangeAfterTheNextGetRevision(std::string key, int value)
  {
    CLock lock(mMutex);
    mStrangersChange = CChange(std::move(key), value);
  }
  // The revisions after which changes were asked for.
  std::vector<int64_t> GetReads() const
  {
    CLock lock(mMutex);
    return mReads;
  }

  std::optional<IcConfig::SStoredValue> Read(const std::string&) override { return std::nullopt; }
  std::map<std::string, IcConfig::SStoredValue> ReadAll() override { return {}; }
  std::vector<std::string> ListKeys() override { return {}; }
  uint64_t GetUsedBytes() override { return 0; }
  IcConfig::EWriteResult Write(const IcConfig::CBatch& batch) override
  {
    CLock lock(mMutex);
    for (const auto& [key, value] : batch) Add(key, value->value);
    return IcConfig::EWriteResult::EWritten;
  }
  int64_t GetRevision() override
  {
    CLock lock(mMutex);
    const auto revision = static_cast<int64_t>(mChanges.size());
    if (mStrangersChange) Add(mStrangersChange->first, mStrangersChange->second);
    mStrangersChange.reset();
    return revision;
  }
  IcConfig::SChanges ReadChanges(int64_t revision) override
  {
    CLock lock(mMutex);
    mReads.push_back(revision);
    IcConfig::SChanges result;
    result.changes.assign(mChanges.begin() + static_cast<std::ptrdiff_t>(revision), mChanges.end());
    result.upTo = static_cast<int64_t>(mChanges.size());
    return result;
  }
  IcConfig::SWatchedFiles GetWatchedFiles() const override { return {mFolder, {"domain.db"}}; }
  std::vector<std::string> TakeProblems() override { return {}; }

 private:
  void Add(const std::string& key, const Json::Value& value) REQUIRES(mMutex)
  {
    mChanges.push_back({static_cast<int64_t>(mChanges.size()) + 1, key, value});
  }

  const std::string mFolder;
  mutable CMutex mMutex;
  std::vector<IcConfig::SChange> mChanges GUARDED_BY(mMutex);
  std::vector<int64_t> mReads GUARDED_BY(mMutex);
  std::optional<CChange> mStrangersChange GUARDED_BY(mMutex);
};

class ConfigListeners : public testing::Test {
 protected:
  std::unique_ptr<IcConfig::CConfig> Open(IcConfig::CChangeCallback changeCB)
  {
    return std::make_unique<IcConfig::CConfig>(IcConfig::CConfig::SOptions{
        "domain", mStore, std::make_shared<IcConfig::CDefaults>(), {}, std::move(changeCB), true});
  }

  CTemporaryFolder mFolder;
  std::shared_ptr<CSharedStore> mStore = std::make_shared<CSharedStore>(mFolder.GetPath());
  CRecorder mRecorder;
};

TEST_F(ConfigListeners, WhatNobodyHearsIsNotRead)
{
  const auto config = Open({});
  for (int value = 1; value <= 10; ++value) config->SetInt("Key", value);
  auto registration = config->RegisterChangeCallback("Key", 0, mRecorder.GetChangeCB());
  config->SetInt("Key", 11);
  ASSERT_TRUE(mRecorder.WaitForChanges(1));
  registration.reset();
  for (int value = 12; value <= 20; ++value) config->SetInt("Key", value);
  registration = config->RegisterChangeCallback("Key", 0, mRecorder.GetChangeCB());
  config->SetInt("Key", 21);
  ASSERT_TRUE(mRecorder.WaitForChanges(2));
  EXPECT_EQ(mRecorder.GetChanges(), (std::vector<CChange>{{"Key", 11}, {"Key", 21}}));
  for (const int64_t revision : mStore->GetReads()) {
    EXPECT_TRUE(revision == 10 || revision == 11 || revision >= 20) << "changes after " << revision;
  }
}

TEST_F(ConfigListeners, ChangeByAnotherProcessInTheMomentOfTheRegistrationIsTold)
{
  const auto config = Open({});
  mStore->ChangeAfterTheNextGetRevision("Key", 5);
  const auto registration = config->RegisterChangeCallback("Key", 0, mRecorder.GetChangeCB());
  ASSERT_TRUE(mRecorder.WaitForChanges(1)) << "although no event comes any more";
  EXPECT_EQ(mRecorder.GetChanges(), (std::vector<CChange>{{"Key", 5}}));
}

}  // namespace
