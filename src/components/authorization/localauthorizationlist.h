#pragma once

#include <cstdint>
#include <memory>

#include "src/components/authorization/authorizelist.h"
#include "src/components/authorization/ilocalauthorizationlist.h"

// The local authorization list. Its version is the member "list_version" of the document and is stored together with
// the entries.
class CLocalAuthorizationList : public CAuthorizeList, public ILocalAuthorizationList {
 public:
  CLocalAuthorizationList(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity);

  void WriteToStorage() override;
  int64_t GetVersion() const override;
  void SetVersion(int64_t version) override;
};
