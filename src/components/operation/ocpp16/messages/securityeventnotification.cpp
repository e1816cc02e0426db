#include "src/components/operation/ocpp16/messages/securityeventnotification.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::SecurityEventNotification, securityEventNotificationRequest)
OCPP_MESSAGE(Ocpp16::SecurityEventNotification, securityEventNotificationResponse)
