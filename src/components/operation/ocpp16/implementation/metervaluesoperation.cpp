#include "src/components/operation/ocpp16/implementation/metervaluesoperation.h"

#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "src/components/configmetadata.h"
#include "src/components/iocpp.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/operation/ocpp16/implementation/samplevaluescreator.h"
#include "src/components/operation/ocpp16/implementation/transactionoperation.h"

using Ocpp16::MeterValues::EMeasurand;
using Ocpp16::MeterValues::EReadingContext;
using Ocpp16::MeterValues::meterValuesRequest;
using Ocpp16::MeterValues::meterValuesResponse;
using Ocpp16::MeterValues::sampledValue;
using Operation::MeterValues::CSampleValuesCreator;
using TransactionOperation::IsConnector;
using TransactionOperation::kDefaultConnectorId;
using TransactionOperation::kNoTransaction;
using TransactionOperation::PresentTimeText;

namespace {

constexpr std::chrono::seconds kShortestStoredInterval{900};

}  // namespace

CMeterValuesOutCall::CMeterValuesOutCall(ISystemAccessInterface* systemAccess, std::string messageId)
    : COutCallOperation(systemAccess, std::move(messageId), "MeterValues", EOutCallKind::EResendRequired),
      mConnectorId(kDefaultConnectorId)
{}

CMeterValuesOutCall::CMeterValuesOutCall(ISystemAccessInterface* systemAccess, std::string messageId,
                                         SStoredPayload payload)
    : COutCallOperation(systemAccess, std::move(messageId), std::move(payload), "MeterValues",
                        EOutCallKind::EResendRequired),
      mIsRecreated(true),
      mConnectorId(static_cast<uint32_t>(mRequest.connectorId))
{
  if (!IsConnector(*mSystemAccess, mRequest.connectorId)) {
    LOG_WARNING("Recreated MeterValues has invalid connectorId {}. Using connectorId {} as fallback.",
                mRequest.connectorId, kDefaultConnectorId);
    mConnectorId = kDefaultConnectorId;
  }
  mParameters[EOperationParameter::EConnectorId] = int64_t{mConnectorId};
}

bool CMeterValuesOutCall::IsPersistentOp() const
{
  if (mIsRecreated) return true;
  const auto& config = *mSystemAccess->GetOcppConfigManager();
  if (!config.ReadBool("MeterValuePersistentStorageEnable")) return false;
  const auto interval = TakeContext() == EReadingContext::ESampleClock
                            ? mSystemAccess->GetOcpp()->GetClockAlignedScheduledInterval()
                            : std::chrono::seconds(config.ReadInt("MeterValueSampleInterval"));
  return interval >= kShortestStoredInterval;
}

void CMeterValuesOutCall::CallAction(meterValuesRequest& request)
{
  LOG_ENTRY("CMeterValuesOutCall");
  const auto connectorId = GetIntParameter(mParameters, EOperationParameter::EConnectorId);
  if (connectorId && IsConnector(*mSystemAccess, *connectorId)) {
    mConnectorId = static_cast<uint32_t>(*connectorId);
  } else {
    mConnectorId = kDefaultConnectorId;
    LOG_WARNING(
        "Operation called without connectorId or with unsupported connectorId arguments: Using connectorId = {} as "
        "fallback.",
        mConnectorId);
  }
  request.connectorId = mConnectorId;
  auto& session = *mSystemAccess->GetSessionManager(mConnectorId);
  mTransactionKey = session.GetTransactionKey();
  const int64_t transactionId = session.GetTransactionIdOf(mTransactionKey);
  if (transactionId != kNoTransaction) request.transactionId = transactionId;

  if (mParameters.count(EOperationParameter::EReadingContext) == 0) {
    LOG_DEBUG("Operation called without context arguments: Using SamplePeriodic as default.");
  }
  const auto values = ReadSampledValues();
  Ocpp16::MeterValues::meterValue meterValue;
  meterValue.timestamp = values.timestamp;
  meterValue.sampledValue = CreateSamples(values, TakeContext());
  request.meterValue.push_back(std::move(meterValue));
}

EReadingContext CMeterValuesOutCall::TakeContext() const
{
  const auto context = GetIntParameter(mParameters, EOperationParameter::EReadingContext);
  if (!context) return EReadingContext::ESamplePeriodic;
  return static_cast<EReadingContext>(*context);
}

std::vector<std::string> CMeterValuesOutCall::ReadMeasurands(EReadingContext context) const
{
  const auto& config = *mSystemAccess->GetOcppConfigManager();
  auto measurands = SplitCsl(context == EReadingContext::ESampleClock ? config.ReadString("MeterValuesAlignedData")
                                                                      : config.ReadString("MeterValuesSampledData"));
  if (measurands.empty()) measurands.emplace_back(ToText(EMeasurand::EEnergyActiveImportRegister));
  return measurands;
}

SSampledValues CMeterValuesOutCall::ReadSampledValues() const
{
  SSampledValues values;
  try {
    values = mSystemAccess->GetSampledValuesHandler(mConnectorId)->GetSampledValues();
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Meter, error: {}", error.what());
  }
  if (values.timestamp.empty()) values.timestamp = PresentTimeText(*mSystemAccess);
  return values;
}

std::vector<sampledValue> CMeterValuesOutCall::CreateSamples(const SSampledValues& values,
                                                             EReadingContext context) const
{
  const auto measurands = ReadMeasurands(context);
  const auto phases = static_cast<size_t>(mSystemAccess->GetOcppConfigManager()->ReadInt("HwOneOrThreePhase"));
  auto& handler = *mSystemAccess->GetSampledValuesHandler(mConnectorId);
  CSampleValuesCreator creator(values, context, phases, [&](int64_t registerWh) {
    return context == EReadingContext::ESampleClock ? handler.UpdateClockAlignedBaseline(registerWh)
                                                    : handler.UpdateSampleIntervalBaseline(registerWh);
  });
  return creator.Create(measurands);
}

void CMeterValuesOutCall::UpdateTransactionId(int64_t /*transactionId*/)
{
  const bool isKeyKnown = mTransactionKey != ISessionClientHandler::kAnyTransaction;
  if (mIsRecreated && !isKeyKnown && mRequest.transactionId) return;
  const int64_t current = mSystemAccess->GetSessionManager(mConnectorId)->GetTransactionIdOf(mTransactionKey);
  if (current == kNoTransaction || mRequest.transactionId == current) return;
  mRequest.transactionId = current;
  RenewPayload();
}

void CMeterValuesOutCall::ResponseAction(const meterValuesResponse& /*response*/)
{
  LOG_DEBUG("No action is needed to handle meterValuesConf");
}
