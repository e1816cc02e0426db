#pragma once

#include "platform/icconfig/store.h"

namespace IcConfig {

// The state of another store at one moment, in memory. Immutable.
class CSnapshotStore : public IStore {
 public:
  explicit CSnapshotStore(IStore& source);

  std::optional<SStoredValue> Read(const std::string& key) override;
  std::map<std::string, SStoredValue> ReadAll() override { return mValues; }
  std::vector<std::string> ListKeys() override;
  uint64_t GetUsedBytes() override { return mUsedBytes; }
  EWriteResult Write(const CBatch&) override { return EWriteResult::EFailed; }
  int64_t GetRevision() override { return 0; }
  SChanges ReadChanges(int64_t revision) override { return {{}, revision}; }
  SWatchedFiles GetWatchedFiles() const override { return {}; }
  std::vector<std::string> TakeProblems() override { return {}; }

 private:
  const std::map<std::string, SStoredValue> mValues;
  const uint64_t mUsedBytes;
};

}  // namespace IcConfig
