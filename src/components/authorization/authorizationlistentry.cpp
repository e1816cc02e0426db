#include "src/components/authorization/authorizationlistentry.h"

#include <utility>

#include "platform/clock/timetext.h"
#include "platform/iclogger/log.h"

namespace {

constexpr const char* kParentId = "parent_id";
constexpr const char* kStatus = "status";
constexpr const char* kExpiryDate = "expiry_date";
constexpr const char* kEntryDate = "entry_date";

std::optional<EAuthorizationStatus> ReadStatus(const Json::Value& value)
{
  if (!value.isInt() || value.asInt() < static_cast<int>(EAuthorizationStatus::EAccepted) ||
      value.asInt() > static_cast<int>(EAuthorizationStatus::EInvalid)) {
    return std::nullopt;
  }
  return static_cast<EAuthorizationStatus>(value.asInt());
}

std::optional<IClock::SystemTime> ReadTime(const Json::Value& value)
{
  return value.isString() ? ParseTimeText(value.asString()) : std::nullopt;
}

}  // namespace

CAuthorizationListEntry::CAuthorizationListEntry(std::string id, std::string parentId, EAuthorizationStatus status,
                                                 CExpiry expiry, IClock::SystemTime entryDate)
    : mId(std::move(id)), mParentId(std::move(parentId)), mStatus(status), mExpiry(expiry), mEntryDate(entryDate)
{}

std::optional<CAuthorizationListEntry> CAuthorizationListEntry::FromJson(const std::string& id,
                                                                         const Json::Value& value,
                                                                         IClock::SystemTime now)
{
  if (!value.isObject()) return std::nullopt;
  const auto status = ReadStatus(value[kStatus]);
  // One that cannot be read must not become "never expires".
  const auto expiry = ReadTime(value[kExpiryDate]);
  const auto entryDate = value.isMember(kEntryDate) ? ReadTime(value[kEntryDate]) : now;
  const Json::Value parentId = value.get(kParentId, "");
  const bool isReadable =
      status && entryDate && expiry.has_value() == value.isMember(kExpiryDate) && parentId.isString();
  if (!isReadable) return std::nullopt;
  return CAuthorizationListEntry(id, parentId.asString(), *status, expiry, *entryDate);
}

Json::Value CAuthorizationListEntry::ToJson() const
{
  Json::Value value(Json::objectValue);
  value[kParentId] = mParentId;
  value[kStatus] = static_cast<int>(mStatus);
  if (mExpiry) value[kExpiryDate] = ToTimeText(*mExpiry);
  value[kEntryDate] = ToTimeText(mEntryDate);
  return value;
}

bool CAuthorizationListEntry::IsAuthorized(IClock::SystemTime now)
{
  if (mExpiry && *mExpiry < now) mStatus = EAuthorizationStatus::EExpired;
  LOG_DEBUG("The entry is authorized with status: {}", static_cast<int>(mStatus));
  switch (mStatus) {
    case EAuthorizationStatus::EAccepted:
    case EAuthorizationStatus::EConcurrentTx:
      return true;
    case EAuthorizationStatus::EBlocked:
    case EAuthorizationStatus::EExpired:
    case EAuthorizationStatus::EInvalid:
      break;
  }
  return false;
}

void CAuthorizationListEntry::Update(const CAuthorizationListEntry& other)
{
  if (other.mId != mId) {
    LOG_ERROR("Trying to update authorization entry with id {} to new id {}", mId, other.mId);
    return;
  }
  LOG_DEBUG("Updating entry {} with new status/expiry date", mId);
  mParentId = other.mParentId;
  mStatus = other.mStatus;
  mExpiry = other.mExpiry;
}
