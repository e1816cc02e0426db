#pragma once

#include <cstdint>

#include "src/components/operation/ocpp_common/record.h"

// LogStatusNotification (OCPP 1.6 security white paper), sent by the station: progress of an upload that GetLog asked
// for.
namespace Ocpp16::LogStatusNotification {

#define VALUES(VALUE)                                       \
  VALUE(0, EBadMessage, "BadMessage")                       \
  VALUE(1, EIdle, "Idle")                                   \
  VALUE(2, ENotSupportedOperation, "NotSupportedOperation") \
  VALUE(3, EPermissionDenied, "PermissionDenied")           \
  VALUE(4, EUploadFailure, "UploadFailure")                 \
  VALUE(5, EUploaded, "Uploaded")                           \
  VALUE(6, EUploading, "Uploading")
OCPP_ENUMERATION(EUploadLogStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL)  \
  REQUIRED(EUploadLogStatus, status) \
  OPTIONAL(int64_t, requestId)
OCPP_RECORD(logStatusNotificationRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(logStatusNotificationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::LogStatusNotification
