#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/iipc/messages.h"

// Which errors, or which warnings, are raised now, per connector and in order of arrival. Filled by notifications, and
// as a whole by the answer to a question. Safe from any thread.
class CActiveSignals {
 public:
  // Empty for an unknown connector.
  std::vector<int32_t> Get(uint32_t connector) const EXCLUDES(mMutex);
  // Takes a notification. The signal's first truth value says raised or cleared; without one it counts as cleared.
  void Update(const ipc::MDiagnosticsSignal& signal) EXCLUDES(mMutex);
  // Empties the list before the diagnostics process is asked; gives the number of the question.
  uint32_t BeginSync() EXCLUDES(mMutex);
  // Takes the answer to question `number`; it is dropped when another question was begun meanwhile. A notification that
  // arrived since the question is newer than the answer and wins.
  void EndSync(uint32_t number, const std::vector<ipc::MDiagnosticsSignal>& signals) EXCLUDES(mMutex);
  void Remove(const std::set<int32_t>& identifiers) EXCLUDES(mMutex);

 private:
  using CIdentifiers = std::vector<int32_t>;

  mutable CMutex mMutex;
  std::map<uint32_t, CIdentifiers> mActive GUARDED_BY(mMutex);
  uint32_t mSyncNumber GUARDED_BY(mMutex) = 0;
  // Connector and identifier of what was notified since the last question.
  std::set<std::pair<uint32_t, int32_t>> mNotified GUARDED_BY(mMutex);
};
