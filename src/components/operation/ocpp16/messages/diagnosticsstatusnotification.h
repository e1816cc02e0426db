#pragma once

#include "src/components/operation/ocpp_common/record.h"

// DiagnosticsStatusNotification (OCPP 1.6 section 4.4), sent by the station: progress of an upload that GetDiagnostics
// asked for.
namespace Ocpp16::DiagnosticsStatusNotification {

#define VALUES(VALUE)                     \
  VALUE(0, EIdle, "Idle")                 \
  VALUE(1, EUploadFailed, "UploadFailed") \
  VALUE(2, EUploaded, "Uploaded")         \
  VALUE(3, EUploading, "Uploading")
OCPP_ENUMERATION(EDiagnosticsStatus, VALUES)
#undef VALUES

#define MEMBERS(REQUIRED, OPTIONAL) REQUIRED(EDiagnosticsStatus, status)
OCPP_RECORD(diagnosticsStatusNotificationRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)
OCPP_RECORD(diagnosticsStatusNotificationResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::DiagnosticsStatusNotification
