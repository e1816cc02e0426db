#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <typeindex>

#include "src/components/backofficeid.h"
#include "src/components/ocppstatus.h"
#include "src/components/operation/ocpp_common/operationtypes.h"
#include "src/components/pushresult.h"

class COutCallOperationBase;
enum class EInCallError : int;

// Limits of one backoffice's traffic.
struct SMsgConfig {
  uint32_t transactionMessageAttempts = 0;                  // CALLERRORs before a transaction message is given up
  std::chrono::seconds transactionMessageRetryInterval{0};  // multiplied by the number of CALLERRORs so far
  std::chrono::seconds messageTimeout{0};                   // wait for an answer
};

// What a backoffice may not do to the station.
struct SOperationFilters {
  std::set<EInOpType> inCalls;               // incoming calls dropped without an answer
  std::set<std::type_index> outCallResults;  // classes of out-calls whose results are not processed
};

enum class EDirection : uint8_t { EOutgoing = 0, EIncoming = 1 };

// Traffic controller of one backoffice connection: one CALL in flight at a time, answers matched to it, incoming calls
// executed and answered. Safe from any thread.
class IOperationHandler {
 public:
  using COperation = std::shared_ptr<COutCallOperationBase>;

  virtual ~IOperationHandler() = default;

  virtual void SetMsgConfig(const SMsgConfig& config) = 0;
  virtual std::chrono::seconds GetMessageTimeout() const = 0;
  virtual bool HasOutCall() const = 0;
  // Message id of the call in flight; empty without one.
  virtual std::string GetOutCallId() const = 0;
  virtual void SendErrorResponse(const std::string& id, EInCallError error) = 0;
  virtual void HandleInCall(const std::string& id, const std::string& action, const std::string& payload,
                            EBackofficeId backoffice) = 0;
  virtual void HandleInResult(const std::string& id, const std::string& payload, EBackofficeId backoffice) = 0;
  virtual void HandleInError(const std::string& id, const std::string& code, const std::string& description,
                             const std::string& details, EBackofficeId backoffice) = 0;
  virtual void HandleOutCall(const COperation& operation) = 0;
  virtual EPushResult PushResendReqOperation(const COperation& operation) = 0;
  virtual EPushResult PushOutCallOperation(const COperation& operation) = 0;
  virtual uint32_t GetResendAttempts() const = 0;
  virtual uint32_t GetMaxResendAttempts() const = 0;
  virtual std::chrono::seconds GetResendInterval() const = 0;
  virtual bool IsResendBackoffActive() const = 0;
  virtual void StopExecutor() = 0;
  virtual void SetIsBackofficeOnlineCB(std::function<bool()> callback) = 0;
  virtual void SetSendCB(std::function<bool(const std::string&)> callback) = 0;
  virtual void SetSendTimeoutCB(std::function<void(const COperation&)> callback) = 0;
  virtual void SetResetSendTimeoutCB(std::function<void()> callback) = 0;
  virtual void SetIsHandlingAllowedCB(std::function<bool(EDirection)> callback) = 0;
  virtual void SetGetOcppStatusCB(std::function<EOcppStatus()> callback) = 0;
  virtual void SetIsBlockingTimerActiveCB(std::function<bool()> callback) = 0;
  virtual void SetFilters(const SOperationFilters& filters) = 0;
  // Body of the sender thread; returns after StopExecutor.
  virtual void RunExecutor() = 0;
};
