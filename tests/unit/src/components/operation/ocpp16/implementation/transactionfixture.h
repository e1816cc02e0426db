#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/clock/timetext.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/iresetmanager.h"
#include "src/components/metervalueshandler.h"
#include "src/components/sessionclienthandler.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/src/components/operation/ocpp_common/payloadtable.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakeconfigmanager.h"
#include "tests/unit/support/fakeocpp.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/logcapture.h"

// Keeps what the cache is told, and the requests that are handed back.
class CFakeAuthorizationManager : public IAuthorizationManager {
 public:
  struct SUpdate {
    std::string id;
    std::string parentId;
    EAuthorizationStatus status;
    CExpiry expiry;
  };
  std::vector<SUpdate> updates;
  std::vector<ipc::MAuthorizeRequest> handled;

  void Init(const std::string&) override {}
  void Authorize(ipc::MAuthorizeRequest&, bool) override {}
  void UpdateCache(const std::string& id, const std::string& parentId, EAuthorizationStatus status,
                   const CExpiry& expiry) override
  {
    updates.push_back({id, parentId, status, expiry});
  }
  void UpdateLocalList(const std::string&, const std::string&, EAuthorizationStatus, const CExpiry&) override {}
  void RemoveLocalListEntry(const std::string&) override {}
  void ClearCache() override {}
  int64_t GetLocalListVersion() override { return -1; }
  void SetLocalListVersion(int64_t) override {}
  void EraseLocalList() override {}
  void WriteLocalListToStorage() override {}
  bool IsLocalListEnabled() override { return false; }
  bool IsInLocalList(const std::string&) override { return false; }
  size_t GetLocalListSize() override { return 0; }
  void HandleAuthorizeId(uint32_t, const ipc::MAuthorizeRequest&) override {}
  bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override
  {
    handled.push_back(request);
    return true;
  }
};

// Keeps its calls, by name and connector.
class CFakeResetManager : public IResetManager {
 public:
  std::vector<std::string> calls;

  void QueueReset(bool, uint32_t) override {}
  void RegisterTransaction(uint32_t) override {}
  void ClearTransaction(uint32_t connectorId) override
  {
    calls.push_back("ClearTransaction " + std::to_string(connectorId));
  }
  bool TryReset() override
  {
    calls.emplace_back("TryReset");
    return false;
  }
  void ScheduleHardReboot(std::chrono::seconds) override {}
};

// One station with its session handler and its meter readings; the central system's answers come from the test.
class CTransactionTest : public testing::Test {
 protected:
  CTransactionTest()
  {
    mConfig->SetBool("StopTransactionOnInvalidId", true);
    mConfig->SetBool("HwHasEichrechtLaserMarking", false);
    mConfig->SetBool("EichrechtSupportEnabled", false);
    mConfig->SetString("StopTxnSampledData", "");
    mConfig->SetString("MeterValuesSampledData", "");
    mConfig->SetString("MeterValuesAlignedData", "");
    mConfig->SetBool("MeterValuePersistentStorageEnable", false);
    mConfig->SetInt("MeterValueSampleInterval", 60);
    mConfig->SetInt("HwOneOrThreePhase", 3);
    mAccess.RegisterClock(mClock);
    mAccess.RegisterHandle(std::shared_ptr<IOcpp>(mOcpp));
    mAccess.RegisterHandle(std::shared_ptr<IOcppConfigManager>(mConfig));
    mAccess.RegisterHandle(std::shared_ptr<IcConfig::IConfig>(mData), 1);
    mAccess.RegisterHandle(std::shared_ptr<IAuthorizationManager>(mAuthorization));
    mAccess.RegisterHandle(std::shared_ptr<IResetManager>(mReset));
    mSession = std::make_shared<CSessionClientHandler>(1, mSessionManager, mAccess);
    mAccess.RegisterHandle(std::shared_ptr<ISessionClientHandler>(mSession), 1);
    mMeterValues = std::make_shared<CSampledValuesHandler>(mClock, mMeter, mCurrentControl, mSafetyMcu, 3);
    mAccess.RegisterHandle(std::shared_ptr<ISampledValuesHandler>(mMeterValues), 1);
    SetIdTag("TAG");
  }

  void SetIdTag(const std::string& idTag)
  {
    ipc::MConnectorInfo info;
    info.set_state(ipc::EConnectorStateCharging);
    if (!idTag.empty()) info.set_id_tag(idTag);
    mSessionManager->SetConnectorInfo(info);
  }
  // What the session manager tells at the end of a session of 5 kWh.
  static ipc::MMeterData SessionReading()
  {
    ipc::MMeterData data;
    data.set_energy_register(15000999);
    data.set_session_start_energy(10000999);
    data.set_session_end_energy(15000999);
    data.set_session_start_time("2026-01-15T10:00:00Z");
    data.set_session_end_time("2026-01-15T11:00:00Z");
    return data;
  }
  template <typename TOperation>
  TOperation Make(const COperationParameters& parameters)
  {
    TOperation operation(&mAccess, "id");
    operation.Prepare(parameters);
    return operation;
  }
  // The payload, after the check that it reads as the published message does and that all its times are times.
  static nlohmann::json Checked(const std::string& message, const std::string& payload)
  {
    EXPECT_EQ(ReadPayload(message, payload), payload);
    auto json = nlohmann::json::parse(payload);
    const auto members = json.flatten();
    for (const auto& [place, value] : members.items()) {
      if (place.find("timestamp") == std::string::npos) continue;
      EXPECT_TRUE(ParseTimeText(value.get<std::string>()).has_value()) << place << " " << value;
    }
    return json;
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeOcpp> mOcpp = std::make_shared<CFakeOcpp>();
  std::shared_ptr<CFakeOcppConfigManager> mConfig = std::make_shared<CFakeOcppConfigManager>();
  std::shared_ptr<CFakeConfig> mData = std::make_shared<CFakeConfig>();
  std::shared_ptr<CFakeAuthorizationManager> mAuthorization = std::make_shared<CFakeAuthorizationManager>();
  std::shared_ptr<CFakeResetManager> mReset = std::make_shared<CFakeResetManager>();
  std::shared_ptr<CFakeSessionManager> mSessionManager = std::make_shared<CFakeSessionManager>();
  std::shared_ptr<CFakeMeter> mMeter = std::make_shared<CFakeMeter>();
  std::shared_ptr<CFakeCurrentControl> mCurrentControl = std::make_shared<CFakeCurrentControl>();
  std::shared_ptr<CFakeSafetyMcuComm> mSafetyMcu = std::make_shared<CFakeSafetyMcuComm>();
  CSystemAccessInterface mAccess;
  std::shared_ptr<CSessionClientHandler> mSession;
  std::shared_ptr<CSampledValuesHandler> mMeterValues;
};
