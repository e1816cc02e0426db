#pragma once

#include <cstdint>
#include <memory>

#include "src/components/authorization/authorizelist.h"
#include "src/components/authorization/ilocalauthorizationlist.h"

// The local authorization list. Its version is the member "list_version" of the document, stored in one step with the
// entries.
class CLocalAuthorizationList : public CAuthorizeList, public ILocalAuthorizationList {
 public:
  CLocalAuthorizationList(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity);

  // In memory only: whoever empties the list brings its successor, and until that is stored the former list stays on
  // the disk. A power cut in between must not leave the station without any.
  void Clear() override;
  int64_t GetVersion() const override;
  void SetVersion(int64_t version) override;

 protected:
  CMembers GetOtherMembers() const override REQUIRES(mMutex);

 private:
  int64_t mVersion GUARDED_BY(mMutex);
};
