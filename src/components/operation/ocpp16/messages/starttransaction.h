#pragma once

#include <cstdint>
#include <string>

#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"
#include "src/components/operation/ocpp_common/record.h"

// StartTransaction (OCPP 1.6 section 4.8), sent by the station: a charge has begun.
namespace Ocpp16::StartTransaction {

using OcppRecord::Text;

#define MEMBERS(REQUIRED, OPTIONAL) \
  REQUIRED(int64_t, connectorId)    \
  REQUIRED(Text<20>, idTag)         \
  REQUIRED(int64_t, meterStart)     \
  OPTIONAL(int64_t, reservationId)  \
  REQUIRED(std::string, timestamp)
OCPP_RECORD(startTransactionRequest, MEMBERS)
#undef MEMBERS

#define MEMBERS(REQUIRED, OPTIONAL)               \
  REQUIRED(IdTagInfoCommon::idTagInfo, idTagInfo) \
  REQUIRED(int64_t, transactionId)
OCPP_RECORD(startTransactionResponse, MEMBERS)
#undef MEMBERS

// The response with a status of whatever text.
#define MEMBERS(REQUIRED, OPTIONAL)                      \
  REQUIRED(IdTagInfoCommon::foreignIdTagInfo, idTagInfo) \
  REQUIRED(int64_t, transactionId)
OCPP_RECORD(foreignStartTransactionResponse, MEMBERS)
#undef MEMBERS

}  // namespace Ocpp16::StartTransaction
