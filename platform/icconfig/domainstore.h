#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/icconfig/domainfile.h"
#include "platform/icconfig/store.h"

namespace IcConfig {

// A domain in a SQLite file. Reads go to the file each time, so that they see what other processes wrote.
//
// When another file takes the place of the opened one (a factory reset, a damaged file set aside), its changes are told
// from its first one on; that the keys of the former file are gone is not.
//
// The last kKeptChanges changes before a write stay in the file. A reader that falls further behind is told the present
// value of each key that changed, once, and misses deletions; so does the reader of a value longer than kLongValue that
// was replaced before it was looked at.
class CDomainStore : public IStore {
 public:
  static constexpr int64_t kKeptChanges = 4096;
  static constexpr size_t kLongValue = 1024;

  // `defaults` decide whether a change is one for readers.
  CDomainStore(std::string path, EAccess access, std::shared_ptr<const CDefaults> defaults);
  ~CDomainStore() override;

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
  // What tells one file or one state of it from another.
  using CFileStamp = std::vector<int64_t>;
  struct SHead {
    int64_t revision = 0;
    int64_t usedBytes = 0;
  };

  // True when a file is open that suits the purpose and still lies under its name.
  bool EnsureOpen(EAccess purpose) REQUIRES(mMutex);
  void Open() REQUIRES(mMutex);
  void AddProblem(const std::string& text) REQUIRES(mMutex);
  // Runs an access; a damaged file is set aside and the access repeated on the new one. False when it failed.
  bool Run(EAccess purpose, const std::function<void()>& access) REQUIRES(mMutex);
  void ReportReadFailure(const std::string& text) REQUIRES(mMutex);

  SHead ReadHead() REQUIRES(mMutex);
  EWriteResult WriteBatch(const CBatch& batch) REQUIRES(mMutex);
  // One step of a batch; false when the row is as wanted already.
  bool WriteStep(const std::string& key, const std::optional<SNewValue>& value, SHead& head) REQUIRES(mMutex);
  bool IsSameForReaders(const std::string& key, const std::optional<std::string>& before,
                        const std::optional<SNewValue>& after) const;
  void ReadMissed(int64_t revision, SChanges& result) REQUIRES(mMutex);
  void ReadLogged(int64_t revision, SChanges& result) REQUIRES(mMutex);
  // Revisions as callers see them go on ascending when a new file takes the place of the old one.
  int64_t ToPublic(int64_t revision) REQUIRES(mMutex);

  // Constant after construction.
  const std::string mPath;
  const EAccess mAccess;
  const std::shared_ptr<const CDefaults> mDefaults;

  // Held while SQLite works: a connection serves one thread at a time.
  CMutex mMutex;
  std::unique_ptr<SDomainFile> mFile GUARDED_BY(mMutex);
  CFileStamp mOpened GUARDED_BY(mMutex);  // of the file that was opened last
  CFileStamp mFailed GUARDED_BY(mMutex);  // of files that could not be opened: not tried again until they change
  bool mIsReplaced GUARDED_BY(mMutex) = false;
  bool mIsReadFailing GUARDED_BY(mMutex) = false;
  int64_t mRevisionBase GUARDED_BY(mMutex) = 0;
  int64_t mHighestRevision GUARDED_BY(mMutex) = 0;
  std::vector<std::string> mProblems GUARDED_BY(mMutex);
  std::string mLastProblem GUARDED_BY(mMutex);  // not repeated while it lasts
};

}  // namespace IcConfig
