#include "src/components/operation/ocpp16/messages/diagnosticsstatusnotification.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::DiagnosticsStatusNotification, diagnosticsStatusNotificationRequest)
OCPP_MESSAGE(Ocpp16::DiagnosticsStatusNotification, diagnosticsStatusNotificationResponse)
