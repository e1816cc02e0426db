#include "src/components/operation/ocpp_common/tablefactory.h"

#include <fmt/format.h>

#include <functional>

#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/operation/ocpp_common/erroroperation.h"
#include "src/components/operation/ocpp_common/incalloperation.h"
#include "src/components/operation/ocpp_common/messageid.h"
#include "src/components/operation/ocpp_common/payloadfault.h"

CTableFactory::CTableFactory(ISystemAccessInterface* systemAccess, const SOperationTable& table)
    : mSystemAccess(systemAccess)
{
  for (const auto& entry : table.outCalls) mOutCalls.emplace(entry.type, entry.create);
  for (const auto& entry : table.storedCalls) mStoredCalls.emplace(entry.type, entry.create);
  for (const auto& entry : table.inCalls) mInCalls.emplace(entry.type, entry);
}

template <typename TCreate>
auto CTableFactory::Guard(const TCreate& create) const -> decltype(create())
{
  try {
    return create();
  } catch (...) {
    LogError(fmt::format("Cannot create operation, invalid payload. {}", CurrentPayloadFault().text));
    return nullptr;
  }
}

std::shared_ptr<COutCallOperationBase> CTableFactory::CreateOutOperation(EOutOpType type)
{
  LogTrace(__func__);
  std::shared_ptr<COutCallOperationBase> operation;
  if (type == EOutOpType::EInvalid) {
    LogError("EOutOpType EInvalid is used to created operations, return nullptr");
  } else {
    const auto found = mOutCalls.find(type);
    if (found == mOutCalls.end()) throw std::bad_function_call();
    operation = Guard([&] { return found->second(mSystemAccess, NewMessageId()); });
  }
  if (!operation) {
    LogError(fmt::format("Failed to create operation pair [{}], returning nullptr.", OutOpTypeToName(type)));
  }
  return operation;
}

std::shared_ptr<COutCallOperationBase> CTableFactory::CreateOutOperation(const SMessage& message)
{
  LogTrace(__func__);
  const auto found = mStoredCalls.find(message.type);
  if (found == mStoredCalls.end()) {
    LogError(fmt::format("{} is not a persistent operation, returning nullptr", OutOpTypeToName(message.type)));
    return nullptr;
  }
  auto operation =
      Guard([&] { return found->second(mSystemAccess, message.messageId, SStoredPayload{message.payload}); });
  if (operation && message.transactionKey) operation->SetTransactionKey(*message.transactionKey);
  return operation;
}

std::shared_ptr<CInCallOperationBase> CTableFactory::CreateInOperation(const std::string& id, EInOpType type,
                                                                       EBackofficeId backoffice)
{
  LogTrace(__func__);
  std::shared_ptr<CInCallOperationBase> operation;
  if (type == EInOpType::EInvalid) {
    LogError("EInOpType EInvalid is used to created operation, return nullptr");
  } else {
    const auto found = mInCalls.find(type);
    if (found == mInCalls.end()) throw std::bad_function_call();
    operation = Guard([&] { return found->second.create(mSystemAccess, id); });
  }
  if (operation) {
    operation->SetBackofficeId(backoffice);
  } else {
    LogError(fmt::format("Failed to create incall operation [{}], returning nullptr.", InOpTypeToName(type)));
  }
  return operation;
}

std::shared_ptr<CErrorOperation> CTableFactory::CreateErrorResponse(const std::string& id, EInCallError error)
{
  LogTrace(__func__);
  return std::make_shared<CErrorOperation>(id, CInCallError(error));
}

bool CTableFactory::IsInfoLogLevel(EInOpType type) const
{
  const auto found = mInCalls.find(type);
  return found == mInCalls.end() || found->second.isInfoLogLevel;
}
