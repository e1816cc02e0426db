#include "src/components/operation/ocpp16/implementation/sendlocallistoperation.h"

#include <utility>
#include <vector>

#include "platform/iclogger/log.h"
#include "src/components/authorization/locallistversion.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/operation/ocpp16/implementation/idtagstatus.h"

using Ocpp16::SendLocalList::EUpdateStatus;
using Ocpp16::SendLocalList::EUpdateType;
using Ocpp16::SendLocalList::localAuthorizationList;
using Ocpp16::SendLocalList::sendLocalListRequest;
using Ocpp16::SendLocalList::sendLocalListResponse;

namespace {

const std::vector<localAuthorizationList>& EntriesOf(const sendLocalListRequest& request)
{
  static const std::vector<localAuthorizationList> kNone;
  return request.localAuthorizationList ? *request.localAuthorizationList : kNone;
}

// How a differential update changes the length of the list. Eight bits wide: 256 entries of a kind count as none, and
// fleets have lists that came in so.
struct SCounts {
  uint8_t added = 0;
  uint8_t removed = 0;
};

SCounts Count(const sendLocalListRequest& request, IAuthorizationManager& manager)
{
  SCounts counts;
  for (const auto& entry : EntriesOf(request)) {
    if (!manager.IsInLocalList(entry.idTag.Get())) {
      ++counts.added;
    } else if (!entry.idTagInfo) {
      ++counts.removed;
    }
  }
  return counts;
}

}  // namespace

CSendLocalListInCall::CSendLocalListInCall(ISystemAccessInterface* systemAccess, std::string messageId,
                                           std::shared_ptr<CLocalListUpdates> updates)
    : CInCallOperation(systemAccess, std::move(messageId)), mUpdates(std::move(updates))
{}

void CSendLocalListInCall::Action(const sendLocalListRequest& request, sendLocalListResponse& response)
{
  LOG_INFO("SendLocalList: Call received");
  mTurn = mUpdates->Begin(*mSystemAccess->GetClock());
  response.status = Check(request);
  if (response.status == EStatus::EAccepted) Update(request);
}

void CSendLocalListInCall::PostAction()
{
  LOG_ENTRY("CSendLocalListInCall");
  auto turn = std::move(mTurn);
  auto* manager = mSystemAccess->GetAuthorizationManager();
  if (manager == nullptr || !turn) return;
  mUpdates->Finish(std::move(turn), [manager] { manager->WriteLocalListToStorage(); });
}

EUpdateStatus CSendLocalListInCall::Check(const CRequest& request) const
{
  auto* manager = mSystemAccess->GetAuthorizationManager();
  if (manager == nullptr || !manager->IsLocalListEnabled()) {
    LOG_ERROR("SendLocalList: Local authorization list not enabled");
    return EStatus::ENotSupported;
  }
  if (!LocalListVersion::IsVersion(request.listVersion)) {
    LOG_ERROR("SendLocalList: Can't handle list version {}: Invalid", request.listVersion);
    return EStatus::EFailed;
  }
  const int64_t maxLength = mSystemAccess->GetOcppConfigManager()->ReadInt("LocalAuthListMaxLength");
  switch (request.updateType) {
    case EUpdateType::EDifferential:
      return CheckDifferential(request, maxLength);
    case EUpdateType::EFull:
      return CheckFull(request, maxLength);
  }
  LOG_ERROR("Unknown OCPP SendLocalList update type");
  return EStatus::EFailed;
}

EUpdateStatus CSendLocalListInCall::CheckDifferential(const CRequest& request, int64_t maxLength) const
{
  LOG_INFO("SendLocalList: Differential update");
  auto& manager = *mSystemAccess->GetAuthorizationManager();
  const int64_t version = manager.GetLocalListVersion();
  if (version >= request.listVersion) {
    LOG_ERROR("SendLocalList: Differential update with lower or equal list version: {} (current: {})",
              request.listVersion, version);
    return EStatus::EVersionMismatch;
  }
  const SCounts counts = Count(request, manager);
  const auto length = static_cast<int64_t>(manager.GetLocalListSize());
  if (length + counts.added - counts.removed > maxLength) {
    LOG_ERROR(
        "SendLocalList: Differential update request failed: {} new entries will exceed maximum local list size of {}, "
        "current length: {}",
        counts.added, maxLength, length);
    return EStatus::EFailed;
  }
  return EStatus::EAccepted;
}

EUpdateStatus CSendLocalListInCall::CheckFull(const CRequest& request, int64_t maxLength)
{
  LOG_INFO("SendLocalList: Full update");
  const auto length = static_cast<int64_t>(EntriesOf(request).size());
  if (length > maxLength) {
    LOG_ERROR("Size of the incoming full list is {}, exceeds maximum local list size of {}", length, maxLength);
    return EStatus::EFailed;
  }
  return EStatus::EAccepted;
}

void CSendLocalListInCall::Update(const CRequest& request) const
{
  auto& manager = *mSystemAccess->GetAuthorizationManager();
  manager.SetLocalListVersion(request.listVersion);
  if (request.updateType == EUpdateType::EFull) manager.EraseLocalList();
  for (const auto& entry : EntriesOf(request)) {
    const std::string id = entry.idTag.Get();
    if (!entry.idTagInfo) {
      manager.RemoveLocalListEntry(id);
      continue;
    }
    const auto& info = *entry.idTagInfo;
    manager.UpdateLocalList(id, info.parentIdTag ? info.parentIdTag->Get() : std::string(),
                            ToAuthorizationStatus(info.status), ReadExpiry(info));
  }
}
