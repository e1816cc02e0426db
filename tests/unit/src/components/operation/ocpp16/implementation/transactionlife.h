#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/worker/worker.h"
#include "src/components/hostinfo.h"
#include "src/components/metervalueshandler.h"
#include "src/components/ocpp.h"
#include "src/components/operation/ocpp16/operationfactory.h"
#include "src/components/operation/ocpp16/operationfilters.h"
#include "src/components/operation/ocpp_common/operationhandler.h"
#include "src/components/operation/ocpp_common/operationqueuemanager.h"
#include "src/components/persistentmessagestoragemanager.h"
#include "src/components/sessionclienthandler.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/support/fakebackoffice.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakeconfigmanager.h"
#include "tests/unit/support/fakediagnosticsclient.h"
#include "tests/unit/support/fakesiblings.h"
#include "tests/unit/support/fakewebsocketclient.h"

// A CALL as it went out.
struct SSentCall {
  std::string id;
  std::string action;
  nlohmann::json payload;

  int64_t TransactionId() const { return payload.value("transactionId", int64_t{-2}); }  // -2: without one
};

// What outlives the process: two domains on one medium, the station's settings, and the siblings.
struct STransactionStation {
  STransactionStation()
  {
    config->SetBool("StopTransactionOnInvalidId", true);
    config->SetBool("HwHasEichrechtLaserMarking", false);
    config->SetBool("EichrechtSupportEnabled", false);
    config->SetString("StopTxnSampledData", "");
    config->SetString("MeterValuesSampledData", "");
    config->SetString("MeterValuesAlignedData", "");
    config->SetBool("MeterValuePersistentStorageEnable", true);
    config->SetInt("MeterValueSampleInterval", 900);
    config->SetInt("HwOneOrThreePhase", 3);
    Restore({}, {});
  }
  // As after a power cut, on a new medium.
  void Restore(const CFakeConfig::CState& storedMessages, const CFakeConfig::CState& storedData)
  {
    medium = std::make_shared<CFakeMedium>();
    CFakeConfig::SOptions options;
    options.medium = medium;
    options.stored = storedMessages;
    messages = std::make_shared<CFakeConfig>(options);
    options.stored = storedData;
    data = std::make_shared<CFakeConfig>(options);
  }
  void SetIdTag(const std::string& idTag) const
  {
    ipc::MConnectorInfo info;
    info.set_id_tag(idTag);
    sessionManager->SetConnectorInfo(info);
  }

  std::shared_ptr<CFakeMedium> medium;
  std::shared_ptr<CFakeConfig> messages;
  std::shared_ptr<CFakeConfig> data;
  std::shared_ptr<CFakeOcppConfigManager> config = std::make_shared<CFakeOcppConfigManager>();
  std::shared_ptr<CFakeSessionManager> sessionManager = std::make_shared<CFakeSessionManager>();
  std::shared_ptr<CFakeMeter> meter = std::make_shared<CFakeMeter>();
};

// One life of the process, from the session's events to the frames of one link: accepted, and online unless told
// otherwise. Message time-out 30 s, 2 attempts, retry interval 60 s.
class CTransactionLife {
 public:
  static constexpr std::chrono::seconds kRetry{60};

  explicit CTransactionLife(const STransactionStation& station, EBackofficeId id = EBackofficeId::EPrimary)
      : mStation(station),
        mId(id),
        mStorage(std::make_shared<CPersistentMessageStorageManager>(station.messages, 2000000))
  {
    mAccess.RegisterClock(mClock);
    mAccess.RegisterHandle(std::shared_ptr<IOcppConfigManager>(station.config));
    mAccess.RegisterHandle(std::shared_ptr<IcConfig::IConfig>(station.data), 1);
    mAccess.RegisterHandle(std::shared_ptr<IPersistentMessageStorageManager>(mStorage));
    mSession = std::make_shared<CSessionClientHandler>(1, station.sessionManager, mAccess);
    mAccess.RegisterHandle(std::shared_ptr<ISessionClientHandler>(mSession), 1);
    mAccess.RegisterHandle(
        std::shared_ptr<ISampledValuesHandler>(std::make_shared<CSampledValuesHandler>(
            mClock, station.meter, std::make_shared<CFakeCurrentControl>(), std::make_shared<CFakeSafetyMcuComm>(), 3)),
        1);
    const auto factory = std::make_shared<COperationFactory>(&mAccess);
    mOcpp = std::make_shared<COcpp>(mClock, mAccess, factory, [](const std::string&, bool) { return true; });
    mAccess.RegisterHandle(std::shared_ptr<IOcpp>(mOcpp));
    const bool isPrimary = id == EBackofficeId::EPrimary;
    mHandler = std::make_shared<COperationHandler>(
        mClock, factory, std::make_shared<COperationQueueManager>(*mStorage, mDiagnostics, isPrimary), nullptr,
        COperationHandler::CConnectors{mSession});
    if (!isPrimary) mHandler->SetFilters(Ocpp16::GetFiltersBesidePrimary());
    Wire();
    mSession->Init();
    mOcpp->AddBackoffice(std::make_shared<CQueueingBackoffice>(mId, mHandler));
    mOcpp->GetBackoffice(mId)->SetEnabled(true);
    mSender.Start();
    mSender.NonBlockingCall([this] { mHandler->RunExecutor(); });
    mOcpp->LoadPersistedMessages();
    mClock.WaitIdle();
  }
  ~CTransactionLife()
  {
    mHandler->StopExecutor();
    mSender.Stop();
    mAccess.RegisterHandle(std::shared_ptr<IOcpp>());
  }

  void SetOnline(bool online)
  {
    mIsOnline = online;
    mClock.AdvanceBy(std::chrono::seconds(1));
  }
  void StartSession(int64_t registerWh)
  {
    mSession->HandleSessionStarted(Reading(registerWh));
    mClock.WaitIdle();
  }
  void StopSession(int64_t registerWh)
  {
    auto reading = Reading(registerWh);
    reading.set_session_end_energy(registerWh * 1000);
    mSession->HandleSessionStopped(reading, 4);
    mClock.WaitIdle();
  }
  void AdvanceBy(std::chrono::nanoseconds duration) { mClock.AdvanceBy(duration); }

  // All calls since the last time.
  std::vector<SSentCall> Take()
  {
    CLock lock(mMutex);
    return std::exchange(mSent, {});
  }
  // The one call since the last time.
  SSentCall TakeOne()
  {
    const auto sent = Take();
    EXPECT_EQ(sent.size(), 1U);
    return sent.empty() ? SSentCall() : sent.front();
  }
  // As StartTransaction and StopTransaction are answered.
  void Accept(const SSentCall& call, int64_t transactionId = 0)
  {
    nlohmann::json payload = nlohmann::json::object();
    if (call.action == "StartTransaction") {
      payload = {{"idTagInfo", {{"status", "Accepted"}}}, {"transactionId", transactionId}};
    }
    Answer(call, payload.dump());
  }
  void Answer(const SSentCall& call, const std::string& payload)
  {
    mHandler->HandleInResult(call.id, payload, mId);
    mClock.WaitIdle();
  }
  // A CALLERROR; two of them are the end of a message.
  void Fail(const SSentCall& call)
  {
    mHandler->HandleInError(call.id, "\"InternalError\"", "\"\"", "{}", mId);
    mClock.WaitIdle();
  }
  // Errors until the message is given up.
  void Refuse(const SSentCall& call)
  {
    Fail(call);
    mClock.AdvanceBy(kRetry);
    EXPECT_EQ(TakeOne().id, call.id);
    Fail(call);
  }
  size_t CountStored() const { return mStorage->GetNumStoredMessages(); }
  ISessionClientHandler& GetSession() { return *mSession; }
  // What follows from the acceptance of the station.
  void StartClockAligned()
  {
    mOcpp->GetBackoffice(mId)->SetOcppAcceptance(EOcppStatus::EAccepted);
    mOcpp->StartClockAlignedMeterValue(mId);
  }

 private:
  // Gives what it is told to send to the operation handler.
  class CQueueingBackoffice : public CFakeBackoffice {
   public:
    CQueueingBackoffice(EBackofficeId id, std::shared_ptr<IOperationHandler> handler)
        : CFakeBackoffice(id, std::make_shared<CFakeWebsocketClient>(std::make_shared<CHostInfo>(
                                  SHostSettings{"CP", "", "host.example/ocpp"}, CHostInfo::CMdnsQuery()))),
          mHandler(std::move(handler))
    {}
    EPushResult PushOutCallOperation(const std::shared_ptr<COutCallOperationBase>& operation) override
    {
      operation->SetBackofficeId(GetId());
      return mHandler->PushOutCallOperation(operation);
    }

   private:
    const std::shared_ptr<IOperationHandler> mHandler;
  };

  void Wire()
  {
    SMsgConfig config;
    config.messageTimeout = std::chrono::seconds(30);
    config.transactionMessageAttempts = 2;
    config.transactionMessageRetryInterval = kRetry;
    mHandler->SetMsgConfig(config);
    mHandler->SetIsBackofficeOnlineCB([this] { return mIsOnline && !mStation.medium->IsPowerCut(); });
    mHandler->SetGetOcppStatusCB([] { return EOcppStatus::EAccepted; });
    mHandler->SetResetSendTimeoutCB([] {});
    mHandler->SetSendTimeoutCB([](const IOperationHandler::COperation&) {});
    mHandler->SetSendCB([this](const std::string& frame) {
      if (mStation.medium->IsPowerCut()) return false;
      const auto json = nlohmann::json::parse(frame);
      CLock lock(mMutex);
      mSent.push_back({json.at(1), json.at(2), json.at(3)});
      return true;
    });
  }
  static ipc::MMeterData Reading(int64_t registerWh)
  {
    ipc::MMeterData data;
    data.set_energy_register(registerWh * 1000);
    data.set_session_start_time("2026-01-15T10:00:00Z");
    return data;
  }

  const STransactionStation& mStation;
  const EBackofficeId mId;
  CSimulatedClock mClock;
  CFakeDiagnosticsClient mDiagnostics;
  std::atomic<bool> mIsOnline{true};
  CMutex mMutex;
  std::vector<SSentCall> mSent GUARDED_BY(mMutex);
  const std::shared_ptr<CPersistentMessageStorageManager> mStorage;
  CSystemAccessInterface mAccess;
  std::shared_ptr<CSessionClientHandler> mSession;
  std::shared_ptr<COcpp> mOcpp;
  std::shared_ptr<COperationHandler> mHandler;
  CWorker mSender{mClock, "sender"};
};
