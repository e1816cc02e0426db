#include "src/components/operation/ocpp16/operationfactory.h"

#include "platform/iclogger/log.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/operation/ocpp16/operationtable.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"

COperationFactory::COperationFactory(ISystemAccessInterface* systemAccess)
    : CTableFactory(systemAccess, Ocpp16::GetOperationTable())
{}

std::shared_ptr<COutCallOperationBase> COperationFactory::CreateOutOperation(const SMessage& message)
{
  auto operation = CTableFactory::CreateOutOperation(message);
  auto* transactionMessage = dynamic_cast<ITransactionMessage*>(operation.get());
  if (transactionMessage != nullptr && message.transactionKey) {
    transactionMessage->SetTransactionKey(*message.transactionKey);
  }
  return operation;
}

void COperationFactory::LogTrace(const char* method) const { LOG_TRACE("{}{}::{}", "", "COperationFactory", method); }

void COperationFactory::LogError(const std::string& text) const { LOG_ERROR("{}", text); }
