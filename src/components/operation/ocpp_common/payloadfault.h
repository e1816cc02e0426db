#pragma once

#include <string>

// The kinds of exception that reading, filling or writing a payload can end in.
enum class EPayloadFault {
  EMissingMember,  // the JSON library: a required member is missing, a number is out of range
  EJson,           // the JSON library: anything else
  ENotConforming,  // a text thrown as it is: an enumeration holds none of its names
  EConstraint,     // OcppConstraints::classMemberConstraintException
  EStandard,       // any other std::exception
  EUnknown,        // anything else
};

struct SPayloadFault {
  EPayloadFault kind;
  std::string text;  // what the exception says; empty for EUnknown
};

// Tells what the exception is that is being handled; to be called in a catch (...) block only. It is the one place that
// knows the JSON library's exceptions, so that the message path does not compile that library.
//
// The last token that a JSON parser quotes is left out: it may be a credential, and as long as the frame.
SPayloadFault CurrentPayloadFault();
