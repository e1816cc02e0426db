#include "src/secc/secc.h"

#include <csignal>
#include <utility>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/diagnostics/signaldefinitions.h"
#include "platform/iclogger/log.h"
#include "platform/iclogger/logconfig.h"
#include "platform/iipc/bindings.h"
#include "src/components/ipccallbacklayer.h"
#include "src/components/ocppcomponent.h"
#include "src/components/systemaccessinterface.h"
#include "src/secc/processcontrolservice.h"
#include "src/secc/secchsmactionhandler.h"
#include "src/secc/terminationsignal.h"

namespace {

constexpr uint32_t kConnector = 1;
constexpr uint32_t kStation = 0;

template <typename TInterface>
std::shared_ptr<TInterface> CreateClient(AppCommunicationHost<GrpcBackend>& host, const std::string& name)
{
  return host.CreateClient<TInterface>(name)->GetInterface();
}

SIpcClients CreateIpcClients(AppCommunicationHost<GrpcBackend>& host)
{
  SIpcClients clients;
  clients.basicCharge =
      CreateClient<IBasicCharge2>(host, GetConnectorSpecificServiceName("ChargeControlBasicCharge", kConnector));
  clients.boardControl = CreateClient<IBoardControl>(host, "BoardControl");
  clients.currentControl = CreateClient<ICurrentControl>(host, "CurrentControl");
  clients.diagnostics = CreateClient<IDiagnostics>(host, "Diagnostics");
  clients.feedback = CreateClient<IFeedback>(host, "Feedback");
  clients.meter = CreateClient<IMeter>(host, GetMeterServiceName(kConnector));
  clients.safetyMcuComm =
      CreateClient<ISafetyMcuComm>(host, GetConnectorSpecificServiceName("SafetyMcuComm", kConnector));
  clients.sessionManagerAuth = CreateClient<ISessionManagerAuth>(host, "SessionManagerAuth");
  clients.sessionManager =
      CreateClient<ISessionManager>(host, GetConnectorSpecificServiceName("SessionManager", kConnector));
  return clients;
}

// Reports of configuration changes go to the diagnostics process; before its client is up they have nowhere to go.
void SendText(const CSignalDefinition<std::string>& definition, const std::string& text)
{
  if (CDiagnosticsCommClient::IsInitialized()) CDiagnosticsSignal<std::string>(definition, kStation).Send(text);
}

}  // namespace

CSecc::CSecc(const std::string& root)
    : mConfigReporter([](const std::string& text) { SendText(SignalDefinitions::SecurityParameterReconfigured, text); },
                      [](const std::string& text) { SendText(SignalDefinitions::ParameterReconfigured, text); })
{
  IcConfig::SetPaths(IcConfig::PathsBelow(root));
  const IcConfig::CErrorCallback errorCallback = [this](const std::string& text) { HandleConfigError(text); };
  const IcConfig::CChangeCallback changeCallback = [this](const std::string& key, const Json::Value& value) {
    mConfigReporter.HandleChange(key, value);
  };
  const auto settings = IcConfig::Create("settings", errorCallback, changeCallback);
  mCommunicationHost = std::make_shared<AppCommunicationHost<GrpcBackend>>(root + "etc/iipc.json");
  mProcessControl = std::make_shared<CProcessControlService>();
  mSystemAccess = std::make_shared<CSystemAccessInterface>();
  mIpcCallbackLayer = std::make_shared<CIpcCallbackLayer>(CreateIpcClients(*mCommunicationHost));

  COcppComponent::SArguments arguments;
  arguments.rootPath = root;
  arguments.ipcCallbackLayer = mIpcCallbackLayer;
  arguments.systemAccess = mSystemAccess;
  arguments.configErrorCallback = errorCallback;
  arguments.configChangeCallback = changeCallback;
  mOcppComponent = std::make_shared<COcppComponent>(mClock, std::move(arguments));

  mActionHandler = std::make_shared<CSeccHsmActionHandler>(mClock, settings, mOcppComponent);
  mHsm = std::make_shared<CSeccHsm>(mActionHandler, mClock);
  ConnectIProcessControl(mActionHandler, mProcessControl, mHsm);
  mCommunicationHost->AddService<IGenericControl>("SeccGenCtrl", mProcessControl);
  mCommunicationHost->AddService<ILogConfig>("SeccLog", Log::CreateLogConfigService());
}

// The members go in the reverse order of their declaration.
CSecc::~CSecc() = default;

void CSecc::Run()
{
  CDiagnosticsCommClient::Initialize(mIpcCallbackLayer->GetDiagnosticsClient(), mClock);
  mCommunicationHost->StartServices();
  mServerThread = std::make_unique<CThread>(mClock, "server", [host = mCommunicationHost] { host->RunServer(); });
  mNotificationThread = std::make_unique<CThread>(mClock, "notifications",
                                                  [host = mCommunicationHost] { host->HandleClientNotifications(); });
  ReportConfigError();
  RunStateMachine();
  StopServices();
}

void CSecc::RunStateMachine()
{
  LOG_INFO("Starting state machine");
  {
    const CTerminationSignal signal(mClock, [hsm = mHsm](int number) {
      if (number == SIGINT) hsm->Post(std::make_shared<CSeccHsmEvent<EIntTerminate>>());
    });
    mHsm->Run();
  }
  LOG_INFO("State machine stopped");
}

void CSecc::StopServices()
{
  CDiagnosticsCommClient::Terminate();
  mProcessControl.reset();
  mCommunicationHost->Stop();
  mServerThread->Join();
  mNotificationThread->Join();
}

void CSecc::HandleConfigError(const std::string& text)
{
  LOG_ERROR("Config error occurred: {}", text);
  // Run, or this call, reports it, whichever finds the diagnostics client up first.
  mConfigErrorPending = true;
  if (CDiagnosticsCommClient::IsInitialized()) ReportConfigError();
}

void CSecc::ReportConfigError()
{
  if (!mConfigErrorPending.exchange(false)) return;
  CDiagnosticsSignal<bool>(SignalDefinitions::InvalidConfigValueError, kStation).Send(true);
  mHsm->Post(std::make_shared<CSeccHsmEvent<EIntFatalError>>());
}
