#pragma once

#include <json/value.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/authorization/iauthorizelist.h"

namespace IcConfig {
class IConfig;
}

// What both stores of id tags share: the table, and the document with one member for each id. A lookup is one in a hash
// table. Memory is changed under one mutex, the document under another, so that nobody who asks for a tag waits for the
// disk.
class CAuthorizeList : public virtual IAuthorizeList {
 public:
  void Update(const CAuthorizationListEntry& entry) override;
  void Delete(const std::string& id) override;
  bool Contains(const std::string& id) const override;
  std::optional<CAuthorizationListEntry> Find(const std::string& id) const override;
  // Empties the document as well.
  void Clear() override;
  void WriteToStorage() override;
  size_t GetSize() const override;
  void Insert(const CAuthorizationListEntry& entry) override;

 protected:
  using CEntries = std::unordered_map<std::string, CAuthorizationListEntry>;
  using CMembers = std::vector<std::pair<std::string, Json::Value>>;

  // Loads what `store` holds. `clock` is borrowed and outlives the list.
  CAuthorizeList(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity);

  // The table and, for a list that stores more than that, what stands ahead of it in the document.
  virtual void InsertEntry(const CAuthorizationListEntry& entry) REQUIRES(mMutex);
  void DeleteEntry(const std::string& id) REQUIRES(mMutex);
  virtual CMembers GetExtraMembers() const REQUIRES(mMutex);

  // Constant after construction.
  const IClock& mClock;
  const std::shared_ptr<IcConfig::IConfig> mStore;
  const size_t mCapacity;

  mutable CMutex mMutex;
  CEntries mEntries GUARDED_BY(mMutex);
};
