#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "src/components/sessionclienthandler.h"
#include "src/components/smartcharging/ismartchargingcomponent.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/support/fakebackoffice.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakemessagestorage.h"
#include "tests/unit/support/fakeocpp.h"
#include "tests/unit/support/fakeoperations.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

// Writes into the list of calls that it shares with the OCPP fake.
class CFakeSmartCharging : public ISmartChargingComponent {
 public:
  explicit CFakeSmartCharging(std::vector<std::string>& calls) : mCalls(calls) {}
  void OnTransactionStart() override { mCalls.emplace_back("OnTransactionStart"); }
  void OnTransactionEnd() override { mCalls.emplace_back("OnTransactionEnd"); }
  void ReloadProfilesFromPersistentStorage() override {}

 private:
  std::vector<std::string>& mCalls;
};

// The session handler of connector 1 over its stored data, with both backoffices in use.
class CSessionClientTest : public testing::Test {
 protected:
  using CCalls = std::vector<std::string>;

  CSessionClientTest()
  {
    for (const auto id : {EBackofficeId::EPrimary, EBackofficeId::EAuxiliary}) {
      mBackoffices[id] = std::make_shared<CFakeBackoffice>(id, nullptr);
      mOcpp->backoffices[id] = mBackoffices[id];
    }
    mAccess.RegisterHandle(std::shared_ptr<IOcpp>(mOcpp));
    mAccess.RegisterHandle(std::shared_ptr<IcConfig::IConfig>(mData), 1);
    mAccess.RegisterHandle(std::shared_ptr<IPersistentMessageStorageManager>(mStorage));
    mAccess.RegisterHandle(
        std::shared_ptr<ISmartChargingComponent>(std::make_shared<CFakeSmartCharging>(mOcpp->calls)));
    mHandler = std::make_unique<CSessionClientHandler>(1, mSessionManager, mAccess);
  }

  // What a new process finds is what the old one stored.
  void Restart()
  {
    mHandler = std::make_unique<CSessionClientHandler>(1, mSessionManager, mAccess);
    mHandler->Init();
  }
  // What StartTransaction does while it is made and stored.
  void BeginWhenPushed(const std::string& key)
  {
    mOcpp->onPush = [this, key](const CFakeOcpp::SPush& push) {
      if (push.operation != EOutOpType::EStartTransaction) return;
      mHandler->BeginTransaction(key);
      mStorage->Store(*FakeOutCalls::StartTransaction(key));
    };
  }
  static ipc::MMeterData Reading(int64_t registerMilliWh)
  {
    ipc::MMeterData data;
    data.set_energy_register(registerMilliWh);
    return data;
  }
  CCalls TakeCalls() { return std::exchange(mOcpp->calls, {}); }
  bool IsOpened() const { return mData->GetBool("OpenedTransaction", false); }

  CLogCapture mLog;
  std::shared_ptr<CFakeSessionManager> mSessionManager = std::make_shared<CFakeSessionManager>();
  std::shared_ptr<CFakeOcpp> mOcpp = std::make_shared<CFakeOcpp>();
  std::shared_ptr<CFakeConfig> mData = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeMessageStorage> mStorage = std::make_shared<CFakeMessageStorage>();
  std::map<EBackofficeId, std::shared_ptr<CFakeBackoffice>> mBackoffices;
  CSystemAccessInterface mAccess;
  std::unique_ptr<CSessionClientHandler> mHandler;
};
