#pragma once

#include <json/value.h>

#include <optional>
#include <string>

#include "platform/clock/clock.h"
#include "src/components/iauthorizationmanager.h"

// What is known of one id tag. A plain value.
//
// Stored as {"status": <number>, "parent_id": "<text>", "entry_date": "<UTC>", "expiry_date": "<UTC>"}; times are text
// of whole seconds, and "expiry_date" is there for an entry that expires only.
class CAuthorizationListEntry {
 public:
  using CExpiry = IAuthorizationManager::CExpiry;

  // `entryDate` is when the tag became known. An empty parent means none.
  CAuthorizationListEntry(std::string id, std::string parentId, EAuthorizationStatus status, CExpiry expiry,
                          IClock::SystemTime entryDate);
  // The entry that was stored under `id`; empty when `value` is not one that this class wrote. A parent or an entry
  // date may be missing; `now` then is the entry date.
  static std::optional<CAuthorizationListEntry> FromJson(const std::string& id, const Json::Value& value,
                                                         IClock::SystemTime now);
  Json::Value ToJson() const;

  const std::string& GetId() const { return mId; }
  const std::string& GetParentId() const { return mParentId; }
  EAuthorizationStatus GetStatus() const { return mStatus; }
  const CExpiry& GetExpiry() const { return mExpiry; }
  IClock::SystemTime GetEntryDate() const { return mEntryDate; }

  // Whether the tag may charge at `now`: Accepted and, on purpose, ConcurrentTx. An entry whose expiry date lies before
  // `now` becomes Expired.
  bool IsAuthorized(IClock::SystemTime now);
  // Takes parent, status and expiry of `other`, which has the same id; the entry date stays. Another id is logged and
  // changes nothing.
  void Update(const CAuthorizationListEntry& other);

 private:
  std::string mId;
  std::string mParentId;
  EAuthorizationStatus mStatus;
  CExpiry mExpiry;
  IClock::SystemTime mEntryDate;
};
