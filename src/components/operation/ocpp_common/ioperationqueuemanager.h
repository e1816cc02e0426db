#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "src/components/pushresult.h"

class COutCallOperationBase;

// The operations that a backoffice connection has still to send. It stores, orders and tells; what is sent when is
// decided by the operation handler that owns it. Safe from any thread; operations are taken and popped by one at a
// time.
class IOperationQueueManager {
 public:
  using COperation = std::shared_ptr<COutCallOperationBase>;

  virtual ~IOperationQueueManager() = default;

  // To the back of the operation queue, EQueued. On the primary backoffice a persistent operation is in the message
  // store before it is in the queue, and persistent operations are stored in the order in which they are queued. One
  // that cannot be stored is queued all the same.
  virtual EPushResult PushOutOperation(const COperation& operation) = 0;
  // To the front of the operation queue, EQueued.
  virtual EPushResult PushOutOperationToFront(const COperation& operation) = 0;
  // To the back of the transaction queue, EPassed; ENothing for an operation that is not resend-required. Another
  // backoffice than the primary has no transaction queue: it gives EPassed, and the queue stays empty.
  virtual EPushResult PushResendReqOperation(const COperation& operation) = 0;
  // Removes the head of the transaction queue, and its message from the store.
  virtual void PopResendReqOperation() = 0;
  virtual bool IsOpQueueEmpty() const = 0;
  virtual bool IsResendReqOpQueueEmpty() const = 0;
  // The head of the transaction queue, which stays.
  virtual std::optional<COperation> GetResendReqOperation() const = 0;
  // The front of the operation queue, which is removed (GetAndPopOperation) or stays (GetFrontOperation).
  virtual std::optional<COperation> GetAndPopOperation() = 0;
  virtual std::optional<COperation> GetFrontOperation() const = 0;
  virtual size_t GetNumOpInOpQueue() const = 0;
  virtual size_t GetNumOpInResendReqOpQueue() const = 0;
  // To be called when the payload of an operation has changed, which may be stored.
  virtual void UpdateStoredPayload(const COperation& operation) = 0;
};
