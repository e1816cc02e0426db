#pragma once

#include <cstdint>

class IAuthorizationManager;
class IClock;
class IDeviceModel;
class IDiagnosticsClientHandler;
class IDiagnosticsUploadHandler;
class IFeedbackClientHandler;
class IFirmwareUpdateHandler;
class IOcpp;
class IOcppConfigManager;
class IPersistentMessageStorageManager;
class IResetManager;
class ISampledValuesHandler;
class ISessionClientHandler;
class ISmartChargingComponent;
class IUnlockMonitor;
namespace IcConfig {
class IConfig;
class IReadOnlyConfig;
}  // namespace IcConfig

// The register through which operations, created long after the start, find the services.
//
// Every getter gives a non-owning pointer, null for a service that is not registered (a station without it, or before
// the wiring is complete). `instance` is 0 for the station and 1 for connector 1; another one throws
// SeccUtils::CInvalidInstanceException.
class ISystemAccessInterface {
 public:
  virtual ~ISystemAccessInterface() = default;

  virtual IClock* GetClock() const = 0;
  virtual IOcpp* GetOcpp() const = 0;
  // 0: "secc_persistentdata", 1: "connector1/secc_persistentdata".
  virtual IcConfig::IConfig* GetSeccPersistentData(uint32_t instance) const = 0;
  virtual IcConfig::IReadOnlyConfig* GetSessionManagerPersistentData(uint32_t instance) const = 0;
  virtual IOcppConfigManager* GetOcppConfigManager() const = 0;
  virtual ISessionClientHandler* GetSessionManager(uint32_t instance) const = 0;
  virtual IDiagnosticsClientHandler* GetDiagnosticsClientHandler() const = 0;
  virtual IAuthorizationManager* GetAuthorizationManager() const = 0;
  virtual IResetManager* GetResetManager() const = 0;
  virtual ISampledValuesHandler* GetSampledValuesHandler(uint32_t instance) const = 0;
  virtual IFirmwareUpdateHandler* GetFirmwareUpdateHandler() const = 0;
  virtual IDiagnosticsUploadHandler* GetDiagnosticsUploadHandler() const = 0;
  virtual IUnlockMonitor* GetUnlockMonitor(uint32_t instance) const = 0;
  virtual IFeedbackClientHandler* GetFeedbackClientHandler() const = 0;
  virtual ISmartChargingComponent* GetSmartChargingComponent() const = 0;
  virtual IPersistentMessageStorageManager* GetPersistentMessageStorage() const = 0;
  virtual IDeviceModel* GetDeviceModel() const = 0;
  // Connectors are numbered from 1 to this number.
  virtual uint32_t GetNumberOfConnectors() const = 0;
};
