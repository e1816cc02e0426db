#pragma once

#include <string>

#include "src/components/operation/ocpp16/messages/heartbeat.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

// Heartbeat (OCPP 1.6 section 4.6): the station is still there. Logged at debug level, since it repeats for ever.
class CHeartbeatOutCall : public COutCallOperation<Ocpp16::Heartbeat::heartbeatRequest,
                                                   Ocpp16::Heartbeat::heartbeatResponse, CHeartbeatOutCall> {
 public:
  CHeartbeatOutCall(ISystemAccessInterface* systemAccess, std::string messageId);

 protected:
  void CallAction(Ocpp16::Heartbeat::heartbeatRequest& request) override;
  void ResponseAction(const Ocpp16::Heartbeat::heartbeatResponse& response) override;
};
