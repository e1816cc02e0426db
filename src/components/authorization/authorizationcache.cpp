#include "src/components/authorization/authorizationcache.h"

#include <utility>

CAuthorizationCache::CAuthorizationCache(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity)
    : CAuthorizeList(clock, std::move(store), capacity)
{}

void CAuthorizationCache::InsertEntry(const CAuthorizationListEntry& entry)
{
  if (mEntries.size() >= mCapacity && mEntries.count(entry.GetId()) == 0) MakeRoom();
  CAuthorizeList::InsertEntry(entry);
}

void CAuthorizationCache::MakeRoom()
{
  const auto now = mClock.SystemNow();
  std::vector<std::string> invalid;
  // An entry from the future, which a clock that was set back leaves, is never the oldest one.
  std::string oldest = "OldestEntryPlaceholder";
  auto oldestDate = now;
  for (auto& [id, entry] : mEntries) {
    if (!entry.IsAuthorized(now)) invalid.push_back(id);
    if (entry.GetEntryDate() < oldestDate) {
      oldest = id;
      oldestDate = entry.GetEntryDate();
    }
  }
  if (invalid.empty()) DeleteEntry(oldest);
  for (const auto& id : invalid) DeleteEntry(id);
}
