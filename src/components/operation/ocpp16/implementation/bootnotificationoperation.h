#pragma once

#include <string>

#include "src/components/operation/ocpp16/messages/bootnotification.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

enum class EOcppStatus : uint8_t;
class IBackoffice;

// BootNotification (OCPP 1.6 section 4.2): registers the station with one backoffice. What the backoffice answers
// decides whether heartbeats, meter values and status notifications flow, and whether the station may charge.
class CBootNotificationOutCall
    : public COutCallOperation<Ocpp16::BootNotification::bootNotificationRequest,
                               Ocpp16::BootNotification::bootNotificationResponse, CBootNotificationOutCall> {
 public:
  CBootNotificationOutCall(ISystemAccessInterface* systemAccess, std::string messageId);

  // Boots again after the default blocking time: a backoffice that answered with an error, or with nonsense, has not
  // said when. On a closed link the next connection boots.
  void GiveUp() override;

 protected:
  void CallAction(Ocpp16::BootNotification::bootNotificationRequest& request) override;
  void ResponseAction(const Ocpp16::BootNotification::bootNotificationResponse& response) override;

 private:
  void FillModem(Ocpp16::BootNotification::bootNotificationRequest& request) const;
  void HandleStatus(IBackoffice& backoffice, const Ocpp16::BootNotification::bootNotificationResponse& response);
  void HandleAccepted(IBackoffice& backoffice, int64_t interval);
  void HandleNotAccepted(IBackoffice& backoffice, EOcppStatus status, int64_t interval);
  void TellChargeApproval(const IBackoffice& backoffice) const;
  void DeauthorizeSessions(const IBackoffice& backoffice) const;
};
