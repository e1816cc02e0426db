// What happens on a connection: the part of CWebsocketClient that the library calls.

#include <exception>

#include "platform/iclogger/log.h"
#include "src/components/boundedwait.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/ihostinfo.h"
#include "src/components/secretmask.h"
#include "src/components/websocketclient.h"
#include "src/components/websocketclosecode.h"

using websocketppwrapper::EConnectionState;
using websocketppwrapper::EOpcode;
using websocketppwrapper::IConnection;

namespace {

constexpr const char* kPingPayload = "ocpp-client-ping";

}  // namespace

void CWebsocketClient::OnOpenHandler(const CConnectionHandle& handle)
{
  std::error_code error;
  const std::shared_ptr<IConnection> connection = mWebsocket->get_con_from_hdl(handle, error);
  const std::string subprotocol = connection ? connection->GetResponseHeader("Sec-WebSocket-Protocol") : std::string();
  // The library leaves this to its user: without the subprotocol the connection must be failed (RFC 6455 section 4.1).
  if (subprotocol != kSubprotocol) {
    LOG_ERROR("[{}] The server has not accepted subprotocol {} but answered '{}', the connection is refused.", Name(),
              kSubprotocol, subprotocol);
    mIsRefused = true;
    mWebsocket->close(handle, WebsocketCloseCode::kProtocolError, "Subprotocol not accepted", error);
    return;
  }
  // When Close came first, it waits for nothing but this handler's return.
  if (!IsConnecting(mRunGeneration)) return;
  LOG_DEBUG("[{}] Websocket connection is opened.", Name());
  mDiagnostics->ReportBackendConnection(fmt::format("[{}] Backend connection became online", Name()));
  if (!ChangeStatus(EWebsocketStatus::EOpen)) {
    mDiagnostics->ReportBackendConnection(fmt::format("[{}] Backend connection became offline", Name()));
    return;
  }
  mRound = ERound::EOpen;
  ReportStatus("Opened");
  mDelay.Reset();
  SchedulePing(handle);
  COnOpen callback;
  {
    CLock lock(mCallbackMutex);
    callback = mOnOpenCB;
  }
  Call([&] { callback(handle); });
}

void CWebsocketClient::SchedulePing(const CConnectionHandle& handle)
{
  const auto interval = BoundedWait(std::chrono::seconds(mHostInfo->GetSettings().pingInterval));
  if (interval.count() == 0) {
    LOG_INFO("[{}] Websocket ping interval is set to 0, pingpong is not schedeuled", Name());
    return;
  }
  mPingCall = mPingWorker.AddCall([this, handle] { Ping(handle); }, mClock.SteadyNow(), interval);
}

void CWebsocketClient::Ping(const CConnectionHandle& handle)
{
  std::error_code error;
  const std::shared_ptr<IConnection> connection = mWebsocket->get_con_from_hdl(handle, error);
  if (error) {
    LOG_ERROR("[{}] Cannot get valid connection while sending ping. Error: {} ({})", Name(), error.message(),
              error.value());
    return;
  }
  connection->Ping(kPingPayload, error);
  if (error) LOG_ERROR("[{}] Cannot send ping. Error: {} ({})", Name(), error.message(), error.value());
}

void CWebsocketClient::OnPongTimeoutHandler(const CConnectionHandle& handle)
{
  std::error_code error;
  const std::shared_ptr<IConnection> connection = mWebsocket->get_con_from_hdl(handle, error);
  if (error) {
    LOG_ERROR("[{}] Cannot get valid connection while handling OnPongTimeout. Error: {} ({})", Name(), error.message(),
              error.value());
    return;
  }
  if (connection->GetState() != EConnectionState::EOpen) {
    LOG_INFO("[{}] OCPP Websocket pong timeout in invalid state '{}', ignoring...", Name(),
             ConnectionStateName(connection->GetState()));
    return;
  }
  if (!IsCurrentConnection(handle)) {
    LOG_INFO("[{}] OCPP Websocket pong timeout for outdated handle, ignoring...", Name());
    return;
  }
  LOG_WARNING("OCPP Websocket pong timeout");
  if (mPingCall) mPingCall->Cancel(false);
  mPingWorker.NonBlockingCall([this, handle] { CloseOnPongTimeout(handle); });
}

// The close handler does the rest.
void CWebsocketClient::CloseOnPongTimeout(const CConnectionHandle& handle)
{
  try {
    mWebsocket->close(handle, WebsocketCloseCode::kGoingAway, "connection broken");
    ReportStatus("Closed (Pong timed out)");
  } catch (const std::system_error& failure) {
    LOG_ERROR("[{}] Closing on pong timed out failed, error: {}.", Name(), failure.what());
  }
}

void CWebsocketClient::OnFailHandler(const CConnectionHandle& handle)
{
  mRound = ERound::EEnded;
  // An attempt that Close has given up is not a failed one.
  if (ChangeStatus(EWebsocketStatus::EFailed)) {
    ReportFailed(handle);
    COnFail callback;
    {
      CLock lock(mCallbackMutex);
      callback = mOnFailCB;
    }
    Call([&] { callback(handle, mDelay.IsMaxedOut()); });
    if (ChangeStatus(EWebsocketStatus::EConnecting)) ReportStatus("Reconnecting on failure");
  }
  mWebsocket->stop();
}

void CWebsocketClient::ReportFailed(const CConnectionHandle& handle)
{
  std::error_code error;
  const std::shared_ptr<IConnection> connection = mWebsocket->get_con_from_hdl(handle, error);
  if (error) {
    LOG_ERROR("[{}] Cannot get valid connection while handling OnFail. Error: {} ({})", Name(), error.message(),
              error.value());
    ReportStatus(fmt::format("Failed: Error: {} ({})", error.message(), error.value()));
    return;
  }
  const uint16_t localCode = connection->GetLocalCloseCode();
  const std::string text =
      fmt::format("[{}] Local close: {} ({}). Reason: {}; Error code: {} ({}); Http response: {} ({})", Name(),
                  localCode, CloseCodeName(localCode), connection->GetLocalCloseReason(), connection->GetErrorCode(),
                  connection->GetErrorText(), connection->GetResponseCode(), connection->GetResponseMessage());
  if (mDelay.IsMaxedOut() && text == mLastFailText) {
    LOG_DEBUG("[{}] Opening connection failed: {}", Name(), text);
  } else {
    LOG_WARNING("[{}] Opening connection failed: {}", Name(), text);
  }
  mLastFailText = text;
  ReportStatus(fmt::format("Failed: {}", text));
}

void CWebsocketClient::OnCloseHandler(const CConnectionHandle& handle)
{
  if (mIsRefused) {
    OnFailHandler(handle);
    return;
  }
  mRound = ERound::EEnded;
  if (mPingCall) mPingCall->Cancel(false);
  bool willReconnect = false;
  {
    CLock lock(mStatusMutex);
    const bool isCurrent = mGeneration == mRunGeneration;
    willReconnect = isCurrent && mStatus != EWebsocketStatus::EClosing;
    // A Connect that has come meanwhile has its own status in place.
    if (isCurrent || mStatus == EWebsocketStatus::EClosing) mStatus = EWebsocketStatus::EClosed;
    mClock.NotifyAll(mStatusCondition);
  }
  ReportClosed(handle);
  COnClose callback;
  {
    CLock lock(mCallbackMutex);
    callback = mOnCloseCB;
  }
  Call([&] { callback(handle, willReconnect); });
  if (willReconnect) {
    LOG_DEBUG("[{}] Reconnect after closing", Name());
    if (ChangeStatus(EWebsocketStatus::EConnecting)) ReportStatus("Reconnecting");
  }
  mDiagnostics->ReportBackendConnection(fmt::format("[{}] Backend connection became offline", Name()));
  mWebsocket->stop();
}

void CWebsocketClient::ReportClosed(const CConnectionHandle& handle)
{
  std::error_code error;
  const std::shared_ptr<IConnection> connection = mWebsocket->get_con_from_hdl(handle, error);
  if (error) {
    LOG_ERROR("[{}] Cannot get valid connection while handling OnClose. Error: {} ({})", Name(), error.message(),
              error.value());
    return;
  }
  const uint16_t remoteCode = connection->GetRemoteCloseCode();
  const uint16_t localCode = connection->GetLocalCloseCode();
  const std::string remoteReason = connection->GetRemoteCloseReason();
  const std::string localReason = connection->GetLocalCloseReason();
  LOG_INFO("[{}] Connection closed: Remote close code: {} ({}). reason: {}, Local close code: {} ({}). reason: {}",
           Name(), remoteCode, CloseCodeName(remoteCode), remoteReason, localCode, CloseCodeName(localCode),
           localReason);
  ReportStatus(fmt::format("[{}] Closed, Close code[reason]: Remote={}[{}]; Local={}[{}]", Name(), remoteCode,
                           remoteReason, localCode, localReason));
}

void CWebsocketClient::OnMessageHandler(EOpcode opcode, const std::string& payload)
{
  if (opcode != EOpcode::EText) {
    mDiagnostics->ReportInvalidMessage("Received unsupported binary message payload");
    LOG_WARNING("[{}] Binary message payload is not supported", Name());
    return;
  }
  if (Log::IsEnabled(Log::ELogLevel::EDebug)) LOG_DEBUG("[{}] Text message payload: {}", Name(), MaskSecrets(payload));
  COnMessage callback;
  {
    CLock lock(mCallbackMutex);
    callback = mOnMessageCB;
  }
  Call([&] { callback(payload); });
}

bool CWebsocketClient::IsCurrentConnection(const CConnectionHandle& handle) const
{
  CLock lock(mStatusMutex);
  return !handle.owner_before(mConnectionHandle) && !mConnectionHandle.owner_before(handle);
}

bool CWebsocketClient::ChangeStatus(EWebsocketStatus status)
{
  CLock lock(mStatusMutex);
  if (mGeneration != mRunGeneration) return false;
  mStatus = status;
  mClock.NotifyAll(mStatusCondition);
  return true;
}

// An exception that went through the library would leave its connection without a reader.
template <typename TFunction>
void CWebsocketClient::Call(const TFunction& function)
{
  try {
    function();
  } catch (const std::exception& error) {
    LOG_ERROR("[{}] Exception in a callback of the websocket: {}", Name(), error.what());
  } catch (const char* text) {
    LOG_ERROR("[{}] Exception in a callback of the websocket: {}", Name(), text);
  }
}
