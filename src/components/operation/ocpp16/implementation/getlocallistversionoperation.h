#pragma once

#include "src/components/operation/ocpp16/messages/getlocallistversion.h"
#include "src/components/operation/ocpp_common/incalloperation.h"

// GetLocalListVersion (OCPP 1.6 section 5.10): which local authorization list the station has. 0 says that it is empty,
// -1 that the station has none.
class CGetLocalListVersionInCall : public CInCallOperation<Ocpp16::GetLocalListVersion::getLocalListVersionRequest,
                                                           Ocpp16::GetLocalListVersion::getLocalListVersionResponse> {
 public:
  using CInCallOperation::CInCallOperation;

 protected:
  void Action(const Ocpp16::GetLocalListVersion::getLocalListVersionRequest& request,
              Ocpp16::GetLocalListVersion::getLocalListVersionResponse& response) override;
};
