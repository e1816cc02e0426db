#include "src/components/ocppcomponent.h"

#include <fstream>
#include <utility>

#include "platform/iclogger/log.h"
#include "platform/toolbox/mdns.h"
#include "platform/toolbox/resolve.h"
#include "src/components/authorizationmanager.h"
#include "src/components/auxiliarykey.h"
#include "src/components/backoffice.h"
#include "src/components/backofficeutils.h"
#include "src/components/diagnosticsclienthandler.h"
#include "src/components/feedbackclienthandler.h"
#include "src/components/hostinfo.h"
#include "src/components/ipccallbacklayer.h"
#include "src/components/iresetmanager.h"
#include "src/components/metervalueshandler.h"
#include "src/components/ocpp.h"
#include "src/components/ocppconfigexception.h"
#include "src/components/ocppconfigmanager.h"
#include "src/components/operation/ocpp16/operationfactory.h"
#include "src/components/operation/ocpp16/operationfilters.h"
#include "src/components/operation/ocpp_common/operationhandler.h"
#include "src/components/operation/ocpp_common/operationqueuemanager.h"
#include "src/components/persistentmessagestoragemanager.h"
#include "src/components/sessionclienthandler.h"
#include "src/components/smartcharging/ismartchargingcomponent.h"
#include "src/components/systemaccessinterface.h"
#include "src/components/websocketclient.h"
#include "src/components/websocketppwrapper.h"

namespace {

constexpr uint32_t kConnector = 1;
constexpr int kHandlerKey = 0;
constexpr uint32_t kMaxStoredMessageBytes = 2000000;
constexpr std::chrono::seconds kTimeCheckPeriod{2};
constexpr const char* kDefaultAuxiliaryUri = "hub.tovira.example/ocpp";

std::string ConnectorDomain(const std::string& name) { return fmt::format("connector{}/{}", kConnector, name); }

// A station whose description is faulty measures what it can be sure of.
size_t ReadPhases(const IOcppConfigManager& config)
{
  try {
    return static_cast<size_t>(config.ReadInt("HwOneOrThreePhase"));
  } catch (const OcppConfigException& error) {
    LOG_ERROR("{}", error.what());
    return 1;
  }
}

}  // namespace

COcppComponent::COcppComponent(IClock& clock, SArguments arguments, SOcppEnvironment environment)
    : mClock(clock),
      mArguments(std::move(arguments)),
      mEnvironment(std::move(environment)),
      mReaper(std::make_shared<CWorker>(clock, "reaper")),
      mWorker(std::make_shared<CWorker>(clock, "component"))
{
  mReaper->Start();
  OpenStationDomains();
  CreateServices();
  RegisterHandlers();
  RegisterServices();
  InitialiseServices();
}

COcppComponent::~COcppComponent()
{
  Disable();
  mSboEnabledRegistration.reset();
  // The threads of the backoffices call COcpp, some of them through the register: they end first.
  mOcpp->Shutdown();
  mReaper->Sync();
  mArguments.systemAccess->RegisterHandle(std::shared_ptr<IOcpp>());
  mOcpp.reset();
}

std::shared_ptr<IcConfig::IConfig> COcppComponent::Open(const std::string& domain) const
{
  return mEnvironment.openConfig(domain, mArguments.configErrorCallback, mArguments.configChangeCallback);
}

std::shared_ptr<IcConfig::IReadOnlyConfig> COcppComponent::OpenReadOnly(const std::string& domain) const
{
  return mEnvironment.openReadOnlyConfig(domain, mArguments.configErrorCallback);
}

void COcppComponent::OpenStationDomains()
{
  mStationPersistentData = Open("secc_persistentdata");
  const auto metadata = OpenReadOnly("ocppmeta");
  SConfigStores stores;
  stores.ocpp = Open("ocpp");
  // The process has this domain open as well and reports its changes; once is enough.
  mSettings = mEnvironment.openConfig("settings", mArguments.configErrorCallback, {});
  stores.settings = mSettings;
  stores.secrets = Open("secrets");
  stores.network = Open("network");
  stores.fwinfo = OpenReadOnly("fwinfo");
  stores.hwinfo = OpenReadOnly("hwinfo");
  const auto fwUpdate = Open("fwupdate");
  const auto extension = std::make_shared<COcppConfigExtension>(fwUpdate, stores.hwinfo);

  const auto configManager = std::make_shared<COcppConfigManager>(
      metadata, stores, std::make_shared<CPhaseConfig>(stores.hwinfo, stores.ocpp), extension);
  mConnectorPersistentData = Open(ConnectorDomain("secc_persistentdata"));
  mConnectorSessionData = OpenReadOnly(ConnectorDomain("sessionmanager_persistentdata"));
  configManager->Init();
  configManager->AddReadOnlyStore("secc_persistentdata", mStationPersistentData);
  configManager->AddReadOnlyStore(ConnectorDomain("secc_persistentdata"), mConnectorPersistentData);
  configManager->AddReadOnlyStore(ConnectorDomain("sessionmanager_persistentdata"), mConnectorSessionData);
  mOcppConfigManager = configManager;
  RunGuarded([this] {
    mChargeBeforeAcceptedPolicy =
        ToChargeBeforeAcceptedPolicy(mOcppConfigManager->ReadString("ChargeBeforeAcceptedPolicy"));
  });
}

void COcppComponent::CreateServices()
{
  auto& ipc = *mArguments.ipcCallbackLayer;
  auto& access = *mArguments.systemAccess;
  mDiagnosticsClientHandler = std::make_shared<CDiagnosticsClientHandler>(mClock, ipc.GetDiagnosticsClient(), access);
  mSessionClientHandler =
      std::make_shared<CSessionClientHandler>(kConnector, ipc.GetSessionManagerClient(kConnector), access);
  mSampledValuesHandler = std::make_shared<CSampledValuesHandler>(
      mClock, ipc.GetMeterClient(kConnector), ipc.GetCurrentControlClient(kConnector),
      ipc.GetSafetyMcuCommClient(kConnector), ReadPhases(*mOcppConfigManager));
  mPersistentMessageStorage = std::make_shared<CPersistentMessageStorageManager>(
      mEnvironment.openConfig("secc_persistentmessages", mArguments.configErrorCallback, {}), kMaxStoredMessageBytes);
  AttachMessageStore();
  mOperationFactory = std::make_shared<COperationFactory>(&access);
  mOcpp = std::make_shared<COcpp>(mClock, access, mOperationFactory,
                                  mEnvironment.resolveHost ? mEnvironment.resolveHost : Toolbox::ResolveHost);
  mAuthorizationManager = std::make_shared<CAuthorizationManager>(
      mClock, ipc.GetSessionManagerAuthClient(), access, [this](const std::string& domain) { return Open(domain); });
  mFeedbackClientHandler = std::make_shared<CFeedbackClientHandler>(ipc.GetFeedbackClient());
}

void COcppComponent::AttachMessageStore()
{
  // The register keeps the store alive for longer than this object lives.
  mPersistentMessageStorage->SetStorageFullCallback(
      [diagnostics = mDiagnosticsClientHandler, session = mSessionClientHandler] {
        diagnostics->ReportStorageFull();
        session->SetMessageStorageAvailable(false);
      });
  mPersistentMessageStorage->SetStorageReadyCallback(
      [diagnostics = mDiagnosticsClientHandler, session = mSessionClientHandler] {
        diagnostics->ClearStorageFull();
        session->SetMessageStorageAvailable(true);
      });
}

void COcppComponent::RegisterHandlers() const
{
  auto& ipc = *mArguments.ipcCallbackLayer;
  ipc.RegisterBoardControlMainsLostHandler(kHandlerKey, [this] {
    mOcpp->DisableBackoffice(EBackofficeId::EPrimary);
    mOcpp->DisableBackoffice(EBackofficeId::EAuxiliary);
  });
  ipc.RegisterDiagnosticsFreezeFrameDoneHandler(
      kHandlerKey, [this](const std::string& fileName) { mDiagnosticsClientHandler->HandleFreezeFrameDone(fileName); });
  ipc.RegisterDiagnosticsNotificationHandler(
      kHandlerKey, [this](const ipc::MDiagnosticsSignal& signal, const ipc::MDiagnosticsNotificationType& type) {
        mDiagnosticsClientHandler->HandleDiagnosticsNotification(signal, type);
      });
  ipc.RegisterSafetyMcuCommMcuTemperaturesHandler(kHandlerKey, kConnector, [this](const ipc::MMcuStatus& status) {
    mSampledValuesHandler->UpdateTemperatures(status);
  });
  ipc.RegisterSessionManagerStateChangedHandler(kHandlerKey, kConnector, [this](const ipc::MConnectorState& state) {
    mSessionClientHandler->HandleStateChanged(state);
  });
  ipc.RegisterSessionManagerSessionStartedHandler(kHandlerKey, kConnector, [this](const ipc::MMeterData& meterData) {
    mSessionClientHandler->HandleSessionStarted(meterData);
  });
  ipc.RegisterSessionManagerSessionStoppedHandler(
      kHandlerKey, kConnector, [this](const ipc::MMeterData& meterData, ipc::EStopSessionReason reason) {
        mSessionClientHandler->HandleSessionStopped(meterData, static_cast<uint32_t>(reason));
      });
  ipc.RegisterSessionManagerAuthAuthorizeIdHandler(kHandlerKey,
                                                   [this](uint32_t connector, const ipc::MAuthorizeRequest& request) {
                                                     mAuthorizationManager->HandleAuthorizeId(connector, request);
                                                   });
}

void COcppComponent::RegisterServices()
{
  auto& access = *mArguments.systemAccess;
  access.RegisterClock(mClock);
  access.RegisterHandle(std::shared_ptr<IOcpp>(mOcpp));
  access.RegisterHandle(mSampledValuesHandler, kConnector);
  access.RegisterHandle(mStationPersistentData, 0);
  access.RegisterHandle(mConnectorPersistentData, kConnector);
  access.RegisterHandle(mConnectorSessionData, kConnector);
  access.RegisterHandle(mOcppConfigManager);
  access.RegisterHandle(mSessionClientHandler, kConnector);
  access.RegisterHandle(std::shared_ptr<IDiagnosticsClientHandler>(mDiagnosticsClientHandler));
  access.RegisterHandle(std::shared_ptr<IAuthorizationManager>(mAuthorizationManager));
  access.RegisterHandle(std::shared_ptr<IFeedbackClientHandler>(mFeedbackClientHandler));
  access.RegisterHandle(std::shared_ptr<IPersistentMessageStorageManager>(mPersistentMessageStorage));
}

void COcppComponent::InitialiseServices()
{
  RunGuarded([this] { mOcpp->Init(); });
  // The stores' documents lie in the data directory itself.
  mAuthorizationManager->Init("");
  RunGuarded([this] { mDiagnosticsClientHandler->Init(); });
  mSessionClientHandler->Init();
  RunGuarded([this] { CreatePrimaryBackoffice(); });
  RunGuarded([this] { CreateAuxiliaryBackoffice(); });
}

// Metadata that cannot be understood is a configuration error like any other: the process lives and says so.
void COcppComponent::RunGuarded(const std::function<void()>& step) const
{
  try {
    step();
  } catch (const OcppConfigException& error) {
    if (mArguments.configErrorCallback) mArguments.configErrorCallback(error.what());
  }
}

bool COcppComponent::IsPrimaryActive() const { return mSettings->GetBool("SeccOcppActive", false); }

bool COcppComponent::IsAuxiliaryEnabled() const
{
  return mSettings->GetString("SboEnabled", "Undetermined") == "Enabled";
}

void COcppComponent::CreatePrimaryBackoffice()
{
  if (mOcpp->GetBackoffice(EBackofficeId::EPrimary) || !IsPrimaryActive()) return;
  LOG_INFO("Creating Primary backoffice resources ...");
  mOcpp->AddBackoffice(CreateBackoffice(EBackofficeId::EPrimary));
}

void COcppComponent::CreateAuxiliaryBackoffice()
{
  if (mOcpp->GetBackoffice(EBackofficeId::EAuxiliary) || !IsAuxiliaryEnabled()) return;
  LOG_INFO("Creating Auxiliary backoffice resources ...");
  mOcpp->AddBackoffice(CreateBackoffice(EBackofficeId::EAuxiliary));
}

SHostSettings COcppComponent::ReadHostSettings(EBackofficeId id)
{
  const bool isPrimary = id == EBackofficeId::EPrimary;
  SHostSettings settings;
  if (isPrimary) settings.chargePointId = mOcppConfigManager->ReadString("CustomCustomerId");
  if (settings.chargePointId.empty()) settings.chargePointId = mOcppConfigManager->ReadString("CustomerId");
  settings.uri = mSettings->GetString(GetMutualKey("SeccOcppUri", id), isPrimary ? "" : kDefaultAuxiliaryUri);

  const std::string authorizationKey = GetMutualKey("AuthorizationKey", id);
  settings.basicAuthPassword = mOcppConfigManager->ReadString(authorizationKey);
  if (!isPrimary && settings.basicAuthPassword.empty()) {
    LOG_WARNING("SboAuthenticationKey not found! Adding the default one");
    settings.basicAuthPassword = BuildDefaultAuxiliaryKey();
    mOcppConfigManager->WriteString(authorizationKey, settings.basicAuthPassword);
  }
  settings.pongTimeout = mOcppConfigManager->ReadInt(GetMutualKey("WebSocketPongTimeout", id));
  settings.pingInterval = mOcppConfigManager->ReadInt(GetMutualKey("WebSocketPingInterval", id));
  return settings;
}

std::shared_ptr<IWebsocketClient> COcppComponent::CreateLink(const SHostSettings& settings)
{
  if (mEnvironment.createLink) return mEnvironment.createLink(settings, mDiagnosticsClientHandler);
  return std::make_shared<CWebsocketClient>(std::make_shared<CHostInfo>(settings, Toolbox::QueryMdnsDevicesFiltered),
                                            std::make_shared<websocketppwrapper::CWebsocketPPWrapper>(),
                                            std::make_shared<CWorker>(mClock, "websocket"), mDiagnosticsClientHandler);
}

std::shared_ptr<CBackoffice> COcppComponent::CreateBackoffice(EBackofficeId id)
{
  const bool isPrimary = id == EBackofficeId::EPrimary;
  auto queueManager =
      std::make_shared<COperationQueueManager>(*mPersistentMessageStorage, *mDiagnosticsClientHandler, isPrimary);
  auto operationHandler = std::make_shared<COperationHandler>(mClock, mOperationFactory, std::move(queueManager),
                                                              mDiagnosticsClientHandler.get(),
                                                              COperationHandler::CConnectors{mSessionClientHandler});
  if (!isPrimary) {
    operationHandler->SetFilters(IsPrimaryActive() ? Ocpp16::GetFiltersBesidePrimary()
                                                   : Ocpp16::GetFiltersStandingAlone());
  }

  CBackoffice::SParts parts;
  parts.id = id;
  parts.configManager = mOcppConfigManager;
  parts.websocketClient = CreateLink(ReadHostSettings(id));
  parts.operationHandler = std::move(operationHandler);
  parts.persistentData = mStationPersistentData;
  parts.policy = isPrimary ? mChargeBeforeAcceptedPolicy : EChargeBeforeAcceptedPolicy::ENever;
  // The last one to let go may be a callback of the backoffice's own link, on a thread that the destructor joins.
  return {new CBackoffice(mClock, std::move(parts)), [reaper = mReaper](CBackoffice* backoffice) {
            reaper->NonBlockingCall([backoffice] { delete backoffice; });
          }};
}

void COcppComponent::Enable()
{
  LOG_INFO("Enabling OCPP");
  mWorker->Start();
  mArguments.ipcCallbackLayer->EnableHandlers(kHandlerKey);
  // Asks a sibling, so not on the thread that runs the lifecycle.
  mWorker->NonBlockingCall([this] { mDiagnosticsClientHandler->SyncActiveErrorWarning(); });
  if (auto* smartCharging = mArguments.systemAccess->GetSmartChargingComponent()) {
    smartCharging->ReloadProfilesFromPersistentStorage();
  }
  LOG_INFO("Checking NTP system time-sync: The CPO/Tovira connection will be established after time has synced.");
  // Before the check, which repeats only while this holds.
  mEnabled = true;
  StartSystemTimeCheckTimer();
}

void COcppComponent::Disable()
{
  if (!mEnabled) return;
  LOG_INFO("Disabling OCPP");
  mEnabled = false;
  mTimeCheckTimer.CancelAndWait();
  mIsStarted = false;
  mOcpp->DisableBackoffice(EBackofficeId::EPrimary);
  mOcpp->DisableBackoffice(EBackofficeId::EAuxiliary);
  mArguments.ipcCallbackLayer->DisableHandlers(kHandlerKey);
  mWorker->Stop();
}

void COcppComponent::StartSystemTimeCheckTimer()
{
  mTimeCheckTimer.Replace(mWorker->AddCall([this] { CheckSystemTime(); }, mClock.SteadyNow() + kTimeCheckPeriod,
                                           std::chrono::nanoseconds(0)));
}

void COcppComponent::CheckSystemTime()
{
  if (IsTimeTrusted()) {
    StartBackoffices();
  } else if (mEnabled) {
    StartSystemTimeCheckTimer();
  }
}

bool COcppComponent::IsTimeTrusted() const
{
  if (mSettings->GetBool("AllowChargeWithoutValidTime", false)) {
    LOG_INFO("AllowChargeWithoutValidTime is enabled, bypassing NTP sync gate for backoffice startup.");
    return true;
  }
  std::ifstream file(mEnvironment.ntpStatusPath);
  std::string line;
  return std::getline(file, line) && line == "synced";
}

void COcppComponent::StartBackoffices()
{
  LOG_INFO("System time is now synced, starting Backoffice connections.");
  mIsStarted = true;
  if (IsPrimaryActive()) mOcpp->EnableBackoffice(EBackofficeId::EPrimary);
  if (IsAuxiliaryEnabled()) {
    // The setting may have come after the construction.
    CreateAuxiliaryBackoffice();
    mOcpp->EnableBackoffice(EBackofficeId::EAuxiliary);
  }
  mOcpp->LoadPersistedMessages();
  LOG_DEBUG("Registering SBO enabled callback");
  mSboEnabledRegistration = mSettings->RegisterChangeCallback(
      "SboEnabled", "Undetermined", [this](const std::string&, const Json::Value& value) {
        HandleSboEnabledChange(value.isString() ? value.asString() : std::string());
      });
  // A change that came too early for the first registration.
  const bool isCreated = mOcpp->GetBackoffice(EBackofficeId::EAuxiliary) != nullptr;
  if (isCreated != IsAuxiliaryEnabled()) HandleSboEnabledChange(isCreated ? "" : "Enabled");
}

void COcppComponent::HandleSboEnabledChange(const std::string& value)
{
  if (value == "Enabled") {
    CreateAuxiliaryBackoffice();
    // Until the time check has passed nothing connects; it starts the backoffice.
    if (!mIsStarted || !IsAuxiliaryEnabled()) return;
    mOcpp->EnableBackoffice(EBackofficeId::EAuxiliary);
    // Disable may have come in between, too early to find this link.
    if (!mIsStarted) mOcpp->DisableBackoffice(EBackofficeId::EAuxiliary);
    return;
  }
  mOcpp->DisableBackoffice(EBackofficeId::EAuxiliary);
  if (mOcpp->GetBackoffice(EBackofficeId::EAuxiliary)) mOcpp->RemoveBackoffice(EBackofficeId::EAuxiliary);
}
