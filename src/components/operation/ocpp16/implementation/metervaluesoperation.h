#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/components/isampledvalueshandler.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/operation/ocpp16/messages/metervalues.h"
#include "src/components/operation/ocpp_common/outcalloperation.h"

// MeterValues (OCPP 1.6 section 4.7): one reading of a connector, with the values that the configuration asks for. A
// value of a transaction names it; outside of one there is no transaction id.
class CMeterValuesOutCall : public COutCallOperation<Ocpp16::MeterValues::meterValuesRequest,
                                                     Ocpp16::MeterValues::meterValuesResponse, CMeterValuesOutCall> {
 public:
  CMeterValuesOutCall(ISystemAccessInterface* systemAccess, std::string messageId);
  // From the message store.
  CMeterValuesOutCall(ISystemAccessInterface* systemAccess, std::string messageId, SStoredPayload payload);

  // Values that come more often than every 15 minutes are not stored, and others only if the configuration wants them:
  // this spares the flash. A message from the store stays one whatever the configuration says now.
  bool IsPersistentOp() const override;
  // Takes the id of its own transaction. Values from the store of which only the id is known keep it.
  void UpdateTransactionId(int64_t transactionId) override;
  std::optional<std::string> GetTransactionKey() const override { return mTransactionKey; }
  void SetTransactionKey(const std::string& key) override { mTransactionKey = key; }

 protected:
  // Parameters: connector id, reading context (both optional).
  void CallAction(Ocpp16::MeterValues::meterValuesRequest& request) override;
  void ResponseAction(const Ocpp16::MeterValues::meterValuesResponse& response) override;

 private:
  Ocpp16::MeterValues::EReadingContext TakeContext() const;
  std::vector<std::string> ReadMeasurands(Ocpp16::MeterValues::EReadingContext context) const;
  SSampledValues ReadSampledValues() const;
  std::vector<Ocpp16::MeterValues::sampledValue> CreateSamples(const SSampledValues& values,
                                                               Ocpp16::MeterValues::EReadingContext context) const;

  bool mIsRecreated = false;
  uint32_t mConnectorId;
  std::string mTransactionKey = ISessionClientHandler::kAnyTransaction;
};
