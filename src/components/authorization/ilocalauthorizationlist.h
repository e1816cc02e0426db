#pragma once

#include <cstdint>
#include <memory>

#include "src/components/authorization/iauthorizelist.h"

namespace IcConfig {
class IConfig;
}

// The list of id tags that the backoffice sends (OCPP 1.6 section 3.5.2), with its version.
class ILocalAuthorizationList : public virtual IAuthorizeList {
 public:
  // The version that was set last; 0 whenever the list is empty.
  virtual int64_t GetVersion() const = 0;
  // In memory until WriteToStorage. 0 (no list) and -1 (not supported) are no versions and change nothing.
  virtual void SetVersion(int64_t version) = 0;
};

// Loads the list from `store`. `clock` is borrowed and outlives it. `capacity` is the number of id tags it is meant
// for.
std::unique_ptr<ILocalAuthorizationList> MakeLocalAuthorizationList(const IClock& clock,
                                                                    std::shared_ptr<IcConfig::IConfig> store,
                                                                    size_t capacity);
