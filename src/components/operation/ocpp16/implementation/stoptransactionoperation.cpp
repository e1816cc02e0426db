#include "src/components/operation/ocpp16/implementation/stoptransactionoperation.h"

#include <exception>
#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/configmetadata.h"
#include "src/components/energyunits.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/iresetmanager.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/operation/ocpp16/implementation/idtagstatus.h"
#include "src/components/operation/ocpp16/implementation/sampledvalues.h"
#include "src/components/operation/ocpp16/implementation/starttransactionoperation.h"
#include "src/components/operation/ocpp16/implementation/transactionoperation.h"
#include "src/components/operation/ocpp_common/constraints.h"

using Ocpp16::MeterValues::EMeasurand;
using Ocpp16::MeterValues::EReadingContext;
using Ocpp16::MeterValues::EValueFormat;
using Ocpp16::StopTransaction::EReason;
using Ocpp16::StopTransaction::foreignStopTransactionResponse;
using Ocpp16::StopTransaction::sampledValue;
using Ocpp16::StopTransaction::stopTransactionRequest;
using Ocpp16::StopTransaction::stopTransactionResponse;
using Operation::StopTransaction::CSampledEnergyActiveImportRegister;
using TransactionOperation::kDefaultConnectorId;
using TransactionOperation::kNoTransaction;
using TransactionOperation::MakeConnectorTag;
using TransactionOperation::PresentTimeText;
using TransactionOperation::TakeConnectorId;

namespace {

std::string Join(const std::vector<std::string>& items) { return fmt::format("{}", fmt::join(items, ",")); }

void AddEntry(stopTransactionRequest& request, const std::string& timestamp, std::vector<sampledValue> samples)
{
  Ocpp16::StopTransaction::transactionData entry;
  entry.timestamp = timestamp;
  entry.sampledValue = std::move(samples);
  if (!request.transactionData) request.transactionData.emplace();
  request.transactionData->push_back(std::move(entry));
}

// A status that is none of OCPP's must not keep the transaction open.
stopTransactionResponse ReadStopResponse(const std::string& payload)
{
  try {
    return OcppJson::Read<stopTransactionResponse>(payload);
  } catch (const char*) {
    const auto foreign = OcppJson::Read<foreignStopTransactionResponse>(payload);
    stopTransactionResponse response;
    if (foreign.idTagInfo) response.idTagInfo = ToInvalid(*foreign.idTagInfo);
    return response;
  }
}

}  // namespace

EReason ToReason(EStopSessionReason reason)
{
  switch (reason) {
    case EStopSessionReason::EDeAuthorized:
      return EReason::EDeAuthorized;
    case EStopSessionReason::EEmergencyStop:
      return EReason::EEmergencyStop;
    case EStopSessionReason::EEVDisconnected:
      return EReason::EEVDisconnected;
    case EStopSessionReason::EHardReset:
      return EReason::EHardReset;
    case EStopSessionReason::ELocal:
      return EReason::ELocal;
    case EStopSessionReason::EOther:
      return EReason::EOther;
    case EStopSessionReason::EPowerLoss:
      return EReason::EPowerLoss;
    case EStopSessionReason::EReboot:
      return EReason::EReboot;
    case EStopSessionReason::ERemote:
      return EReason::ERemote;
    case EStopSessionReason::ESoftReset:
      return EReason::ESoftReset;
    case EStopSessionReason::EUnlockCommand:
      return EReason::EUnlockCommand;
  }
  LOG_WARNING("EStopSessionReason out of range: {}", static_cast<int>(reason));
  return EReason::EOther;
}

CStopTransactionOutCall::CStopTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId)
    : COutCallOperation(systemAccess, std::move(messageId), "StopTransaction", EOutCallKind::EResendRequired),
      mConnectorId(kDefaultConnectorId),
      mConnectorTag(MakeConnectorTag(mConnectorId))
{}

CStopTransactionOutCall::CStopTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId,
                                                 SStoredPayload payload)
    : COutCallOperation(systemAccess, std::move(messageId), std::move(payload), "StopTransaction",
                        EOutCallKind::EResendRequired),
      mIsRecreated(true),
      mConnectorId(kDefaultConnectorId),
      mConnectorTag(MakeConnectorTag(mConnectorId)),
      mIdTag(mRequest.idTag ? mRequest.idTag->Get() : std::string())
{
  mParameters[EOperationParameter::EConnectorId] = int64_t{mConnectorId};
  RenewLogText(mRequest);
}

void CStopTransactionOutCall::CallAction(stopTransactionRequest& request)
{
  LOG_ENTRY("CStopTransactionOutCall");
  mConnectorId = TakeConnectorId(mParameters);
  mConnectorTag = MakeConnectorTag(mConnectorId);
  const auto given = GetParameter<ipc::MMeterData>(mParameters, EOperationParameter::EMeterData);
  // Unlike a start, a stop has to be reported in any case.
  if (!given) LOG_ERROR("{}No MeterData provided in StopTransactionOutCall", *mConnectorTag);
  const ipc::MMeterData meterData = given.value_or(ipc::MMeterData());
  auto& session = GetSession();
  mIdTag = session.GetSessionIdTag();
  mTransactionKey = session.GetTransactionKey();

  const SEnd end = TakeEnd(meterData);
  request.transactionId = session.GetTransactionIdOf(mTransactionKey);
  request.meterStop = end.energyWh;
  request.timestamp = end.time;
  request.reason = TakeReason();
  try {
    FillTransactionData(request, meterData, end);
  } catch (const std::exception& error) {
    LOG_ERROR("{}StopTransaction: Skipping transaction data. {}", *mConnectorTag, error.what());
  }
  RenewLogText(request);
  if (mIdTag.empty()) return;
  try {
    request.idTag = mIdTag;
  } catch (const OcppConstraints::classMemberConstraintException& error) {
    LOG_ERROR("{}Payload is over constraint. {}", *mConnectorTag, error.what());
  }
}

EReason CStopTransactionOutCall::TakeReason() const
{
  const auto reason = GetIntParameter(mParameters, EOperationParameter::EStopReason);
  if (!reason) {
    LOG_WARNING("{}StopTransaction reason missing from params/payload. Using Other.", *mConnectorTag);
    return EReason::EOther;
  }
  return ToReason(static_cast<EStopSessionReason>(*reason));
}

CStopTransactionOutCall::SEnd CStopTransactionOutCall::TakeEnd(const ipc::MMeterData& meterData) const
{
  const int64_t energy = meterData.session_end_energy();
  SEnd end;
  end.energyWh = (energy != 0 ? energy : meterData.energy_register()) / kMilliWhPerWh;
  end.time = meterData.session_end_time();
  if (end.time.empty()) end.time = PresentTimeText(*mSystemAccess);
  return end;
}

void CStopTransactionOutCall::FillTransactionData(stopTransactionRequest& request, const ipc::MMeterData& meterData,
                                                  const SEnd& end)
{
  const auto& config = *mSystemAccess->GetOcppConfigManager();
  const bool isSigned = config.ReadBool("HwHasEichrechtLaserMarking") && config.ReadBool("EichrechtSupportEnabled");
  mLogDetails.clear();
  CSamples first;
  CSamples second;
  AddRegisters(*request.reason, meterData, end, first, second);
  if (isSigned) AddSignedData(meterData, second);
  if (!first.empty()) {
    AddEntry(request, meterData.session_start_time(), std::move(first));
    mLogDetails += fmt::format(";TxData.Start.Timestamp:{}", meterData.session_start_time());
  }
  if (!second.empty()) {
    AddEntry(request, end.time, std::move(second));
    mLogDetails += fmt::format(";TxData.End.Timestamp:{}", end.time);
  }
}

void CStopTransactionOutCall::AddRegisters(EReason reason, const ipc::MMeterData& meterData, const SEnd& end,
                                           CSamples& first, CSamples& second)
{
  const auto measurands = SplitCsl(mSystemAccess->GetOcppConfigManager()->ReadString("StopTxnSampledData"));
  if (reason == EReason::EPowerLoss) {
    LOG_WARNING("{}StopTransaction: Skipping start/end data due to PowerLoss", *mConnectorTag);
  } else if (measurands.empty()) {
    LOG_DEBUG("{}StopTransaction: No requested measurands", *mConnectorTag);
  } else if (measurands.size() == 1 && measurands.front() == ToText(EMeasurand::EEnergyActiveImportRegister)) {
    const int64_t beginWh = meterData.session_start_energy() / kMilliWhPerWh;
    // A register without its time would make the whole message one that a backoffice may refuse.
    if (!meterData.session_start_time().empty()) {
      first.push_back(CSampledEnergyActiveImportRegister(EReadingContext::ETransactionBegin, beginWh));
    }
    second.push_back(CSampledEnergyActiveImportRegister(EReadingContext::ETransactionEnd, end.energyWh));
    mLogDetails += fmt::format(";TxData.Begin.ValueWh:{};TxData.End.ValueWh:{}", beginWh, end.energyWh);
  } else {
    // No partial data either.
    LOG_WARNING("{}StopTransaction: Requested measurands '{}' not supported", *mConnectorTag, Join(measurands));
  }
}

void CStopTransactionOutCall::AddSignedData(const ipc::MMeterData& meterData, CSamples& second)
{
  if (meterData.signed_data().empty()) {
    LOG_WARNING("{}StopTransaction: Signed data requested but missing in MeterData", *mConnectorTag);
    return;
  }
  sampledValue sample;
  sample.value = meterData.signed_data();
  sample.context = EReadingContext::ETransactionEnd;
  sample.format = EValueFormat::ESignedData;
  second.push_back(std::move(sample));
  mLogDetails += ";SignedData:Present";
}

void CStopTransactionOutCall::RenewLogText(const stopTransactionRequest& request)
{
  mLogText = fmt::format("IdTag:{};MeterStop:{};Timestamp:{};TransactionId:{};Reason:{}", mIdTag, request.meterStop,
                         request.timestamp, request.transactionId, ToText(request.reason.value_or(EReason::EOther)));
  mLogText += mLogDetails;
}

bool CStopTransactionOutCall::IsOwnId(int64_t transactionId) const
{
  if (mTransactionKey != ISessionClientHandler::kAnyTransaction) {
    return GetSession().GetTransactionIdOf(mTransactionKey) != kNoTransaction;
  }
  return !mIsRecreated || mRequest.transactionId == kNoTransaction || mRequest.transactionId == transactionId;
}

void CStopTransactionOutCall::UpdateTransactionId(int64_t transactionId)
{
  if (transactionId != kNoTransaction && IsOwnId(transactionId)) {
    if (mRequest.transactionId != transactionId) {
      mRequest.transactionId = transactionId;
      RenewPayload();
      RenewLogText(mRequest);
    }
    for (uint32_t connector = 1; connector <= mSystemAccess->GetNumberOfConnectors(); ++connector) {
      if (mSystemAccess->GetSessionManager(connector)->GetTransactionId() != transactionId) continue;
      mConnectorId = connector;
      mConnectorTag = MakeConnectorTag(connector);
      LOG_DEBUG("{}Updated TransactionId in payload: {}", *mConnectorTag, transactionId);
      return;
    }
  }
  LOG_DEBUG("Could not find connector for TransactionId {}, ConnectorId remains {}", transactionId, mConnectorId);
}

void CStopTransactionOutCall::HandleResponse(const std::string& payload)
{
  stopTransactionResponse response;
  try {
    response = ReadStopResponse(payload);
  } catch (...) {
    const auto answer = ReadFaultyAnswer(payload);
    if (answer.hasStatus) response.idTagInfo = answer.idTagInfo;
    ResponseAction(response);
    throw;
  }
  ResponseAction(response);
}

void CStopTransactionOutCall::ResponseAction(const stopTransactionResponse& response)
{
  LOG_ENTRY("CStopTransactionOutCall");
  if (!mIdTag.empty() && response.idTagInfo) UpdateAuthorizationCache(*mSystemAccess, mIdTag, *response.idTagInfo);
  EndTransaction();
  auto* resetManager = mSystemAccess->GetResetManager();
  if (resetManager == nullptr) {
    LOG_WARNING("{}No reset manager to tell of the end of the transaction", *mConnectorTag);
    return;
  }
  resetManager->ClearTransaction(mConnectorId);
  resetManager->TryReset();
}

// A message that could not be erased from the store may be answered again in the session of another driver, whose id
// has to stay.
void CStopTransactionOutCall::EndTransaction() const
{
  auto& session = GetSession();
  const int64_t current = session.GetTransactionId();
  if (current == kNoTransaction || !mIsRecreated || IsOwnId(current)) session.ClearTransactionId();
}

ISessionClientHandler& CStopTransactionOutCall::GetSession() const
{
  return *mSystemAccess->GetSessionManager(mConnectorId);
}
