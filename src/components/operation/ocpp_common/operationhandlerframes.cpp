// What the operation handler does with answers, errors, time-outs and incoming calls.

#include <limits>
#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/operation/ocpp_common/erroroperation.h"
#include "src/components/operation/ocpp_common/incalloperation.h"
#include "src/components/operation/ocpp_common/ioperationfactory.h"
#include "src/components/operation/ocpp_common/ioperationqueuemanager.h"
#include "src/components/operation/ocpp_common/operationhandler.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"
#include "src/components/operation/ocpp_common/payloadfault.h"
#include "src/components/secretmask.h"

namespace {

// OCPP-J 1.6 section 4.1.4.
constexpr size_t kMaxIdLength = 36;
// The code as the frame carries it, with its quotes.
const std::string kNotImplementedCode = "\"NotImplemented\"";
// As much of a foreign text as a diagnostics event repeats.
constexpr size_t kMaxQuotedLength = 50;

Log::ELogLevel LevelOf(bool isInfo) { return isInfo ? Log::ELogLevel::EInfo : Log::ELogLevel::EDebug; }

std::chrono::seconds Multiply(uint32_t attempts, std::chrono::seconds interval)
{
  constexpr auto kMax = std::numeric_limits<int64_t>::max();
  const int64_t seconds = interval.count();
  if (attempts > 0 && seconds > kMax / attempts) return std::chrono::seconds(kMax);
  return std::chrono::seconds(seconds > 0 ? seconds * attempts : 0);
}

void LogResultFault(const SPayloadFault& fault, const std::string& name, const std::string& action)
{
  switch (fault.kind) {
    case EPayloadFault::EMissingMember:
      LOG_ERROR("[{}] Receiving result with invalid payload. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::ENotConforming:
      LOG_ERROR("[{}] Receiving result with non-conforming payload. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::EConstraint:
      LOG_ERROR("[{}] Receiving result with member constraint exception. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::EJson:
    case EPayloadFault::EStandard:
      LOG_ERROR("[{}] An exception is thrown. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::EUnknown:
      LOG_ERROR("[{}] An unknown exception is thrown. {}", name, action);
      return;
  }
}

void LogInCallFault(const SPayloadFault& fault, const std::string& name, const std::string& action)
{
  switch (fault.kind) {
    case EPayloadFault::EMissingMember:
    case EPayloadFault::EJson:
      LOG_ERROR("[{}] Executing incoming call with exception. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::ENotConforming:
      LOG_ERROR("[{}] Receiving incoming call with non-conforming payload. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::EConstraint:
      LOG_ERROR("[{}] Executing incoming call with member constraint exception. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::EStandard:
      LOG_ERROR("[{}] An exception is thrown. {}, {}", name, action, fault.text);
      return;
    case EPayloadFault::EUnknown:
      LOG_ERROR("[{}] An unknown exception is thrown. {}", name, action);
      return;
  }
}

}  // namespace

class COperationHandler::CSlotGuard {
 public:
  CSlotGuard(COperationHandler& handler, uint64_t number) : mHandler(handler), mNumber(number) {}
  ~CSlotGuard() { mHandler.FreeSlot(mNumber); }
  CSlotGuard(const CSlotGuard&) = delete;
  CSlotGuard& operator=(const CSlotGuard&) = delete;

 private:
  COperationHandler& mHandler;
  const uint64_t mNumber;
};

template <typename TPredicate>
std::optional<COperationHandler::SClaim> COperationHandler::ClaimOutCall(const TPredicate& predicate)
{
  CLock lock(mOutCallMutex);
  if (!mOutCall.operation || mOutCall.isClaimed || !predicate(mOutCall)) return std::nullopt;
  mOutCall.isClaimed = true;
  return SClaim{mOutCall.operation, mOutCall.number};
}

void COperationHandler::FreeSlot(uint64_t number)
{
  SOutCall freed;  // destroyed without the lock
  {
    CLock lock(mOutCallMutex);
    if (mOutCall.number == number) std::swap(freed, mOutCall);
  }
  if (freed.timeoutCheck) freed.timeoutCheck->Cancel(false);
  Notify();
}

void COperationHandler::HandleResponseTimeout(uint64_t number)
{
  const auto claim = ClaimOutCall([&](const SOutCall& outCall) { return outCall.number == number; });
  if (!claim) return;
  const CSlotGuard guard(*this, claim->number);
  if (claim->operation->IsBootNotificationOp()) {
    LOG_WARNING("Boot Notification timed out, resending...");
    const auto front = mQueueManager->GetFrontOperation();
    if (!front || !(*front)->IsBootNotificationOp()) mQueueManager->PushOutOperationToFront(claim->operation);
    Notify();
  }
  const auto wiring = GetWiring();
  if (wiring->sendTimeoutCB) wiring->sendTimeoutCB(claim->operation);
}

void COperationHandler::HandleInResult(const std::string& id, const std::string& payload, EBackofficeId backoffice)
{
  LOG_ENTRY("COperationHandler");
  const auto wiring = GetWiring();
  wiring->resetSendTimeoutCB();
  const std::string name = BackofficeName(backoffice);
  if (id.empty()) {
    LOG_WARNING("[{}] Receiving result with empty id. Ignoring this message.", name);
    return;
  }
  bool isExpected = false;
  const auto claim = ClaimOutCall([&](const SOutCall& outCall) {
    isExpected = outCall.operation->GetMessageId() == id;
    return isExpected && !payload.empty();
  });
  if (!isExpected) {
    LOG_INFO("[{}] Receiving result with unexpected id '{}'. Ignoring this message.", name, id);
    return;
  }
  if (!claim) {
    LOG_DEBUG("[{}] Receiving result for id '{}' with empty payload. Ignoring this message.", name, id);
    return;
  }
  const CSlotGuard guard(*this, claim->number);
  if (IsResultFiltered(*claim->operation)) {
    LOG_INFO("In result call from {} is rejected by filter. Response not handled", name);
  } else {
    ProcessResult(*claim->operation, payload, name);
  }
  // An answer that could not be understood is an answer: the message is not repeated.
  if (claim->operation->IsResendRequiredOp()) PopTransactionOperation();
}

void COperationHandler::ProcessResult(COutCallOperationBase& operation, const std::string& payload,
                                      const std::string& name)
{
  try {
    operation.HandleResponse(payload);
    const std::string text = operation.GetResponseLogText();
    SECC_LOG(LevelOf(operation.IsInfoLogLevel()), "[{}] OCPP-CS-Conf: {}[{}]: {}", name, operation.GetAction(),
             operation.GetMessageId(), text.empty() ? payload : text);
  } catch (...) {
    LogResultFault(CurrentPayloadFault(), name, operation.GetAction());
    GiveUp(operation);
  }
}

void COperationHandler::GiveUp(COutCallOperationBase& operation)
{
  try {
    operation.GiveUp();
  } catch (...) {
    LOG_ERROR("Giving up {} failed. {}", operation.GetAction(), CurrentPayloadFault().text);
  }
}

bool COperationHandler::IsResultFiltered(const COutCallOperationBase& operation) const
{
  return GetWiring()->filters.outCallResults.count(std::type_index(operation.GetTypeInfo())) > 0;
}

void COperationHandler::PopTransactionOperation()
{
  mQueueManager->PopResendReqOperation();
  CLock lock(mQueueMutex);
  mResendAttempts = 0;
  ++mChanges;
  mClock.NotifyAll(mCondition);
}

void COperationHandler::HandleInError(const std::string& id, const std::string& code, const std::string& description,
                                      const std::string& details, EBackofficeId backoffice)
{
  LOG_ENTRY("COperationHandler");
  GetWiring()->resetSendTimeoutCB();
  const std::string name = BackofficeName(backoffice);
  LOG_WARNING("[{}] OCPP-CS-Err: [{}]: Code: [{}], Description: [{}], Detail: [{}]", name, id, code, description,
              details);
  if (id.empty()) {
    LOG_WARNING("[{}] Receiving error with empty ID. Ignore this error", name);
    return;
  }
  if (code.empty()) {
    LOG_WARNING("[{}] Receiving error with empty error code. Ignore this error", name);
    return;
  }
  if (details.empty()) {
    LOG_WARNING("[{}] Receiving error with invalide error detail. Ignore this error", name);
    return;
  }
  // An error without a known id is taken as meant for the call in flight: its slot is freed, and nothing is counted.
  const auto claim = ClaimOutCall([](const SOutCall&) { return true; });
  if (!claim) return;
  const CSlotGuard guard(*this, claim->number);
  if (claim->operation->IsResendRequiredOp()) {
    if (claim->operation->GetMessageId() == id) {
      CountCallError(*claim->operation, code, name);
    } else {
      NoteForeignError(*claim->operation);
    }
  } else if (!IsResultFiltered(*claim->operation)) {
    GiveUp(*claim->operation);
  }
}

// One may be a late answer to another call. A central system that cannot read a message answers each attempt like this.
void COperationHandler::NoteForeignError(const COutCallOperationBase& operation)
{
  bool isRepeated = false;
  {
    CLock lock(mQueueMutex);
    isRepeated = mForeignErrorId == operation.GetMessageId();
    mForeignErrorId = operation.GetMessageId();
  }
  if (isRepeated) HaltTransactions();
}

void COperationHandler::CountCallError(COutCallOperationBase& operation, const std::string& code,
                                       const std::string& name)
{
  const SMsgConfig config = GetWiring()->msgConfig;
  uint32_t attempts = 0;
  {
    CLock lock(mQueueMutex);
    attempts = ++mResendAttempts;
  }
  if (code == kNotImplementedCode) {
    LOG_INFO("[{}] {} operation is not implemented by backend. Will not attempt resend", name, operation.GetAction());
  } else if (attempts < config.transactionMessageAttempts) {
    SetFor(&COperationHandler::mResendBackoff, Multiply(attempts, config.transactionMessageRetryInterval));
    return;
  } else {
    LOG_INFO("[{}] {} operation has reached max retry attempts", name, operation.GetAction());
  }
  if (!IsResultFiltered(operation)) GiveUp(operation);
  PopTransactionOperation();
}

void COperationHandler::SendErrorResponse(const std::string& id, EInCallError error)
{
  LOG_ENTRY("COperationHandler");
  const auto operation = mOperationFactory->CreateErrorResponse(id, error);
  GetWiring()->sendCB(operation->GetFrame());
}

void COperationHandler::HandleInCall(const std::string& id, const std::string& action, const std::string& payload,
                                     EBackofficeId backoffice)
{
  LOG_ENTRY("COperationHandler");
  const auto wiring = GetWiring();
  const std::string name = BackofficeName(backoffice);
  const EInOpType type = InOpTypeFromName(action);
  if (mOperationFactory->IsInfoLogLevel(type)) {
    LOG_INFO("[{}] OCPP-CS-Req : {}[{}]: {}", name, id, action, MaskSecrets(payload));
  } else {
    LOG_DEBUG("[{} OCPP-CS-Req : {}[{}]: {}", name, id, action, MaskSecrets(payload));
  }
  wiring->resetSendTimeoutCB();
  if (!wiring->isHandlingAllowedCB || !wiring->isHandlingAllowedCB(EDirection::EIncoming)) return;
  if (!IsAnswerable(id, name)) return;
  if (const auto error = CheckInCall(action, payload, type, name)) {
    SendErrorResponse(id, *error);
    return;
  }
  if (wiring->filters.inCalls.count(type) > 0) {
    LOG_INFO("In call from {} with action {} is rejected by filter. Call ignored", name, action);
    return;
  }
  const auto operation = mOperationFactory->CreateInOperation(id, type, backoffice);
  if (!operation) {
    SendErrorResponse(id, EInCallError::ENotSupported);
    return;
  }
  ExecuteInCall(*operation, action, payload, name);
}

bool COperationHandler::IsAnswerable(const std::string& id, const std::string& name)
{
  if (id.empty()) {
    ReportInvalidMessage(fmt::format("[{}] Receiving call with empty ID", name));
    LOG_WARNING("[{}] Receiving call with empty ID. Ignore this call", name);
    return false;
  }
  if (id.size() > kMaxIdLength) {
    ReportInvalidMessage(
        fmt::format("[{}] Receiving call with ID length ({}) > max ID length ({})", name, id.size(), kMaxIdLength));
    LOG_ERROR("[{}] Max id length is 36 characters, the length of \"{}\" is {}", name, id, id.size());
    return false;
  }
  return true;
}

std::optional<EInCallError> COperationHandler::CheckInCall(const std::string& action, const std::string& payload,
                                                           EInOpType type, const std::string& name)
{
  if (action.empty()) {
    LOG_WARNING("[{}] Receiving call with empty action. Report error", name);
    ReportInvalidMessage(fmt::format("[{}] Receiving call with empty action", name));
    return EInCallError::ENotImplemented;
  }
  if (payload.empty()) {
    ReportInvalidMessage(fmt::format("[{}] Receiving call with empty payload", name));
    return EInCallError::EProtocolError;
  }
  if (type == EInOpType::EInvalid) {
    ReportInvalidMessage(
        fmt::format("[{}] Receiving call with unknown action {}", name, action.substr(0, kMaxQuotedLength)));
    return EInCallError::ENotImplemented;
  }
  return std::nullopt;
}

void COperationHandler::ExecuteInCall(CInCallOperationBase& operation, const std::string& action,
                                      const std::string& payload, const std::string& name)
{
  try {
    const std::string frame = operation.Execute(payload);
    std::string text = operation.GetResponseLogText();
    if (text.empty()) text = operation.GetResponsePayload();
    // An answer that is an error has no payload; then the frame itself tells what goes out.
    SECC_LOG(LevelOf(operation.IsInfoLogLevel()), "[{}] OCPP-CP-Conf: {}[{}]: {}", name, action,
             operation.GetMessageId(), text == "null" ? frame : text);
    const auto wiring = GetWiring();
    if (wiring->sendCB) {
      wiring->sendCB(frame);
    } else {
      LOG_ERROR("[{}] No Send callback is missing.", name);
    }
    operation.PostAction();
  } catch (...) {
    LogInCallFault(CurrentPayloadFault(), name, action);
    SendErrorResponse(operation.GetMessageId(), EInCallError::EFormationViolation);
  }
}

void COperationHandler::ReportInvalidMessage(const std::string& text)
{
  if (mDiagnostics != nullptr) mDiagnostics->ReportInvalidMessage(text);
}
