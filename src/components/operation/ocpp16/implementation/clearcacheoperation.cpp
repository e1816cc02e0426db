#include "src/components/operation/ocpp16/implementation/clearcacheoperation.h"

#include "platform/iclogger/log.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/isystemaccessinterface.h"

using Ocpp16::ClearCache::clearCacheRequest;
using Ocpp16::ClearCache::clearCacheResponse;
using Ocpp16::ClearCache::EClearCacheStatus;

void CClearCacheInCall::Action(const clearCacheRequest&, clearCacheResponse& response)
{
  LOG_ENTRY("CClearCacheInCall");
  response.status = EClearCacheStatus::EAccepted;
}

void CClearCacheInCall::PostAction()
{
  LOG_ENTRY("CClearCacheInCall");
  auto* manager = mSystemAccess->GetAuthorizationManager();
  if (manager == nullptr) {
    LOG_WARNING("No authorization manager whose cache could be cleared");
    return;
  }
  manager->ClearCache();
}
