#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/clock/mutex.h"
#include "platform/worker/worker.h"
#include "src/components/iwebsocketclient.h"
#include "src/components/iwebsocketppwrapper.h"
#include "src/components/reconnectdelay.h"
#include "src/components/websockettls.h"

class IDiagnosticsClientHandler;

struct SWebsocketOptions {
  STrustStores trustStores;
  // The source of the spread of the reconnect delays; see CReconnectDelay.
  CReconnectDelay::CRandom random;
  // How long Close waits for the peer before it drops the connection: a round trip on a slow mobile network. The
  // process must be gone two seconds after it was told to end.
  std::chrono::milliseconds closeTimeout{1000};
};

// IWebsocketClient over the websocket library.
//
// `worker` runs the loop that connects, sits in the library's run and waits between attempts; all callbacks come from
// it. It is started by Connect and stopped by Close. A second worker, of the client's own, sends pings. The client must
// not be destroyed from one of its own callbacks.
class CWebsocketClient : public IWebsocketClient {
 public:
  // Throws std::runtime_error for a null `worker`. All waits are by the worker's clock.
  CWebsocketClient(std::shared_ptr<IHostInfo> hostInfo,
                   std::shared_ptr<websocketppwrapper::IWebsocketPPWrapper> websocket, std::shared_ptr<CWorker> worker,
                   std::shared_ptr<IDiagnosticsClientHandler> diagnostics, SWebsocketOptions options = {});
  ~CWebsocketClient() override;
  CWebsocketClient(const CWebsocketClient&) = delete;
  CWebsocketClient& operator=(const CWebsocketClient&) = delete;

  bool Connect() override;
  void Close(uint16_t code, const std::string& reason) override;
  bool Send(const std::string& text) override;
  void SetOnOpenCallback(COnOpen callback) override;
  void SetOnFailCallback(COnFail callback) override;
  void SetOnCloseCallback(COnClose callback) override;
  void SetOnMessageCallback(COnMessage callback) override;
  void SetBackofficeId(EBackofficeId id) override;
  EWebsocketStatus GetStatus() const override;
  void SetStatus(EWebsocketStatus status) override;
  std::shared_ptr<IHostInfo> GetHostInfo() const override { return mHostInfo; }

 private:
  // How far the connection of the current round has come.
  enum class ERound { EConnecting, EOpen, EEnded };
  class CControlTurn;
  class CRunning;

  // OCPP-J 1.6 section 3.1.2
  static constexpr const char* kSubprotocol = "ocpp1.6";

  // On the caller's thread.
  void Disconnect(uint16_t code, const std::string& reason);
  void AwaitRunEnd();

  // On mWorker's thread: the loop.
  void Run(uint64_t generation);
  bool RunRound(uint64_t generation);
  bool PrepareConnection(websocketppwrapper::IConnection& connection);
  void FinishRound(websocketppwrapper::IConnection& connection);
  void WaitForReconnect(uint64_t generation);
  bool ResolveHostname(uint64_t generation);
  uint32_t GetNextReconnectDelay();
  bool WaitWhileConnecting(uint64_t generation, uint32_t seconds);
  bool IsConnecting(uint64_t generation) const;

  // On mWorker's thread, from within the library.
  void OnOpenHandler(const CConnectionHandle& handle);
  void OnFailHandler(const CConnectionHandle& handle);
  void OnCloseHandler(const CConnectionHandle& handle);
  void OnMessageHandler(websocketppwrapper::EOpcode opcode, const std::string& payload);
  void OnPongTimeoutHandler(const CConnectionHandle& handle);
  void ReportClosed(const CConnectionHandle& handle);
  void ReportFailed(const CConnectionHandle& handle);
  void SchedulePing(const CConnectionHandle& handle);
  bool IsCurrentConnection(const CConnectionHandle& handle) const;
  // False, and nothing changed, when Connect or Close has taken over since the loop began.
  bool ChangeStatus(EWebsocketStatus status);
  // Runs a callback; what it throws is logged and dropped.
  template <typename TFunction>
  void Call(const TFunction& function);

  // On mPingWorker's thread.
  void Ping(const CConnectionHandle& handle);
  void CloseOnPongTimeout(const CConnectionHandle& handle);

  std::string Name() const { return BackofficeName(mBackofficeId); }
  void ReportStatus(const std::string& text);

  // Constant after construction.
  const std::shared_ptr<IHostInfo> mHostInfo;
  const std::shared_ptr<websocketppwrapper::IWebsocketPPWrapper> mWebsocket;
  const std::shared_ptr<CWorker> mWorker;
  const std::shared_ptr<IDiagnosticsClientHandler> mDiagnostics;
  const std::chrono::milliseconds mCloseTimeout;
  IClock& mClock;

  std::atomic<EBackofficeId> mBackofficeId{EBackofficeId::ENone};

  // A leaf: nothing is called under it.
  mutable CMutex mStatusMutex;
  // The status or one of the two flags below has changed.
  CCondition mStatusCondition;
  EWebsocketStatus mStatus GUARDED_BY(mStatusMutex) = EWebsocketStatus::EClosed;
  // Counts Connect and Close. A loop that was started under an older number has nothing to say any more.
  uint64_t mGeneration GUARDED_BY(mStatusMutex) = 0;
  bool mIsRunning GUARDED_BY(mStatusMutex) = false;     // a loop runs
  bool mIsControlled GUARDED_BY(mStatusMutex) = false;  // a thread is in Connect or Close
  CCallHandle mRunCall GUARDED_BY(mStatusMutex);
  CConnectionHandle mConnectionHandle GUARDED_BY(mStatusMutex);

  // A leaf. Callbacks are copied under it and called without it.
  CMutex mCallbackMutex;
  COnOpen mOnOpenCB GUARDED_BY(mCallbackMutex);
  COnFail mOnFailCB GUARDED_BY(mCallbackMutex);
  COnClose mOnCloseCB GUARDED_BY(mCallbackMutex);
  COnMessage mOnMessageCB GUARDED_BY(mCallbackMutex);

  // Owned by the thread that runs the loop.
  CWebsocketTls mTls;
  CReconnectDelay mDelay;
  uint64_t mRunGeneration = 0;
  ERound mRound = ERound::EConnecting;
  bool mIsRefused = false;  // opened, but not with the subprotocol; on its way to be closed
  std::string mLastFailText;
  CCallHandle mPingCall;

  // Last, so that no ping is under way when the rest goes.
  CWorker mPingWorker;
};
