#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"
#include "src/components/operation/ocpp16/messages/starttransaction.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

class ISessionClientHandler;

// What an answer that cannot be read as a whole still says; StopTransaction's too.
struct SReadableAnswer {
  std::optional<int64_t> transactionId;
  // Without the members that cannot be read; a status that cannot be read counts as Invalid.
  std::optional<Ocpp16::IdTagInfoCommon::idTagInfo> idTagInfo;  // empty: there is no such object
  bool hasStatus = false;                                       // there is a text for it, though it may mean nothing
};
SReadableAnswer ReadFaultyAnswer(const std::string& payload);

// StartTransaction (OCPP 1.6 section 4.8): a session has begun. The session does not wait for it: the message may lie
// in the transaction queue while the vehicle charges, even over a restart. What the confirmation carries, the
// transaction id and a status that may withdraw the authorization, is applied whenever it comes.
class CStartTransactionOutCall
    : public COutCallOperation<Ocpp16::StartTransaction::startTransactionRequest,
                               Ocpp16::StartTransaction::startTransactionResponse, CStartTransactionOutCall> {
 public:
  CStartTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId);
  // From the message store.
  CStartTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId, SStoredPayload payload);

  bool IsPersistentOp() const override { return true; }
  // A fault in the answer costs no more than what it is in: transaction id and status are taken before it is thrown.
  void HandleResponse(const std::string& payload) override;
  // From now on it is certain that the session has no transaction id.
  void GiveUp() override;

 protected:
  // Parameters: connector id (optional), meter data. Throws std::logic_error without meter data.
  void CallAction(Ocpp16::StartTransaction::startTransactionRequest& request) override;
  // Runs on the receive thread of the link.
  void ResponseAction(const Ocpp16::StartTransaction::startTransactionResponse& response) override;

 private:
  ISessionClientHandler& GetSession() const;
  void TakeReadable(const SReadableAnswer& answer);
  void TakeTransactionId(int64_t transactionId);
  // `transactionId` is for the log.
  void ApplyStatus(const Ocpp16::IdTagInfoCommon::idTagInfo& info, int64_t transactionId);
  // What became of this transaction, -1: it has no id.
  void Settle(int64_t transactionId);
  // False once the session that this operation tells of has ended: another driver may be at the connector.
  bool IsSessionStillRunning() const;
  void Deauthorize(Ocpp16::IdTagInfoCommon::EAuthorizationStatus status, int64_t transactionId) const;

  uint32_t mConnectorId;
  std::shared_ptr<const std::string> mConnectorTag;
  std::string mIdTag;
};
