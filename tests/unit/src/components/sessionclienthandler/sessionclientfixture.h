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
  static ipc::MMeterData Start(const std::string& time, int64_t registerMilliWh)
  {
    auto data = Reading(registerMilliWh);
    data.set_session_start_time(time);
    data.set_session_start_energy(registerMilliWh);
    return data;
  }
  static ipc::MMeterData End(ipc::MMeterData data, const std::string& time, int64_t registerMilliWh)
  {
    data.set_energy_register(registerMilliWh);
    data.set_session_end_time(time);
    data.set_session_end_energy(registerMilliWh);
    return data;
  }
  // Every StartTransaction gets a key of its own and is stored.
  void BeginSessions()
  {
    mHandler->Init();
    mOcpp->onPush = [this](const CFakeOcpp::SPush& push) {
      if (push.operation != EOutOpType::EStartTransaction) return;
      const auto key = fmt::format("start{}", ++mKeys);
      mHandler->BeginTransaction(key);
      mStorage->Store(*FakeOutCalls::StartTransaction(key));
    };
  }
  std::vector<EOutOpType> Pushed() const
  {
    std::vector<EOutOpType> operations;
    for (const auto& push : mOcpp->pushes) operations.push_back(push.operation);
    return operations;
  }
  CCalls TakeCalls() { return std::exchange(mOcpp->calls, {}); }
  bool IsOpened() const { return mData->GetBool("OpenedTransaction", false); }

  static constexpr auto kStart = EOutOpType::EStartTransaction;
  static constexpr auto kStop = EOutOpType::EStopTransaction;
  const ipc::MMeterData mFirst = Start("2026-01-15T10:00:00Z", 5000000);
  const ipc::MMeterData mFirstEnd = End(mFirst, "2026-01-15T10:30:00Z", 9000000);
  const ipc::MMeterData mSecond = Start("2026-01-15T10:31:00Z", 9000000);
  const ipc::MMeterData mSecondEnd = End(mSecond, "2026-01-15T10:45:00Z", 9500000);
  int mKeys = 0;
  CLogCapture mLog;
  std::shared_ptr<CFakeSessionManager> mSessionManager = std::make_shared<CFakeSessionManager>();
  std::shared_ptr<CFakeOcpp> mOcpp = std::make_shared<CFakeOcpp>();
  std::shared_ptr<CFakeConfig> mData = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeMessageStorage> mStorage = std::make_shared<CFakeMessageStorage>();
  std::map<EBackofficeId, std::shared_ptr<CFakeBackoffice>> mBackoffices;
  CSystemAccessInterface mAccess;
  std::unique_ptr<CSessionClientHandler> mHandler;
};
