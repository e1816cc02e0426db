#include "src/components/authorization/localauthorizationlist.h"

#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"
#include "src/components/authorization/locallistversion.h"

std::unique_ptr<ILocalAuthorizationList> MakeLocalAuthorizationList(const IClock& clock,
                                                                    std::shared_ptr<IcConfig::IConfig> store,
                                                                    size_t capacity)
{
  return std::make_unique<CLocalAuthorizationList>(clock, std::move(store), capacity);
}

CLocalAuthorizationList::CLocalAuthorizationList(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store,
                                                 size_t capacity)
    : CAuthorizeList(clock, std::move(store), capacity),
      mVersion(mStore->GetInt(kListVersion, LocalListVersion::kNoList))
{}

void CLocalAuthorizationList::Clear()
{
  LOG_ENTRY("CLocalAuthorizationList");
  CLock lock(mMutex);
  ClearEntries();
}

int64_t CLocalAuthorizationList::GetVersion() const
{
  CLock lock(mMutex);
  return mEntries.empty() ? LocalListVersion::kNoList : mVersion;
}

void CLocalAuthorizationList::SetVersion(int64_t version)
{
  LOG_ENTRY("CLocalAuthorizationList");
  CLock lock(mMutex);
  if (!LocalListVersion::IsVersion(version) || version == mVersion) return;
  LOG_INFO("Setting new local list version: {}", version);
  mVersion = version;
}

CAuthorizeList::CMembers CLocalAuthorizationList::GetOtherMembers() const
{
  return {{kListVersion, Json::Value(static_cast<Json::Int64>(mVersion))}};
}
