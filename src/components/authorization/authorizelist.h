#pragma once

#include <json/value.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/authorization/iauthorizelist.h"

namespace IcConfig {
class IConfig;
}

// What both stores of id tags share: the table, and the document with one member for each id. A lookup is one in a hash
// table. Memory is guarded by one mutex, the order of writes by another, so that nobody who asks for a tag waits for
// the disk.
//
// An entry of the document that cannot be read is logged and stays with its id alone, as Invalid: what was known of the
// tag is lost, and nobody charges by it. The document's member "list_version" is no entry; a tag of that name is known
// in memory only.
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
  using CIds = std::unordered_set<std::string>;

  // The member of a document that is no entry.
  static constexpr const char* kListVersion = "list_version";

  // Loads what `store` holds. `clock` is borrowed and outlives the list.
  CAuthorizeList(const IClock& clock, std::shared_ptr<IcConfig::IConfig> store, size_t capacity);

  virtual void InsertEntry(const CAuthorizationListEntry& entry) REQUIRES(mMutex);
  void DeleteEntry(const std::string& id) REQUIRES(mMutex);
  void ClearEntries() REQUIRES(mMutex);
  // What the document holds beside the entries.
  virtual CMembers GetOtherMembers() const REQUIRES(mMutex) { return {}; }

  // Constant after construction.
  const IClock& mClock;
  const std::shared_ptr<IcConfig::IConfig> mStore;
  const size_t mCapacity;

  // Held while the document is written: a later state of the table must not be overwritten by an earlier one.
  CMutex mWriteMutex ACQUIRED_BEFORE(mMutex);
  // A leaf.
  mutable CMutex mMutex;
  CEntries mEntries GUARDED_BY(mMutex);

 private:
  // What brings the document from its `keys` to the present table.
  struct SStep {
    std::vector<std::string> remove;
    std::vector<CAuthorizationListEntry> write;
    CMembers others;
    CIds changed;  // ids that were taken from mChanged
  };

  void Load() REQUIRES(mMutex);
  SStep TakeStep(const std::vector<std::string>& keys) EXCLUDES(mMutex);

  // Ids whose entries have changed since they were loaded or written.
  CIds mChanged GUARDED_BY(mMutex);
};
