#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "src/components/isessionclienthandler.h"
#include "src/components/operation/ocpp16/messages/stoptransaction.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

// Why a session has ended, in the order of OCPP 1.6's Reason.
enum class EStopSessionReason : int {
  EDeAuthorized = 0,
  EEmergencyStop = 1,
  EEVDisconnected = 2,
  EHardReset = 3,
  ELocal = 4,
  EOther = 5,
  EPowerLoss = 6,
  EReboot = 7,
  ERemote = 8,
  ESoftReset = 9,
  EUnlockCommand = 10,
};

// The text of the message; a reason out of range is logged and becomes Other.
Ocpp16::StopTransaction::EReason ToReason(EStopSessionReason reason);

// StopTransaction (OCPP 1.6 section 4.10): a session has ended. It carries the reason, the meter's end, begin and end
// register as transaction data where the configuration asks for them, and the meter's signed record on stations under
// calibration law. Its confirmation is also the moment at which a waiting reset may go on.
class CStopTransactionOutCall
    : public COutCallOperation<Ocpp16::StopTransaction::stopTransactionRequest,
                               Ocpp16::StopTransaction::stopTransactionResponse, CStopTransactionOutCall> {
 public:
  CStopTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId);
  // From the message store. The payload does not tell the connector; the station has one.
  CStopTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId, SStoredPayload payload);

  std::string GetRequestLogText() const override { return mLogText; }
  bool IsPersistentOp() const override { return true; }
  // Whatever the answer holds, the transaction is over: that is done before a fault is thrown.
  void HandleResponse(const std::string& payload) override;
  // An id of -1, and one that is not of this operation's transaction, leave the payload as it is: a message that has
  // its id keeps it. So does one from the store of which only the id is known.
  void UpdateTransactionId(int64_t transactionId) override;
  bool EndsTransaction() const override { return true; }
  std::optional<std::string> GetTransactionKey() const override { return mTransactionKey; }
  void SetTransactionKey(const std::string& key) override { mTransactionKey = key; }

 protected:
  // Parameters, all optional: connector id, meter data, stop reason.
  void CallAction(Ocpp16::StopTransaction::stopTransactionRequest& request) override;
  // Runs on the receive thread of the link.
  void ResponseAction(const Ocpp16::StopTransaction::stopTransactionResponse& response) override;

 private:
  // What the request says of the meter's end.
  struct SEnd {
    int64_t energyWh = 0;
    std::string time;
  };
  using CSamples = std::vector<Ocpp16::StopTransaction::sampledValue>;

  ISessionClientHandler& GetSession() const;
  // False when the id is known not to be of this operation's transaction.
  bool IsOwnId(int64_t transactionId) const;
  void EndTransaction() const;
  Ocpp16::StopTransaction::EReason TakeReason() const;
  SEnd TakeEnd(const ipc::MMeterData& meterData) const;
  void FillTransactionData(Ocpp16::StopTransaction::stopTransactionRequest& request, const ipc::MMeterData& meterData,
                           const SEnd& end);
  void AddRegisters(Ocpp16::StopTransaction::EReason reason, const ipc::MMeterData& meterData, const SEnd& end,
                    CSamples& first, CSamples& second);
  void AddSignedData(const ipc::MMeterData& meterData, CSamples& second);
  void RenewLogText(const Ocpp16::StopTransaction::stopTransactionRequest& request);

  bool mIsRecreated = false;
  uint32_t mConnectorId;
  std::shared_ptr<const std::string> mConnectorTag;
  std::string mIdTag;
  std::string mTransactionKey = ISessionClientHandler::kAnyTransaction;
  std::string mLogDetails;  // end of mLogText: what was put into the transaction data
  std::string mLogText;
};
