#include "tests/unit/support/fakesiblings.h"

#include <algorithm>

#include "platform/commutil/communicationexception.h"

namespace {

bool IsSameSignal(const ipc::MDiagnosticsSignal& left, const ipc::MDiagnosticsSignal& right)
{
  return left.identifier() == right.identifier() && left.connector() == right.connector();
}

}  // namespace

void CFakeSibling::SetUnreachable(const std::string& error)
{
  const CLock lock(mMutex);
  mError = error;
}

void CFakeSibling::SetUnreachable(const std::string& call, const std::string& error)
{
  const CLock lock(mMutex);
  mCallErrors[call] = error;
}

void CFakeSibling::SetReachable()
{
  const CLock lock(mMutex);
  mError.reset();
  mCallErrors.clear();
}

void CFakeSibling::SetResult(ipc::EResult result)
{
  const CLock lock(mMutex);
  mResult = result;
}

void CFakeSibling::SetResult(const std::string& call, ipc::EResult result)
{
  const CLock lock(mMutex);
  mCallResults[call] = result;
}

std::vector<std::string> CFakeSibling::Calls() const
{
  const CLock lock(mMutex);
  return mCalls;
}

size_t CFakeSibling::CountCalls(const std::string& call) const
{
  const CLock lock(mMutex);
  return static_cast<size_t>(std::count(mCalls.begin(), mCalls.end(), call));
}

void CFakeSibling::ClearCalls()
{
  const CLock lock(mMutex);
  mCalls.clear();
}

void CFakeSibling::Enter(const std::string& call)
{
  const CLock lock(mMutex);
  mCalls.push_back(call);
  const auto callError = mCallErrors.find(call);
  if (callError != mCallErrors.end()) throw Rpc::CommunicationException(callError->second);
  if (mError) throw Rpc::CommunicationException(*mError);
}

ipc::MResult CFakeSibling::ResultOf(const std::string& call)
{
  const CLock lock(mMutex);
  const auto callResult = mCallResults.find(call);
  ipc::MResult result;
  result.set_result(callResult != mCallResults.end() ? callResult->second : mResult);
  return result;
}

ipc::MPilotStates CFakeBasicCharge2::GetPilotStates()
{
  Enter("GetPilotStates");
  return Get(mPilotStates);
}

bool CFakeBoardControl::EmitFwUpdateStatus(ipc::EFwUpdateStatus status) const
{
  ipc::MFwUpdateStatus message;
  message.set_status(status);
  return Emit(mFwUpdateStatusCB, message);
}

bool CFakeBoardControl::EmitStateChanged(ipc::EState state) const
{
  ipc::MState message;
  message.set_state(state);
  return Emit(mStateChangedCB, message);
}

ipc::MResult CFakeBoardControl::Reset(EResetKind kind)
{
  Enter("Reset");
  Append(mResets, kind);
  return ResultOf("Reset");
}

ipc::MResult CFakeBoardControl::InstallFirmware(const std::string& initiator)
{
  Enter("InstallFirmware");
  Append(mInstallations, initiator);
  return ResultOf("InstallFirmware");
}

ipc::MResult CFakeCurrentControl::SetLimit(const ipc::MCurrentControlLimit& limit)
{
  Enter("SetLimit");
  Append(mSetLimits, limit);
  const ipc::MResult result = ResultOf("SetLimit");
  if (result.result() == ipc::EResultSuccess) Set(mLimitInForce, limit);
  return result;
}

ipc::MResult CFakeCurrentControl::ClearLimit(const ipc::MCurrentControlLimit& limit)
{
  Enter("ClearLimit");
  Append(mClearedLimits, limit);
  const ipc::MResult result = ResultOf("ClearLimit");
  if (result.result() == ipc::EResultSuccess) Set(mLimitInForce, ipc::MCurrentControlLimit());
  return result;
}

ipc::MCurrentControlLimit CFakeCurrentControl::GetLimit()
{
  Enter("GetLimit");
  return Get(mLimitInForce);
}

std::vector<ipc::MDiagnosticsSignal> CFakeDiagnostics::SentSignals(ipc::ESignalIdentifier identifier) const
{
  std::vector<ipc::MDiagnosticsSignal> signals = Get(mSentSignals);
  signals.erase(std::remove_if(signals.begin(), signals.end(),
                               [identifier](const auto& signal) { return signal.identifier() != identifier; }),
                signals.end());
  return signals;
}

void CFakeDiagnostics::SetSignal(const ipc::MDiagnosticsSignal& signal)
{
  std::vector<ipc::MDiagnosticsSignal> signals = Get(mLastSignals);
  const auto last = std::find_if(signals.begin(), signals.end(),
                                 [&signal](const auto& candidate) { return IsSameSignal(candidate, signal); });
  if (last == signals.end()) {
    signals.push_back(signal);
  } else {
    *last = signal;
  }
  Set(mLastSignals, signals);
}

bool CFakeDiagnostics::EmitNotification(const ipc::MDiagnosticsSignal& signal,
                                        ipc::EDiagnosticsNotificationType type) const
{
  ipc::MDiagnosticsNotificationType message;
  message.set_type(type);
  return Emit(mNotificationCB, signal, message);
}

ipc::MResult CFakeDiagnostics::SendSignal(const ipc::MDiagnosticsSignal& signal)
{
  Enter("SendSignal");
  Append(mSentSignals, signal);
  SetSignal(signal);
  return ResultOf("SendSignal");
}

std::optional<ipc::MDiagnosticsSignal> CFakeDiagnostics::GetSignal(ipc::ESignalIdentifier identifier,
                                                                   uint32_t connector)
{
  Enter("GetSignal");
  for (const ipc::MDiagnosticsSignal& signal : Get(mLastSignals)) {
    if (signal.identifier() == identifier && signal.connector() == connector) return signal;
  }
  return std::nullopt;
}

std::vector<ipc::MDiagnosticsSignal> CFakeDiagnostics::GetActiveErrors()
{
  Enter("GetActiveErrors");
  return Get(mActiveErrors);
}

std::vector<ipc::MDiagnosticsSignal> CFakeDiagnostics::GetActiveWarnings()
{
  Enter("GetActiveWarnings");
  return Get(mActiveWarnings);
}

ipc::MResult CFakeDiagnostics::CreateFreezeFrame(const std::string& tag)
{
  Enter("CreateFreezeFrame");
  Append(mFreezeFrameTags, tag);
  return ResultOf("CreateFreezeFrame");
}

bool CFakeFeedback::EmitEventShown(ipc::EFbEventType type, ipc::EInstanceType instance) const
{
  ipc::MFbEventType event;
  event.set_type(type);
  ipc::MInstanceType place;
  place.set_instance(instance);
  return Emit(mEventShownCB, event, place);
}

ipc::MResult CFakeFeedback::TriggerEvent(const ipc::MFbEventType& event, const ipc::MInstanceType& instance)
{
  Enter("TriggerEvent");
  Append(mEvents, Event(event.type(), instance.instance()));
  return ResultOf("TriggerEvent");
}

ipc::MMeterData CFakeMeter::GetMeterData()
{
  Enter("GetMeterData");
  return Get(mMeterData);
}

ipc::MMeterSessions CFakeMeter::GetMeterSessions()
{
  Enter("GetMeterSessions");
  return Get(mMeterSessions);
}

ipc::MMcuStatus CFakeSafetyMcuComm::GetMcuStatus()
{
  Enter("GetMcuStatus");
  return Get(mMcuStatus);
}

ipc::MRelayStatus CFakeSafetyMcuComm::GetRelayStatus()
{
  Enter("GetRelayStatus");
  return Get(mRelayStatus);
}

void CFakeSessionManager::SetConnectorState(ipc::EConnectorState state)
{
  ipc::MConnectorInfo info = Get(mConnectorInfo);
  info.set_state(state);
  SetConnectorInfo(info);
}

bool CFakeSessionManager::EmitStateChanged(ipc::EConnectorState state) const
{
  ipc::MConnectorState message;
  message.set_state(state);
  return Emit(mStateChangedCB, message);
}

bool CFakeSessionManager::EmitSessionStopped(const ipc::MMeterData& data, ipc::EStopSessionReason reason) const
{
  return Emit(mSessionStoppedCB, data, reason);
}

std::string CFakeSessionManager::GetAuthorizeHandle()
{
  Enter("GetAuthorizeHandle");
  const std::optional<std::string> handle = Get(mAuthorizeHandle);
  return handle ? *handle : "request-" + std::to_string(CountCalls("GetAuthorizeHandle"));
}

ipc::MResult CFakeSessionManager::HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request)
{
  Enter("HandleAuthorizeRequest");
  Append(mAuthorizeRequests, request);
  return ResultOf("HandleAuthorizeRequest");
}

void CFakeSessionManager::DeauthorizeSession(uint32_t connector, ipc::EDeauthorizeReason reason)
{
  Enter("DeauthorizeSession");
  Append(mDeauthorizations, Deauthorization(connector, reason));
}

ipc::MResult CFakeSessionManager::ReserveConnector(const ipc::MConnectorReservation& reservation)
{
  Enter("ReserveConnector");
  Append(mReservations, reservation);
  return ResultOf("ReserveConnector");
}

ipc::MResult CFakeSessionManager::SetConnectorAvailability(uint32_t connector, bool operative)
{
  Enter("SetConnectorAvailability");
  Append(mAvailabilities, std::pair<uint32_t, bool>(connector, operative));
  return ResultOf("SetConnectorAvailability");
}

ipc::MResult CFakeSessionManager::SetMessageStorageAvailable(bool available)
{
  Enter("SetMessageStorageAvailable");
  Append(mMessageStorageAvailabilities, available);
  return ResultOf("SetMessageStorageAvailable");
}

ipc::MResult CFakeSessionManager::RequestUnlock(uint32_t connector)
{
  Enter("RequestUnlock");
  Append(mUnlockRequests, connector);
  return ResultOf("RequestUnlock");
}

ipc::MResult CFakeSessionManager::SetExternalChargeApproval(bool approved)
{
  Enter("SetExternalChargeApproval");
  Append(mExternalChargeApprovals, approved);
  return ResultOf("SetExternalChargeApproval");
}

void CFakeSessionManager::SetParentIdTag(uint32_t connector, const std::string& parentIdTag)
{
  Enter("SetParentIdTag");
  Append(mParentIdTags, std::pair<uint32_t, std::string>(connector, parentIdTag));
}

ipc::MConnectorInfo CFakeSessionManager::GetConnectorInfo(uint32_t)
{
  Enter("GetConnectorInfo");
  return Get(mConnectorInfo);
}

bool CFakeSessionManagerAuth::EmitAuthorizeId(uint32_t connector, const ipc::MAuthorizeRequest& request) const
{
  return Emit(mAuthorizeIdCB, connector, request);
}

ipc::MResult CFakeSessionManagerAuth::HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request)
{
  Enter("HandleAuthorizeRequest");
  Append(mAuthorizeRequests, request);
  return ResultOf("HandleAuthorizeRequest");
}
