#include "src/components/operation/ocpp16/messages/statusnotification.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::StatusNotification, statusNotificationRequest)
OCPP_MESSAGE(Ocpp16::StatusNotification, statusNotificationResponse)
