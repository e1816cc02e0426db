#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/iipc/messages.h"

// What an out-call is told by whoever pushes it. Each key has one value type, named beside it.
enum class EOperationParameter : int {
  EAuthorizationContext = 0,                // ipc::MAuthorizeRequest
  EFwUpdateStatus = 1,                      // int64_t, state number of the firmware update
  EUploadStatus = 2,                        // int64_t, state number of a diagnostics or log upload
  ELogRequestId = 3,                        // int64_t, request id of the GetLog that the upload belongs to
  EConnectorId = 4,                         // int64_t, OCPP connector id: 0 the station, 1.. its connectors
  EConnectorState = 5,                      // int64_t, ipc::EConnectorState
  EErrorList = 6,                           // std::vector<int32_t>, error codes of the diagnostics
  EReadingContext = 7,                      // int64_t, Ocpp16::MeterValues::EReadingContext
  EMeterData = 8,                           // ipc::MMeterData
  EStopReason = 9,                          // int64_t, EStopSessionReason
  ESecurityEventType = 10,                  // std::string
  ESecurityEventTimestamp = 11,             // std::string, "%FT%TZ" in UTC
  ESecurityEventTechnicalInformation = 12,  // std::string
};

using COperationParameter =
    std::variant<int64_t, std::string, std::vector<int32_t>, ipc::MMeterData, ipc::MAuthorizeRequest>;
using COperationParameters = std::map<EOperationParameter, COperationParameter>;

// The value of `key` as TValue; empty when the key is absent or holds another type.
template <typename TValue>
std::optional<TValue> GetParameter(const COperationParameters& parameters, EOperationParameter key)
{
  const auto found = parameters.find(key);
  if (found == parameters.end()) return std::nullopt;
  const auto* value = std::get_if<TValue>(&found->second);
  if (value == nullptr) return std::nullopt;
  return *value;
}

inline std::optional<int64_t> GetIntParameter(const COperationParameters& parameters, EOperationParameter key)
{
  return GetParameter<int64_t>(parameters, key);
}

inline std::optional<std::string> GetTextParameter(const COperationParameters& parameters, EOperationParameter key)
{
  return GetParameter<std::string>(parameters, key);
}
