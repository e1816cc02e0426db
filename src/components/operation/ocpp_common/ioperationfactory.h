#pragma once

#include <memory>
#include <string>

#include "src/components/backofficeid.h"
#include "src/components/operation/ocpp_common/operationtypes.h"

class CErrorOperation;
class CInCallOperationBase;
class COutCallOperationBase;
enum class EInCallError : int;
struct SMessage;

// Makes the operations of one OCPP version. Safe from any thread.
class IOperationFactory {
 public:
  virtual ~IOperationFactory() = default;

  // An operation with a new id, or empty.
  virtual std::shared_ptr<COutCallOperationBase> CreateOutOperation(EOutOpType type) = 0;
  // The operation that a stored message came from, with its id, or empty.
  virtual std::shared_ptr<COutCallOperationBase> CreateOutOperation(const SMessage& message) = 0;
  // An operation for an incoming call, or empty for an action that the station does not offer. An action without any
  // entry throws std::bad_function_call.
  virtual std::shared_ptr<CInCallOperationBase> CreateInOperation(const std::string& id, EInOpType type,
                                                                  EBackofficeId backoffice) = 0;
  virtual std::shared_ptr<CErrorOperation> CreateErrorResponse(const std::string& id, EInCallError error) = 0;
  // True: incoming calls of this type are logged at info level, unknown ones included; false: at debug level. The
  // operation that is created says the same of its answer.
  virtual bool IsInfoLogLevel(EInOpType type) const = 0;
};
