#include "src/components/operation/ocpp16/implementation/heartbeatoperation.h"

#include <utility>

#include "platform/iclogger/log.h"

using Ocpp16::Heartbeat::heartbeatRequest;
using Ocpp16::Heartbeat::heartbeatResponse;

CHeartbeatOutCall::CHeartbeatOutCall(ISystemAccessInterface* systemAccess, std::string messageId)
    : COutCallOperation(systemAccess, std::move(messageId), "Heartbeat")
{
  mIsInfoLogLevel = false;
}

void CHeartbeatOutCall::CallAction(heartbeatRequest& /*request*/) { LOG_ENTRY("CHeartbeatOutCall"); }

// The backoffice's time is only logged; the station's clock is somebody else's business.
void CHeartbeatOutCall::ResponseAction(const heartbeatResponse& response)
{
  LOG_ENTRY("CHeartbeatOutCall");
  LOG_DEBUG("Current Time: {}", response.currentTime);
}
