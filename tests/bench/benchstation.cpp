#include "tests/bench/benchstation.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/clock/timetext.h"
#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/icconfig/jsontext.h"
#include "src/components/hostinfo.h"
#include "src/components/ipccallbacklayer.h"
#include "src/components/systemaccessinterface.h"

using namespace std::chrono_literals;

namespace {

constexpr int64_t kSessionMilliWh = 10000000;

// The fakes of the tests keep what they were told; these forget it.
class CForgetfulDiagnostics : public CFakeDiagnostics {
 public:
  ipc::MResult SendSignal(const ipc::MDiagnosticsSignal&) override { return {}; }
};

class CForgetfulFeedback : public CFakeFeedback {
 public:
  ipc::MResult TriggerEvent(const ipc::MFbEventType&, const ipc::MInstanceType&) override { return {}; }
};

class CForgetfulCurrentControl : public CFakeCurrentControl {
 public:
  ipc::MResult SetLimit(const ipc::MCurrentControlLimit&) override { return {}; }
  ipc::MResult ClearLimit(const ipc::MCurrentControlLimit&) override { return {}; }
};

class CForgetfulSessionManager : public CFakeSessionManager {
 public:
  ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest&) override { return {}; }
  void SetParentIdTag(uint32_t, const std::string&) override {}
};

class CForgetfulSessionManagerAuth : public CFakeSessionManagerAuth {
 public:
  ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest&) override { return {}; }
};

template <typename TFake>
std::shared_ptr<TFake> Make(std::vector<CFakeSibling*>& all)
{
  auto fake = std::make_shared<TFake>();
  all.push_back(fake.get());
  return fake;
}

}  // namespace

class CBenchStation::CSiblings {
 public:
  void ForgetCalls() const
  {
    for (CFakeSibling* sibling : mAll) sibling->ClearCalls();
  }

 private:
  std::vector<CFakeSibling*> mAll;

 public:
  const std::shared_ptr<CFakeBasicCharge2> basicCharge = Make<CFakeBasicCharge2>(mAll);
  const std::shared_ptr<CFakeBoardControl> boardControl = Make<CFakeBoardControl>(mAll);
  const std::shared_ptr<CFakeCurrentControl> currentControl = Make<CForgetfulCurrentControl>(mAll);
  const std::shared_ptr<CFakeDiagnostics> diagnostics = Make<CForgetfulDiagnostics>(mAll);
  const std::shared_ptr<CFakeFeedback> feedback = Make<CForgetfulFeedback>(mAll);
  const std::shared_ptr<CFakeMeter> meter = Make<CFakeMeter>(mAll);
  const std::shared_ptr<CFakeSafetyMcuComm> safetyMcuComm = Make<CFakeSafetyMcuComm>(mAll);
  const std::shared_ptr<CFakeSessionManager> sessionManager = Make<CForgetfulSessionManager>(mAll);
  const std::shared_ptr<CFakeSessionManagerAuth> sessionManagerAuth = Make<CForgetfulSessionManagerAuth>(mAll);
};

CBenchStation::CBenchStation(const CSettings& settings)
    : mSiblings(std::make_unique<CSiblings>()), mAccess(std::make_shared<CSystemAccessInterface>())
{
  Config("settings")->Preset("SeccOcppUri", "cpo.example/ocpp");
  Config("settings")->Preset("SeccOcppActive", true);
  Config("settings")->Preset("AllowChargeWithoutValidTime", true);
  Config("hwinfo")->Preset("CustomerId", "STATION");
  for (const auto& [domain, keys] : settings) {
    for (const auto& [key, value] : keys) Config(domain)->Preset(key, value);
  }
  CDiagnosticsCommClient::Initialize(mSiblings->diagnostics, mClock);

  SIpcClients clients;
  clients.basicCharge = mSiblings->basicCharge;
  clients.boardControl = mSiblings->boardControl;
  clients.currentControl = mSiblings->currentControl;
  clients.diagnostics = mSiblings->diagnostics;
  clients.feedback = mSiblings->feedback;
  clients.meter = mSiblings->meter;
  clients.safetyMcuComm = mSiblings->safetyMcuComm;
  clients.sessionManagerAuth = mSiblings->sessionManagerAuth;
  clients.sessionManager = mSiblings->sessionManager;

  SOcppEnvironment environment;
  environment.openConfig = [this](const std::string& domain, const IcConfig::CErrorCallback&,
                                  const IcConfig::CChangeCallback&) { return Config(domain); };
  environment.openReadOnlyConfig = [this](const std::string& domain, const IcConfig::CErrorCallback&) {
    return Config(domain);
  };
  environment.createLink = [this](const SHostSettings& host, const std::shared_ptr<IDiagnosticsClientHandler>&) {
    mLink = std::make_shared<CFakeWebsocketClient>(std::make_shared<CHostInfo>(host, CHostInfo::CMdnsQuery()));
    return mLink;
  };
  environment.resolveHost = [](const std::string&, bool) { return true; };

  COcppComponent::SArguments arguments;
  arguments.ipcCallbackLayer = std::make_shared<CIpcCallbackLayer>(clients);
  arguments.systemAccess = mAccess;
  mComponent = std::make_unique<COcppComponent>(mClock, arguments, environment);
  ChangeState(ipc::EConnectorStateAvailable);
}

CBenchStation::~CBenchStation()
{
  mComponent.reset();
  CDiagnosticsCommClient::Terminate();
}

std::shared_ptr<CFakeConfig> CBenchStation::Config(const std::string& domain)
{
  auto& config = mConfigs[domain];
  if (config) return config;
  CFakeConfig::SOptions options;
  std::ifstream file(std::string(SECC_SOURCE_ROOT "/data/config/") + (domain == "ocppmeta" ? "ocpp_meta" : domain) +
                     ".json");
  std::ostringstream text;
  if (file) text << file.rdbuf();
  if (const auto root = IcConfig::ParseJsonText(text.str())) {
    for (const auto& key : root->getMemberNames()) options.defaults[key] = (*root)[key];
  }
  config = std::make_shared<CFakeConfig>(options);
  return config;
}

bool CBenchStation::Start()
{
  mComponent->Enable();
  mClock.AdvanceBy(2s);
  if (!mLink || mLink->GetConnectCount() == 0) return false;
  mLink->PlayOpen();
  AnswerAll();
  return CountAnswered("BootNotification") == 1;
}

void CBenchStation::LoseLink()
{
  mLink->PlayClose();
  mClock.WaitIdle();
}

void CBenchStation::RestoreLink()
{
  mLink->PlayOpen();
  AnswerAll();
}

void CBenchStation::AnswerAll()
{
  mClock.WaitIdle();
  for (auto frames = mLink->TakeSent(); !frames.empty(); frames = mLink->TakeSent()) {
    for (const auto& frame : frames) Answer(frame);
    mClock.WaitIdle();
  }
  mSiblings->ForgetCalls();
}

void CBenchStation::Answer(const std::string& frame)
{
  const auto call = nlohmann::json::parse(frame);
  if (call[0] != 2) return;
  const std::string action = call[2];
  const std::string id = call[1];
  if (std::find(mLatestIds.begin(), mLatestIds.end(), id) != mLatestIds.end()) ++mRepeated;
  mLatestIds[mNextId++ % mLatestIds.size()] = id;
  nlohmann::json payload = nlohmann::json::object();
  const auto now = ToTimeText(mClock.SystemNow());
  if (action == "BootNotification") {
    payload = {{"status", "Accepted"}, {"interval", 14400}, {"currentTime", now}};
  } else if (action == "Heartbeat") {
    payload = {{"currentTime", now}};
  } else if (action == "Authorize") {
    payload = {{"idTagInfo", {{"status", "Accepted"}}}};
  } else if (action == "StartTransaction") {
    payload = {{"transactionId", ++mTransactions}, {"idTagInfo", {{"status", "Accepted"}}}};
  }
  mLink->PlayMessage(nlohmann::json({3, call[1], payload}).dump());
  ++mAnswered[action];
}

uint64_t CBenchStation::CountAnswered(const std::string& action) const
{
  const auto count = mAnswered.find(action);
  return count == mAnswered.end() ? 0 : count->second;
}

void CBenchStation::PresentTag(const std::string& idTag)
{
  ipc::MAuthorizeRequest request;
  request.set_request_id("request");
  request.mutable_user_identification()->set_token(idTag);
  mSiblings->sessionManagerAuth->EmitAuthorizeId(1, request);
}

void CBenchStation::ChangeState(ipc::EConnectorState state)
{
  ipc::MConnectorInfo info = mSiblings->sessionManager->GetConnectorInfo(1);
  info.set_state(state);
  mSiblings->sessionManager->SetConnectorInfo(info);
  mSiblings->sessionManager->EmitStateChanged(state);
}

ipc::MMeterData CBenchStation::Reading(const std::string& idTag) const
{
  ipc::MMeterData data;
  data.set_energy_register(mEnergyMilliWh);
  for (int phase = 0; phase < 3; ++phase) {
    data.add_current(16000);
    data.add_voltage(230000);
    data.add_power(3680);
  }
  if (!idTag.empty()) {
    data.set_session_start_energy(mEnergyMilliWh);
    data.set_session_start_time(ToTimeText(mClock.SystemNow()));
  }
  return data;
}

void CBenchStation::StartSession(const std::string& idTag)
{
  ipc::MConnectorInfo info;
  info.set_id_tag(idTag);
  mSiblings->sessionManager->SetConnectorInfo(info);
  ChangeState(ipc::EConnectorStateStarting);
  const auto reading = Reading(idTag);
  mSiblings->meter->SetMeterData(reading);
  mSiblings->sessionManager->EmitSessionStarted(reading);
  ChangeState(ipc::EConnectorStateCharging);
}

void CBenchStation::StopSession()
{
  mEnergyMilliWh += kSessionMilliWh;
  ChangeState(ipc::EConnectorStateStopping);
  auto reading = Reading("");
  reading.set_session_start_energy(mEnergyMilliWh - kSessionMilliWh);
  reading.set_session_end_energy(mEnergyMilliWh);
  const auto now = ToTimeText(mClock.SystemNow());
  reading.set_session_start_time(now);
  reading.set_session_end_time(now);
  mSiblings->meter->SetMeterData(reading);
  mSiblings->sessionManager->EmitSessionStopped(reading, ipc::EStopSessionReason{});
  mSiblings->sessionManager->SetConnectorInfo({});
  ChangeState(ipc::EConnectorStateAvailable);
}
