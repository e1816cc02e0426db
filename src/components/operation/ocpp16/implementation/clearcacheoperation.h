#pragma once

#include "src/components/operation/ocpp16/messages/clearcache.h"
#include "src/components/operation/ocpp_common/incalloperation.h"

// ClearCache (OCPP 1.6 section 5.4): what the station remembers of id tags is to be forgotten. Accepted in any case:
// without a cache there is nothing left to forget.
class CClearCacheInCall
    : public CInCallOperation<Ocpp16::ClearCache::clearCacheRequest, Ocpp16::ClearCache::clearCacheResponse> {
 public:
  using CInCallOperation::CInCallOperation;

  // Clears the cache, its document included.
  void PostAction() override;

 protected:
  void Action(const Ocpp16::ClearCache::clearCacheRequest& request,
              Ocpp16::ClearCache::clearCacheResponse& response) override;
};
