#pragma once

#include <cstdint>
#include <string>

#include "platform/iipc/messages.h"
#include "src/components/operation/ocpp16/messages/authorize.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

// Authorize (OCPP 1.6 section 4.1): the backoffice is asked about an id tag. With a request id somebody waits for the
// answer; without one the tag was let through locally, and the answer is a check after the fact, which can only end the
// session. Sent once: without a link it is lost, and then counts like one that was not answered.
//
// Only the primary backoffice decides on a driver: what the auxiliary one answers is filtered, and its silence decides
// nothing either.
class CAuthorizeOutCall : public COutCallOperation<Ocpp16::Authorize::authorizeRequest,
                                                   Ocpp16::Authorize::authorizeResponse, CAuthorizeOutCall> {
 public:
  CAuthorizeOutCall(ISystemAccessInterface* systemAccess, std::string messageId);

  void HandleResponse(const std::string& payload) override;
  // A CALLERROR and a lost link count like no answer in time; an answer that cannot be read approves nobody.
  void GiveUp() override;

 protected:
  // Parameters: authorization context (without it the payload stays empty), connector id (0 without it).
  void CallAction(Ocpp16::Authorize::authorizeRequest& request) override;
  // Runs on the receive thread of the link.
  void ResponseAction(const Ocpp16::Authorize::authorizeResponse& response) override;
  // Runs on the operation timer.
  void TimeoutAction() override;

 private:
  bool IsWaitedFor() const { return !mAuthorizeRequest.request_id().empty(); }
  const std::string& GetToken() const { return mAuthorizeRequest.user_identification().token(); }
  void HandleAccepted();
  void HandleRefusedAtConnector();
  void HandleRefusedWithoutConnector();
  void Finish(bool approved);
  void Deauthorize(uint32_t connectorId) const;

  ipc::MAuthorizeRequest mAuthorizeRequest;
  uint32_t mConnectorId = 0;  // that the request concerns; 0: none
  bool mIsAnswered = false;   // an answer has come, whatever it is
  bool mIsFinished = false;   // the request was handed back
};
