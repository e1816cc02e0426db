#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "platform/icconfig/icconfig.h"
#include "platform/worker/timerslot.h"
#include "src/components/backofficeid.h"
#include "src/components/ihostinfo.h"
#include "src/components/iocppcomponent.h"

class CAuthorizationManager;
class CBackoffice;
class CDiagnosticsClientHandler;
class CFeedbackClientHandler;
class CIpcCallbackLayer;
class COcpp;
class COperationFactory;
class CPersistentMessageStorageManager;
class CSystemAccessInterface;
class IDiagnosticsClientHandler;
class IOcppConfigManager;
class ISampledValuesHandler;
class ISessionClientHandler;
class IWebsocketClient;
enum class EChargeBeforeAcceptedPolicy : uint8_t;

// What COcppComponent takes from the world around it. The defaults are the station's; tests and simulations put their
// own in place.
struct SOcppEnvironment {
  // Opens a writable, or a read-only but watched, configuration domain.
  std::function<std::shared_ptr<IcConfig::IConfig>(const std::string& domain, IcConfig::CErrorCallback,
                                                   IcConfig::CChangeCallback)>
      openConfig = IcConfig::Create;
  std::function<std::shared_ptr<IcConfig::IReadOnlyConfig>(const std::string& domain, IcConfig::CErrorCallback)>
      openReadOnlyConfig = [](const std::string& domain, IcConfig::CErrorCallback errorCallback) {
        return IcConfig::CreateReadOnly(domain, std::move(errorCallback), true);
      };
  // Makes the link to one backoffice; empty: a TLS websocket.
  std::function<std::shared_ptr<IWebsocketClient>(const SHostSettings&, std::shared_ptr<IDiagnosticsClientHandler>)>
      createLink;
  // Tells whether a host name resolves; empty: the system's resolver.
  std::function<bool(const std::string& host, bool isSuppressed)> resolveHost;
  // Its first line says "synced" once the station's clock can be trusted. Does not lie below the root.
  std::string ntpStatusPath = "/etc/ntp_status";
};

// Owns everything of OCPP in the process: opens the configuration domains, creates and registers all services, binds
// the IPC events to them, creates the backoffices, and starts those once the station's clock is trustworthy.
//
// Construction, Enable and Disable run on the main thread. Construction starts nothing that talks to a backoffice.
class COcppComponent : public IOcppComponent {
 public:
  struct SArguments {
    std::string rootPath;
    std::shared_ptr<CIpcCallbackLayer> ipcCallbackLayer;
    std::shared_ptr<CSystemAccessInterface> systemAccess;
    IcConfig::CErrorCallback configErrorCallback;
    IcConfig::CChangeCallback configChangeCallback;
  };

  COcppComponent(IClock& clock, SArguments arguments, SOcppEnvironment environment = {});
  ~COcppComponent() override;
  COcppComponent(const COcppComponent&) = delete;
  COcppComponent& operator=(const COcppComponent&) = delete;

  void Enable() override;
  void Disable() override;

 private:
  void OpenStationDomains();
  void CreateServices();
  void AttachMessageStore();
  void RegisterHandlers() const;
  void RegisterServices();
  void InitialiseServices();
  void RunGuarded(const std::function<void()>& step) const;

  void CreatePrimaryBackoffice();
  void CreateAuxiliaryBackoffice();
  std::shared_ptr<CBackoffice> CreateBackoffice(EBackofficeId id);
  SHostSettings ReadHostSettings(EBackofficeId id);
  std::shared_ptr<IWebsocketClient> CreateLink(const SHostSettings& settings);

  void StartSystemTimeCheckTimer();
  void CheckSystemTime();
  bool IsTimeTrusted() const;
  void StartBackoffices();
  void HandleSboEnabledChange(const std::string& value);
  bool IsPrimaryActive() const;
  bool IsAuxiliaryEnabled() const;

  std::shared_ptr<IcConfig::IConfig> Open(const std::string& domain) const;
  std::shared_ptr<IcConfig::IReadOnlyConfig> OpenReadOnly(const std::string& domain) const;

  // Constant after construction.
  IClock& mClock;
  const SArguments mArguments;
  const SOcppEnvironment mEnvironment;

  // From Enable to Disable. Written on the main thread, read on mWorker.
  std::atomic<bool> mEnabled{false};
  // From a passed time check to Disable: the backoffices may connect. Read on the configuration's thread.
  std::atomic<bool> mIsStarted{false};

  // Destroys what may be let go of on a thread of its own making (a backoffice inside a callback of its link).
  const std::shared_ptr<CWorker> mReaper;
  // Time check; runs from Enable to Disable.
  const std::shared_ptr<CWorker> mWorker;
  CTimerSlot mTimeCheckTimer;

  std::shared_ptr<IcConfig::IConfig> mStationPersistentData;
  std::shared_ptr<IcConfig::IConfig> mSettings;
  std::shared_ptr<IOcppConfigManager> mOcppConfigManager;
  EChargeBeforeAcceptedPolicy mChargeBeforeAcceptedPolicy{};
  std::shared_ptr<IcConfig::IConfig> mConnectorPersistentData;
  std::shared_ptr<IcConfig::IReadOnlyConfig> mConnectorSessionData;
  std::shared_ptr<CDiagnosticsClientHandler> mDiagnosticsClientHandler;
  std::shared_ptr<ISessionClientHandler> mSessionClientHandler;
  std::shared_ptr<ISampledValuesHandler> mSampledValuesHandler;
  std::shared_ptr<CPersistentMessageStorageManager> mPersistentMessageStorage;
  std::shared_ptr<COperationFactory> mOperationFactory;
  std::shared_ptr<COcpp> mOcpp;
  std::shared_ptr<CAuthorizationManager> mAuthorizationManager;
  std::shared_ptr<CFeedbackClientHandler> mFeedbackClientHandler;

  std::shared_ptr<IcConfig::IRegistration> mSboEnabledRegistration;
};
