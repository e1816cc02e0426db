#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/clock.h"
#include "src/components/iwebsocketppwrapper.h"

// A websocket library without a network, in simulated time: the test decides how attempts end and plays the peer.
// Handlers run on the thread that is in `run`, as with the real one.
class CFakeWebsocketPPWrapper : public websocketppwrapper::IWebsocketPPWrapper {
 public:
  using CHandle = websocketppwrapper::CConnectionHandle;
  using EState = websocketppwrapper::EConnectionState;

  enum class EOutcome { EOpen, EFail, EHang };

  struct SClose {
    uint16_t code;
    std::string reason;
  };

  struct SAttempt {
    std::string url;
    std::map<std::string, std::string> headers;
    std::vector<std::string> subprotocols;
    std::chrono::milliseconds pongTimeout{0};
    IClock::SteadyTime time;
  };

  class CFakeConnection : public websocketppwrapper::IConnection, public std::enable_shared_from_this<CFakeConnection> {
   public:
    CFakeConnection(CFakeWebsocketPPWrapper& owner, std::string url) : mOwner(owner) { attempt.url = std::move(url); }

    CHandle GetHandle() override { return std::shared_ptr<void>(shared_from_this()); }
    void SetHandlers(websocketppwrapper::SConnectionHandlers given) override { handlers = std::move(given); }
    void SetPongTimeout(std::chrono::milliseconds timeout) override { attempt.pongTimeout = timeout; }
    void AddSubprotocol(const std::string& subprotocol, std::error_code&) override
    {
      attempt.subprotocols.push_back(subprotocol);
    }
    void ReplaceHeader(const std::string& name, const std::string& value) override { attempt.headers[name] = value; }
    void Ping(const std::string& payload, std::error_code& error) override { mOwner.RecordPing(payload, error); }
    EState GetState() const override { return mOwner.StateOf(*this); }
    uint16_t GetLocalCloseCode() const override { return local.code; }
    std::string GetLocalCloseReason() const override { return local.reason; }
    uint16_t GetRemoteCloseCode() const override { return remote.code; }
    std::string GetRemoteCloseReason() const override { return remote.reason; }
    int GetErrorCode() const override { return mOwner.errorCode; }
    std::string GetErrorText() const override { return mOwner.errorText; }
    int GetResponseCode() const override { return mOwner.responseCode; }
    std::string GetResponseMessage() const override { return mOwner.responseMessage; }
    std::string GetResponseHeader(const std::string& name) const override
    {
      return name == "Sec-WebSocket-Protocol" ? mOwner.answeredSubprotocol : std::string();
    }
    void Drop() override { mOwner.RecordDrop(); }

    SAttempt attempt;
    websocketppwrapper::SConnectionHandlers handlers;
    SClose local{1006, "fake"};
    SClose remote{1006, ""};
    EState state = EState::EConnecting;

   private:
    CFakeWebsocketPPWrapper& mOwner;
  };

  explicit CFakeWebsocketPPWrapper(IClock& clock) : mClock(clock) {}

  // What the test sets before an attempt.
  EOutcome outcome = EOutcome::EFail;
  std::string answeredSubprotocol = "ocpp1.6";
  int errorCode = 111;
  std::string errorText = "Connection refused";
  int responseCode = 0;
  std::string responseMessage;
  bool peerAnswersClose = true;
  bool locationIsBad = false;
  bool pingFails = false;
  bool closeFails = false;
  bool handlesAreLost = false;  // get_con_from_hdl finds nothing

  // The peer's side.

  void PlayClose(uint16_t code, const std::string& reason)
  {
    Post([this, code, reason] {
      const auto connection = Current();
      connection->remote = {code, reason};
      connection->local = {code, reason};
      End(connection);
    });
  }

  void PlayMessage(websocketppwrapper::EOpcode opcode, const std::string& payload)
  {
    Post([this, opcode, payload] {
      const auto connection = Current();
      connection->handlers.message(connection->GetHandle(), opcode, payload);
    });
  }

  void PlayPongTimeout()
  {
    Post([this] {
      const auto connection = Current();
      connection->handlers.pongTimeout(connection->GetHandle(), "ocpp-client-ping");
    });
  }

  // Runs `function` with the current connection on the library's thread.
  void PlayOn(const std::function<void(const std::shared_ptr<CFakeConnection>&)>& function)
  {
    Post([this, function] { function(Current()); });
  }

  // What was seen.

  std::vector<SAttempt> GetAttempts() const { return Copy(mAttempts); }
  std::vector<std::string> GetSent() const { return Copy(mSent); }
  std::vector<SClose> GetCloses() const { return Copy(mCloses); }
  std::vector<IClock::SteadyTime> GetPings() const { return Copy(mPings); }
  int GetDrops() const { return Copy(mDrops); }
  bool IsInRun() const { return Copy(mIsInRun); }
  websocketppwrapper::CTlsInitHandler GetTlsInitHandler() const { return Copy(mTlsInit); }
  std::vector<std::string> GetSetup() const { return Copy(mSetup); }

  // IWebsocketPPWrapper.

  void clear_access_channels(uint32_t channels) override
  {
    CLock lock(mMutex);
    mSetup.emplace_back(channels == kAllChannels ? "clear_access_channels all" : "clear_access_channels");
  }
  void clear_error_channels(uint32_t channels) override
  {
    CLock lock(mMutex);
    mSetup.emplace_back(channels == kAllChannels ? "clear_error_channels all" : "clear_error_channels");
  }
  void init_asio() override
  {
    CLock lock(mMutex);
    mSetup.emplace_back("init_asio");
  }
  void set_tls_init_handler(websocketppwrapper::CTlsInitHandler handler) override
  {
    CLock lock(mMutex);
    mSetup.emplace_back("set_tls_init_handler");
    mTlsInit = std::move(handler);
  }

  std::shared_ptr<websocketppwrapper::IConnection> get_con_from_hdl(const CHandle& handle,
                                                                    std::error_code& error) override
  {
    const auto connection = handlesAreLost ? nullptr : std::static_pointer_cast<CFakeConnection>(handle.lock());
    error = connection ? std::error_code() : std::make_error_code(std::errc::bad_file_descriptor);
    return connection;
  }

  std::shared_ptr<websocketppwrapper::IConnection> get_connection(const std::string& url,
                                                                  std::error_code& error) override
  {
    if (locationIsBad) {
      error = std::make_error_code(std::errc::invalid_argument);
      return nullptr;
    }
    return std::make_shared<CFakeConnection>(*this, url);
  }

  void connect(const std::shared_ptr<websocketppwrapper::IConnection>& given) override
  {
    const auto connection = std::static_pointer_cast<CFakeConnection>(given);
    CLock lock(mMutex);
    connection->attempt.time = mClock.SteadyNow();
    mAttempts.push_back(connection->attempt);
    mConnection = connection;
    switch (outcome) {
      case EOutcome::EOpen:
        mEvents.emplace_back([this, connection] {
          SetState(*connection, EState::EOpen);
          connection->handlers.open(connection->GetHandle());
        });
        break;
      case EOutcome::EFail:
        mEvents.emplace_back([this, connection] {
          SetState(*connection, EState::EClosed);
          connection->handlers.fail(connection->GetHandle());
        });
        break;
      case EOutcome::EHang:
        break;
    }
  }

  size_t run() override
  {
    size_t count = 0;
    CLock lock(mMutex);
    mIsInRun = true;
    while (!mIsStopped) {
      if (mEvents.empty()) {
        mClock.Wait(lock, mChanged);
        continue;
      }
      const auto event = std::move(mEvents.front());
      mEvents.pop_front();
      lock.Unlock();
      event();
      ++count;
      lock.Lock();
    }
    mIsInRun = false;
    mEvents.clear();
    return count;
  }

  void stop() override
  {
    CLock lock(mMutex);
    mIsStopped = true;
    mClock.NotifyAll(mChanged);
  }
  bool stopped() const override { return Copy(mIsStopped); }
  void reset() override
  {
    CLock lock(mMutex);
    mIsStopped = false;
  }

  void close(const CHandle& handle, uint16_t code, const std::string& reason) override
  {
    std::error_code error;
    close(handle, code, reason, error);
    if (error) throw std::system_error(error);
  }

  void close(const CHandle& handle, uint16_t code, const std::string& reason, std::error_code& error) override
  {
    const auto connection = std::static_pointer_cast<CFakeConnection>(handle.lock());
    CLock lock(mMutex);
    if (closeFails || !connection || connection->state != EState::EOpen) {
      error = std::make_error_code(std::errc::not_connected);
      return;
    }
    mCloses.push_back({code, reason});
    connection->state = EState::EClosing;
    connection->local = {code, reason};
    if (!peerAnswersClose) return;
    connection->remote = {code, reason};
    mEvents.emplace_back([this, connection] { End(connection); });
    mClock.NotifyAll(mChanged);
  }

  void send(const CHandle& handle, const std::string& payload, websocketppwrapper::EOpcode,
            std::error_code& error) override
  {
    const auto connection = std::static_pointer_cast<CFakeConnection>(handle.lock());
    CLock lock(mMutex);
    if (!connection || connection->state != EState::EOpen) {
      error = std::make_error_code(std::errc::not_connected);
      return;
    }
    mSent.push_back(payload);
  }

 private:
  template <typename TValue>
  TValue Copy(const TValue& value) const
  {
    CLock lock(mMutex);
    return value;
  }

  void Post(std::function<void()> event)
  {
    CLock lock(mMutex);
    mEvents.push_back(std::move(event));
    mClock.NotifyAll(mChanged);
  }

  std::shared_ptr<CFakeConnection> Current() const { return Copy(mConnection).lock(); }

  void SetState(CFakeConnection& connection, EState state)
  {
    CLock lock(mMutex);
    connection.state = state;
  }

  EState StateOf(const CFakeConnection& connection) const { return Copy(connection.state); }

  void End(const std::shared_ptr<CFakeConnection>& connection)
  {
    SetState(*connection, EState::EClosed);
    connection->handlers.close(connection->GetHandle());
  }

  void RecordPing(const std::string& payload, std::error_code& error)
  {
    CLock lock(mMutex);
    if (payload == "ocpp-client-ping") mPings.push_back(mClock.SteadyNow());
    if (pingFails) error = std::make_error_code(std::errc::not_connected);
  }

  void RecordDrop()
  {
    CLock lock(mMutex);
    ++mDrops;
  }

  IClock& mClock;
  mutable CMutex mMutex;
  CCondition mChanged;
  std::deque<std::function<void()>> mEvents;
  std::weak_ptr<CFakeConnection> mConnection;
  std::vector<SAttempt> mAttempts;
  std::vector<std::string> mSent;
  std::vector<SClose> mCloses;
  std::vector<IClock::SteadyTime> mPings;
  std::vector<std::string> mSetup;
  websocketppwrapper::CTlsInitHandler mTlsInit;
  int mDrops = 0;
  bool mIsStopped = false;
  bool mIsInRun = false;
};
