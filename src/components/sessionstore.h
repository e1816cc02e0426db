#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/clock/mutex.h"
#include "src/components/sessionrecord.h"

class ISystemAccessInterface;

// What a connector knows of its sessions. In this life of the process memory is what counts, so that a disk that is
// full or read-only costs no session; every change is written for the next life. Safe from any thread: whoever reads
// never waits for the disk, changes wait for each other until they are durable. A change must not be made from within
// the callback of another one's write.
class CSessionStore {
 public:
  static constexpr int64_t kNoTransaction = -1;

  struct SState {
    bool isOpened = false;                   // a transaction is open
    int64_t transactionId = kNoTransaction;  // of `currentKey`
    std::string currentKey;                  // of the transaction that was answered last
    std::string closedKey;                   // of the transaction whose stop was answered last
    std::optional<SSessionRecord> record;    // empty for a connector that has never had a session
  };

  CSessionStore(uint32_t connector, const ISystemAccessInterface& systemAccess);

  // Takes what the disk holds. Whoever asks before has it loaded.
  void Load() EXCLUDES(mWriteMutex, mMutex);
  SState Get() const EXCLUDES(mMutex);
  // What could not be written before is written along.
  void Change(const std::function<void(SState& state)>& change) EXCLUDES(mWriteMutex, mMutex);
  // Change, of a record, which is made when there is none.
  void ChangeRecord(const std::function<void(SState& state, SSessionRecord& record)>& change);
  // Writes what could not be written before.
  void Repeat() EXCLUDES(mWriteMutex, mMutex);

 private:
  SState Read() const;
  void Write() REQUIRES(mWriteMutex) EXCLUDES(mMutex);

  // Constant after construction.
  const uint32_t mConnector;
  const std::string mLogPrefix;
  const ISystemAccessInterface& mSystemAccess;

  // Held over a change and its write, so that the disk is left with the later one.
  CMutex mWriteMutex;
  bool mIsWritten GUARDED_BY(mWriteMutex) = true;

  mutable CMutex mMutex ACQUIRED_AFTER(mWriteMutex);
  mutable std::optional<SState> mState GUARDED_BY(mMutex);  // empty until loaded
};
