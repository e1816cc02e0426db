#pragma once

#include <memory>
#include <string>

#include "src/components/operation/ocpp16/implementation/locallistupdates.h"
#include "src/components/operation/ocpp16/messages/sendlocallist.h"
#include "src/components/operation/ocpp_common/incalloperation.h"

class IAuthorizationManager;

// SendLocalList (OCPP 1.6 section 5.15): the backoffice replaces the local authorization list, or changes entries of
// it. The list in memory is the new one when the answer goes out; it is stored after that, on a thread of its own, and
// a failure to store it is no concern of the backoffice any more.
class CSendLocalListInCall : public CInCallOperation<Ocpp16::SendLocalList::sendLocalListRequest,
                                                     Ocpp16::SendLocalList::sendLocalListResponse> {
 public:
  CSendLocalListInCall(ISystemAccessInterface* systemAccess, std::string messageId,
                       std::shared_ptr<CLocalListUpdates> updates);

  // Stores the list.
  void PostAction() override;

 protected:
  // Waits until an update before this one has been stored.
  void Action(const Ocpp16::SendLocalList::sendLocalListRequest& request,
              Ocpp16::SendLocalList::sendLocalListResponse& response) override;

 private:
  using CRequest = Ocpp16::SendLocalList::sendLocalListRequest;
  using EStatus = Ocpp16::SendLocalList::EUpdateStatus;

  EStatus Check(const CRequest& request) const;
  EStatus CheckDifferential(const CRequest& request, int64_t maxLength) const;
  static EStatus CheckFull(const CRequest& request, int64_t maxLength);
  void Update(const CRequest& request) const;

  const std::shared_ptr<CLocalListUpdates> mUpdates;
  // From Action until the list has been stored.
  std::shared_ptr<CLocalListUpdates::CTurn> mTurn;
};
