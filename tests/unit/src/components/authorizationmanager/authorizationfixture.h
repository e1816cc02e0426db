#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "src/components/authorization/authorizationlistentry.h"
#include "src/components/authorizationmanager.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/support/fakebackoffice.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakeconfigmanager.h"
#include "tests/unit/support/fakeocpp.h"
#include "tests/unit/support/fakesessionclient.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

// A connector that keeps the answers it is given, and can refuse to take them.
class CAnsweredSession : public CFakeSessionClient {
 public:
  bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override
  {
    answers.push_back(request);
    return takesSession;
  }

  std::vector<ipc::MAuthorizeRequest> answers;
  bool takesSession = true;
};

// The manager over stores in memory, with a primary backoffice in the mode that a test gives it. Cache and list are
// enabled, nothing is allowed offline.
class CAuthorizationTest : public testing::Test {
 protected:
  static constexpr const char* kCache = "authCache.json";
  static constexpr const char* kList = "localAuthList.json";

  CAuthorizationTest()
  {
    mConfig->SetBool("AuthorizationCacheEnabled", true);
    mConfig->SetBool("LocalAuthListEnabled", true);
    mConfig->SetInt("LocalAuthListMaxLength", 1000);
    mConfig->SetBool("LocalAuthorizeOffline", false);
    mConfig->SetBool("LocalPreAuthorize", false);
    mConfig->SetBool("AllowOfflineTxForUnknownId", false);
    mAccess.RegisterClock(mClock);
    mAccess.RegisterHandle(std::shared_ptr<IOcpp>(mOcpp));
    mAccess.RegisterHandle(std::shared_ptr<IOcppConfigManager>(mConfig));
    mAccess.RegisterHandle(std::shared_ptr<ISessionClientHandler>(mSession), 1);
    mOcpp->backoffices[EBackofficeId::EPrimary] = mPrimary;
    ForgetStores();
  }

  void ForgetStores()
  {
    for (const char* name : {kCache, kList}) mStores[name] = std::make_shared<CFakeConfig>();
  }
  // Stored by a former life of the process; only before Start.
  void Store(const std::string& name, const std::string& id, EAuthorizationStatus status,
             const std::string& parentId = "", const IAuthorizationManager::CExpiry& expiry = {})
  {
    const CAuthorizationListEntry entry(id, parentId, status, expiry, mClock.SystemNow());
    mStores[name]->Preset(id, entry.ToJson());
  }
  void Start()
  {
    mManager = std::make_unique<CAuthorizationManager>(mClock, mAuthClient, mAccess, [this](const std::string& name) {
      mOpened.push_back(name);
      return mStores[name];
    });
    mManager->Init("");
  }
  // A tag at connector 1 whose driver waits.
  static ipc::MAuthorizeRequest Request(const std::string& requestId = "request-1", uint32_t connector = 1)
  {
    ipc::MAuthorizeRequest request;
    request.set_request_id(requestId);
    request.set_connector(connector);
    request.mutable_user_identification()->set_token("TAG");
    return request;
  }
  void Present(EAuthorizeMode mode, const ipc::MAuthorizeRequest& request = Request())
  {
    mPrimary->SetAuthorizeMode(mode);
    mManager->HandleAuthorizeId(request.connector(), request);
  }
  static int SourceOf(const ipc::MAuthorizeRequest& request)
  {
    return request.user_identification().details().authorization_source();
  }
  // The request that the Authorize operation was given.
  static ipc::MAuthorizeRequest ContextOf(const CFakeOcpp::SPush& push)
  {
    return *GetParameter<ipc::MAuthorizeRequest>(push.parameters, EOperationParameter::EAuthorizationContext);
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::map<std::string, std::shared_ptr<CFakeConfig>> mStores;
  std::vector<std::string> mOpened;
  std::shared_ptr<CFakeOcpp> mOcpp = std::make_shared<CFakeOcpp>();
  std::shared_ptr<CFakeOcppConfigManager> mConfig = std::make_shared<CFakeOcppConfigManager>();
  std::shared_ptr<CAnsweredSession> mSession = std::make_shared<CAnsweredSession>();
  std::shared_ptr<CFakeSessionManagerAuth> mAuthClient = std::make_shared<CFakeSessionManagerAuth>();
  std::shared_ptr<CFakeBackoffice> mPrimary = std::make_shared<CFakeBackoffice>(EBackofficeId::EPrimary, nullptr);
  CSystemAccessInterface mAccess;
  std::unique_ptr<CAuthorizationManager> mManager;
};
