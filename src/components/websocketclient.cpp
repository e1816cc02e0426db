#include "src/components/websocketclient.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/basicauth.h"
#include "src/components/boundedwait.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/ihostinfo.h"
#include "src/components/websocketclosecode.h"

using websocketppwrapper::EOpcode;
using websocketppwrapper::IConnection;
using websocketppwrapper::IWebsocketPPWrapper;

namespace {

constexpr const char* kClassName = "CWebsocketClient";
// The step at which a local host is asked for anew.
constexpr uint32_t kResolveAgainStep = 5;

std::shared_ptr<CWorker> RequireWorker(std::shared_ptr<CWorker> worker)
{
  if (!worker) {
    LOG_CRITICAL("No worker provided to CWebsocketClient constructor.");
    throw std::runtime_error("Cannot construct CWebsocketClient, no CWorker provided.");
  }
  return worker;
}

}  // namespace

// One thread at a time is in Connect or Close. A flag and not a mutex: such a thread waits for the loop to end, and
// those that queue up behind it have to wait by the clock.
class CWebsocketClient::CControlTurn {
 public:
  explicit CControlTurn(CWebsocketClient& client) : mClient(client)
  {
    CLock lock(mClient.mStatusMutex);
    while (mClient.mIsControlled) mClient.mClock.Wait(lock, mClient.mStatusCondition);
    mClient.mIsControlled = true;
  }
  ~CControlTurn()
  {
    CLock lock(mClient.mStatusMutex);
    mClient.mIsControlled = false;
    mClient.mClock.NotifyAll(mClient.mStatusCondition);
  }
  CControlTurn(const CControlTurn&) = delete;
  CControlTurn& operator=(const CControlTurn&) = delete;

 private:
  CWebsocketClient& mClient;
};

// One loop at a time runs. Its predecessor may still be on its way out on a thread that the worker has let go of.
class CWebsocketClient::CRunning {
 public:
  CRunning(CWebsocketClient& client, uint64_t generation) : mClient(client)
  {
    CLock lock(mClient.mStatusMutex);
    while (mClient.mIsRunning) mClient.mClock.Wait(lock, mClient.mStatusCondition);
    mClient.mIsRunning = true;
    mClient.mRunGeneration = generation;
  }
  ~CRunning()
  {
    CLock lock(mClient.mStatusMutex);
    mClient.mIsRunning = false;
    mClient.mClock.NotifyAll(mClient.mStatusCondition);
  }
  CRunning(const CRunning&) = delete;
  CRunning& operator=(const CRunning&) = delete;

 private:
  CWebsocketClient& mClient;
};

CWebsocketClient::CWebsocketClient(std::shared_ptr<IHostInfo> hostInfo, std::shared_ptr<IWebsocketPPWrapper> websocket,
                                   std::shared_ptr<CWorker> worker,
                                   std::shared_ptr<IDiagnosticsClientHandler> diagnostics, SWebsocketOptions options)
    : mHostInfo(std::move(hostInfo)),
      mWebsocket(std::move(websocket)),
      mWorker(RequireWorker(std::move(worker))),
      mDiagnostics(std::move(diagnostics)),
      mCloseTimeout(options.closeTimeout),
      mClock(mWorker->GetClock()),
      mOnOpenCB([](const CConnectionHandle&) { LOG_INFO("Default: No OnOpen callback implemented"); }),
      mOnFailCB([](const CConnectionHandle&, bool) { LOG_INFO("Default: No OnFail callback implemented"); }),
      mOnCloseCB([](const CConnectionHandle&, bool) { LOG_INFO("Default: No OnClose callback implemented"); }),
      mOnMessageCB([](std::string_view) { LOG_INFO("Default: No OnMessage callback implemented"); }),
      mTls(mHostInfo, mDiagnostics, std::move(options.trustStores)),
      mDelay(std::move(options.random)),
      mPingWorker(mClock, "websocket-ping")
{
  const SHostSettings settings = mHostInfo->GetSettings();
  LOG_INFO("Connection URL: {}", mHostInfo->GetConnectionUrl());
  LOG_INFO("Connection Hostname: {}", mHostInfo->GetHostname());
  LOG_INFO("Ping interval: {} seconds, pong timeout: {} seconds", settings.pingInterval, settings.pongTimeout);
  mWebsocket->clear_access_channels(IWebsocketPPWrapper::kAllChannels);
  mWebsocket->clear_error_channels(IWebsocketPPWrapper::kAllChannels);
  mWebsocket->init_asio();
  mWebsocket->set_tls_init_handler([this](const CConnectionHandle&, websocketppwrapper::ITlsContext& context) {
    return mTls.OnTlsInit(mBackofficeId, context);
  });
  mWorker->Start();
  mPingWorker.Start();
}

CWebsocketClient::~CWebsocketClient()
{
  Close(WebsocketCloseCode::kGoingAway, "Closed by CWebsocketClient destructor");
  if (!mWebsocket->stopped()) mWebsocket->stop();
  mWorker->Stop();
}

bool CWebsocketClient::Connect()
{
  LOG_ENTRY(kClassName);
  // A callback runs while another thread may be waiting for it in Close: it takes no turn.
  const bool isCallback = mWorker->IsThisThread();
  std::unique_ptr<CControlTurn> turn;
  if (!isCallback) turn = std::make_unique<CControlTurn>(*this);

  bool isRunning = false;
  {
    CLock lock(mStatusMutex);
    // Whoever is in Connect or Close at this moment decides.
    if (isCallback && mIsControlled) return false;
    isRunning = mRunCall != nullptr;
  }
  if (isRunning) {
    LOG_WARNING("[{}] Client is already running. Closing the existing connection and initiating a new one.", Name());
    Disconnect(WebsocketCloseCode::kGoingAway, "Closed existing connection to issue new connection.");
  }
  uint64_t generation = 0;
  {
    CLock lock(mStatusMutex);
    if (isCallback && mIsControlled) return false;
    generation = ++mGeneration;
    mStatus = EWebsocketStatus::EConnecting;
    mClock.NotifyAll(mStatusCondition);
  }
  ReportStatus("Connecting");
  if (!isCallback) mWorker->Start();
  CCallHandle call = mWorker->NonBlockingCall([this, generation] { Run(generation); });
  CLock lock(mStatusMutex);
  if (mGeneration == generation) mRunCall = std::move(call);
  return true;
}

void CWebsocketClient::Close(uint16_t code, const std::string& reason)
{
  LOG_ENTRY(kClassName);
  std::unique_ptr<CControlTurn> turn;
  if (!mWorker->IsThisThread()) turn = std::make_unique<CControlTurn>(*this);
  Disconnect(code, reason);
}

void CWebsocketClient::Disconnect(uint16_t code, const std::string& reason)
{
  bool wasOpen = false;
  CCallHandle runCall;
  CConnectionHandle handle;
  {
    CLock lock(mStatusMutex);
    wasOpen = mStatus == EWebsocketStatus::EOpen;
    mStatus = wasOpen ? EWebsocketStatus::EClosing : EWebsocketStatus::EClosed;
    ++mGeneration;
    runCall = std::move(mRunCall);
    mRunCall.reset();
    handle = mConnectionHandle;
    mClock.NotifyAll(mStatusCondition);
  }
  if (wasOpen) {
    ReportStatus("Closed (No reconnect)");
    std::error_code error;
    mWebsocket->close(handle, code, reason, error);
    if (error) LOG_ERROR("[{}] Error initiating close: {} ", Name(), error.message());
  } else {
    ReportStatus("Closed (Connection was not open)");
    LOG_WARNING("[{}] Closing but the connection was not open", Name());
  }
  if (runCall) runCall->Cancel(false);
  // On its own thread the loop ends once the callback has returned.
  if (mWorker->IsThisThread()) return;
  if (wasOpen) AwaitRunEnd();
  // An attempt to connect is given up, and a peer that does not answer the close is left alone.
  mWebsocket->stop();
  mWorker->Stop();
}

void CWebsocketClient::AwaitRunEnd()
{
  CLock lock(mStatusMutex);
  const auto deadline = mClock.SteadyNow() + mCloseTimeout;
  while (mIsRunning && mClock.WaitUntil(lock, mStatusCondition, deadline)) {
  }
}

bool CWebsocketClient::Send(const std::string& text)
{
  CConnectionHandle handle;
  {
    CLock lock(mStatusMutex);
    handle = mConnectionHandle;
  }
  std::error_code error;
  mWebsocket->send(handle, text, EOpcode::EText, error);
  if (error) LOG_ERROR("[{}] Error sending message: {}", Name(), error.message());
  return !error;
}

void CWebsocketClient::SetOnOpenCallback(COnOpen callback)
{
  CLock lock(mCallbackMutex);
  mOnOpenCB = std::move(callback);
}

void CWebsocketClient::SetOnFailCallback(COnFail callback)
{
  CLock lock(mCallbackMutex);
  mOnFailCB = std::move(callback);
}

void CWebsocketClient::SetOnCloseCallback(COnClose callback)
{
  CLock lock(mCallbackMutex);
  mOnCloseCB = std::move(callback);
}

void CWebsocketClient::SetOnMessageCallback(COnMessage callback)
{
  CLock lock(mCallbackMutex);
  mOnMessageCB = std::move(callback);
}

void CWebsocketClient::SetBackofficeId(EBackofficeId id) { mBackofficeId = id; }

EWebsocketStatus CWebsocketClient::GetStatus() const
{
  CLock lock(mStatusMutex);
  return mStatus;
}

void CWebsocketClient::SetStatus(EWebsocketStatus status)
{
  CLock lock(mStatusMutex);
  mStatus = status;
  mClock.NotifyAll(mStatusCondition);
}

void CWebsocketClient::ReportStatus(const std::string& text)
{
  mDiagnostics->ReportWebsocketStatus(text, mBackofficeId);
}

void CWebsocketClient::Run(uint64_t generation)
{
  const CRunning running(*this, generation);
  // A stop that found no run to end must not end the first one.
  mWebsocket->reset();
  while (IsConnecting(generation) && RunRound(generation)) {
  }
}

// One attempt and, if it succeeds, the life of the connection. False ends the loop for good.
bool CWebsocketClient::RunRound(uint64_t generation)
{
  LOG_DEBUG("[{}] OCPP websocket starts (re)connecting.", Name());
  if (mHostInfo->IsLocalHostname() && mHostInfo->GetResolvedAddress().empty() && !ResolveHostname(generation)) {
    return true;
  }
  std::error_code error;
  const std::shared_ptr<IConnection> connection = mWebsocket->get_connection(mHostInfo->GetConnectionUrl(), error);
  if (error) {
    mDiagnostics->ReportConnectionAborted(mBackofficeId);
    LOG_ERROR("[{}] Abort connect, initialization error: {}.", Name(), error.message());
    return false;
  }
  {
    CLock lock(mStatusMutex);
    mConnectionHandle = connection->GetHandle();
  }
  mRound = ERound::EConnecting;
  mIsRefused = false;
  if (PrepareConnection(*connection)) {
    mWebsocket->connect(connection);
    mWebsocket->run();
    FinishRound(*connection);
    mWebsocket->reset();
    LOG_DEBUG("[{}] Websocket connection terminated.", Name());
  }
  if (IsConnecting(generation)) WaitForReconnect(generation);
  return true;
}

// False when there is no password to connect with.
bool CWebsocketClient::PrepareConnection(IConnection& connection)
{
  websocketppwrapper::SConnectionHandlers handlers;
  handlers.open = [this](const CConnectionHandle& handle) { OnOpenHandler(handle); };
  handlers.fail = [this](const CConnectionHandle& handle) { OnFailHandler(handle); };
  handlers.close = [this](const CConnectionHandle& handle) { OnCloseHandler(handle); };
  handlers.message = [this](const CConnectionHandle&, EOpcode opcode, const std::string& payload) {
    OnMessageHandler(opcode, payload);
  };
  handlers.pongTimeout = [this](const CConnectionHandle& handle, const std::string&) { OnPongTimeoutHandler(handle); };
  connection.SetHandlers(std::move(handlers));

  SHostSettings settings = mHostInfo->GetSettings();
  connection.SetPongTimeout(BoundedWait(std::chrono::seconds(settings.pongTimeout)));
  std::error_code error;
  connection.AddSubprotocol(kSubprotocol, error);
  if (error) LOG_ERROR("[{}] Cannot ask for subprotocol {}: {}", Name(), kSubprotocol, error.message());

  if (!CheckBasicAuthPassword(settings.basicAuthPassword, Name())) {
    LOG_ERROR("[{}] BasicAuthPassword is not in the correct format. No connection will be made.", Name());
    mDiagnostics->ReportConnectionAborted(mBackofficeId);
    return false;
  }
  connection.ReplaceHeader("Authorization",
                           "Basic " + BuildBasicAuthHeader(settings.chargePointId, settings.basicAuthPassword, Name()));
  LOG_DEBUG("[{}] Authentication header: {}", Name(), "Basic ****");
  return true;
}

// Whatever is left of the connection goes now, not with the next attempt. One that was open and had no end of its own
// (Close has not waited any longer) is reported closed all the same.
void CWebsocketClient::FinishRound(IConnection& connection)
{
  connection.Drop();
  if (mRound == ERound::EOpen) OnCloseHandler(connection.GetHandle());
  CLock lock(mStatusMutex);
  mConnectionHandle.reset();
}

void CWebsocketClient::WaitForReconnect(uint64_t generation)
{
  const uint32_t delay = GetNextReconnectDelay();
  if (mDelay.IsMaxedOut()) {
    LOG_DEBUG("[{}] Initiate websocket reconnect in {} seconds.", Name(), delay);
  } else {
    LOG_INFO("[{}] Initiate websocket reconnect in {} seconds", Name(), delay);
  }
  WaitWhileConnecting(generation, delay);
}

// False when the loop is to end before there is an address.
bool CWebsocketClient::ResolveHostname(uint64_t generation)
{
  const std::string hostname = mHostInfo->GetHostname();
  const auto isAborted = [this, generation] { return !IsConnecting(generation); };
  LOG_INFO("[{}] Resolving IP address for {}", Name(), hostname);
  mDelay.Reset();
  while (mHostInfo->ResolveAddress(isAborted).empty()) {
    if (isAborted()) return false;
    const uint32_t delay = GetNextReconnectDelay();
    if (mDelay.IsMaxedOut()) {
      LOG_DEBUG("[{}] Initiate next mDNS query on hostname {} in {} seconds.", Name(), hostname, delay);
    } else {
      LOG_INFO("[{}] Initiate next mDNS query on hostname {} in {} seconds.", Name(), hostname, delay);
    }
    if (!WaitWhileConnecting(generation, delay)) return false;
  }
  mDelay.Reset();
  LOG_INFO("[{}] {} IP address resolved.", Name(), hostname);
  return IsConnecting(generation);
}

uint32_t CWebsocketClient::GetNextReconnectDelay()
{
  const bool wasMaxedOut = mDelay.IsMaxedOut();
  const uint32_t delay = mDelay.Next();
  const bool isLocal = mHostInfo->IsLocalHostname();
  const bool isResolved = !mHostInfo->GetResolvedAddress().empty();
  if (mDelay.IsMaxedOut() && !wasMaxedOut) {
    if (isLocal && !isResolved) {
      LOG_INFO(
          "[{}] mDNS hostname resolution attempt increment maxed out at {}s, suppressing mDNS resolution logging...",
          Name(), delay);
    } else {
      LOG_INFO("[{}] Websocket reconnect increment maxed out at {}s, suppressing reconnection logging...", Name(),
               delay);
    }
  }
  // A device in the local network may have got a new address.
  if (isLocal && isResolved && mDelay.GetAttempts() % kResolveAgainStep == 0) {
    LOG_INFO("[{}] Attempting to re-resolve local hostname to ip address: {}", Name(), mHostInfo->GetHostname());
    mHostInfo->ClearResolvedAddress();
  }
  return delay;
}

// False when the loop is to end.
bool CWebsocketClient::WaitWhileConnecting(uint64_t generation, uint32_t seconds)
{
  CLock lock(mStatusMutex);
  const auto deadline = mClock.SteadyNow() + std::chrono::seconds(seconds);
  while (mStatus == EWebsocketStatus::EConnecting && mGeneration == generation) {
    if (!mClock.WaitUntil(lock, mStatusCondition, deadline)) return true;
  }
  return false;
}

bool CWebsocketClient::IsConnecting(uint64_t generation) const
{
  CLock lock(mStatusMutex);
  return mStatus == EWebsocketStatus::EConnecting && mGeneration == generation;
}
