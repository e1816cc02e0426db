#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What IConfig needs of the storage of one domain, and the records that travel between the two.
namespace IcConfig {

// The packaged default document of a domain, by key. Constant once loaded.
using CDefaults = std::map<std::string, Json::Value>;

struct SStoredValue {
  std::optional<Json::Value> value;  // empty: what is stored is not readable as JSON
  int64_t revision = 0;              // the change that wrote it, above 0
};

struct SNewValue {
  Json::Value value;  // as it reads back from `text`
  std::string text;   // compact JSON
};

// New values and, without one, removals; made in one step.
using CBatch = std::map<std::string, std::optional<SNewValue>>;

struct SChange {
  int64_t revision = 0;
  std::string key;
  std::optional<Json::Value> value;  // empty: the key is no longer stored
};

struct SChanges {
  std::vector<SChange> changes;  // ascending by revision; only those that changed what a reader gets
  int64_t upTo = 0;              // everything up to this revision has been looked at
};

// Files whose events say that another process may have changed the domain.
struct SWatchedFiles {
  std::string directory;
  std::vector<std::string> names;
};

enum class EAccess { EWrite, ERead };
enum class EWriteResult { EWritten, EUnchanged, EFailed };

// The stored half of one domain. Thread-safe; waits for the medium and, for a bounded time, for other processes.
//
// Nothing throws. What goes wrong is logged; what means that stored values are lost or unreadable is kept for
// TakeProblems besides, since no store calls out.
class IStore {
 public:
  virtual ~IStore() = default;

  virtual std::optional<SStoredValue> Read(const std::string& key) = 0;
  // All of one state.
  virtual std::map<std::string, SStoredValue> ReadAll() = 0;
  virtual std::vector<std::string> ListKeys() = 0;
  virtual uint64_t GetUsedBytes() = 0;
  // Durable when it returns EWritten. EFailed: the old state stays.
  virtual EWriteResult Write(const CBatch& batch) = 0;

  // Number of the latest change.
  virtual int64_t GetRevision() = 0;
  // Changes after `revision`, oldest first, as many as fit one step; `upTo` equal to `revision` means that there is no
  // further one. Called with ascending revisions.
  virtual SChanges ReadChanges(int64_t revision) = 0;
  virtual SWatchedFiles GetWatchedFiles() const = 0;
  // Texts of what was found lost or unreadable since the last call.
  virtual std::vector<std::string> TakeProblems() = 0;
};

}  // namespace IcConfig
