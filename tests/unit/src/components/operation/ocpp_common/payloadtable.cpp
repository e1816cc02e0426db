#include "tests/unit/src/components/operation/ocpp_common/payloadtable.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "src/components/operation/ocpp16/messages/authorize.h"
#include "src/components/operation/ocpp16/messages/bootnotification.h"
#include "src/components/operation/ocpp16/messages/changeavailability.h"
#include "src/components/operation/ocpp16/messages/changeconfiguration.h"
#include "src/components/operation/ocpp16/messages/clearcache.h"
#include "src/components/operation/ocpp16/messages/clearchargingprofile.h"
#include "src/components/operation/ocpp16/messages/datatransfer.h"
#include "src/components/operation/ocpp16/messages/diagnosticsstatusnotification.h"
#include "src/components/operation/ocpp16/messages/extendedtriggermessage.h"
#include "src/components/operation/ocpp16/messages/firmwarestatusnotification.h"
#include "src/components/operation/ocpp16/messages/getconfiguration.h"
#include "src/components/operation/ocpp16/messages/getdiagnostics.h"
#include "src/components/operation/ocpp16/messages/getlocallistversion.h"
#include "src/components/operation/ocpp16/messages/getlog.h"
#include "src/components/operation/ocpp16/messages/heartbeat.h"
#include "src/components/operation/ocpp16/messages/logstatusnotification.h"
#include "src/components/operation/ocpp16/messages/metervalues.h"
#include "src/components/operation/ocpp16/messages/remotestarttransaction.h"
#include "src/components/operation/ocpp16/messages/remotestoptransaction.h"
#include "src/components/operation/ocpp16/messages/reset.h"
#include "src/components/operation/ocpp16/messages/securityeventnotification.h"
#include "src/components/operation/ocpp16/messages/sendlocallist.h"
#include "src/components/operation/ocpp16/messages/setchargingprofile.h"
#include "src/components/operation/ocpp16/messages/starttransaction.h"
#include "src/components/operation/ocpp16/messages/statusnotification.h"
#include "src/components/operation/ocpp16/messages/stoptransaction.h"
#include "src/components/operation/ocpp16/messages/triggermessage.h"
#include "src/components/operation/ocpp16/messages/unlockconnector.h"
#include "src/components/operation/ocpp16/messages/updatefirmware.h"
#include "src/components/operation/ocpp201/messages/getvariables.h"
#include "src/components/operation/ocpp_common/json.h"
#include "src/components/operation/ocpp_common/record.h"

namespace {

template <typename TType>
nlohmann::json Describe();

template <typename TType>
nlohmann::json DescribeRecord()
{
  nlohmann::json schema = {{"type", "object"}, {"properties", nlohmann::json::object()}};
  std::vector<std::string> required;
  TType::VisitMembers([&](const char* name, auto member) {
    using TMember = std::decay_t<decltype(std::declval<TType>().*member)>;
    if constexpr (OcppRecord::SIsOptional<TMember>::value) {
      schema["properties"][name] = Describe<typename TMember::value_type>();
    } else {
      schema["properties"][name] = Describe<TMember>();
      required.emplace_back(name);
    }
  });
  std::sort(required.begin(), required.end());
  if (!required.empty()) schema["required"] = required;
  return schema;
}

template <typename TType>
nlohmann::json DescribeEnumeration()
{
  std::vector<std::string> texts;
  for (const auto& entry : EnumerationTable(TType{})) texts.emplace_back(entry.text);
  std::sort(texts.begin(), texts.end());
  return {{"type", "string"}, {"enum", texts}};
}

template <typename TType>
nlohmann::json DescribeText()
{
  nlohmann::json schema = {{"type", "string"}};
  const auto& constraints = TType::GetConstraints();
  if (constraints.minLength) schema["minLength"] = *constraints.minLength;
  if (constraints.maxLength) schema["maxLength"] = *constraints.maxLength;
  return schema;
}

template <typename TType>
nlohmann::json Describe()
{
  if constexpr (OcppRecord::SIsRecord<TType>::value) {
    return DescribeRecord<TType>();
  } else if constexpr (std::is_enum_v<TType>) {
    return DescribeEnumeration<TType>();
  } else if constexpr (OcppRecord::SIsList<TType>::value) {
    return {{"type", "array"}, {"items", Describe<typename TType::value_type>()}};
  } else if constexpr (OcppRecord::SIsConstrainedText<TType>::value) {
    return DescribeText<TType>();
  } else if constexpr (std::is_same_v<TType, std::string>) {
    return {{"type", "string"}};
  } else if constexpr (std::is_same_v<TType, int64_t>) {
    return {{"type", "integer"}};
  } else if constexpr (std::is_same_v<TType, double>) {
    return {{"type", "number"}};
  } else {
    static_assert(std::is_same_v<TType, bool>);
    return {{"type", "boolean"}};
  }
}

template <typename TRecord>
std::string Reread(const std::string& text)
{
  return OcppJson::Write(OcppJson::Read<TRecord>(text));
}

template <typename TRecord>
SPayload Row(const std::string& name, EOcppVersion version = EOcppVersion::E16)
{
  return {version, name, Reread<TRecord>, DescribeRecord<TRecord>};
}

// True when the row copes with the bytes.
bool Copes(const SPayload& payload, const std::string& text)
{
  std::string written;
  try {
    written = payload.reread(text);
  } catch (const nlohmann::json::exception&) {
    return true;
  } catch (const OcppConstraints::classMemberConstraintException&) {
    return true;
  } catch (const char* exceptionText) {
    return std::string_view(exceptionText) == OcppJson::kNotConforming;
  }
  return payload.reread(written) == written;
}

}  // namespace

const std::vector<SPayload>& Payloads()
{
  static const std::vector<SPayload> payloads = {
      Row<Ocpp16::Authorize::authorizeRequest>("Authorize.req"),
      Row<Ocpp16::Authorize::authorizeResponse>("Authorize.conf"),
      Row<Ocpp16::BootNotification::bootNotificationRequest>("BootNotification.req"),
      Row<Ocpp16::BootNotification::bootNotificationResponse>("BootNotification.conf"),
      Row<Ocpp16::ChangeAvailability::changeAvailabilityRequest>("ChangeAvailability.req"),
      Row<Ocpp16::ChangeAvailability::changeAvailabilityResponse>("ChangeAvailability.conf"),
      Row<Ocpp16::ChangeConfiguration::changeConfigurationRequest>("ChangeConfiguration.req"),
      Row<Ocpp16::ChangeConfiguration::changeConfigurationResponse>("ChangeConfiguration.conf"),
      Row<Ocpp16::ClearCache::clearCacheRequest>("ClearCache.req"),
      Row<Ocpp16::ClearCache::clearCacheResponse>("ClearCache.conf"),
      Row<Ocpp16::ClearChargingProfile::clearChargingProfileRequest>("ClearChargingProfile.req"),
      Row<Ocpp16::ClearChargingProfile::clearChargingProfileResponse>("ClearChargingProfile.conf"),
      Row<Ocpp16::DataTransfer::dataTransferRequest>("DataTransfer.req"),
      Row<Ocpp16::DataTransfer::dataTransferResponse>("DataTransfer.conf"),
      Row<Ocpp16::DiagnosticsStatusNotification::diagnosticsStatusNotificationRequest>(
          "DiagnosticsStatusNotification.req"),
      Row<Ocpp16::DiagnosticsStatusNotification::diagnosticsStatusNotificationResponse>(
          "DiagnosticsStatusNotification.conf"),
      Row<Ocpp16::ExtendedTriggerMessage::extendedTriggerMessageRequest>("ExtendedTriggerMessage.req"),
      Row<Ocpp16::ExtendedTriggerMessage::extendedTriggerMessageResponse>("ExtendedTriggerMessage.conf"),
      Row<Ocpp16::FirmwareStatusNotification::firmwareStatusNotificationRequest>("FirmwareStatusNotification.req"),
      Row<Ocpp16::FirmwareStatusNotification::firmwareStatusNotificationResponse>("FirmwareStatusNotification.conf"),
      Row<Ocpp16::GetConfiguration::getConfigurationRequest>("GetConfiguration.req"),
      Row<Ocpp16::GetConfiguration::getConfigurationResponse>("GetConfiguration.conf"),
      Row<Ocpp16::GetDiagnostics::getDiagnosticsRequest>("GetDiagnostics.req"),
      Row<Ocpp16::GetDiagnostics::getDiagnosticsResponse>("GetDiagnostics.conf"),
      Row<Ocpp16::GetLocalListVersion::getLocalListVersionRequest>("GetLocalListVersion.req"),
      Row<Ocpp16::GetLocalListVersion::getLocalListVersionResponse>("GetLocalListVersion.conf"),
      Row<Ocpp16::GetLog::getLogRequest>("GetLog.req"),
      Row<Ocpp16::GetLog::getLogResponse>("GetLog.conf"),
      Row<Ocpp16::Heartbeat::heartbeatRequest>("Heartbeat.req"),
      Row<Ocpp16::Heartbeat::heartbeatResponse>("Heartbeat.conf"),
      Row<Ocpp16::LogStatusNotification::logStatusNotificationRequest>("LogStatusNotification.req"),
      Row<Ocpp16::LogStatusNotification::logStatusNotificationResponse>("LogStatusNotification.conf"),
      Row<Ocpp16::MeterValues::meterValuesRequest>("MeterValues.req"),
      Row<Ocpp16::MeterValues::meterValuesResponse>("MeterValues.conf"),
      Row<Ocpp16::RemoteStartTransaction::remoteStartTransactionRequest>("RemoteStartTransaction.req"),
      Row<Ocpp16::RemoteStartTransaction::remoteStartTransactionResponse>("RemoteStartTransaction.conf"),
      Row<Ocpp16::RemoteStopTransaction::remoteStopTransactionRequest>("RemoteStopTransaction.req"),
      Row<Ocpp16::RemoteStopTransaction::remoteStopTransactionResponse>("RemoteStopTransaction.conf"),
      Row<Ocpp16::Reset::resetRequest>("Reset.req"),
      Row<Ocpp16::Reset::resetResponse>("Reset.conf"),
      Row<Ocpp16::SecurityEventNotification::securityEventNotificationRequest>("SecurityEventNotification.req"),
      Row<Ocpp16::SecurityEventNotification::securityEventNotificationResponse>("SecurityEventNotification.conf"),
      Row<Ocpp16::SendLocalList::sendLocalListRequest>("SendLocalList.req"),
      Row<Ocpp16::SendLocalList::sendLocalListResponse>("SendLocalList.conf"),
      Row<Ocpp16::SetChargingProfile::setChargingProfileRequest>("SetChargingProfile.req"),
      Row<Ocpp16::SetChargingProfile::setChargingProfileResponse>("SetChargingProfile.conf"),
      Row<Ocpp16::StartTransaction::startTransactionRequest>("StartTransaction.req"),
      Row<Ocpp16::StartTransaction::startTransactionResponse>("StartTransaction.conf"),
      Row<Ocpp16::StatusNotification::statusNotificationRequest>("StatusNotification.req"),
      Row<Ocpp16::StatusNotification::statusNotificationResponse>("StatusNotification.conf"),
      Row<Ocpp16::StopTransaction::stopTransactionRequest>("StopTransaction.req"),
      Row<Ocpp16::StopTransaction::stopTransactionResponse>("StopTransaction.conf"),
      Row<Ocpp16::TriggerMessage::triggerMessageRequest>("TriggerMessage.req"),
      Row<Ocpp16::TriggerMessage::triggerMessageResponse>("TriggerMessage.conf"),
      Row<Ocpp16::UnlockConnector::unlockConnectorRequest>("UnlockConnector.req"),
      Row<Ocpp16::UnlockConnector::unlockConnectorResponse>("UnlockConnector.conf"),
      Row<Ocpp16::UpdateFirmware::updateFirmwareRequest>("UpdateFirmware.req"),
      Row<Ocpp16::UpdateFirmware::updateFirmwareResponse>("UpdateFirmware.conf"),
      Row<Ocpp201::GetVariables::getVariablesRequest>("GetVariables.req", EOcppVersion::E201),
      Row<Ocpp201::GetVariables::getVariablesResponse>("GetVariables.conf", EOcppVersion::E201),
  };
  return payloads;
}

std::string ReadPayload(const std::string& name, const std::string& text)
{
  for (const auto& payload : Payloads()) {
    if (payload.name == name) return payload.reread(text);
  }
  throw std::invalid_argument("No message " + name);
}

bool CheckForeignPayload(std::string_view bytes)
{
  const std::string text(bytes);
  return std::all_of(Payloads().begin(), Payloads().end(),
                     [&](const SPayload& payload) { return Copes(payload, text); });
}
