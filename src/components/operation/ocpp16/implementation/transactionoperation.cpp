#include "src/components/operation/ocpp16/implementation/transactionoperation.h"

#include "platform/clock/timetext.h"
#include "platform/iclogger/log.h"
#include "src/components/isystemaccessinterface.h"

std::shared_ptr<const std::string> TransactionOperation::MakeConnectorTag(uint32_t connectorId)
{
  return std::make_shared<const std::string>(fmt::format("[{}] ", connectorId));
}

uint32_t TransactionOperation::TakeConnectorId(const COperationParameters& parameters)
{
  const auto connectorId = GetIntParameter(parameters, EOperationParameter::EConnectorId);
  if (connectorId) return static_cast<uint32_t>(*connectorId);
  LOG_WARNING("Operation called without connectorId arguments: Using {} as default.", kDefaultConnectorId);
  return kDefaultConnectorId;
}

bool TransactionOperation::IsConnector(const ISystemAccessInterface& systemAccess, int64_t connectorId)
{
  return connectorId >= 1 && connectorId <= systemAccess.GetNumberOfConnectors();
}

std::string TransactionOperation::PresentTimeText(const ISystemAccessInterface& systemAccess)
{
  const auto* clock = systemAccess.GetClock();
  return clock != nullptr ? ToTimeText(clock->SystemNow()) : std::string();
}
