#include "src/components/operation/ocpp16/implementation/idtagstatus.h"

#include "platform/clock/timetext.h"
#include "platform/iclogger/log.h"
#include "src/components/isystemaccessinterface.h"

using Ocpp16::IdTagInfoCommon::foreignIdTagInfo;
using Ocpp16::IdTagInfoCommon::idTagInfo;

EAuthorizationStatus ToAuthorizationStatus(Ocpp16::IdTagInfoCommon::EAuthorizationStatus status)
{
  using EStatus = Ocpp16::IdTagInfoCommon::EAuthorizationStatus;
  switch (status) {
    case EStatus::EAccepted:
      return EAuthorizationStatus::EAccepted;
    case EStatus::EBlocked:
      return EAuthorizationStatus::EBlocked;
    case EStatus::EConcurrentTx:
      return EAuthorizationStatus::EConcurrentTx;
    case EStatus::EExpired:
      return EAuthorizationStatus::EExpired;
    case EStatus::EInvalid:
      return EAuthorizationStatus::EInvalid;
  }
  LOG_WARNING("ocppAuthStatus out of range: {}", static_cast<int>(status));
  return EAuthorizationStatus::EInvalid;
}

idTagInfo ToInvalid(const foreignIdTagInfo& info)
{
  LOG_WARNING("ocppAuthStatus out of range: {}", info.status);
  idTagInfo result;
  result.expiryDate = info.expiryDate;
  if (info.parentIdTag) result.parentIdTag = *info.parentIdTag;
  result.status = Ocpp16::IdTagInfoCommon::EAuthorizationStatus::EInvalid;
  return result;
}

IAuthorizationManager::CExpiry ReadExpiry(const idTagInfo& info)
{
  if (!info.expiryDate) return std::nullopt;
  const auto expiry = ParseTimeText(*info.expiryDate);
  if (!expiry) LOG_WARNING("Expiry date {} of an id tag cannot be read", *info.expiryDate);
  return expiry;
}

void UpdateAuthorizationCache(const ISystemAccessInterface& systemAccess, const std::string& idTag,
                              const idTagInfo& info)
{
  auto* manager = systemAccess.GetAuthorizationManager();
  if (manager == nullptr) {
    LOG_WARNING("No authorization manager to tell of the status of an id tag");
    return;
  }
  manager->UpdateCache(idTag, info.parentIdTag ? info.parentIdTag->Get() : std::string(),
                       ToAuthorizationStatus(info.status), ReadExpiry(info));
}
