#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "src/components/operation/ocpp_common/operationparameters.h"

class ISystemAccessInterface;

// What the transaction messages StartTransaction, StopTransaction and MeterValues share.
namespace TransactionOperation {

constexpr uint32_t kDefaultConnectorId = 1;
constexpr int64_t kNoTransaction = -1;

// The connector as text ahead of log lines.
std::shared_ptr<const std::string> MakeConnectorTag(uint32_t connectorId);

// The connector id parameter; the default, and a line in the log, without one.
uint32_t TakeConnectorId(const COperationParameters& parameters);

// A connector of the station: from 1 to the number of connectors.
bool IsConnector(const ISystemAccessInterface& systemAccess, int64_t connectorId);

// The present UTC time as date-time text.
std::string PresentTimeText(const ISystemAccessInterface& systemAccess);

}  // namespace TransactionOperation
