#pragma once

#include <memory>

#include "src/components/authorization/authorizelist.h"

// The authorization cache (OCPP 1.6 section 3.5.1): what the backoffice answered to the last tags, up to `capacity`.
class CAuthorizationCache : public CAuthorizeList {
 public:
  CAuthorizationCache(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity);
};
