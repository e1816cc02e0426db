#pragma once

#include <array>
#include <atomic>
#include <optional>

#include "platform/clock/mutex.h"
#include "platform/worker/worker.h"
#include "src/components/operation/ocpp_common/ioperationhandler.h"

class CInCallOperationBase;
class IDiagnosticsClientHandler;
class IOperationFactory;
class IOperationQueueManager;
class ISessionClientHandler;
struct SPayloadFault;

// One sender thread (RunExecutor) sends, one receive thread hands in frames, the timers run on a worker of its own, and
// anybody may push.
//
// At most one CALL is in flight. Its slot is claimed by exactly one of answer, error and time-out, which then acts
// without a lock and frees the slot last: whatever the answer changed (a transaction id, the head of the transaction
// queue, the acceptance) holds before the next CALL is chosen.
//
// Locks: mQueueMutex, mOutCallMutex and mWiringMutex are leaves, none is ever taken inside another. No lock is held
// while a frame is written, an operation reacts, or a callback, the queue manager, the factory, a connector or
// diagnostics is called, so any of them may call back. The sender thread therefore does not wait with the queues
// locked: it notes mChanges, looks for work, and sleeps only if nothing has changed since.
class COperationHandler : public IOperationHandler {
 public:
  static constexpr size_t kNumConnectors = 1;
  // Sources of the current transaction id; entry 0 is connector 1. An empty one is left out.
  using CConnectors = std::array<std::shared_ptr<ISessionClientHandler>, kNumConnectors>;

  // `diagnostics` is told of malformed incoming calls; it is borrowed and may be null.
  COperationHandler(IClock& clock, std::shared_ptr<IOperationFactory> operationFactory,
                    std::shared_ptr<IOperationQueueManager> queueManager, IDiagnosticsClientHandler* diagnostics,
                    CConnectors connectors);
  // RunExecutor must have returned, and no frame may be on its way in.
  ~COperationHandler() override;
  COperationHandler(const COperationHandler&) = delete;
  COperationHandler& operator=(const COperationHandler&) = delete;

  void SetMsgConfig(const SMsgConfig& config) override;
  std::chrono::seconds GetMessageTimeout() const override;
  bool HasOutCall() const override;
  std::string GetOutCallId() const override;
  void SendErrorResponse(const std::string& id, EInCallError error) override;
  void HandleInCall(const std::string& id, const std::string& action, const std::string& payload,
                    EBackofficeId backoffice) override;
  void HandleInResult(const std::string& id, const std::string& payload, EBackofficeId backoffice) override;
  void HandleInError(const std::string& id, const std::string& code, const std::string& description,
                     const std::string& details, EBackofficeId backoffice) override;
  void HandleOutCall(const COperation& operation) override;
  EPushResult PushResendReqOperation(const COperation& operation) override;
  EPushResult PushOutCallOperation(const COperation& operation) override;
  uint32_t GetResendAttempts() const override;
  uint32_t GetMaxResendAttempts() const override;
  std::chrono::seconds GetResendInterval() const override;
  bool IsResendBackoffActive() const override;
  void StopExecutor() override;
  void SetIsBackofficeOnlineCB(std::function<bool()> callback) override;
  void SetSendCB(std::function<bool(const std::string&)> callback) override;
  void SetSendTimeoutCB(std::function<void(const COperation&)> callback) override;
  void SetResetSendTimeoutCB(std::function<void()> callback) override;
  void SetIsHandlingAllowedCB(std::function<bool(EDirection)> callback) override;
  void SetGetOcppStatusCB(std::function<EOcppStatus()> callback) override;
  void SetIsBlockingTimerActiveCB(std::function<bool()> callback) override;
  void SetFilters(const SOperationFilters& filters) override;
  void RunExecutor() override;

 private:
  // What is installed from outside. Never changed in place: a change puts a new record there.
  struct SWiring {
    SMsgConfig msgConfig;
    SOperationFilters filters;
    std::function<bool()> isBackofficeOnlineCB;
    std::function<bool(const std::string&)> sendCB;
    std::function<void(const COperation&)> sendTimeoutCB;
    std::function<void()> resetSendTimeoutCB;
    std::function<bool(EDirection)> isHandlingAllowedCB;
    std::function<EOcppStatus()> getOcppStatusCB;
    std::function<bool()> isBlockingTimerActiveCB;
  };
  using CWiring = std::shared_ptr<const SWiring>;

  // The CALL in flight.
  struct SOutCall {
    COperation operation;
    uint64_t number = 0;     // tells its timer from that of an earlier call
    bool isClaimed = false;  // answer, error or time-out is being handled
    CCallHandle timeoutCheck;
  };
  struct SClaim {
    COperation operation;
    uint64_t number = 0;
  };
  // Frees the slot of a claimed call at the end of the scope, however that is left.
  class CSlotGuard;

  // A flag that a timer clears.
  struct STimedFlag {
    bool isSet = false;
    uint64_t run = 0;  // tells the present timer from an earlier one that is about to fire
    CCallHandle timer;
  };

  static SWiring DefaultWiring();
  template <typename TChange>
  void Rewire(TChange change) EXCLUDES(mWiringMutex);
  template <typename TCallback>
  void Assign(TCallback SWiring::*slot, TCallback callback);
  CWiring GetWiring() const EXCLUDES(mWiringMutex);

  // The sender's side.
  COperation SelectOperation();
  void SendSelected(const COperation& operation);
  bool HandleResendRequiredOp(const COperation& operation);
  void UpdateTransactionId(const COperation& operation);
  bool SendOutCall(const COperation& operation);
  bool IsSendingAllowed(const COutCallOperationBase& operation, const SWiring& wiring) const;
  void HaltSending(const COperation& operation);
  uint64_t OccupySlot(const COperation& operation) EXCLUDES(mOutCallMutex);
  void StartTimeoutCheck(uint64_t number, std::chrono::seconds timeout) EXCLUDES(mOutCallMutex);
  void HandleResponseTimeout(uint64_t number);
  void Notify() EXCLUDES(mQueueMutex);
  void NoteForeignError(const COutCallOperationBase& operation) EXCLUDES(mQueueMutex);
  // No transaction message goes out for a second.
  void HaltTransactions() EXCLUDES(mQueueMutex);
  void SetFor(STimedFlag COperationHandler::*flag, std::chrono::seconds duration) EXCLUDES(mQueueMutex);

  // Frames that come in.
  template <typename TPredicate>
  std::optional<SClaim> ClaimOutCall(const TPredicate& predicate) EXCLUDES(mOutCallMutex);
  void FreeSlot(uint64_t number) EXCLUDES(mOutCallMutex);
  void ProcessResult(COutCallOperationBase& operation, const std::string& payload, const std::string& name);
  static void GiveUp(COutCallOperationBase& operation);
  bool IsResultFiltered(const COutCallOperationBase& operation) const;
  void CountCallError(COutCallOperationBase& operation, const std::string& code, const std::string& name);
  void PopTransactionOperation();
  bool IsAnswerable(const std::string& id, const std::string& name);
  std::optional<EInCallError> CheckInCall(const std::string& action, const std::string& payload, EInOpType type,
                                          const std::string& name);
  void ExecuteInCall(CInCallOperationBase& operation, const std::string& action, const std::string& payload,
                     const std::string& name);
  void ReportInvalidMessage(const std::string& text);

  // Constant after construction.
  IClock& mClock;
  const std::shared_ptr<IOperationFactory> mOperationFactory;
  const std::shared_ptr<IOperationQueueManager> mQueueManager;
  IDiagnosticsClientHandler* const mDiagnostics;
  const CConnectors mConnectors;

  mutable CMutex mWiringMutex;
  CWiring mWiring GUARDED_BY(mWiringMutex);

  mutable CMutex mOutCallMutex;
  SOutCall mOutCall GUARDED_BY(mOutCallMutex);
  uint64_t mLastNumber GUARDED_BY(mOutCallMutex) = 0;

  mutable CMutex mQueueMutex;
  CCondition mCondition;  // mIsRunning or mChanges changed
  bool mIsRunning GUARDED_BY(mQueueMutex) = true;
  // Counts what may give the sender work: pushes, a freed slot, the end of a wait.
  uint64_t mChanges GUARDED_BY(mQueueMutex) = 0;
  // CALLERRORs for the head of the transaction queue.
  uint32_t mResendAttempts GUARDED_BY(mQueueMutex) = 0;
  // The transaction message whose call an error with another id has ended last.
  std::string mForeignErrorId GUARDED_BY(mQueueMutex);
  STimedFlag mResendBackoff GUARDED_BY(mQueueMutex);
  STimedFlag mSendHalt GUARDED_BY(mQueueMutex);

  // The timer thread; the last member, so that it ends before what its calls use.
  CWorker mExecutor;
};
