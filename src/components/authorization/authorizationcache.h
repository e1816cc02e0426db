#pragma once

#include <memory>

#include "src/components/authorization/authorizelist.h"

// The authorization cache (OCPP 1.6 section 3.5.1): what the backoffice said of the last tags.
//
// At `capacity` entries a new one makes room first: all entries that authorize nobody go, those that have expired by
// now among them; only if there is none the one that was first known goes, however lately it was updated.
class CAuthorizationCache : public CAuthorizeList {
 public:
  // As CAuthorizeList.
  CAuthorizationCache(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity);

 protected:
  void InsertEntry(const CAuthorizationListEntry& entry) override REQUIRES(mMutex);

 private:
  void MakeRoom() REQUIRES(mMutex);
};
