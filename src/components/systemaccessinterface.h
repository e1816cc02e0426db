#pragma once

#include <memory>

#include "src/components/isystemaccessinterface.h"

// The register of services. Created empty; filled by COcppComponent on the main thread before any thread that reads it
// is started, and read without a lock from then on. It keeps what is registered alive. A second registration of an
// entry replaces the first.
class CSystemAccessInterface : public ISystemAccessInterface {
 public:
  IClock* GetClock() const override { return mClock; }
  IOcpp* GetOcpp() const override { return mOcpp.get(); }
  IcConfig::IConfig* GetSeccPersistentData(uint32_t instance) const override;
  IcConfig::IReadOnlyConfig* GetSessionManagerPersistentData(uint32_t instance) const override;
  IOcppConfigManager* GetOcppConfigManager() const override { return mOcppConfigManager.get(); }
  ISessionClientHandler* GetSessionManager(uint32_t instance) const override;
  IDiagnosticsClientHandler* GetDiagnosticsClientHandler() const override { return mDiagnosticsClientHandler.get(); }
  IAuthorizationManager* GetAuthorizationManager() const override { return mAuthorizationManager.get(); }
  IResetManager* GetResetManager() const override { return mResetManager.get(); }
  ISampledValuesHandler* GetSampledValuesHandler(uint32_t instance) const override;
  IFirmwareUpdateHandler* GetFirmwareUpdateHandler() const override { return mFirmwareUpdateHandler.get(); }
  IDiagnosticsUploadHandler* GetDiagnosticsUploadHandler() const override { return mDiagnosticsUploadHandler.get(); }
  IUnlockMonitor* GetUnlockMonitor(uint32_t instance) const override;
  IFeedbackClientHandler* GetFeedbackClientHandler() const override { return mFeedbackClientHandler.get(); }
  ISmartChargingComponent* GetSmartChargingComponent() const override { return mSmartChargingComponent.get(); }
  IPersistentMessageStorageManager* GetPersistentMessageStorage() const override { return mMessageStorage.get(); }
  IDeviceModel* GetDeviceModel() const override { return mDeviceModel.get(); }
  uint32_t GetNumberOfConnectors() const override { return 1; }

  // The clock is borrowed and outlives the register.
  void RegisterClock(IClock& clock) { mClock = &clock; }
  // Registration, station-wide.
  void RegisterHandle(std::shared_ptr<IOcpp> handle) { mOcpp = std::move(handle); }
  void RegisterHandle(std::shared_ptr<IOcppConfigManager> handle) { mOcppConfigManager = std::move(handle); }
  void RegisterHandle(std::shared_ptr<IDiagnosticsClientHandler> handle)
  {
    mDiagnosticsClientHandler = std::move(handle);
  }
  void RegisterHandle(std::shared_ptr<IAuthorizationManager> handle) { mAuthorizationManager = std::move(handle); }
  void RegisterHandle(std::shared_ptr<IResetManager> handle) { mResetManager = std::move(handle); }
  void RegisterHandle(std::shared_ptr<IFirmwareUpdateHandler> handle) { mFirmwareUpdateHandler = std::move(handle); }
  void RegisterHandle(std::shared_ptr<IDiagnosticsUploadHandler> handle)
  {
    mDiagnosticsUploadHandler = std::move(handle);
  }
  void RegisterHandle(std::shared_ptr<IFeedbackClientHandler> handle) { mFeedbackClientHandler = std::move(handle); }
  void RegisterHandle(std::shared_ptr<ISmartChargingComponent> handle) { mSmartChargingComponent = std::move(handle); }
  void RegisterHandle(std::shared_ptr<IPersistentMessageStorageManager> handle) { mMessageStorage = std::move(handle); }
  void RegisterHandle(std::shared_ptr<IDeviceModel> handle) { mDeviceModel = std::move(handle); }

  // Registration by instance; throws SeccUtils::CInvalidInstanceException for one that the station does not have.
  void RegisterHandle(std::shared_ptr<IcConfig::IConfig> handle, uint32_t instance);
  void RegisterHandle(std::shared_ptr<IcConfig::IReadOnlyConfig> handle, uint32_t instance);
  void RegisterHandle(std::shared_ptr<ISampledValuesHandler> handle, uint32_t instance);
  void RegisterHandle(std::shared_ptr<ISessionClientHandler> handle, uint32_t instance);
  void RegisterHandle(std::shared_ptr<IUnlockMonitor> handle, uint32_t instance);

 private:
  IClock* mClock = nullptr;
  std::shared_ptr<IOcpp> mOcpp;
  std::shared_ptr<IcConfig::IConfig> mSeccPersistentData[2];
  std::shared_ptr<IcConfig::IReadOnlyConfig> mSessionManagerPersistentData;
  std::shared_ptr<IOcppConfigManager> mOcppConfigManager;
  std::shared_ptr<ISessionClientHandler> mSessionManager;
  std::shared_ptr<IDiagnosticsClientHandler> mDiagnosticsClientHandler;
  std::shared_ptr<IAuthorizationManager> mAuthorizationManager;
  std::shared_ptr<IResetManager> mResetManager;
  std::shared_ptr<ISampledValuesHandler> mSampledValuesHandler;
  std::shared_ptr<IFirmwareUpdateHandler> mFirmwareUpdateHandler;
  std::shared_ptr<IDiagnosticsUploadHandler> mDiagnosticsUploadHandler;
  std::shared_ptr<IUnlockMonitor> mUnlockMonitor;
  std::shared_ptr<IFeedbackClientHandler> mFeedbackClientHandler;
  std::shared_ptr<ISmartChargingComponent> mSmartChargingComponent;
  std::shared_ptr<IPersistentMessageStorageManager> mMessageStorage;
  std::shared_ptr<IDeviceModel> mDeviceModel;
};
