#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/components/operation/ocpp16/messages/statusnotification.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

// StatusNotification (OCPP 1.6 section 4.9): state and errors of a connector, or of the station as connector 0. What
// the backoffice confirms is remembered, so that it is not told the same again.
class CStatusNotificationOutCall
    : public COutCallOperation<Ocpp16::StatusNotification::statusNotificationRequest,
                               Ocpp16::StatusNotification::statusNotificationResponse, CStatusNotificationOutCall> {
 public:
  CStatusNotificationOutCall(ISystemAccessInterface* systemAccess, std::string messageId);

 protected:
  void CallAction(Ocpp16::StatusNotification::statusNotificationRequest& request) override;
  void ResponseAction(const Ocpp16::StatusNotification::statusNotificationResponse& response) override;

 private:
  int32_t ReadState() const;
  void FillErrors(Ocpp16::StatusNotification::statusNotificationRequest& request) const;

  uint32_t mConnectorId = 0;
  int32_t mState = 0;  // ipc::EConnectorState
  std::vector<int32_t> mErrors;
};

namespace StatusNotification {

// The OCPP status of a connector state (ipc::EConnectorState); connector 0 knows three of them.
Ocpp16::StatusNotification::EChargePointStatus ToStatus(uint32_t connectorId, int32_t state);
// No error, the code of the only error, or OtherError.
Ocpp16::StatusNotification::EChargePointErrorCode ToErrorCode(const std::vector<int32_t>& errors);
// The identifiers, separated by commas, in at most 50 characters; what does not fit becomes ",...".
std::string ToVendorErrorCode(const std::vector<int32_t>& errors);

}  // namespace StatusNotification
