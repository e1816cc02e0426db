#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "src/components/pushresult.h"

class COutCallOperationBase;

// The operations that a backoffice connection has still to send. Takes no lock of its own: every call holds the queue
// mutex of the operation handler that owns it.
class IOperationQueueManager {
 public:
  using COperation = std::shared_ptr<COutCallOperationBase>;

  virtual ~IOperationQueueManager() = default;

  virtual EPushResult PushOutOperation(const COperation& operation) = 0;
  virtual EPushResult PushOutOperationToFront(const COperation& operation) = 0;
  virtual EPushResult PushResendReqOperation(const COperation& operation) = 0;
  virtual void PopResendReqOperation() = 0;
  virtual bool IsOpQueueEmpty() const = 0;
  virtual bool IsResendReqOpQueueEmpty() const = 0;
  virtual std::optional<COperation> GetResendReqOperation() const = 0;
  virtual std::optional<COperation> GetAndPopOperation() = 0;
  virtual std::optional<COperation> GetFrontOperation() const = 0;
  virtual size_t GetNumOpInOpQueue() const = 0;
  virtual size_t GetNumOpInResendReqOpQueue() const = 0;
};
