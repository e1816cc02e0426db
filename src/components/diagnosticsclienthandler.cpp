#include "src/components/diagnosticsclienthandler.h"

#include <json/json.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "src/components/iocpp.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isystemaccessinterface.h"

namespace {

constexpr auto kStation = ipc::EInstanceTypeStation;
constexpr const char* kFreezeFrameTag = "OCPP GetDiagnostics";
// A freeze frame collects logs of the whole station, which takes seconds.
constexpr std::chrono::seconds kFreezeFrameTimeout{60};
constexpr const char* kIgnoredWarnings = "IgnoredWarnings";
// Errors after which the station cannot go on without a restart.
constexpr std::array<int32_t, 5> kFatalErrors{1100, 1102, 1103, 1104, 1105};

bool IsFatal(int32_t identifier)
{
  return std::find(kFatalErrors.begin(), kFatalErrors.end(), identifier) != kFatalErrors.end();
}

const char* ReasonCode(EProfileUpdateReason reason)
{
  switch (reason) {
    case EProfileUpdateReason::ELoadPersistentStorage:
      return "LoadPersistentStorage";
    case EProfileUpdateReason::EOcppSetChargeProfile:
      return "OcppSetChargeProfile";
    case EProfileUpdateReason::EOcppRemoteStartTransaction:
      return "OcppRemoteStartTransaction";
    case EProfileUpdateReason::EOcppClearChargeProfile:
      return "OcppClearChargeProfile";
    case EProfileUpdateReason::ETransactionEnd:
      return "TransactionEnd";
    case EProfileUpdateReason::EDuplicatedParameter:
      return "DuplicatedParameter";
  }
  return "Unknown";
}

std::string WriteJson(const Json::Value& value)
{
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// Throws std::invalid_argument and std::out_of_range.
int32_t ParseIdentifier(const std::string& part)
{
  size_t length = 0;
  const int identifier = std::stoi(part, &length);
  if (part.find_first_not_of(' ', length) != std::string::npos) throw std::invalid_argument("trailing characters");
  return identifier;
}

std::set<int32_t> ParseIdentifiers(const std::string& text)
{
  std::set<int32_t> identifiers;
  std::istringstream parts(text);
  for (std::string part; std::getline(parts, part, ',');) {
    try {
      identifiers.insert(ParseIdentifier(part));
    } catch (const std::invalid_argument& error) {
      LOG_WARNING("Warning [{}] was not numerical: {}", part, error.what());
    } catch (const std::out_of_range& error) {
      LOG_WARNING("Warning [{}] was out of numerical range: {}", part, error.what());
    }
  }
  return identifiers;
}

}  // namespace

CDiagnosticsClientHandler::CDiagnosticsClientHandler(IClock& clock, std::shared_ptr<IDiagnostics> diagnostics,
                                                     ISystemAccessInterface& systemAccess)
    : mClock(clock),
      mDiagnostics(std::move(diagnostics)),
      mSystemAccess(systemAccess),
      mChargeProfileUpdateTrace(SignalDefinitions::ChargeProfileUpdateTrace, kStation),
      mActiveChargeProfile(SignalDefinitions::ActiveChargeProfile, kStation),
      mInstalledChargeProfiles(SignalDefinitions::InstalledChargeProfiles, kStation),
      mChargeProfileFailure(SignalDefinitions::ChargeProfileFailure, kStation),
      mTransactionQueueSize(SignalDefinitions::TransactionQueueSize, kStation),
      mBackofficeCommunicationLost(SignalDefinitions::BackofficeCommunicationLost, kStation),
      mMessageStorageFull(SignalDefinitions::MessageStorageFull, kStation),
      mBackofficeDnsFailed(SignalDefinitions::BackofficeDnsFailed, kStation),
      mSecurityParameterReconfigured(SignalDefinitions::SecurityParameterReconfigured, kStation),
      mInvalidMessage(SignalDefinitions::InvalidMessage, kStation),
      mInvalidCentralSystemCertificate(SignalDefinitions::InvalidCentralSystemCertificate, kStation),
      mParameterReconfigured(SignalDefinitions::ParameterReconfigured, kStation),
      mConnectivityChanged(SignalDefinitions::ConnectivityChanged, kStation),
      mBopConstraint(SignalDefinitions::BopConstraint, kStation),
      mWebsocketStatus(SignalDefinitions::WebsocketStatus, kStation),
      mAuxiliaryOnline(SignalDefinitions::AuxiliaryBackofficeOnline, kStation)
{}

void CDiagnosticsClientHandler::Init()
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  LoadIgnoredWarnings(EBackofficeId::EPrimary);
}

void CDiagnosticsClientHandler::HandleDiagnosticsNotification(const ipc::MDiagnosticsSignal& signal,
                                                              const ipc::MDiagnosticsNotificationType& type)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  // An open enumeration: a newer diagnostics process may know more kinds.
  switch (const int kind = type.type(); kind) {
    case ipc::EDiagnosticsNotificationTypeError:
      return HandleError(signal);
    case ipc::EDiagnosticsNotificationTypeWarning:
      return HandleWarning(signal);
    case ipc::EDiagnosticsNotificationTypeEvent:
      return HandleEvent(signal);
    default:
      LOG_ERROR("Diagnostic notification received with unknown type: {}", kind);
  }
}

void CDiagnosticsClientHandler::HandleError(const ipc::MDiagnosticsSignal& signal)
{
  mActiveErrors.Update(signal);
  if (!IsFatal(signal.identifier())) return;
  if (auto* ocpp = mSystemAccess.GetOcpp()) ocpp->PushFatalStatusNotification();
}

void CDiagnosticsClientHandler::HandleWarning(const ipc::MDiagnosticsSignal& signal)
{
  if (IsIgnored(signal.identifier())) return;
  mActiveWarnings.Update(signal);
  if (auto* ocpp = mSystemAccess.GetOcpp()) ocpp->PushStatusNotification(0, {});
}

void CDiagnosticsClientHandler::HandleEvent(const ipc::MDiagnosticsSignal& signal)
{
  if (auto* ocpp = mSystemAccess.GetOcpp()) ocpp->PushSecurityEventNotification(signal);
}

void CDiagnosticsClientHandler::SyncActiveErrorWarning()
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  const auto errorSync = mActiveErrors.BeginSync();
  const auto warningSync = mActiveWarnings.BeginSync();
  try {
    mActiveErrors.EndSync(errorSync, mDiagnostics->GetActiveErrors());
    auto warnings = mDiagnostics->GetActiveWarnings();
    warnings.erase(std::remove_if(warnings.begin(), warnings.end(),
                                  [this](const auto& signal) { return IsIgnored(signal.identifier()); }),
                   warnings.end());
    mActiveWarnings.EndSync(warningSync, warnings);
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Diagnostics for request active errors/warnings, Error: {}", error.what());
  }
}

std::vector<int32_t> CDiagnosticsClientHandler::GetActiveErrors(uint32_t connector)
{
  return mActiveErrors.Get(connector);
}

std::vector<int32_t> CDiagnosticsClientHandler::GetActiveWarnings(uint32_t connector)
{
  return mActiveWarnings.Get(connector);
}

void CDiagnosticsClientHandler::LoadIgnoredWarnings(EBackofficeId)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  const auto* configManager = mSystemAccess.GetOcppConfigManager();
  if (configManager == nullptr) return;
  const auto ignored = ParseIdentifiers(configManager->ReadString(kIgnoredWarnings));
  {
    CLock lock(mIgnoredMutex);
    mIgnoredWarnings = ignored;
  }
  // Their end would not be noticed any more.
  mActiveWarnings.Remove(ignored);
}

bool CDiagnosticsClientHandler::IsIgnored(int32_t identifier) const
{
  CLock lock(mIgnoredMutex);
  return mIgnoredWarnings.count(identifier) > 0;
}

std::optional<std::string> CDiagnosticsClientHandler::CreateFreezeFrame(const std::string& reason)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  const auto promise = AddPromise(reason);
  std::optional<std::string> fileName;
  if (!promise) {
    LOG_ERROR("Future already retrieved: {}", reason);
  } else {
    if (RequestFreezeFrame()) fileName = AwaitFreezeFrame(*promise);
    RemovePromise(*promise);
  }
  if (!fileName) LOG_ERROR("Failed to create freeze frame");
  return fileName;
}

bool CDiagnosticsClientHandler::RequestFreezeFrame()
{
  try {
    if (mDiagnostics->CreateFreezeFrame(kFreezeFrameTag).result() == ipc::EResultSuccess) return true;
    LOG_ERROR("CreateFreezeFrame call failed");
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Diagnostics, error: {}", error.what());
  }
  return false;
}

std::optional<std::string> CDiagnosticsClientHandler::AwaitFreezeFrame(CPromises::iterator promise)
{
  const auto deadline = mClock.SteadyNow() + kFreezeFrameTimeout;
  std::string fileName;
  {
    CLock lock(mFreezeFrameMutex);
    while (!promise->isDone && mClock.WaitUntil(lock, mFreezeFrameDone, deadline)) {
    }
    if (!promise->isDone) {
      lock.Unlock();
      LOG_ERROR("Timeout while creating freezeframe");
      return std::nullopt;
    }
    fileName = promise->fileName;
  }
  if (fileName.empty()) {
    LOG_ERROR("No filename received for freezeframe");
    return std::nullopt;
  }
  LOG_INFO("Freeze frame created at {}", fileName);
  return fileName;
}

std::optional<CDiagnosticsClientHandler::CPromises::iterator> CDiagnosticsClientHandler::AddPromise(
    const std::string& reason)
{
  CLock lock(mFreezeFrameMutex);
  const auto isSame = [&](const SFreezeFramePromise& promise) { return promise.reason == reason; };
  if (std::any_of(mFreezeFramePromises.begin(), mFreezeFramePromises.end(), isSame)) return std::nullopt;
  return mFreezeFramePromises.insert(mFreezeFramePromises.end(), SFreezeFramePromise{reason, false, {}});
}

void CDiagnosticsClientHandler::RemovePromise(CPromises::iterator promise)
{
  CLock lock(mFreezeFrameMutex);
  mFreezeFramePromises.erase(promise);
}

void CDiagnosticsClientHandler::HandleFreezeFrameDone(const std::string& fileName)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  {
    CLock lock(mFreezeFrameMutex);
    const auto promise = std::find_if(mFreezeFramePromises.begin(), mFreezeFramePromises.end(),
                                      [](const SFreezeFramePromise& candidate) { return !candidate.isDone; });
    if (promise == mFreezeFramePromises.end()) {
      lock.Unlock();
      LOG_WARNING("Unexpected freezeframe promise {}", fileName);
      return;
    }
    promise->fileName = fileName;
    promise->isDone = true;
    mClock.NotifyAll(mFreezeFrameDone);
  }
  LOG_INFO("FreezeFrame is done @ {}", fileName);
}

bool CDiagnosticsClientHandler::IsPrimary(EBackofficeId backoffice) const
{
  auto* ocpp = mSystemAccess.GetOcpp();
  return ocpp != nullptr && backoffice != EBackofficeId::ENone && ocpp->GetPrimaryBackofficeId() == backoffice;
}

void CDiagnosticsClientHandler::ReportConnectionAborted(EBackofficeId backoffice)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  SetOnline(backoffice, false);
}

void CDiagnosticsClientHandler::ReportBackofficeOnline(EBackofficeId backoffice)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  SetOnline(backoffice, true);
}

void CDiagnosticsClientHandler::SetOnline(EBackofficeId backoffice, bool online)
{
  auto* ocpp = mSystemAccess.GetOcpp();
  if (ocpp == nullptr || backoffice == EBackofficeId::ENone) return;
  if (IsPrimary(backoffice)) return mBackofficeCommunicationLost.SendOnChange(!online);
  if (ocpp->GetAuxiliaryBackofficeIds().count(backoffice) == 0) return;

  const std::string name = BackofficeName(backoffice);
  CLock lock(mAuxiliaryOnlineMutex);
  auto names = mAuxiliaryOnline.GetLast();
  names.erase(std::remove(names.begin(), names.end(), name), names.end());
  if (online) names.push_back(name);
  mAuxiliaryOnline.Send(names);
}

void CDiagnosticsClientHandler::ReportStorageFull()
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mIsStorageFullKnown = true;
  mMessageStorageFull.SendOnChange(true);
}

void CDiagnosticsClientHandler::ClearStorageFull()
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  // The first time not only on change: an earlier life of the process may have raised it.
  if (mIsStorageFullKnown.exchange(true)) {
    mMessageStorageFull.SendOnChange(false);
  } else {
    mMessageStorageFull.Send(false);
  }
}

void CDiagnosticsClientHandler::ReportDnsFailure(EBackofficeId backoffice)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  SetDnsFailed(backoffice, true);
}

void CDiagnosticsClientHandler::ClearDnsFailure(EBackofficeId backoffice)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  SetDnsFailed(backoffice, false);
}

void CDiagnosticsClientHandler::SetDnsFailed(EBackofficeId backoffice, bool failed)
{
  if (IsPrimary(backoffice)) mBackofficeDnsFailed.Send(failed);
}

void CDiagnosticsClientHandler::ReportChargeProfileUpdate(bool removed, int64_t profileId, EProfileUpdateReason reason)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  Json::Value trace(Json::objectValue);
  trace["UpdateType"] = removed ? "Removed" : "Installed";
  trace["ProfileId"] = std::to_string(profileId);
  trace["UpdateReason"] = ReasonCode(reason);
  mChargeProfileUpdateTrace.Send(WriteJson(trace));
}

void CDiagnosticsClientHandler::SetActiveChargeProfile(int64_t profileId)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mActiveChargeProfile.Send(profileId);
}

void CDiagnosticsClientHandler::ReportInstalledProfiles(const std::set<int64_t>& profileIds)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mInstalledChargeProfiles.Send(fmt::format("{}", fmt::join(profileIds, ",")));
}

void CDiagnosticsClientHandler::ReportProfileFailure(int64_t profileId, const std::string& reason)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  Json::Value failure(Json::objectValue);
  failure["ProfileId"] = std::to_string(profileId);
  failure["FailReason"] = reason;
  mChargeProfileFailure.Send(WriteJson(failure));
}

void CDiagnosticsClientHandler::ReportWebsocketStatus(const std::string& text, EBackofficeId backoffice)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  const std::string prefix = fmt::format("[{}] ", BackofficeName(backoffice));
  CLock lock(mWebsocketStatusMutex);
  auto entries = mWebsocketStatus.GetLast();
  const auto entry = std::find_if(entries.begin(), entries.end(), [&](const std::string& candidate) {
    return candidate.compare(0, prefix.size(), prefix) == 0;
  });
  if (entry == entries.end()) {
    entries.push_back(prefix + text);
  } else {
    *entry = prefix + text;
  }
  mWebsocketStatus.Send(entries);
}

void CDiagnosticsClientHandler::SetTransactionQueueSize(uint32_t size)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  // Changes with every message; a backlog of old sizes would push out what has to be told.
  mTransactionQueueSize.SendLatest(size);
}

void CDiagnosticsClientHandler::ReportSecurityEvent(const std::string& text)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mInvalidCentralSystemCertificate.Send(text);
}

void CDiagnosticsClientHandler::ReportInvalidMessage(const std::string& text)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mInvalidMessage.Send(text);
}

void CDiagnosticsClientHandler::ReportSecurityParameterChange(const std::string& text)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mSecurityParameterReconfigured.Send(text);
}

void CDiagnosticsClientHandler::ReportBackendConnection(const std::string& text)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mConnectivityChanged.Send(text);
}

void CDiagnosticsClientHandler::ReportParameterChange(const std::string& text)
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  mParameterReconfigured.Send(text);
}

std::optional<std::string> CDiagnosticsClientHandler::GetBopMeasurement()
{
  LOG_ENTRY("CDiagnosticsClientHandler");
  return mBopConstraint.Receive();
}
