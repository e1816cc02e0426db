#include "src/components/operation/ocpp16/messages/logstatusnotification.h"

#include "src/components/operation/ocpp_common/recordcodec.h"

OCPP_MESSAGE(Ocpp16::LogStatusNotification, logStatusNotificationRequest)
OCPP_MESSAGE(Ocpp16::LogStatusNotification, logStatusNotificationResponse)
