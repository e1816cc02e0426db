#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/icconfig/icconfig.h"
#include "platform/iipc/isessionmanagerauth.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/pushresult.h"

class CWorker;
class IAuthorizeList;
class ILocalAuthorizationList;
class ISystemAccessInterface;

// See IAuthorizationManager. A request of the session manager is decided by what the primary backoffice's link allows:
// online the backoffice is asked (with LocalPreAuthorize after a driver whom the stores know has been let in), offline
// the stores and AllowOfflineTxForUnknownId decide, and a station that may not charge at all refuses.
//
// The stores are there or not from Init to the end of the process; they have their own locks. Requests arrive on the
// notification thread, answers of operations on the threads of the backoffices.
class CAuthorizationManager : public IAuthorizationManager {
 public:
  // Opens the document of a store.
  using COpenStore = std::function<std::shared_ptr<IcConfig::IConfig>(const std::string& name)>;

  CAuthorizationManager(IClock& clock, std::shared_ptr<ISessionManagerAuth> sessionManagerClient,
                        ISystemAccessInterface& systemAccess, COpenStore openStore);
  // Waits until the cache is stored.
  ~CAuthorizationManager() override;

  // `configPath` stands ahead of the names of the documents, "authCache.json" and "localAuthList.json"; empty, they lie
  // directly in the data directory of the configuration. To be called once, before any other operation.
  void Init(const std::string& configPath) override;
  void Authorize(ipc::MAuthorizeRequest& request, bool online) override;
  // In force at once; written at once by a thread of its own ("authcache"), so that neither the driver nor the link
  // waits for the disk.
  void UpdateCache(const std::string& id, const std::string& parentId, EAuthorizationStatus status,
                   const CExpiry& expiry) override;
  // In memory until WriteLocalListToStorage.
  void UpdateLocalList(const std::string& id, const std::string& parentId, EAuthorizationStatus status,
                       const CExpiry& expiry) override;
  void RemoveLocalListEntry(const std::string& id) override;
  void ClearCache() override;
  int64_t GetLocalListVersion() override;
  void SetLocalListVersion(int64_t version) override;
  void EraseLocalList() override;
  void WriteLocalListToStorage() override;
  bool IsLocalListEnabled() override;
  bool IsInLocalList(const std::string& id) override;
  size_t GetLocalListSize() override;
  void HandleAuthorizeId(uint32_t connectorId, const ipc::MAuthorizeRequest& request) override;
  bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override;

 private:
  enum class EListResult { ENoEntry, EValid, ENotValid };

  bool ReadSetting(const std::string& key) const;
  size_t ReadLocalListCapacity() const;
  void TakeLocalParentId(ipc::MAuthorizeRequest& request) const;
  // Looks the token up; a valid entry puts its source into the details.
  EListResult CheckLists(const std::string& token, ipc::MSessionUserIdentificationDetails& details) const;
  EListResult CheckLists(ipc::MAuthorizeRequest& request) const;
  EListResult CheckStore(const IAuthorizeList& store, EAuthorizationSource source, const std::string& token,
                         ipc::MSessionUserIdentificationDetails& details) const;
  void HandleOnlineAuthorization(ipc::MAuthorizeRequest& request);
  void HandleOfflineAuthorization(ipc::MAuthorizeRequest& request);
  void OfflineAuthorizeUnknownIdIfAllowed(ipc::MAuthorizeRequest& request);
  EPushResult InsertAuthorize(const ipc::MAuthorizeRequest& request, uint32_t connectorId) const;
  // Past the connector's session handler.
  void Refuse(const ipc::MAuthorizeRequest& request) const;
  void AnswerSessionManager(const ipc::MAuthorizeRequest& request) const;
  // Null, and a line in the log, when there is no such store.
  IAuthorizeList* GetEnabledCache() const;
  ILocalAuthorizationList* GetEnabledLocalList() const;
  void WriteCacheSoon();
  void WriteCache();

  // Constant after construction.
  IClock& mClock;
  const std::shared_ptr<ISessionManagerAuth> mSessionManagerClient;
  ISystemAccessInterface& mSystemAccess;
  const COpenStore mOpenStore;

  // Constant after Init; null: the store is not enabled.
  std::unique_ptr<IAuthorizeList> mCache;
  std::unique_ptr<ILocalAuthorizationList> mLocalList;

  // An update of the cache whose write has not begun.
  std::atomic<bool> mIsCacheWriteWaiting{false};
  // No write begins earlier. Written before mIsCacheWriteWaiting is taken back.
  std::atomic<IClock::SteadyTime> mNextCacheWrite{IClock::SteadyTime::min()};
  // There with the cache. The last member, so that it ends before what its calls use.
  std::unique_ptr<CWorker> mCacheWriter;
};
