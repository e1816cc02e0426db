#include "src/components/operation/ocpp_common/operationhandler.h"

#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/boundedwait.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/operation/ocpp_common/ioperationqueuemanager.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"
#include "src/components/operation/ocpp_common/payloadfault.h"

namespace {

constexpr std::chrono::seconds kSendHalt{1};

// Complains once about a callback that nobody installed.
class CMissingCallback {
 public:
  explicit CMissingCallback(std::function<void()> complain) : mComplain(std::move(complain)) {}
  void operator()()
  {
    if (!mHasComplained->exchange(true)) mComplain();
  }

 private:
  std::function<void()> mComplain;
  std::shared_ptr<std::atomic<bool>> mHasComplained = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace

COperationHandler::COperationHandler(IClock& clock, std::shared_ptr<IOperationFactory> operationFactory,
                                     std::shared_ptr<IOperationQueueManager> queueManager,
                                     IDiagnosticsClientHandler* diagnostics, CConnectors connectors)
    : mClock(clock),
      mOperationFactory(std::move(operationFactory)),
      mQueueManager(std::move(queueManager)),
      mDiagnostics(diagnostics),
      mConnectors(std::move(connectors)),
      mWiring(std::make_shared<SWiring>(DefaultWiring())),
      mExecutor(clock, "operationtimer")
{
  mExecutor.Start();
}

COperationHandler::~COperationHandler()
{
  LOG_ENTRY("COperationHandler");
  StopExecutor();
  // Drops the timers that wait, and returns after one in flight.
  mExecutor.Stop();
}

COperationHandler::SWiring COperationHandler::DefaultWiring()
{
  SWiring wiring;
  wiring.isBackofficeOnlineCB =
      [missing = CMissingCallback([] { LOG_ERROR("get backoffice online status callback not set"); })]() mutable {
        missing();
        return false;
      };
  wiring.sendCB = [missing =
                       CMissingCallback([] { LOG_ERROR("send callback is not set."); })](const std::string&) mutable {
    missing();
    return false;
  };
  wiring.sendTimeoutCB = [missing = CMissingCallback([] { LOG_ERROR("send timeout callback is not set."); })](
                             const COperation&) mutable { missing(); };
  wiring.resetSendTimeoutCB = CMissingCallback([] { LOG_ERROR("reset send timeout callback is not set."); });
  wiring.isBlockingTimerActiveCB = [] { return false; };
  return wiring;
}

template <typename TChange>
void COperationHandler::Rewire(TChange change)
{
  CWiring previous;  // destroyed without the lock
  CLock lock(mWiringMutex);
  auto wiring = std::make_shared<SWiring>(*mWiring);
  change(*wiring);
  previous = std::exchange(mWiring, std::move(wiring));
}

template <typename TCallback>
void COperationHandler::Assign(TCallback SWiring::*slot, TCallback callback)
{
  if (!callback) {
    LOG_WARNING("Assigned callback is nullptr, ignore assignment.");
    return;
  }
  Rewire([&](SWiring& wiring) { (wiring.*slot).swap(callback); });
}

COperationHandler::CWiring COperationHandler::GetWiring() const
{
  CLock lock(mWiringMutex);
  return mWiring;
}

void COperationHandler::SetMsgConfig(const SMsgConfig& config)
{
  LOG_ENTRY("COperationHandler");
  Rewire([&](SWiring& wiring) { wiring.msgConfig = config; });
}

std::chrono::seconds COperationHandler::GetMessageTimeout() const { return GetWiring()->msgConfig.messageTimeout; }

uint32_t COperationHandler::GetMaxResendAttempts() const { return GetWiring()->msgConfig.transactionMessageAttempts; }

std::chrono::seconds COperationHandler::GetResendInterval() const
{
  return GetWiring()->msgConfig.transactionMessageRetryInterval;
}

void COperationHandler::SetIsBackofficeOnlineCB(std::function<bool()> callback)
{
  LOG_ENTRY("COperationHandler");
  Assign(&SWiring::isBackofficeOnlineCB, std::move(callback));
}

void COperationHandler::SetSendCB(std::function<bool(const std::string&)> callback)
{
  LOG_ENTRY("COperationHandler");
  Assign(&SWiring::sendCB, std::move(callback));
}

void COperationHandler::SetSendTimeoutCB(std::function<void(const COperation&)> callback)
{
  LOG_ENTRY("COperationHandler");
  Assign(&SWiring::sendTimeoutCB, std::move(callback));
}

void COperationHandler::SetResetSendTimeoutCB(std::function<void()> callback)
{
  LOG_ENTRY("COperationHandler");
  Assign(&SWiring::resetSendTimeoutCB, std::move(callback));
}

void COperationHandler::SetIsHandlingAllowedCB(std::function<bool(EDirection)> callback)
{
  LOG_ENTRY("COperationHandler");
  Assign(&SWiring::isHandlingAllowedCB, std::move(callback));
}

void COperationHandler::SetGetOcppStatusCB(std::function<EOcppStatus()> callback)
{
  LOG_ENTRY("COperationHandler");
  Assign(&SWiring::getOcppStatusCB, std::move(callback));
}

void COperationHandler::SetIsBlockingTimerActiveCB(std::function<bool()> callback)
{
  LOG_ENTRY("COperationHandler");
  Assign(&SWiring::isBlockingTimerActiveCB, std::move(callback));
}

void COperationHandler::SetFilters(const SOperationFilters& filters)
{
  LOG_ENTRY("COperationHandler");
  Rewire([&](SWiring& wiring) { wiring.filters = filters; });
}

bool COperationHandler::HasOutCall() const
{
  CLock lock(mOutCallMutex);
  return mOutCall.operation != nullptr;
}

std::string COperationHandler::GetOutCallId() const
{
  CLock lock(mOutCallMutex);
  return mOutCall.operation ? mOutCall.operation->GetMessageId() : std::string();
}

uint32_t COperationHandler::GetResendAttempts() const
{
  CLock lock(mQueueMutex);
  return mResendAttempts;
}

bool COperationHandler::IsResendBackoffActive() const
{
  CLock lock(mQueueMutex);
  return mResendBackoff.isSet;
}

EPushResult COperationHandler::PushResendReqOperation(const COperation& operation)
{
  LOG_ENTRY("COperationHandler");
  if (!operation) {
    LOG_ERROR("Operation is null");
    return EPushResult::ENothing;
  }
  const auto result = mQueueManager->PushResendReqOperation(operation);
  Notify();
  return result;
}

EPushResult COperationHandler::PushOutCallOperation(const COperation& operation)
{
  LOG_ENTRY("COperationHandler");
  if (!operation) {
    LOG_ERROR("Operation is null");
    return EPushResult::ENothing;
  }
  const auto result = mQueueManager->PushOutOperation(operation);
  Notify();
  return result;
}

void COperationHandler::Notify()
{
  CLock lock(mQueueMutex);
  ++mChanges;
  mClock.NotifyAll(mCondition);
}

void COperationHandler::StopExecutor()
{
  LOG_ENTRY("COperationHandler");
  CLock lock(mQueueMutex);
  mIsRunning = false;
  mClock.NotifyAll(mCondition);
}

void COperationHandler::RunExecutor()
{
  LOG_ENTRY("COperationHandler");
  for (;;) {
    uint64_t seen = 0;
    {
      CLock lock(mQueueMutex);
      if (!mIsRunning) return;
      seen = mChanges;
    }
    if (const auto operation = SelectOperation()) {
      SendSelected(operation);
      continue;
    }
    CLock lock(mQueueMutex);
    while (mIsRunning && mChanges == seen) mClock.Wait(lock, mCondition);
  }
}

COperationHandler::COperation COperationHandler::SelectOperation()
{
  if (HasOutCall()) return nullptr;
  if (auto operation = mQueueManager->GetAndPopOperation()) return *operation;
  {
    CLock lock(mQueueMutex);
    if (mResendBackoff.isSet || mSendHalt.isSet) return nullptr;
  }
  const auto wiring = GetWiring();
  if (!wiring->getOcppStatusCB || wiring->getOcppStatusCB() != EOcppStatus::EAccepted) return nullptr;
  return mQueueManager->GetResendReqOperation().value_or(nullptr);
}

// Whatever goes wrong with one operation, the sender thread lives.
void COperationHandler::SendSelected(const COperation& operation)
{
  try {
    HandleOutCall(operation);
  } catch (...) {
    LOG_ERROR("Sending {} failed. {}", operation->GetAction(), CurrentPayloadFault().text);
    HaltSending(operation);
  }
}

void COperationHandler::HandleOutCall(const COperation& operation)
{
  LOG_ENTRY("COperationHandler");
  if (!HandleResendRequiredOp(operation)) return;
  if (!SendOutCall(operation)) HaltSending(operation);
}

void COperationHandler::HaltSending(const COperation& operation)
{
  // Comes once a second while the link is closed and a transaction message waits.
  LOG_DEBUG("Halt sending of out call operation: {}", operation->GetAction());
  HaltTransactions();
  // Stale by the time the link returns, so nobody sends it again.
  if (!operation->IsResendRequiredOp() && !IsResultFiltered(*operation)) GiveUp(*operation);
}

void COperationHandler::HaltTransactions() { SetFor(&COperationHandler::mSendHalt, kSendHalt); }

bool COperationHandler::HandleResendRequiredOp(const COperation& operation)
{
  LOG_DEBUG("OCPP-CP-Req : {}: {} attempt", operation->GetAction(), operation->IsResent() ? "Reschedule" : "New");
  if (!operation->IsResendRequiredOp()) return true;
  if (operation->IsResent()) {
    UpdateTransactionId(operation);
    return true;
  }
  mQueueManager->PushResendReqOperation(operation);
  Notify();
  // Nothing is popped while no call is in flight, so the head says whether the queue had been empty. There is no head
  // on a backoffice without a transaction queue.
  const auto head = mQueueManager->GetResendReqOperation();
  if (!head || *head == operation) {
    UpdateTransactionId(operation);
    return true;
  }
  LOG_INFO("Resend required queue is not empty, {} in the queue, the head of the queue is {}.",
           mQueueManager->GetNumOpInResendReqOpQueue(), (*head)->GetAction());
  return false;
}

// Right before sending: only then has all that is ahead been answered or given up, so that the current id is that of
// this message's transaction.
void COperationHandler::UpdateTransactionId(const COperation& operation)
{
  try {
    const auto index = operation->GetConnectorIndex();
    if (!index || *index >= mConnectors.size() || !mConnectors[*index]) return;
    const int64_t transactionId = mConnectors[*index]->GetTransactionId();
    // A message that is still stored after a restart finds its id at the connector, but for one that was answered with
    // the end of the transaction just before.
    if (!operation->EndsTransaction()) {
      operation->UpdateTransactionId(transactionId);
      return;
    }
    const std::string before = operation->GetPayload();
    operation->UpdateTransactionId(transactionId);
    if (operation->GetPayload() != before) mQueueManager->UpdateStoredPayload(operation);
  } catch (...) {
    // The message itself must not be lost for that.
    LOG_ERROR("Cannot update the transaction id of {}. {}", operation->GetAction(), CurrentPayloadFault().text);
  }
}

bool COperationHandler::IsSendingAllowed(const COutCallOperationBase& operation, const SWiring& wiring) const
{
  const auto status = wiring.getOcppStatusCB ? wiring.getOcppStatusCB() : EOcppStatus::ENone;
  const bool isBlocked = wiring.isBlockingTimerActiveCB && wiring.isBlockingTimerActiveCB();
  if (status != EOcppStatus::EAccepted) {
    if (!operation.IsBootNotificationOp()) return false;
    if (status != EOcppStatus::ENone && isBlocked) return false;
  }
  if (!wiring.isBackofficeOnlineCB || !wiring.isBackofficeOnlineCB()) return false;
  if (!wiring.sendCB) {
    LOG_ERROR("No Send callback is missing.");
    return false;
  }
  return true;
}

bool COperationHandler::SendOutCall(const COperation& operation)
{
  const auto wiring = GetWiring();
  if (!IsSendingAllowed(*operation, *wiring)) return false;
  const std::string frame = operation->GetRequestFrame();
  const uint64_t number = OccupySlot(operation);
  const auto level = operation->IsInfoLogLevel() ? Log::ELogLevel::EInfo : Log::ELogLevel::EDebug;
  if (Log::IsEnabled(level)) {
    std::string text = operation->GetRequestLogText();
    if (text.empty()) text = operation->GetPayload();
    SECC_LOG(level, "[{}] OCPP-CP-Req : {}[{}]: {}", BackofficeName(operation->GetBackofficeId()),
             operation->GetAction(), operation->GetMessageId(), text);
  }
  StartTimeoutCheck(number, wiring->msgConfig.messageTimeout);
  wiring->sendCB(frame);
  return true;
}

uint64_t COperationHandler::OccupySlot(const COperation& operation)
{
  COperation previous;  // destroyed without the lock
  CLock lock(mOutCallMutex);
  if (mOutCall.operation) {
    // Whoever sends past the sender thread takes over the slot with the timer that runs.
    previous = std::exchange(mOutCall.operation, operation);
  } else {
    mOutCall = SOutCall{operation, ++mLastNumber, false, nullptr};
  }
  return mOutCall.number;
}

void COperationHandler::StartTimeoutCheck(uint64_t number, std::chrono::seconds timeout)
{
  bool exists = false;
  {
    CLock lock(mOutCallMutex);
    exists = mOutCall.timeoutCheck != nullptr;
  }
  if (exists) {
    LOG_WARNING("mOutCallTimeoutCheck already exists. Ignore this overwrite");
    return;
  }
  auto timer = mExecutor.AddCall([this, number] { HandleResponseTimeout(number); },
                                 mClock.SteadyNow() + BoundedWait(timeout), std::chrono::nanoseconds(0));
  {
    CLock lock(mOutCallMutex);
    if (mOutCall.operation && mOutCall.number == number) mOutCall.timeoutCheck.swap(timer);
  }
  // The slot was freed meanwhile.
  if (timer) timer->Cancel(false);
}

void COperationHandler::SetFor(STimedFlag COperationHandler::*flag, std::chrono::seconds duration)
{
  CCallHandle previous;
  uint64_t run = 0;
  {
    CLock lock(mQueueMutex);
    (this->*flag).isSet = true;
    run = ++(this->*flag).run;
    previous.swap((this->*flag).timer);
  }
  if (previous) previous->Cancel(false);
  auto timer = mExecutor.AddCall(
      [this, flag, run] {
        {
          CLock lock(mQueueMutex);
          if ((this->*flag).run != run) return;
          (this->*flag).isSet = false;
        }
        Notify();
      },
      mClock.SteadyNow() + BoundedWait(duration), std::chrono::nanoseconds(0));
  CLock lock(mQueueMutex);
  if ((this->*flag).run == run) (this->*flag).timer.swap(timer);
}
