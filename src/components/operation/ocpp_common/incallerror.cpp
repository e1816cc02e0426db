#include "src/components/operation/ocpp_common/incallerror.h"

namespace {

struct SErrorText {
  EInCallError error;
  const char* code;
  const char* description;
};

// "OccurenceConstraintViolation" is spelled as OCPP-J 1.6 spells it.
constexpr SErrorText kErrorTexts[] = {
    {EInCallError::ENotImplemented, "NotImplemented", "Requested Action is not known by receiver"},
    {EInCallError::ENotSupported, "NotSupported", "Requested Action is recognized but not supported by the receiver"},
    {EInCallError::EInternalError, "InternalError",
     "An internal error occurred and the receiver was not able to process the requested Action successfully"},
    {EInCallError::EProtocolError, "ProtocolError", "Payload for Action is incomplete"},
    {EInCallError::ESecurityError, "SecurityError",
     "During the processing of Action a security issue occurred preventing receiver from completing the Action "
     "successfully"},
    {EInCallError::EFormationViolation, "FormationViolation",
     "Payload for Action is syntactically incorrect or not conform the PDU structure for Action"},
    {EInCallError::EPropertyConstraintViolation, "PropertyConstraintViolation",
     "Payload is syntactically correct but at least one field contains an invalid value"},
    {EInCallError::EOccurenceConstraintViolation, "OccurenceConstraintViolation",
     "Payload for Action is syntactically correct but at least one of the fields violates occurence constraints"},
    {EInCallError::ETypeConstraintViolation, "TypeConstraintViolation",
     "Payload for Action is syntactically correct but at least one of the fields violates data type constraints"},
    {EInCallError::EGenericError, "GenericError", ""},
};

const SErrorText& TextOf(EInCallError error)
{
  for (const auto& text : kErrorTexts) {
    if (text.error == error) return text;
  }
  return TextOf(EInCallError::EInternalError);
}

}  // namespace

CInCallError::CInCallError(EInCallError error) : CInCallError(TextOf(error).code, TextOf(error).description) {}

CInCallError::CInCallError(const std::string& code, const std::string& description, const std::string& details)
    : std::runtime_error(code + ": " + description), mCode(code), mDescription(description), mDetails(details)
{}
