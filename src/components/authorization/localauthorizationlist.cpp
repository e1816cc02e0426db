#include "src/components/authorization/localauthorizationlist.h"

#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"

namespace {

constexpr const char* kListVersion = "list_version";

// Answers to GetLocalListVersion that are no versions (OCPP 1.6 section 5.10): no list, and not supported.
constexpr int64_t kNoList = 0;
constexpr int64_t kNotSupported = -1;

}  // namespace

std::unique_ptr<ILocalAuthorizationList> MakeLocalAuthorizationList(const IClock& clock,
                                                                    std::shared_ptr<IcConfig::IConfig> store,
                                                                    size_t capacity)
{
  return std::make_unique<CLocalAuthorizationList>(clock, std::move(store), capacity);
}

CLocalAuthorizationList::CLocalAuthorizationList(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store,
                                                 size_t capacity)
    : CAuthorizeList(clock, std::move(store), capacity), mVersion(mStore->GetInt(kListVersion, kNoList))
{}

void CLocalAuthorizationList::Clear()
{
  LOG_ENTRY("CLocalAuthorizationList");
  CLock lock(mMutex);
  mEntries.clear();
}

int64_t CLocalAuthorizationList::GetVersion() const
{
  CLock lock(mMutex);
  return mEntries.empty() ? kNoList : mVersion;
}

void CLocalAuthorizationList::SetVersion(int64_t version)
{
  LOG_ENTRY("CLocalAuthorizationList");
  CLock lock(mMutex);
  if (version == kNoList || version == kNotSupported || version == mVersion) return;
  LOG_INFO("Setting new local list version: {}", version);
  mVersion = version;
}

CAuthorizeList::CMembers CLocalAuthorizationList::GetOtherMembers() const
{
  return {{kListVersion, Json::Value(static_cast<Json::Int64>(mVersion))}};
}
