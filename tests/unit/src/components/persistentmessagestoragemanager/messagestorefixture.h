#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/components/persistentmessagestoragemanager.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakeoperations.h"
#include "tests/unit/support/logcapture.h"

// A message store over an in-memory configuration domain, which outlives restarts of the process.
class CMessageStoreTest : public testing::Test {
 protected:
  using EStoreResult = IPersistentMessageStorageManager::EStoreResult;
  using EClearResult = IPersistentMessageStorageManager::EClearResult;

  CMessageStoreTest() { Restart(); }

  // A new process over what is stored.
  void Restart()
  {
    mStore = std::make_unique<CPersistentMessageStorageManager>(mConfig, mMaxBytes);
    mStore->SetStorageFullCallback([this] { mEvents.emplace_back("full"); });
    mStore->SetStorageReadyCallback([this] { mEvents.emplace_back("ready"); });
  }

  static Json::Value Record(const Json::Value& counter, const std::string& action, const std::string& payload = "{}")
  {
    Json::Value record(Json::objectValue);
    record["QueuedCounter"] = counter;
    record["OperationType"] = action;
    record["Payload"] = payload;
    return record;
  }

  std::vector<std::string> ReplayedIds()
  {
    std::vector<std::string> ids;
    for (const auto& message : mStore->GetStoredMessages()) ids.push_back(message.messageId);
    return ids;
  }

  int64_t CounterOf(const std::string& id) const
  {
    return mConfig->GetJson(id, Json::Value())["QueuedCounter"].asInt64();
  }

  CLogCapture mLog;
  std::shared_ptr<CFakeConfig> mConfig = std::make_shared<CFakeConfig>();
  uint32_t mMaxBytes = 2000000;
  std::vector<std::string> mEvents;
  std::unique_ptr<CPersistentMessageStorageManager> mStore;
};
