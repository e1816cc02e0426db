#include "src/components/authorization/authorizelist.h"

#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"

CAuthorizeList::CAuthorizeList(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity)
    : mClock(clock), mStore(std::move(store)), mCapacity(capacity)
{
  CLock lock(mMutex);
  Load();
}

void CAuthorizeList::Load()
{
  const auto now = mClock.SystemNow();
  for (const auto& id : mStore->ListKeys()) {
    if (id == kListVersion) continue;
    auto entry = CAuthorizationListEntry::FromJson(id, mStore->GetJson(id, Json::Value()), now);
    if (!entry) {
      LOG_ERROR("Invalid id {} in persistent storage", id);
      entry = CAuthorizationListEntry(id, "", EAuthorizationStatus::EInvalid, std::nullopt, now);
    }
    mEntries.emplace(id, std::move(*entry));
  }
}

void CAuthorizeList::Update(const CAuthorizationListEntry& entry)
{
  LOG_ENTRY("CAuthorizeList");
  CLock lock(mMutex);
  const auto known = mEntries.find(entry.GetId());
  if (known == mEntries.end()) {
    InsertEntry(entry);
    return;
  }
  LOG_DEBUG("Updating entry to list/cache: {}, status: {}", entry.GetId(), static_cast<int>(entry.GetStatus()));
  known->second.Update(entry);
}

void CAuthorizeList::Delete(const std::string& id)
{
  LOG_ENTRY("CAuthorizeList");
  CLock lock(mMutex);
  DeleteEntry(id);
}

void CAuthorizeList::DeleteEntry(const std::string& id)
{
  LOG_DEBUG("Deleting entry in the list/cache: {}", id);
  mEntries.erase(id);
}

bool CAuthorizeList::Contains(const std::string& id) const
{
  CLock lock(mMutex);
  return mEntries.count(id) != 0;
}

std::optional<CAuthorizationListEntry> CAuthorizeList::Find(const std::string& id) const
{
  LOG_ENTRY("CAuthorizeList");
  std::optional<CAuthorizationListEntry> result;
  {
    CLock lock(mMutex);
    const auto known = mEntries.find(id);
    if (known != mEntries.end()) result = known->second;
  }
  if (result) {
    LOG_DEBUG("Found entry with id {}", id);
  } else {
    LOG_DEBUG("No entry found with id {}", id);
  }
  return result;
}

void CAuthorizeList::Clear()
{
  LOG_ENTRY("CAuthorizeList");
  CLock writeLock(mWriteMutex);
  {
    CLock lock(mMutex);
    mEntries.clear();
  }
  mStore->Apply(mStore->ListKeys(), {});
}

void CAuthorizeList::WriteToStorage()
{
  LOG_INFO("Writing authorization list to persistent storage");
  CLock writeLock(mWriteMutex);
  CEntries entries;
  CMembers write;
  {
    CLock lock(mMutex);
    entries = mEntries;
    write = GetOtherMembers();
  }
  std::vector<std::string> remove;
  for (auto& key : mStore->ListKeys()) {
    if (key == kListVersion || entries.count(key) != 0) continue;
    LOG_DEBUG("Delete tag {} from persistent storage.", key);
    remove.push_back(std::move(key));
  }
  for (const auto& [id, entry] : entries) {
    if (id != kListVersion) write.emplace_back(id, entry.ToJson());
  }
  mStore->Apply(remove, write);
}

size_t CAuthorizeList::GetSize() const
{
  CLock lock(mMutex);
  return mEntries.size();
}

void CAuthorizeList::Insert(const CAuthorizationListEntry& entry)
{
  LOG_ENTRY("CAuthorizeList");
  CLock lock(mMutex);
  InsertEntry(entry);
}

void CAuthorizeList::InsertEntry(const CAuthorizationListEntry& entry)
{
  LOG_DEBUG("Adding entry to list/cache: {}, status: {}", entry.GetId(), static_cast<int>(entry.GetStatus()));
  if (!mEntries.emplace(entry.GetId(), entry).second) {
    LOG_WARNING("Trying to insert entry {} to AuthorizeCache/LocalList which was already known", entry.GetId());
  }
}
