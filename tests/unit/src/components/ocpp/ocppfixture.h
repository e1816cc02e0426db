#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/simulatedclock.h"
#include "platform/commutil/communicationexception.h"
#include "src/components/hostinfo.h"
#include "src/components/isampledvalueshandler.h"
#include "src/components/ocpp.h"
#include "src/components/operation/ocpp_common/ioperationfactory.h"
#include "src/components/systemaccessinterface.h"
#include "tests/unit/support/fakebackoffice.h"
#include "tests/unit/support/fakeconfigmanager.h"
#include "tests/unit/support/fakediagnosticsclient.h"
#include "tests/unit/support/fakemessagestorage.h"
#include "tests/unit/support/fakeoperations.h"
#include "tests/unit/support/fakesessionclient.h"
#include "tests/unit/support/fakewebsocketclient.h"
#include "tests/unit/support/logcapture.h"

// An operation that remembers its parameters and fails to be prepared when told so.
class CParameterOutCall : public CFakeOutCall {
 public:
  using CFakeOutCall::CFakeOutCall;

  void Prepare(const COperationParameters& parameters) override
  {
    mParameters = parameters;
    if (mFailure) mFailure();
  }
  std::shared_ptr<COutCallOperationBase> Clone() const override { return std::make_shared<CParameterOutCall>(*this); }

  COperationParameters mParameters;
  std::function<void()> mFailure;
};

// Makes CParameterOutCalls of the kinds that OCPP's actions have.
class CFakeFactory : public IOperationFactory {
 public:
  std::shared_ptr<COutCallOperationBase> CreateOutOperation(EOutOpType type) override
  {
    ++created;
    if (createsNothing) return nullptr;
    SFakeOutCall options;
    options.id = "id" + std::to_string(created);
    options.action = OutOpTypeToName(type);
    if (type == EOutOpType::EBootNotification) options.kind = EOutCallKind::EBootNotification;
    if (type == EOutOpType::EStartTransaction || type == EOutOpType::EStopTransaction ||
        type == EOutOpType::EMeterValues || type == EOutOpType::ESecurityEventNotification) {
      options.kind = EOutCallKind::EResendRequired;
    }
    auto operation = std::make_shared<CParameterOutCall>(options);
    operation->mFailure = prepareFailure;
    return operation;
  }
  std::shared_ptr<COutCallOperationBase> CreateOutOperation(const SMessage& message) override
  {
    if (message.type == EOutOpType::ESecurityEventNotification) return nullptr;
    SFakeOutCall options;
    options.id = message.messageId;
    options.action = OutOpTypeToName(message.type);
    options.kind = EOutCallKind::EResendRequired;
    return std::make_shared<CParameterOutCall>(options);
  }
  std::shared_ptr<CInCallOperationBase> CreateInOperation(const std::string&, EInOpType, EBackofficeId) override
  {
    return nullptr;
  }
  std::shared_ptr<CErrorOperation> CreateErrorResponse(const std::string&, EInCallError) override { return nullptr; }
  bool IsInfoLogLevel(EInOpType) const override { return true; }

  int created = 0;
  bool createsNothing = false;
  std::function<void()> prepareFailure;
};

// A connector in the state that a test gives it.
class CStateSessionClient : public CFakeSessionClient {
 public:
  bool SetExternalChargeApproval(bool approved, EBackofficeId id) override
  {
    approvals.emplace_back(approved, id);
    return approvalDelivered;
  }
  void DeauthorizeSession(EDeauthorizeReason reason) override { deauthorized.push_back(reason); }
  int32_t GetConnectorState() override { return state; }
  bool IsSessionActive() override { return state >= 4 && state != 10; }
  int32_t MapToSystemState(int32_t value) override
  {
    return value > 12 || value == 0 || value == 2 || value == 10 ? value : 1;
  }

  std::atomic<int32_t> state{1};
  bool approvalDelivered = true;
  std::vector<std::pair<bool, EBackofficeId>> approvals;
  std::vector<EDeauthorizeReason> deauthorized;
};

// A meter with a register, or out of reach.
class CFakeSampledValues : public ISampledValuesHandler {
 public:
  ipc::MMeterData GetMeterData() override
  {
    if (unreachable) throw Rpc::CommunicationException("meter is away");
    ipc::MMeterData data;
    data.set_energy_register(registerMilliWh);
    return data;
  }
  SSampledValues GetSampledValues() override { return {}; }
  ipc::MMeterSessions GetMeterSessions() override { return {}; }
  std::string GetOngoingSessionStartTime() override { return {}; }
  int64_t UpdateSampleIntervalBaseline(int64_t registerWh) override
  {
    sampleBaselines.push_back(registerWh);
    return 0;
  }
  int64_t UpdateClockAlignedBaseline(int64_t registerWh) override
  {
    clockBaselines.push_back(registerWh);
    return 0;
  }
  void UpdateTemperatures(const ipc::MMcuStatus&) override {}

  std::atomic<bool> unreachable{false};
  int64_t registerMilliWh = 5000000;
  std::vector<int64_t> sampleBaselines;
  std::vector<int64_t> clockBaselines;
};

class CDiagnosticsWithErrors : public CFakeDiagnosticsClient {
 public:
  std::vector<int32_t> GetActiveErrors(uint32_t connector) override { return errors[connector]; }
  std::vector<int32_t> GetActiveWarnings(uint32_t connector) override { return warnings[connector]; }

  std::map<uint32_t, std::vector<int32_t>> errors;
  std::map<uint32_t, std::vector<int32_t>> warnings;
};

class COcppFixture : public testing::Test {
 protected:
  using CActions = std::vector<std::string>;
  static constexpr auto kPrimary = EBackofficeId::EPrimary;
  static constexpr auto kAuxiliary = EBackofficeId::EAuxiliary;

  COcppFixture()
  {
    mConfig->SetInt("HeartbeatInterval", 300);
    mConfig->SetInt("SboHeartbeatInterval", 600);
    mConfig->SetInt("MeterValueSampleInterval", 60);
    mConfig->SetInt("ClockAlignedDataInterval", 900);
    mConfig->SetInt("MinimumStatusDuration", 2);
    mAccess.RegisterHandle(std::shared_ptr<IOcppConfigManager>(mConfig));
    mAccess.RegisterHandle(std::shared_ptr<IDiagnosticsClientHandler>(mDiagnostics));
    mAccess.RegisterHandle(std::shared_ptr<ISessionClientHandler>(mSession), 1);
    mAccess.RegisterHandle(std::shared_ptr<ISampledValuesHandler>(mMeter), 1);
    mAccess.RegisterHandle(std::shared_ptr<IPersistentMessageStorageManager>(mStorage));
    mOcpp = std::make_shared<COcpp>(mClock, mAccess, mFactory, [this](const std::string& host, bool isSuppressed) {
      mResolved.emplace_back(host, isSuppressed);
      return mHostResolves;
    });
    mAccess.RegisterHandle(std::shared_ptr<IOcpp>(mOcpp));
    mOcpp->Init();
  }
  ~COcppFixture() override { mAccess.RegisterHandle(std::shared_ptr<IOcpp>()); }

  std::shared_ptr<CFakeBackoffice> Add(EBackofficeId id)
  {
    auto link = std::make_shared<CFakeWebsocketClient>(
        std::make_shared<CHostInfo>(SHostSettings{"CP", "", "host.example/ocpp"}, CHostInfo::CMdnsQuery()));
    mLinks[id] = link;
    auto backoffice = std::make_shared<CFakeBackoffice>(id, link);
    mOcpp->AddBackoffice(backoffice);
    return backoffice;
  }
  std::shared_ptr<CFakeBackoffice> AddAccepted(EBackofficeId id)
  {
    auto backoffice = Add(id);
    backoffice->SetEnabled(true);
    backoffice->SetStatus(EOcppStatus::EAccepted);
    return backoffice;
  }
  static COperationParameters ParametersOf(const std::shared_ptr<COutCallOperationBase>& operation)
  {
    return dynamic_cast<CParameterOutCall&>(*operation).mParameters;
  }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeOcppConfigManager> mConfig = std::make_shared<CFakeOcppConfigManager>();
  std::shared_ptr<CDiagnosticsWithErrors> mDiagnostics = std::make_shared<CDiagnosticsWithErrors>();
  std::shared_ptr<CStateSessionClient> mSession = std::make_shared<CStateSessionClient>();
  std::shared_ptr<CFakeSampledValues> mMeter = std::make_shared<CFakeSampledValues>();
  std::shared_ptr<CFakeMessageStorage> mStorage = std::make_shared<CFakeMessageStorage>();
  std::shared_ptr<CFakeFactory> mFactory = std::make_shared<CFakeFactory>();
  std::map<EBackofficeId, std::shared_ptr<CFakeWebsocketClient>> mLinks;
  std::vector<std::pair<std::string, bool>> mResolved;
  bool mHostResolves = true;
  CSystemAccessInterface mAccess;
  std::shared_ptr<COcpp> mOcpp;
};
