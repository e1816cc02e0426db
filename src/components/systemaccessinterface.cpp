#include "src/components/systemaccessinterface.h"

#include "src/components/seccutils.h"

using SeccUtils::CheckInstance;

IcConfig::IConfig* CSystemAccessInterface::GetSeccPersistentData(uint32_t instance) const
{
  CheckInstance("SeccPersistentData", instance, 0, 1);
  return mSeccPersistentData[instance].get();
}

IcConfig::IReadOnlyConfig* CSystemAccessInterface::GetSessionManagerPersistentData(uint32_t instance) const
{
  CheckInstance("SessionManagerPersistentData", instance, 1, 1);
  return mSessionManagerPersistentData.get();
}

ISessionClientHandler* CSystemAccessInterface::GetSessionManager(uint32_t instance) const
{
  CheckInstance("SessionManager", instance, 1, 1);
  return mSessionManager.get();
}

ISampledValuesHandler* CSystemAccessInterface::GetSampledValuesHandler(uint32_t instance) const
{
  CheckInstance("SampledValuesHandler", instance, 1, 1);
  return mSampledValuesHandler.get();
}

IUnlockMonitor* CSystemAccessInterface::GetUnlockMonitor(uint32_t instance) const
{
  CheckInstance("UnlockMonitor", instance, 1, 1);
  return mUnlockMonitor.get();
}

void CSystemAccessInterface::RegisterHandle(std::shared_ptr<IcConfig::IConfig> handle, uint32_t instance)
{
  CheckInstance("RegisterHandle<IOcppDataCfg>", instance, 0, 1);
  mSeccPersistentData[instance] = std::move(handle);
}

void CSystemAccessInterface::RegisterHandle(std::shared_ptr<IcConfig::IReadOnlyConfig> handle, uint32_t instance)
{
  CheckInstance("RegisterHandle<ISessionManagerDataCfg>", instance, 1, 1);
  mSessionManagerPersistentData = std::move(handle);
}

void CSystemAccessInterface::RegisterHandle(std::shared_ptr<ISampledValuesHandler> handle, uint32_t instance)
{
  CheckInstance("RegisterHandle<CSampledValuesHandler>", instance, 1, 1);
  mSampledValuesHandler = std::move(handle);
}

void CSystemAccessInterface::RegisterHandle(std::shared_ptr<ISessionClientHandler> handle, uint32_t instance)
{
  CheckInstance("RegisterHandle<CSessionClientHandler>", instance, 1, 1);
  mSessionManager = std::move(handle);
}

void CSystemAccessInterface::RegisterHandle(std::shared_ptr<IUnlockMonitor> handle, uint32_t instance)
{
  CheckInstance("RegisterHandle<CUnlockMonitor>", instance, 1, 1);
  mUnlockMonitor = std::move(handle);
}
