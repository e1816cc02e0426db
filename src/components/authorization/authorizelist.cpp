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
      mChanged.insert(id);
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
  mChanged.insert(entry.GetId());
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
  mChanged.erase(id);
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
    ClearEntries();
  }
  mStore->Apply(mStore->ListKeys(), {});
}

void CAuthorizeList::ClearEntries()
{
  mEntries.clear();
  mChanged.clear();
}

CAuthorizeList::SStep CAuthorizeList::TakeStep(const std::vector<std::string>& keys)
{
  SStep step;
  const CIds stored(keys.begin(), keys.end());
  CLock lock(mMutex);
  step.changed = std::exchange(mChanged, {});
  step.others = GetOtherMembers();
  for (const auto& key : keys) {
    if (key != kListVersion && mEntries.count(key) == 0) step.remove.push_back(key);
  }
  for (const auto& [id, entry] : mEntries) {
    if (id == kListVersion) continue;
    if (step.changed.count(id) != 0 || stored.count(id) == 0) step.write.push_back(entry);
  }
  return step;
}

// Entries that the document holds as they are need not be put into words again.
void CAuthorizeList::WriteToStorage()
{
  LOG_INFO("Writing authorization list to persistent storage");
  CLock writeLock(mWriteMutex);
  SStep step = TakeStep(mStore->ListKeys());
  for (const auto& id : step.remove) LOG_DEBUG("Delete tag {} from persistent storage.", id);
  CMembers write = std::move(step.others);
  for (const auto& entry : step.write) write.emplace_back(entry.GetId(), entry.ToJson());
  if (mStore->Apply(step.remove, write)) return;
  CLock lock(mMutex);
  for (const auto& id : step.changed) {
    if (mEntries.count(id) != 0) mChanged.insert(id);
  }
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
    return;
  }
  mChanged.insert(entry.GetId());
}
