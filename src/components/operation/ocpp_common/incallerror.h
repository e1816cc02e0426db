#pragma once

#include <stdexcept>
#include <string>

// The error codes of a CALLERROR (OCPP-J 1.6 section 4.2.3).
enum class EInCallError : int {
  ENotImplemented = 0,
  ENotSupported = 1,
  EInternalError = 2,
  EProtocolError = 3,
  ESecurityError = 4,
  EFormationViolation = 5,
  EPropertyConstraintViolation = 6,
  EOccurenceConstraintViolation = 7,
  ETypeConstraintViolation = 8,
  EGenericError = 9,
};

// What a CALLERROR says. Thrown by an in-call's Action to answer with a code of its choice; what() is
// "<code>: <description>".
class CInCallError : public std::runtime_error {
 public:
  // Code and description of the table; a value outside it counts as EInternalError.
  explicit CInCallError(EInCallError error);
  // Code, description and details (JSON text) of the caller's own; they go into the frame as they are.
  CInCallError(const std::string& code, const std::string& description, const std::string& details = "{}");

  const std::string& GetCode() const { return mCode; }
  const std::string& GetDescription() const { return mDescription; }
  const std::string& GetDetails() const { return mDetails; }

 private:
  std::string mCode;
  std::string mDescription;
  std::string mDetails;
};
