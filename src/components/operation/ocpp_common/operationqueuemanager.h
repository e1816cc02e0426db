#pragma once

#include <cstdint>
#include <deque>

#include "platform/clock/mutex.h"
#include "src/components/operation/ocpp_common/ioperationqueuemanager.h"

class IDiagnosticsClientHandler;
class IPersistentMessageStorageManager;

// Two queues: new work in the operation queue, and behind it, on the primary backoffice, the transaction queue, which
// holds what must reach the backoffice in order. Its head stays until it is answered or given up.
//
// Neither queue has a limit of its own: what is stored is bounded by the message store, the rest by its producers. The
// depth of the transaction queue goes to diagnostics while it is worth knowing: from the first depth of 2 on until 0.
//
// Locks: mQueueMutex guards the queues and is a leaf; it is never held while the store or diagnostics are called.
// mStoreOrderMutex is taken before it and is held over the write to the store on purpose: a message has to be in the
// store before it can be sent, and the order in the store has to be that of the queue. Only pushes of persistent
// operations take it, so a slow write delays no other push, no sender and no answer.
class COperationQueueManager : public IOperationQueueManager {
 public:
  // Storage and diagnostics are borrowed and outlive the queues.
  COperationQueueManager(IPersistentMessageStorageManager& storageManager, IDiagnosticsClientHandler& diagnostics,
                         bool isPrimaryBackoffice);

  EPushResult PushOutOperation(const COperation& operation) override;
  EPushResult PushOutOperationToFront(const COperation& operation) override;
  EPushResult PushResendReqOperation(const COperation& operation) override;
  void PopResendReqOperation() override;
  bool IsOpQueueEmpty() const override;
  bool IsResendReqOpQueueEmpty() const override;
  std::optional<COperation> GetResendReqOperation() const override;
  std::optional<COperation> GetAndPopOperation() override;
  std::optional<COperation> GetFrontOperation() const override;
  size_t GetNumOpInOpQueue() const override;
  size_t GetNumOpInResendReqOpQueue() const override;
  void UpdateStoredPayload(const COperation& operation) override;

 private:
  bool IsToBeStored(const COutCallOperationBase& operation) const;
  void Store(const COutCallOperationBase& operation) REQUIRES(mStoreOrderMutex);
  void ClearFromStore(const COutCallOperationBase& operation);
  void Append(const COperation& operation) EXCLUDES(mQueueMutex);
  // Tells diagnostics of the depths that the transaction queue has had since the last time, in order.
  void UpdateDiagQueueSizeTxMsg() EXCLUDES(mQueueMutex);
  bool IsDepthWorthReporting(size_t depth) REQUIRES(mQueueMutex);

  // Constant after construction.
  IPersistentMessageStorageManager& mStorageManager;
  IDiagnosticsClientHandler& mDiagnostics;
  const bool mIsPrimaryBackoffice;

  CMutex mStoreOrderMutex ACQUIRED_BEFORE(mQueueMutex);
  mutable CMutex mQueueMutex;
  std::deque<COperation> mOpQueue GUARDED_BY(mQueueMutex);
  std::deque<COperation> mResendReqOpQueue GUARDED_BY(mQueueMutex);
  std::deque<size_t> mUnreportedDepths GUARDED_BY(mQueueMutex);
  bool mIsReporting GUARDED_BY(mQueueMutex) = false;
  // A depth of 2 or more was reported and no 0 since.
  bool mTxQueueSizeReported GUARDED_BY(mQueueMutex) = false;
};
