#include "src/components/operation/ocpp16/implementation/starttransactionoperation.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/energyunits.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/operation/ocpp16/implementation/idtagstatus.h"
#include "src/components/operation/ocpp16/implementation/transactionoperation.h"
#include "src/components/operation/ocpp_common/constraints.h"

using Ocpp16::IdTagInfoCommon::foreignIdTagInfo;
using Ocpp16::IdTagInfoCommon::idTagInfo;
using Ocpp16::StartTransaction::foreignStartTransactionResponse;
using Ocpp16::StartTransaction::startTransactionRequest;
using Ocpp16::StartTransaction::startTransactionResponse;
using TransactionOperation::IsConnector;
using TransactionOperation::kDefaultConnectorId;
using TransactionOperation::kNoTransaction;
using TransactionOperation::MakeConnectorTag;
using TransactionOperation::PresentTimeText;
using TransactionOperation::TakeConnectorId;

namespace {

// Empty for a member that is missing or no text.
std::optional<std::string> ReadText(const nlohmann::json& json, const char* name)
{
  const auto found = json.find(name);
  if (found == json.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

std::optional<int64_t> ReadInteger(const nlohmann::json& json, const char* name)
{
  const auto found = json.find(name);
  if (found == json.end() || !found->is_number_integer()) return std::nullopt;
  const bool isTooGreat = found->is_number_unsigned() &&
                          found->get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  if (isTooGreat) return std::nullopt;
  return found->get<int64_t>();
}

idTagInfo ReadFaultyInfo(const nlohmann::json& json)
{
  foreignIdTagInfo info;
  info.expiryDate = ReadText(json, "expiryDate");
  info.status = ReadText(json, "status").value_or("");
  if (const auto parent = ReadText(json, "parentIdTag")) {
    try {
      info.parentIdTag.emplace() = *parent;
    } catch (const OcppConstraints::classMemberConstraintException&) {
      info.parentIdTag.reset();
    }
  }
  for (const auto& entry : EnumerationTable(Ocpp16::IdTagInfoCommon::EAuthorizationStatus{})) {
    if (info.status != entry.text) continue;
    idTagInfo known;
    known.expiryDate = info.expiryDate;
    if (info.parentIdTag) known.parentIdTag = *info.parentIdTag;
    known.status = entry.value;
    return known;
  }
  return ToInvalid(info);
}

// A status that is none of OCPP's must not cost the transaction id that comes with it.
startTransactionResponse ReadStartResponse(const std::string& payload)
{
  try {
    return OcppJson::Read<startTransactionResponse>(payload);
  } catch (const char*) {
    const auto foreign = OcppJson::Read<foreignStartTransactionResponse>(payload);
    startTransactionResponse response;
    response.transactionId = foreign.transactionId;
    response.idTagInfo = ToInvalid(foreign.idTagInfo);
    return response;
  }
}

}  // namespace

SReadableAnswer ReadFaultyAnswer(const std::string& payload)
{
  SReadableAnswer answer;
  const auto json = nlohmann::json::parse(payload, nullptr, /*allow_exceptions=*/false, /*ignore_comments=*/false);
  if (!json.is_object()) return answer;
  answer.transactionId = ReadInteger(json, "transactionId");
  const auto info = json.find("idTagInfo");
  if (info == json.end() || !info->is_object()) return answer;
  answer.idTagInfo = ReadFaultyInfo(*info);
  answer.hasStatus = ReadText(*info, "status").has_value();
  return answer;
}

CStartTransactionOutCall::CStartTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId)
    : COutCallOperation(systemAccess, std::move(messageId), "StartTransaction", EOutCallKind::EResendRequired),
      mConnectorId(kDefaultConnectorId),
      mConnectorTag(MakeConnectorTag(mConnectorId))
{}

CStartTransactionOutCall::CStartTransactionOutCall(ISystemAccessInterface* systemAccess, std::string messageId,
                                                   SStoredPayload payload)
    : COutCallOperation(systemAccess, std::move(messageId), std::move(payload), "StartTransaction",
                        EOutCallKind::EResendRequired),
      mConnectorId(static_cast<uint32_t>(mRequest.connectorId)),
      mIdTag(mRequest.idTag.Get())
{
  if (!IsConnector(*mSystemAccess, mRequest.connectorId)) {
    LOG_WARNING("Recreated StartTransaction has invalid connectorId {}. Using connectorId {} as fallback.",
                mRequest.connectorId, kDefaultConnectorId);
    mConnectorId = kDefaultConnectorId;
  }
  mConnectorTag = MakeConnectorTag(mConnectorId);
  mParameters[EOperationParameter::EConnectorId] = int64_t{mConnectorId};
}

void CStartTransactionOutCall::CallAction(startTransactionRequest& request)
{
  LOG_ENTRY("CStartTransactionOutCall");
  mConnectorId = TakeConnectorId(mParameters);
  mConnectorTag = MakeConnectorTag(mConnectorId);
  const auto meterData = GetParameter<ipc::MMeterData>(mParameters, EOperationParameter::EMeterData);
  if (!meterData) {
    LOG_ERROR("{}No MeterData provided in StartTransactionOutCall", *mConnectorTag);
    throw std::logic_error("No MeterData provided in StartTransactionOutCall");
  }
  auto& session = GetSession();
  session.BeginTransaction(mMessageId);
  mIdTag = session.GetSessionIdTag();
  request.connectorId = mConnectorId;
  request.meterStart = meterData->energy_register() / kMilliWhPerWh;
  request.timestamp = meterData->session_start_time();
  // A backoffice may refuse the whole message for a text that is no time.
  if (request.timestamp.empty()) request.timestamp = PresentTimeText(*mSystemAccess);
  try {
    request.idTag = mIdTag;
  } catch (const OcppConstraints::classMemberConstraintException& error) {
    LOG_ERROR("{}Payload is over constraint. {}", *mConnectorTag, error.what());
  }
}

void CStartTransactionOutCall::HandleResponse(const std::string& payload)
{
  startTransactionResponse response;
  try {
    response = ReadStartResponse(payload);
  } catch (...) {
    TakeReadable(ReadFaultyAnswer(payload));
    throw;
  }
  ResponseAction(response);
}

// Without a status nothing is known against the driver, and the session goes on.
void CStartTransactionOutCall::TakeReadable(const SReadableAnswer& answer)
{
  if (answer.transactionId) TakeTransactionId(*answer.transactionId);
  if (answer.hasStatus) ApplyStatus(*answer.idTagInfo, answer.transactionId.value_or(kNoTransaction));
}

void CStartTransactionOutCall::ResponseAction(const startTransactionResponse& response)
{
  LOG_ENTRY("CStartTransactionOutCall");
  TakeTransactionId(response.transactionId);
  ApplyStatus(response.idTagInfo, response.transactionId);
}

void CStartTransactionOutCall::TakeTransactionId(int64_t transactionId)
{
  LOG_INFO("{}StartTransaction: CPO returned TransactionId '{}'", *mConnectorTag, transactionId);
  Settle(transactionId);
}

// A start that could not be erased from the store is answered again, perhaps in the session of another driver: once
// that has its id, this one is of the past. Where it was never answered, the other one's start is still behind it.
void CStartTransactionOutCall::Settle(int64_t transactionId)
{
  auto& session = GetSession();
  const std::string running = session.GetTransactionKey();
  const bool isOther = running != mMessageId && running != ISessionClientHandler::kAnyTransaction;
  if (isOther && session.GetTransactionIdOf(running) != kNoTransaction) {
    LOG_INFO("{}StartTransaction: The transaction of id '{}' has been followed by another, whose TransactionId stays",
             *mConnectorTag, mIdTag);
    return;
  }
  session.SettleTransaction(mMessageId, transactionId);
}

void CStartTransactionOutCall::ApplyStatus(const idTagInfo& info, int64_t transactionId)
{
  UpdateAuthorizationCache(*mSystemAccess, mIdTag, info);
  if (!IsSessionStillRunning()) {
    LOG_INFO("{}StartTransaction: The session of id '{}' has ended meanwhile, nothing follows from its status",
             *mConnectorTag, mIdTag);
  } else if (ToAuthorizationStatus(info.status) == EAuthorizationStatus::EAccepted) {
    LOG_INFO("{}StartTransaction: Authorization accepted for id '{}'", *mConnectorTag, mIdTag);
    GetSession().SetParentIdTag(info.parentIdTag ? info.parentIdTag->Get() : std::string());
  } else {
    Deauthorize(info.status, transactionId);
  }
}

void CStartTransactionOutCall::Deauthorize(Ocpp16::IdTagInfoCommon::EAuthorizationStatus status,
                                           int64_t transactionId) const
{
  LOG_INFO("{}StartTransactionConf: Authorization not accepted for id '{}': {} ({})", *mConnectorTag, mIdTag,
           ToText(status), static_cast<int>(status));
  if (mSystemAccess->GetOcppConfigManager()->ReadBool("StopTransactionOnInvalidId")) {
    LOG_INFO("{}StartTransactionConf: Stopping transaction {} with reason DeAuthorized", *mConnectorTag, transactionId);
    GetSession().DeauthorizeSession(EDeauthorizeReason::EDeauthorized);
  } else {
    LOG_INFO("{}StartTransactionConf: Stopping energy delivery", *mConnectorTag);
    GetSession().DeauthorizeSession(EDeauthorizeReason::EStopEnergy);
  }
}

void CStartTransactionOutCall::GiveUp()
{
  LOG_ENTRY("CStartTransactionOutCall");
  // What went wrong may have gone wrong after the id was taken.
  if (GetSession().GetTransactionIdOf(mMessageId) == kNoTransaction) Settle(kNoTransaction);
}

bool CStartTransactionOutCall::IsSessionStillRunning() const
{
  const std::string key = GetSession().GetTransactionKey();
  return key == mMessageId || key == ISessionClientHandler::kAnyTransaction;
}

ISessionClientHandler& CStartTransactionOutCall::GetSession() const
{
  return *mSystemAccess->GetSessionManager(mConnectorId);
}
