#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/clock/timetext.h"
#include "src/components/authorization/authorizationcache.h"
#include "src/components/authorization/localauthorizationlist.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/operation/ocpp16/implementation/sendlocallistoperation.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakeconfigmanager.h"
#include "tests/unit/support/logcapture.h"

// The way from the operations to real stores, and no decision of its own. A store that is null is not enabled.
class CStoresAuthorizationManager : public IAuthorizationManager {
 public:
  explicit CStoresAuthorizationManager(const IClock& clock) : mClock(clock) {}

  std::unique_ptr<CLocalAuthorizationList> list;
  std::unique_ptr<CAuthorizationCache> cache;
  // Runs on the thread that stores the list, before it does.
  std::function<void()> beforeWrite;

  void Init(const std::string&) override {}
  void Authorize(ipc::MAuthorizeRequest&, bool) override {}
  void UpdateCache(const std::string&, const std::string&, EAuthorizationStatus, const CExpiry&) override {}
  void UpdateLocalList(const std::string& id, const std::string& parentId, EAuthorizationStatus status,
                       const CExpiry& expiry) override
  {
    list->Update(CAuthorizationListEntry(id, parentId, status, expiry, mClock.SystemNow()));
  }
  void RemoveLocalListEntry(const std::string& id) override { list->Delete(id); }
  void ClearCache() override
  {
    if (cache) cache->Clear();
  }
  int64_t GetLocalListVersion() override { return list ? list->GetVersion() : -1; }
  void SetLocalListVersion(int64_t version) override { list->SetVersion(version); }
  void EraseLocalList() override { list->Clear(); }
  void WriteLocalListToStorage() override
  {
    if (beforeWrite) beforeWrite();
    if (list) list->WriteToStorage();
  }
  bool IsLocalListEnabled() override { return list != nullptr; }
  bool IsInLocalList(const std::string& id) override { return list && list->Contains(id); }
  size_t GetLocalListSize() override { return list ? list->GetSize() : 0; }
  void HandleAuthorizeId(uint32_t, const ipc::MAuthorizeRequest&) override {}
  bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest&) override { return false; }

 private:
  const IClock& mClock;
};

// A station with an empty local list of up to 1000 tags. The backoffice's payloads come from the test.
class CLocalListTest : public testing::Test {
 protected:
  CLocalListTest()
  {
    mConfig->SetInt("LocalAuthListMaxLength", 1000);
    mAccess.RegisterClock(mClock);
    mAccess.RegisterHandle(std::shared_ptr<IOcppConfigManager>(mConfig));
    mAccess.RegisterHandle(std::shared_ptr<IAuthorizationManager>(mManager));
    mManager->list = std::make_unique<CLocalAuthorizationList>(mClock, mStore, 1000);
  }

  static std::string Tag(const std::string& id, const std::string& info = R"({"status":"Accepted"})")
  {
    return R"({"idTag":")" + id + R"(","idTagInfo":)" + info + "}";
  }
  static std::string Removal(const std::string& id) { return R"({"idTag":")" + id + R"("})"; }
  static std::string Tags(size_t count, const std::string& prefix)
  {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += (i == 0 ? "" : ",") + Tag(prefix + std::to_string(i));
    return text;
  }
  static std::string Request(const std::string& type, int64_t version, const std::string& entries)
  {
    return R"({"listVersion":)" + std::to_string(version) + R"(,"localAuthorizationList":[)" + entries +
           R"(],"updateType":")" + type + R"("})";
  }
  static std::string Full(int64_t version, const std::string& entries) { return Request("Full", version, entries); }
  static std::string Differential(int64_t version, const std::string& entries)
  {
    return Request("Differential", version, entries);
  }
  // The status that answers a payload; what follows the answer has been done.
  std::string Send(const std::string& payload)
  {
    CSendLocalListInCall operation(&mAccess, "id", mUpdates);
    const std::string frame = operation.Execute(payload);
    operation.PostAction();
    AwaitStored();
    return StatusOf(frame);
  }
  static std::string StatusOf(const std::string& frame)
  {
    const std::string before = R"([3,"id",{"status":")";
    EXPECT_EQ(frame.substr(0, before.size()), before) << frame;
    return frame.substr(before.size(), frame.find('"', before.size()) - before.size());
  }
  void AwaitStored() { mUpdates->Begin(mClock); }
  // A new process finds what this one left.
  void Restart()
  {
    CFakeConfig::SOptions options;
    options.stored = mStore->GetSurvivingState();
    mStore = std::make_shared<CFakeConfig>(std::move(options));
    mManager->list = std::make_unique<CLocalAuthorizationList>(mClock, mStore, 1000);
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeOcppConfigManager> mConfig = std::make_shared<CFakeOcppConfigManager>();
  std::shared_ptr<CFakeConfig> mStore = std::make_shared<CFakeConfig>();
  std::shared_ptr<CStoresAuthorizationManager> mManager = std::make_shared<CStoresAuthorizationManager>(mClock);
  CSystemAccessInterface mAccess;
  std::shared_ptr<CLocalListUpdates> mUpdates = std::make_shared<CLocalListUpdates>();
};
