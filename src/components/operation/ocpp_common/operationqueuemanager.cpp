#include "src/components/operation/ocpp_common/operationqueuemanager.h"

#include <exception>

#include "platform/iclogger/log.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"

COperationQueueManager::COperationQueueManager(IPersistentMessageStorageManager& storageManager,
                                               IDiagnosticsClientHandler& diagnostics, bool isPrimaryBackoffice)
    : mStorageManager(storageManager), mDiagnostics(diagnostics), mIsPrimaryBackoffice(isPrimaryBackoffice)
{}

EPushResult COperationQueueManager::PushOutOperation(const COperation& operation)
{
  LOG_ENTRY("COperationQueueManager");
  LOG_DEBUG("Pushing {} to Op Queue.", operation->GetAction());
  if (!IsToBeStored(*operation)) {
    Append(operation);
    return EPushResult::EQueued;
  }
  CLock order(mStoreOrderMutex);
  Store(*operation);
  Append(operation);
  return EPushResult::EQueued;
}

bool COperationQueueManager::IsToBeStored(const COutCallOperationBase& operation) const
{
  if (!mIsPrimaryBackoffice) return false;
  try {
    return operation.IsPersistentOp();
  } catch (const std::exception& error) {
    // The answer may depend on settings. Without them the message is sent, it will merely not survive a restart.
    LOG_ERROR("Cannot decide whether {} is to be stored. {}", operation.GetAction(), error.what());
    return false;
  }
}

void COperationQueueManager::Store(const COutCallOperationBase& operation)
{
  const auto result = mStorageManager.Store(operation);
  if (result == IPersistentMessageStorageManager::EStoreResult::EStored) {
    LOG_DEBUG("Stored {}(ID:{}) to storage.", operation.GetAction(), operation.GetMessageId());
  } else {
    LOG_DEBUG("Storing {}(ID:{}) to storage failed:, reason: {}", operation.GetAction(), operation.GetMessageId(),
              static_cast<int>(result));
  }
}

void COperationQueueManager::Append(const COperation& operation)
{
  CLock lock(mQueueMutex);
  mOpQueue.push_back(operation);
}

EPushResult COperationQueueManager::PushOutOperationToFront(const COperation& operation)
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  mOpQueue.push_front(operation);
  return EPushResult::EQueued;
}

EPushResult COperationQueueManager::PushResendReqOperation(const COperation& operation)
{
  LOG_ENTRY("COperationQueueManager");
  if (!mIsPrimaryBackoffice) return EPushResult::EPassed;
  if (!operation->IsResendRequiredOp()) {
    LOG_WARNING("Attempted to push non transaction operation {} into transaction operation queue.",
                operation->GetAction());
    return EPushResult::ENothing;
  }
  {
    CLock lock(mQueueMutex);
    LOG_DEBUG("Now queue has {} OP(s). Pushing {} to Transaction Op Queue.", mResendReqOpQueue.size(),
              operation->GetAction());
    operation->MarkResend();
    mResendReqOpQueue.push_back(operation);
    mUnreportedDepths.push_back(mResendReqOpQueue.size());
  }
  UpdateDiagQueueSizeTxMsg();
  return EPushResult::EPassed;
}

void COperationQueueManager::PopResendReqOperation()
{
  LOG_ENTRY("COperationQueueManager");
  const auto head = GetResendReqOperation();
  if (!head) return;
  LOG_DEBUG("Popping {} in transaction queue.", (*head)->GetAction());
  ClearFromStore(**head);
  COperation next;
  {
    CLock lock(mQueueMutex);
    if (mResendReqOpQueue.empty() || mResendReqOpQueue.front() != *head) return;
    mResendReqOpQueue.pop_front();
    mUnreportedDepths.push_back(mResendReqOpQueue.size());
    if (!mResendReqOpQueue.empty()) next = mResendReqOpQueue.front();
  }
  UpdateDiagQueueSizeTxMsg();
  if (next) {
    LOG_DEBUG("Now the head of transaction queue is {}.", next->GetAction());
  } else {
    LOG_DEBUG("Now the transaction queue is empty.");
  }
}

void COperationQueueManager::ClearFromStore(const COutCallOperationBase& operation)
{
  // A message that was stored under other settings than those of now has to go as well, or it would be sent again after
  // every restart.
  const std::string& id = operation.GetMessageId();
  if (!IsToBeStored(operation) && !mStorageManager.IsStored(id)) return;
  const auto result = mStorageManager.Clear(id);
  if (result == IPersistentMessageStorageManager::EClearResult::ECleared) {
    LOG_DEBUG("Cleared {}(ID:{}) from storage.", operation.GetAction(), id);
  } else {
    LOG_DEBUG("Clearing {}(ID:{}) from storage failed:, reason: {}", operation.GetAction(), id,
              static_cast<int>(result));
  }
}

bool COperationQueueManager::IsOpQueueEmpty() const
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  return mOpQueue.empty();
}

bool COperationQueueManager::IsResendReqOpQueueEmpty() const
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  return mResendReqOpQueue.empty();
}

std::optional<IOperationQueueManager::COperation> COperationQueueManager::GetResendReqOperation() const
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  if (mResendReqOpQueue.empty()) return std::nullopt;
  return mResendReqOpQueue.front();
}

std::optional<IOperationQueueManager::COperation> COperationQueueManager::GetAndPopOperation()
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  if (mOpQueue.empty()) return std::nullopt;
  COperation front = std::move(mOpQueue.front());
  mOpQueue.pop_front();
  return front;
}

std::optional<IOperationQueueManager::COperation> COperationQueueManager::GetFrontOperation() const
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  if (mOpQueue.empty()) return std::nullopt;
  return mOpQueue.front();
}

size_t COperationQueueManager::GetNumOpInOpQueue() const
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  return mOpQueue.size();
}

size_t COperationQueueManager::GetNumOpInResendReqOpQueue() const
{
  LOG_ENTRY("COperationQueueManager");
  CLock lock(mQueueMutex);
  return mResendReqOpQueue.size();
}

void COperationQueueManager::UpdateStoredPayload(const COperation& operation)
{
  LOG_ENTRY("COperationQueueManager");
  if (!mIsPrimaryBackoffice || !mStorageManager.IsStored(operation->GetMessageId())) return;
  mStorageManager.UpdatePayload(*operation);
}

void COperationQueueManager::UpdateDiagQueueSizeTxMsg()
{
  CLock lock(mQueueMutex);
  if (mIsReporting) return;  // whoever reports takes our depth as well
  mIsReporting = true;
  while (!mUnreportedDepths.empty()) {
    const size_t depth = mUnreportedDepths.front();
    mUnreportedDepths.pop_front();
    const bool isWorthReporting = IsDepthWorthReporting(depth);
    lock.Unlock();
    if (isWorthReporting) {
      LOG_DEBUG("Sending Tx message queue sized ({}) to diagnostics", depth);
      mDiagnostics.SetTransactionQueueSize(static_cast<uint32_t>(depth));
    } else {
      LOG_DEBUG("Trivial Tx message queue sized ({}), do not send to diagnostics", depth);
    }
    lock.Lock();
  }
  mIsReporting = false;
}

bool COperationQueueManager::IsDepthWorthReporting(size_t depth)
{
  const bool isWorthReporting = mTxQueueSizeReported || depth >= 2;
  mTxQueueSizeReported = isWorthReporting && depth > 0;
  return isWorthReporting;
}
