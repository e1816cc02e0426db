#include "src/components/authorizationmanager.h"

#include <algorithm>
#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "platform/worker/worker.h"
#include "src/components/authorization/authorizationcache.h"
#include "src/components/authorization/ilocalauthorizationlist.h"
#include "src/components/authorization/locallistversion.h"
#include "src/components/authorizationsource.h"
#include "src/components/configflag.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"

namespace {

constexpr const char* kCacheDocument = "authCache.json";
constexpr const char* kLocalListDocument = "localAuthList.json";
constexpr size_t kCacheCapacity = 250;  // entries
// From the begin of one write to that of the next: the whole document is written, and each answer of a queue that
// drains after a long time offline may change it.
constexpr std::chrono::seconds kCacheWriteInterval{1};

ipc::EAuthorizationSource ToIpc(EAuthorizationSource source) { return static_cast<ipc::EAuthorizationSource>(source); }

// Empty for an absent store and for an unknown token as well.
std::string FindParentId(const IAuthorizeList* store, const std::string& token)
{
  if (store == nullptr) return {};
  const auto entry = store->Find(token);
  return entry ? entry->GetParentId() : std::string();
}

}  // namespace

CAuthorizationManager::CAuthorizationManager(IClock& clock, std::shared_ptr<ISessionManagerAuth> sessionManagerClient,
                                             ISystemAccessInterface& systemAccess, COpenStore openStore)
    : mClock(clock),
      mSessionManagerClient(std::move(sessionManagerClient)),
      mSystemAccess(systemAccess),
      mOpenStore(std::move(openStore))
{}

CAuthorizationManager::~CAuthorizationManager()
{
  mCacheWriter.reset();
  if (mIsCacheWriteWaiting) WriteCache();
}

void CAuthorizationManager::Init(const std::string& configPath)
{
  LOG_ENTRY("CAuthorizationManager");
  if (ReadSetting("AuthorizationCacheEnabled")) {
    mCache = std::make_unique<CAuthorizationCache>(mClock, mOpenStore(configPath + kCacheDocument), kCacheCapacity);
    mCacheWriter = std::make_unique<CWorker>(mClock, "authcache");
    mCacheWriter->Start();
    LOG_INFO("Authorization cache enabled.");
  }
  if (ReadSetting("LocalAuthListEnabled")) {
    mLocalList =
        MakeLocalAuthorizationList(mClock, mOpenStore(configPath + kLocalListDocument), ReadLocalListCapacity());
    LOG_INFO("Local authorization list enabled.");
  }
}

bool CAuthorizationManager::ReadSetting(const std::string& key) const
{
  return ReadFlag(*mSystemAccess.GetOcppConfigManager(), key);
}

size_t CAuthorizationManager::ReadLocalListCapacity() const
{
  try {
    const int64_t length = mSystemAccess.GetOcppConfigManager()->ReadInt("LocalAuthListMaxLength");
    return static_cast<size_t>(std::max<int64_t>(length, 0));
  } catch (const OcppConfigException& error) {
    LOG_ERROR("{}", error.what());
    return 0;
  }
}

void CAuthorizationManager::HandleAuthorizeId(uint32_t connectorId, const ipc::MAuthorizeRequest& request)
{
  LOG_ENTRY("CAuthorizationManager");
  ipc::MAuthorizeRequest own = request;
  if (request.request_id().empty()) {
    // The session manager has let the token through already.
    if (request.user_identification().token().empty()) {
      LOG_WARNING("[{}] Authorize request without id names no user and is ignored", connectorId);
      return;
    }
    own.set_approved(0);
    InsertAuthorize(own, connectorId);
    return;
  }
  auto& ocpp = *mSystemAccess.GetOcpp();
  const auto primary = ocpp.GetBackoffice(ocpp.GetPrimaryBackofficeId());
  if (!primary) {
    Refuse(own);
    return;
  }
  switch (primary->GetAuthorizeMode()) {
    case EAuthorizeMode::EOnline:
      Authorize(own, true);
      return;
    case EAuthorizeMode::EOffline:
      Authorize(own, false);
      return;
    case EAuthorizeMode::ERefuse:
      LOG_WARNING("[{}] Ignore the authorizeId notification, due to never received acceptance from CPO.", connectorId);
      Refuse(own);
      return;
  }
}

void CAuthorizationManager::Authorize(ipc::MAuthorizeRequest& request, bool online)
{
  LOG_ENTRY("CAuthorizationManager");
  if (request.user_identification().token().empty()) {
    LOG_WARNING("Authorize request [{}] names no user and is refused", request.request_id());
    request.set_approved(0);
    HandleAuthorizeRequest(request);
    return;
  }
  TakeLocalParentId(request);
  if (online) {
    HandleOnlineAuthorization(request);
  } else {
    HandleOfflineAuthorization(request);
  }
}

// Whoever decides in the end, the answer carries the group that is known here.
void CAuthorizationManager::TakeLocalParentId(ipc::MAuthorizeRequest& request) const
{
  const std::string& token = request.user_identification().token();
  std::string parentId = FindParentId(mLocalList.get(), token);
  if (parentId.empty()) parentId = FindParentId(mCache.get(), token);
  if (!parentId.empty()) request.set_parent_id(parentId);
}

CAuthorizationManager::EListResult CAuthorizationManager::CheckLists(
    const std::string& token, ipc::MSessionUserIdentificationDetails& details) const
{
  if (mLocalList) {
    LOG_INFO("Checking local list for authorization status of id \"{}\"", token);
    const auto result = CheckStore(*mLocalList, EAuthorizationSource::ELocalList, token, details);
    // What the backoffice has put into the list is not overruled by the cache.
    if (result != EListResult::ENoEntry) return result;
  }
  if (mCache) {
    LOG_INFO("Checking cache list for authorization status of id \"{}\"", token);
    return CheckStore(*mCache, EAuthorizationSource::ECache, token, details);
  }
  return EListResult::ENoEntry;
}

CAuthorizationManager::EListResult CAuthorizationManager::CheckStore(
    const IAuthorizeList& store, EAuthorizationSource source, const std::string& token,
    ipc::MSessionUserIdentificationDetails& details) const
{
  auto entry = store.Find(token);
  if (!entry) return EListResult::ENoEntry;
  if (!entry->IsAuthorized(mClock.SystemNow())) return EListResult::ENotValid;
  details.set_authorization_source(ToIpc(source));
  return EListResult::EValid;
}

CAuthorizationManager::EListResult CAuthorizationManager::CheckLists(ipc::MAuthorizeRequest& request) const
{
  auto& identification = *request.mutable_user_identification();
  return CheckLists(identification.token(), *identification.mutable_details());
}

void CAuthorizationManager::HandleOnlineAuthorization(ipc::MAuthorizeRequest& request)
{
  LOG_ENTRY("CAuthorizationManager");
  if (ReadSetting("LocalPreAuthorize")) {
    const std::string& token = request.user_identification().token();
    if (CheckLists(request) == EListResult::EValid) {
      request.set_approved(1);
      LOG_INFO("Local preauthorize {}: Source {}", token,
               AuthorizationSourceToString(request.user_identification().details().authorization_source()));
      HandleAuthorizeRequest(request);
      // What the backoffice is asked from here on is a check after the fact.
      request.clear_request_id();
    } else {
      LOG_INFO("Local preauthorize {}: No list/cache", token);
    }
  }
  const bool isAsked = InsertAuthorize(request, request.connector()) == EPushResult::EQueued;
  if (isAsked || request.request_id().empty()) return;
  LOG_WARNING("Authorize for {} could not be queued, deciding offline", request.user_identification().token());
  HandleOfflineAuthorization(request);
}

void CAuthorizationManager::HandleOfflineAuthorization(ipc::MAuthorizeRequest& request)
{
  LOG_ENTRY("CAuthorizationManager");
  const auto result = ReadSetting("LocalAuthorizeOffline") ? CheckLists(request) : EListResult::ENoEntry;
  if (result == EListResult::ENoEntry) {
    OfflineAuthorizeUnknownIdIfAllowed(request);
    return;
  }
  request.set_approved(result == EListResult::EValid ? 1 : 0);
  HandleAuthorizeRequest(request);
}

void CAuthorizationManager::OfflineAuthorizeUnknownIdIfAllowed(ipc::MAuthorizeRequest& request)
{
  LOG_DEBUG("CAuthorizationManager::offlineAuthorizeUnknownIdIfAllowed");
  const bool isAllowed = ReadSetting("AllowOfflineTxForUnknownId");
  if (isAllowed) LOG_INFO("Session is authorized by unknown id");
  request.set_approved(isAllowed ? 1 : 0);
  HandleAuthorizeRequest(request);
}

EPushResult CAuthorizationManager::InsertAuthorize(const ipc::MAuthorizeRequest& request, uint32_t connectorId) const
{
  auto& ocpp = *mSystemAccess.GetOcpp();
  return ocpp.PushOutCall(EOutOpType::EAuthorize, ocpp.GetAllUsedBackofficeIds(), false,
                          {{EOperationParameter::EAuthorizationContext, request},
                           {EOperationParameter::EConnectorId, int64_t{connectorId}}});
}

bool CAuthorizationManager::HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request)
{
  LOG_ENTRY("CAuthorizationManager");
  LOG_INFO("Handling auth req [{}], token: [{}] for connector [{}] with result [{}]", request.request_id(),
           request.user_identification().token(), request.connector(), request.approved());
  if (request.connector() == 0) {
    AnswerSessionManager(request);
    return true;
  }
  if (request.connector() > mSystemAccess.GetNumberOfConnectors()) {
    LOG_ERROR("Authorize request [{}] is for connector {}, which this station does not have", request.request_id(),
              request.connector());
    Refuse(request);
    return false;
  }
  return mSystemAccess.GetSessionManager(request.connector())->HandleAuthorizeRequest(request);
}

void CAuthorizationManager::Refuse(const ipc::MAuthorizeRequest& request) const
{
  ipc::MAuthorizeRequest answer = request;
  answer.set_approved(0);
  AnswerSessionManager(answer);
}

void CAuthorizationManager::AnswerSessionManager(const ipc::MAuthorizeRequest& request) const
{
  try {
    mSessionManagerClient->HandleAuthorizeRequest(request);
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with SessionManager, error: {}", error.what());
  }
}

IAuthorizeList* CAuthorizationManager::GetEnabledCache() const
{
  if (!mCache) LOG_WARNING("LocalAuthCacheEnabled is not enabled");
  return mCache.get();
}

ILocalAuthorizationList* CAuthorizationManager::GetEnabledLocalList() const
{
  if (!mLocalList) LOG_WARNING("LocalAuthListEnabled is not enabled");
  return mLocalList.get();
}

void CAuthorizationManager::UpdateCache(const std::string& id, const std::string& parentId, EAuthorizationStatus status,
                                        const CExpiry& expiry)
{
  LOG_ENTRY("CAuthorizationManager");
  auto* cache = GetEnabledCache();
  if (cache == nullptr) return;
  // The list overrides the cache in any case, be its entry valid or not.
  if (mLocalList && mLocalList->Contains(id)) {
    LOG_INFO("id \"{}\" present in list, not updating cache", id);
    return;
  }
  LOG_INFO("Updating authorization cache with id \"{}\"", id);
  cache->Update(CAuthorizationListEntry(id, parentId, status, expiry, mClock.SystemNow()));
  WriteCacheSoon();
}

// At once, unless the last write was a moment ago. One write serves all updates that come before it begins.
void CAuthorizationManager::WriteCacheSoon()
{
  if (mIsCacheWriteWaiting.exchange(true)) return;
  const auto time = std::max(mClock.SteadyNow(), mNextCacheWrite.load());
  mCacheWriter->AddCall([this] { WriteCache(); }, time, std::chrono::nanoseconds(0));
}

void CAuthorizationManager::WriteCache()
{
  mNextCacheWrite = mClock.SteadyNow() + kCacheWriteInterval;
  mIsCacheWriteWaiting = false;
  mCache->WriteToStorage();
}

void CAuthorizationManager::UpdateLocalList(const std::string& id, const std::string& parentId,
                                            EAuthorizationStatus status, const CExpiry& expiry)
{
  LOG_ENTRY("CAuthorizationManager");
  auto* list = GetEnabledLocalList();
  if (list == nullptr) return;
  LOG_INFO("Updating local authorization list with id \"{}\"", id);
  list->Update(CAuthorizationListEntry(id, parentId, status, expiry, mClock.SystemNow()));
}

void CAuthorizationManager::RemoveLocalListEntry(const std::string& id)
{
  LOG_ENTRY("CAuthorizationManager");
  if (auto* list = GetEnabledLocalList()) list->Delete(id);
}

void CAuthorizationManager::ClearCache()
{
  LOG_ENTRY("CAuthorizationManager");
  if (auto* cache = GetEnabledCache()) cache->Clear();
}

int64_t CAuthorizationManager::GetLocalListVersion()
{
  LOG_ENTRY("CAuthorizationManager");
  return mLocalList ? mLocalList->GetVersion() : LocalListVersion::kNotSupported;
}

void CAuthorizationManager::SetLocalListVersion(int64_t version)
{
  LOG_ENTRY("CAuthorizationManager");
  if (auto* list = GetEnabledLocalList()) list->SetVersion(version);
}

void CAuthorizationManager::EraseLocalList()
{
  LOG_ENTRY("CAuthorizationManager");
  if (auto* list = GetEnabledLocalList()) list->Clear();
}

void CAuthorizationManager::WriteLocalListToStorage()
{
  LOG_ENTRY("CAuthorizationManager");
  if (auto* list = GetEnabledLocalList()) list->WriteToStorage();
}

bool CAuthorizationManager::IsLocalListEnabled()
{
  LOG_ENTRY("CAuthorizationManager");
  return mLocalList != nullptr;
}

bool CAuthorizationManager::IsInLocalList(const std::string& id)
{
  LOG_ENTRY("CAuthorizationManager");
  return mLocalList && mLocalList->Contains(id);
}

size_t CAuthorizationManager::GetLocalListSize()
{
  LOG_ENTRY("CAuthorizationManager");
  return mLocalList ? mLocalList->GetSize() : 0;
}
