#include "src/components/ipccallbacklayer.h"

#include "platform/iclogger/log.h"
#include "src/components/seccutils.h"

namespace {

constexpr uint32_t kConnector = 1;

// "Name[1]", as a connector's notification is named in errors.
std::string NameOf(const std::string& notification) { return fmt::format("{}[{}]", notification, kConnector); }

template <typename TTable, typename TFunction>
void RegisterAt(TTable& table, int key, TFunction handler)
{
  if (!table.Register(key, std::move(handler))) {
    throw SeccUtils::CMultipleRegisterInstanceException(table.GetName());
  }
}

template <typename TTable, typename TFunction>
void RegisterAtConnector(TTable& table, int key, uint32_t connector, TFunction handler)
{
  SeccUtils::CheckInstance(table.GetName(), connector, kConnector, kConnector);
  RegisterAt(table, key, std::move(handler));
}

}  // namespace

std::string GetConnectorSpecificServiceName(const std::string& base, uint32_t connector)
{
  return fmt::format("{}{}", base, connector == kConnector ? std::string() : std::to_string(connector));
}

std::string GetMeterServiceName(uint32_t connector) { return GetConnectorSpecificServiceName("Meter", connector); }

CIpcCallbackLayer::CIpcCallbackLayer(SIpcClients clients)
    : mClients(std::move(clients)),
      mSocketUnlocked(NameOf("BasicChargeSocketUnlocked")),
      mMcuTemperatures(NameOf("SafetyMcuCommMcuTemperatures")),
      mStateChanged(NameOf("SessionManagerStateChanged")),
      mSessionStarted(NameOf("SessionManagerSessionStarted")),
      mSessionStopped(NameOf("SessionManagerSessionStopped")),
      mAuthorizeId("SessionManagerAuthAuthorizeId"),
      mFwUpdateStatus("BoardControlFwUpdateStatus", true),
      mMainsLost("BoardControlMainsLost"),
      mDiagnosticsNotification("DiagnosticsNotification"),
      mFreezeFrameDone("DiagnosticsFreezeFrameDone")
{
  AttachBasicCharge();
  AttachBoardControl();
  AttachDiagnostics();
  AttachSafetyMcuComm();
  AttachSessionManager();
  AttachSessionManagerAuth();
}

// Notifications without a table have no effect in this process.
void CIpcCallbackLayer::AttachBasicCharge()
{
  mClients.basicCharge->SetSocketUnlockedHandler([this](uint32_t connector) { mSocketUnlocked.Deliver(connector); });
  mClients.basicCharge->SetPilotStatesChangedHandler([](const ipc::MPilotStates&) {});
}

void CIpcCallbackLayer::AttachBoardControl()
{
  mClients.boardControl->SetFwUpdateStatusHandler(
      [this](const ipc::MFwUpdateStatus& status) { mFwUpdateStatus.Deliver(status); });
  mClients.boardControl->SetMainsLostHandler([this] { mMainsLost.Deliver(); });
  mClients.boardControl->SetStateChangedHandler([](const ipc::MState&) {});
}

void CIpcCallbackLayer::AttachDiagnostics()
{
  mClients.diagnostics->SetNotificationHandler(
      [this](const ipc::MDiagnosticsSignal& signal, const ipc::MDiagnosticsNotificationType& type) {
        mDiagnosticsNotification.Deliver(signal, type);
      });
  mClients.diagnostics->SetFreezeFrameDoneHandler(
      [this](const std::string& fileName) { mFreezeFrameDone.Deliver(fileName); });
}

void CIpcCallbackLayer::AttachSafetyMcuComm()
{
  mClients.safetyMcuComm->SetMcuTemperaturesHandler(
      [this](const ipc::MMcuStatus& status) { mMcuTemperatures.Deliver(status); });
  mClients.safetyMcuComm->SetMcuErrorHandler([](const ipc::MMcuError&) {});
  mClients.safetyMcuComm->SetRelayStatusHandler([](const ipc::MRelayStatus&) {});
}

void CIpcCallbackLayer::AttachSessionManager()
{
  mClients.sessionManager->SetStateChangedHandler(
      [this](const ipc::MConnectorState& state) { mStateChanged.Deliver(state); });
  mClients.sessionManager->SetSessionStartedHandler(
      [this](const ipc::MMeterData& meterData) { mSessionStarted.Deliver(meterData); });
  mClients.sessionManager->SetSessionStoppedHandler(
      [this](const ipc::MMeterData& meterData, ipc::EStopSessionReason reason) {
        mSessionStopped.Deliver(meterData, reason);
      });
}

void CIpcCallbackLayer::AttachSessionManagerAuth()
{
  mClients.sessionManagerAuth->SetAuthorizeIdHandler(
      [this](uint32_t connector, const ipc::MAuthorizeRequest& request) { mAuthorizeId.Deliver(connector, request); });
}

std::shared_ptr<IBasicCharge2> CIpcCallbackLayer::GetBasicChargeClient(uint32_t instance) const
{
  SeccUtils::CheckInstance("BasicCharge", instance, kConnector, kConnector);
  return mClients.basicCharge;
}

std::shared_ptr<ICurrentControl> CIpcCallbackLayer::GetCurrentControlClient(uint32_t instance) const
{
  SeccUtils::CheckInstance("CurrentControl", instance, 0, kConnector);
  return mClients.currentControl;
}

std::shared_ptr<IMeter> CIpcCallbackLayer::GetMeterClient(uint32_t instance) const
{
  SeccUtils::CheckInstance("Meter", instance, kConnector, kConnector);
  return mClients.meter;
}

std::shared_ptr<ISafetyMcuComm> CIpcCallbackLayer::GetSafetyMcuCommClient(uint32_t instance) const
{
  SeccUtils::CheckInstance("SafetyMcuComm", instance, kConnector, kConnector);
  return mClients.safetyMcuComm;
}

std::shared_ptr<ISessionManager> CIpcCallbackLayer::GetSessionManagerClient(uint32_t instance) const
{
  SeccUtils::CheckInstance("SessionManager", instance, kConnector, kConnector);
  return mClients.sessionManager;
}

void CIpcCallbackLayer::RegisterBasicChargeSocketUnlockedHandler(int key, uint32_t connector,
                                                                 std::function<void(uint32_t)> handler)
{
  RegisterAtConnector(mSocketUnlocked, key, connector, std::move(handler));
}

void CIpcCallbackLayer::RegisterBoardControlFwUpdateStatusHandler(int key,
                                                                  std::function<void(ipc::MFwUpdateStatus)> handler)
{
  RegisterAt(mFwUpdateStatus, key, std::move(handler));
}

void CIpcCallbackLayer::RegisterBoardControlMainsLostHandler(int key, std::function<void()> handler)
{
  RegisterAt(mMainsLost, key, std::move(handler));
}

void CIpcCallbackLayer::RegisterDiagnosticsFreezeFrameDoneHandler(int key, std::function<void(std::string)> handler)
{
  RegisterAt(mFreezeFrameDone, key, std::move(handler));
}

void CIpcCallbackLayer::RegisterDiagnosticsNotificationHandler(
    int key, std::function<void(ipc::MDiagnosticsSignal, ipc::MDiagnosticsNotificationType)> handler)
{
  RegisterAt(mDiagnosticsNotification, key, std::move(handler));
}

void CIpcCallbackLayer::RegisterSafetyMcuCommMcuTemperaturesHandler(int key, uint32_t connector,
                                                                    std::function<void(ipc::MMcuStatus)> handler)
{
  RegisterAtConnector(mMcuTemperatures, key, connector, std::move(handler));
}

void CIpcCallbackLayer::RegisterSessionManagerStateChangedHandler(int key, uint32_t connector,
                                                                  std::function<void(ipc::MConnectorState)> handler)
{
  RegisterAtConnector(mStateChanged, key, connector, std::move(handler));
}

void CIpcCallbackLayer::RegisterSessionManagerSessionStartedHandler(int key, uint32_t connector,
                                                                    std::function<void(ipc::MMeterData)> handler)
{
  RegisterAtConnector(mSessionStarted, key, connector, std::move(handler));
}

void CIpcCallbackLayer::RegisterSessionManagerSessionStoppedHandler(
    int key, uint32_t connector, std::function<void(ipc::MMeterData, ipc::EStopSessionReason)> handler)
{
  RegisterAtConnector(mSessionStopped, key, connector, std::move(handler));
}

void CIpcCallbackLayer::RegisterSessionManagerAuthAuthorizeIdHandler(
    int key, std::function<void(uint32_t, ipc::MAuthorizeRequest)> handler)
{
  RegisterAt(mAuthorizeId, key, std::move(handler));
}

void CIpcCallbackLayer::EnableHandlers(int key)
{
  LOG_INFO("Enabling IPC handlers");
  mSocketUnlocked.SetEnabled(key, true);
  mMcuTemperatures.SetEnabled(key, true);
  mStateChanged.SetEnabled(key, true);
  mSessionStarted.SetEnabled(key, true);
  mSessionStopped.SetEnabled(key, true);
  mAuthorizeId.SetEnabled(key, true);
  mFwUpdateStatus.SetEnabled(key, true);
  mMainsLost.SetEnabled(key, true);
  mDiagnosticsNotification.SetEnabled(key, true);
  mFreezeFrameDone.SetEnabled(key, true);
}

void CIpcCallbackLayer::DisableHandlers(int key)
{
  LOG_INFO("Disabling IPC handlers");
  mFreezeFrameDone.SetEnabled(key, false);
  mDiagnosticsNotification.SetEnabled(key, false);
  mMainsLost.SetEnabled(key, false);
  mFwUpdateStatus.SetEnabled(key, false);
  mAuthorizeId.SetEnabled(key, false);
  mSessionStopped.SetEnabled(key, false);
  mSessionStarted.SetEnabled(key, false);
  mStateChanged.SetEnabled(key, false);
  mMcuTemperatures.SetEnabled(key, false);
  mSocketUnlocked.SetEnabled(key, false);
}
