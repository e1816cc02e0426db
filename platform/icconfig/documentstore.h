#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/icconfig/filetools.h"
#include "platform/icconfig/store.h"

namespace IcConfig {

// A domain in one JSON object document, whose members are the keys. It is held in memory, read again when the file has
// been replaced, and replaced whole by each write, under a lock that all processes share.
//
// A change is what differs between two states that this object saw: values that another process replaced in between
// are not told.
class CDocumentStore : public IStore {
 public:
  CDocumentStore(std::string path, EAccess access, std::shared_ptr<const CDefaults> defaults);

  std::optional<SStoredValue> Read(const std::string& key) override;
  std::map<std::string, SStoredValue> ReadAll() override;
  std::vector<std::string> ListKeys() override;
  uint64_t GetUsedBytes() override;
  EWriteResult Write(const CBatch& batch) override;
  int64_t GetRevision() override;
  SChanges ReadChanges(int64_t revision) override;
  SWatchedFiles GetWatchedFiles() const override;
  std::vector<std::string> TakeProblems() override;

 private:
  struct SMember {
    Json::Value value;
    uint64_t bytes = 0;  // of the key and the compact value
    int64_t revision = 0;
  };
  using CMembers = std::map<std::string, SMember>;

  // Brings the members up to date with the file.
  void Refresh() REQUIRES(mMutex);
  // As Refresh, with the folder's lock held: a file that cannot be read is set aside.
  void RefreshLocked() REQUIRES(mMutex);
  // Empty when the members are those of the file, else why they cannot be.
  std::optional<std::string> TryRefresh() REQUIRES(mMutex);
  bool IsFileAsLoaded() REQUIRES(mMutex);
  std::optional<std::string> Load() REQUIRES(mMutex);
  void Remember(CDescriptor file) REQUIRES(mMutex);
  // The domain goes on from its defaults.
  void GiveUp(const std::string& text) REQUIRES(mMutex);
  void Replace(Json::Value document) REQUIRES(mMutex);
  // Makes `difference` part of the state and notes what changed for readers.
  void Adopt(CBatch difference) REQUIRES(mMutex);
  // What a reader of `key` gets; empty when neither stored nor packaged.
  std::optional<Json::Value> Effective(const std::string& key) const REQUIRES(mMutex);
  // The steps that differ from the present members.
  CBatch Difference(const CBatch& batch) const REQUIRES(mMutex);
  std::string ToText(const CBatch& difference) const REQUIRES(mMutex);

  // Constant after construction.
  const std::string mPath;
  const EAccess mAccess;
  const std::shared_ptr<const CDefaults> mDefaults;

  // Held while the file is read or replaced: two writes of one object would lose one.
  CMutex mMutex;
  CMembers mMembers GUARDED_BY(mMutex);
  uint64_t mUsedBytes GUARDED_BY(mMutex) = 0;
  int64_t mRevision GUARDED_BY(mMutex) = 0;
  // The file that the members come from. Kept open, so that no later file can have its inode number.
  CDescriptor mLoaded GUARDED_BY(mMutex);
  int64_t mLoadedSize GUARDED_BY(mMutex) = 0;
  int64_t mLoadedTimeNs GUARDED_BY(mMutex) = 0;
  bool mIsUnreadable GUARDED_BY(mMutex) = false;
  bool mIsOpened GUARDED_BY(mMutex) = false;        // from then on differences are changes
  std::deque<SChange> mChanges GUARDED_BY(mMutex);  // not yet asked for by ReadChanges
  std::vector<std::string> mProblems GUARDED_BY(mMutex);
};

}  // namespace IcConfig
