#include "src/components/operation/ocpp16/implementation/starttransactionoperation.h"

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

using Ocpp16::StartTransaction::foreignStartTransactionResponse;
using Ocpp16::StartTransaction::startTransactionRequest;
using Ocpp16::StartTransaction::startTransactionResponse;
using TransactionOperation::IsConnector;
using TransactionOperation::kDefaultConnectorId;
using TransactionOperation::kNoTransaction;
using TransactionOperation::MakeConnectorTag;
using TransactionOperation::PresentTimeText;
using TransactionOperation::TakeConnectorId;

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

// A status that is none of OCPP's must not cost the transaction id that comes with it.
void CStartTransactionOutCall::HandleResponse(const std::string& payload)
{
  startTransactionResponse response;
  try {
    response = OcppJson::Read<startTransactionResponse>(payload);
  } catch (const char*) {
    const auto foreign = OcppJson::Read<foreignStartTransactionResponse>(payload);
    response.transactionId = foreign.transactionId;
    response.idTagInfo = ToInvalid(foreign.idTagInfo);
  }
  ResponseAction(response);
}

void CStartTransactionOutCall::ResponseAction(const startTransactionResponse& response)
{
  LOG_ENTRY("CStartTransactionOutCall");
  LOG_INFO("{}StartTransaction: CPO returned TransactionId '{}'", *mConnectorTag, response.transactionId);
  GetSession().SettleTransaction(mMessageId, response.transactionId);
  UpdateAuthorizationCache(*mSystemAccess, mIdTag, response.idTagInfo);
  if (!IsSessionStillRunning()) {
    LOG_INFO("{}StartTransaction: The session of id '{}' has ended meanwhile, nothing follows from its status",
             *mConnectorTag, mIdTag);
  } else if (ToAuthorizationStatus(response.idTagInfo.status) == EAuthorizationStatus::EAccepted) {
    LOG_INFO("{}StartTransaction: Authorization accepted for id '{}'", *mConnectorTag, mIdTag);
    const auto& parentIdTag = response.idTagInfo.parentIdTag;
    GetSession().SetParentIdTag(parentIdTag ? parentIdTag->Get() : std::string());
  } else {
    Deauthorize(response.idTagInfo.status, response.transactionId);
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
  if (GetSession().GetTransactionIdOf(mMessageId) == kNoTransaction) {
    GetSession().SettleTransaction(mMessageId, kNoTransaction);
  }
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
