#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "src/components/operation/ocpp_common/operationbase.h"
#include "src/components/operation/ocpp_common/operationparameters.h"

// How the queues treat an out-call.
enum class EOutCallKind : int {
  EOrdinary = 0,          // sent once; lost when the link is closed at that moment
  EResendRequired = 1,    // kept in order at the head of the transaction queue until it is answered
  EBootNotification = 2,  // allowed before the backoffice has accepted the station
};

// A CALL that this station starts.
class COutCallOperationBase : public COperationBase {
 public:
  using COperationBase::COperationBase;

  // The action name as the frame carries it.
  virtual const std::string& GetAction() const = 0;
  // Fills the request from `parameters` and the system, and serialises it. Throws what filling and serialising throw
  // (a constraint exception, an exception of the JSON library); the operation then has no payload.
  virtual void Prepare(const COperationParameters& parameters) = 0;
  // The whole CALL frame.
  virtual std::string GetRequestFrame() const = 0;
  // The payload as compact JSON text; "null" before there is one.
  virtual std::string GetPayload() const = 0;
  // What to log in place of the request's (the response's) payload; empty: the payload itself.
  virtual std::string GetRequestLogText() const = 0;
  virtual std::string GetResponseLogText() const = 0;
  // True: logged at info level; false: at debug level.
  virtual bool IsInfoLogLevel() const = 0;
  // Reads the answer's payload and reacts to it. Throws on an answer that does not conform: exceptions of the JSON
  // library, constraint exceptions, and a plain text pointer for an unknown enumeration value.
  virtual void HandleResponse(const std::string& payload) = 0;
  // True for an operation that must reach the backoffice, in order.
  virtual bool IsResendRequiredOp() const = 0;
  // True for an operation that must also survive a restart.
  virtual bool IsPersistentOp() const = 0;
  virtual bool IsBootNotificationOp() const = 0;
  // True once the operation has entered the transaction queue.
  virtual bool IsResent() const = 0;
  // Flags the operation as resent; nothing for one that is not resend-required.
  virtual void MarkResend() = 0;
  // Puts the transaction id that became known meanwhile into the payload, where the message has one.
  virtual void UpdateTransactionId(int64_t transactionId) = 0;
  // The transaction that the message belongs to (see ISessionClientHandler), kept with it over a restart: empty for one
  // outside of a transaction, nothing for a message that asks for no transaction's id.
  virtual std::optional<std::string> GetTransactionKey() const { return std::nullopt; }
  virtual void SetTransactionKey(const std::string& /*key*/) {}
  // True when the connector forgets the transaction id with the answer to this message.
  virtual bool EndsTransaction() const { return false; }
  // The connector id parameter minus 1; empty without the parameter and for connector id 0.
  virtual std::optional<uint8_t> GetConnectorIndex() const = 0;
  // To be called when no answer came in time.
  virtual void Timeout() = 0;
  // To be called when the operation will never have its answer: it was given up after errors, or what came could not be
  // read. By default nothing.
  virtual void GiveUp() {}
  // A copy with the same id and payload.
  virtual std::shared_ptr<COutCallOperationBase> Clone() const = 0;
};
