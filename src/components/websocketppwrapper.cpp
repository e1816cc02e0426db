// The only source that sees the websocket library, its network layer and the TLS engine. It takes long to compile, and
// the engine's headers must come first: they stand in for those of OpenSSL, which no source may see beside them.
#include <wolfssl/options.h>

#include <wolfssl/ssl.h>

#include <wolfssl/wolfcrypt/ecc.h>

#include <pthread.h>

#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_client.hpp>

#include "src/components/websocketppwrapper.h"
#include "src/components/websocketppwrappertls.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <optional>
#include <thread>
#include <utility>

#include "platform/clock/mutex.h"

namespace websocketppwrapper {

struct asio_tls_zorn_client;

// Times in milliseconds. Opening is for a slow processor on a slow mobile network; ending is short, since nothing is
// lost by dropping a connection whose peer does not answer.
struct zorn_transport_config : public websocketpp::config::core_client::transport_config {
  using concurrency_type = websocketpp::config::asio_tls_client::concurrency_type;
  using alog_type = websocketpp::config::asio_tls_client::alog_type;
  using elog_type = websocketpp::config::asio_tls_client::elog_type;
  using request_type = websocketpp::config::asio_tls_client::request_type;
  using response_type = websocketpp::config::asio_tls_client::response_type;
  using socket_type = websocketpp::transport::asio::tls_socket::endpoint;

  static constexpr int timeout_dns_resolve = 10000;
  static constexpr int timeout_connect = 10000;
  static constexpr int timeout_socket_post_init = 10000;
  static constexpr int timeout_socket_shutdown = 1000;
};

struct asio_tls_zorn_client : public websocketpp::config::asio_tls_client {
  using type = asio_tls_zorn_client;
  using base = websocketpp::config::asio_tls_client;
  using concurrency_type = base::concurrency_type;
  using request_type = base::request_type;
  using response_type = base::response_type;
  using message_type = base::message_type;
  using con_msg_manager_type = base::con_msg_manager_type;
  using endpoint_msg_manager_type = base::endpoint_msg_manager_type;
  using alog_type = base::alog_type;
  using elog_type = base::elog_type;
  using rng_type = base::rng_type;
  using transport_config = zorn_transport_config;
  using transport_type = websocketpp::transport::asio::endpoint<zorn_transport_config>;

  static constexpr int timeout_open_handshake = 10000;
  static constexpr int timeout_close_handshake = 2000;
  // A larger message is refused with close code 1009 as soon as its header says so, before memory is taken for it.
  static constexpr size_t max_message_size = size_t{1024} * 1024;
  static constexpr size_t max_http_body_size = size_t{64} * 1024;
};

namespace {

using CClient = websocketpp::client<asio_tls_zorn_client>;

// Of the thread that waits for a name lookup.
constexpr const char* kThreadName = "lookup";

std::error_code MakeError(websocketpp::error::value value) { return websocketpp::error::make_error_code(value); }

// IConnection over the library's connection. The library's handlers hold this object weakly: an operation of the
// network layer that is still under way when the connection has been let go of finds nobody to tell.
class CConnection : public IConnection, public std::enable_shared_from_this<CConnection> {
 public:
  CConnection(std::shared_ptr<CClient> client, CClient::connection_ptr connection,
              std::shared_ptr<std::atomic<bool>> isLookingUp)
      : mClient(std::move(client)), mConnection(std::move(connection)), mIsLookingUp(std::move(isLookingUp))
  {}

  CConnectionHandle GetHandle() override
  {
    return std::shared_ptr<void>(std::static_pointer_cast<IConnection>(shared_from_this()));
  }

  void SetHandlers(SConnectionHandlers handlers) override
  {
    mHandlers = std::move(handlers);
    const std::weak_ptr<CConnection> weak = weak_from_this();
    const auto onState = [weak](EConnectionState state,
                                std::function<void(CConnectionHandle)> SConnectionHandlers::*handler) {
      return [weak, state, handler](const websocketpp::connection_hdl&) {
        const auto self = weak.lock();
        if (!self || self->mIsDropped) return;
        self->mState = state;
        self->NoteLookup(state);
        (self->mHandlers.*handler)(self->GetHandle());
      };
    };
    mConnection->set_open_handler(onState(EConnectionState::EOpen, &SConnectionHandlers::open));
    mConnection->set_fail_handler(onState(EConnectionState::EClosed, &SConnectionHandlers::fail));
    mConnection->set_close_handler(onState(EConnectionState::EClosed, &SConnectionHandlers::close));
    mConnection->set_message_handler([weak](const websocketpp::connection_hdl&, const CClient::message_ptr& message) {
      const auto self = weak.lock();
      if (!self || self->mIsDropped) return;
      self->mHandlers.message(self->GetHandle(), static_cast<EOpcode>(message->get_opcode()), message->get_payload());
    });
    mConnection->set_pong_handler([weak](const websocketpp::connection_hdl&, const std::string&) {
      if (const auto self = weak.lock()) self->mIsPongDue = false;
    });
    SetPongTimeoutHandler();
    mConnection->set_tcp_pre_init_handler([weak, lookup = mIsLookingUp](const websocketpp::connection_hdl& handle) {
      *lookup = false;
      const auto connection = std::static_pointer_cast<CClient::connection_type>(handle.lock());
      if (!connection) return;
      std::error_code ignored;
      const auto self = weak.lock();
      if (self && !self->mIsDropped) {
        connection->get_raw_socket().set_option(websocketpp::lib::asio::ip::tcp::no_delay(true), ignored);
      } else {
        // Let go of while its name was being looked up: not one byte is to be sent.
        connection->get_raw_socket().close(ignored);
      }
    });
  }

  void SetPongTimeout(std::chrono::milliseconds timeout) override
  {
    constexpr int64_t kMax = std::numeric_limits<int32_t>::max();
    mConnection->set_pong_timeout(static_cast<int32_t>(std::clamp<int64_t>(timeout.count(), 0, kMax)));
  }

  void AddSubprotocol(const std::string& subprotocol, std::error_code& error) override
  {
    mConnection->add_subprotocol(subprotocol, error);
  }

  void ReplaceHeader(const std::string& name, const std::string& value) override
  {
    mConnection->replace_header(name, value);
  }

  void Ping(const std::string& payload, std::error_code& error) override
  {
    error = StateError();
    if (error) return;
    Dispatch([payload](CConnection& self) {
      // The library starts its time-out anew with each ping, so that one longer than the interval would never be seen.
      if (self.mIsPongDue) self.mConnection->set_pong_timeout_handler(nullptr);
      std::error_code ignored;
      self.mConnection->ping(payload, ignored);
      if (self.mIsPongDue) self.SetPongTimeoutHandler();
      self.mIsPongDue = true;
    });
  }

  EConnectionState GetState() const override { return mState; }

  uint16_t GetLocalCloseCode() const override
  {
    CLock lock(mMutex);
    return mRequest ? mRequest->code : mConnection->get_local_close_code();
  }

  std::string GetLocalCloseReason() const override
  {
    CLock lock(mMutex);
    return mRequest ? mRequest->reason : mConnection->get_local_close_reason();
  }

  uint16_t GetRemoteCloseCode() const override { return mConnection->get_remote_close_code(); }
  std::string GetRemoteCloseReason() const override { return mConnection->get_remote_close_reason(); }
  int GetErrorCode() const override { return mConnection->get_ec().value(); }

  std::string GetErrorText() const override
  {
    const std::error_code error = mConnection->get_ec();
    using websocketpp::transport::asio::socket::error::tls_handshake_failed;
    if (error != websocketpp::transport::asio::socket::make_error_code(tls_handshake_failed)) return error.message();
    return error.message() + ": " + TlsErrorText();
  }

  int GetResponseCode() const override { return mConnection->get_response_code(); }
  std::string GetResponseMessage() const override { return mConnection->get_response_msg(); }
  std::string GetResponseHeader(const std::string& name) const override
  {
    return mConnection->get_response_header(name);
  }

  void Drop() override
  {
    mIsDropped = true;
    mState = EConnectionState::EClosed;
    std::error_code ignored;
    mConnection->get_raw_socket().close(ignored);
    mConnection->terminate(MakeError(websocketpp::error::operation_canceled));
    // Lets the operations that the closed socket has ended go, and with them the memory of the TLS session.
    mClient->reset();
    mClient->poll();
  }

  void Connect()
  {
    std::error_code isName;
    websocketpp::lib::asio::ip::make_address(mConnection->get_host(), isName);
    *mIsLookingUp = static_cast<bool>(isName);
    mClient->connect(mConnection);
  }

  // From any thread.

  void Close(uint16_t code, const std::string& reason, std::error_code& error)
  {
    error = StateError();
    if (error) return;
    mState = EConnectionState::EClosing;
    {
      CLock lock(mMutex);
      mRequest = SCloseRequest{code, reason};
    }
    Dispatch([code, reason](CConnection& self) {
      std::error_code ignored;
      self.mConnection->close(code, reason, ignored);
    });
  }

  void Send(const std::string& payload, EOpcode opcode, std::error_code& error)
  {
    error = StateError();
    if (error) return;
    if (opcode == EOpcode::EText && !websocketpp::utf8_validator::validate(payload)) {
      error = websocketpp::processor::error::make_error_code(websocketpp::processor::error::invalid_payload);
      return;
    }
    const auto code = static_cast<websocketpp::frame::opcode::value>(opcode);
    const CClient::message_ptr message = mConnection->get_message(code, payload.size());
    message->append_payload(payload);
    Dispatch([message](CConnection& self) { self.mConnection->send(message); });
  }

 private:
  struct SCloseRequest {
    uint16_t code;
    std::string reason;
  };

  std::error_code StateError() const
  {
    return mState == EConnectionState::EOpen ? std::error_code() : MakeError(websocketpp::error::invalid_state);
  }

  // Runs `function` on the thread that is in `run`; at once when this is it.
  template <typename TFunction>
  void Dispatch(TFunction function)
  {
    mConnection->get_strand()->dispatch([weak = weak_from_this(), function = std::move(function)] {
      const auto self = weak.lock();
      if (self && !self->mIsDropped) function(*self);
    });
  }

  // Any end but a time-out says that the resolver has given its answer.
  void NoteLookup(EConnectionState state)
  {
    const auto timeout = websocketpp::transport::error::make_error_code(websocketpp::transport::error::timeout);
    if (state == EConnectionState::EClosed && mConnection->get_ec() != timeout) *mIsLookingUp = false;
  }

  void SetPongTimeoutHandler()
  {
    const std::weak_ptr<CConnection> weak = weak_from_this();
    mConnection->set_pong_timeout_handler([weak](const websocketpp::connection_hdl&, const std::string& payload) {
      const auto self = weak.lock();
      if (self && !self->mIsDropped) self->mHandlers.pongTimeout(self->GetHandle(), payload);
    });
  }

  // The library knows no more than that the handshake failed.
  std::string TlsErrorText() const
  {
    SSL* const ssl = mConnection->get_socket().native_handle();
    const int error = wolfSSL_get_error(ssl, WOLFSSL_FATAL_ERROR);
    std::array<char, WOLFSSL_MAX_ERROR_SZ> text{};
    wolfSSL_ERR_error_string(static_cast<unsigned>(std::abs(error)), text.data());
    std::string result = std::string(text.data()) + " (" + std::to_string(error) + ")";
    WOLFSSL_ALERT_HISTORY alerts{};
    if (wolfSSL_get_alert_history(ssl, &alerts) == WOLFSSL_SUCCESS && alerts.last_rx.code > 0) {
      result += ", alert " + std::to_string(alerts.last_rx.code) + " received";
    }
    return result;
  }

  // Constant after construction.
  const std::shared_ptr<CClient> mClient;
  const CClient::connection_ptr mConnection;
  const std::shared_ptr<std::atomic<bool>> mIsLookingUp;

  std::atomic<EConnectionState> mState{EConnectionState::EConnecting};

  mutable CMutex mMutex;
  // What this side has asked for; the library forgets it when the peer does not answer.
  std::optional<SCloseRequest> mRequest GUARDED_BY(mMutex);

  // Owned by the thread that is in `run`.
  SConnectionHandlers mHandlers;
  bool mIsDropped = false;
  bool mIsPongDue = false;
};

// Handles are made by CConnection alone.
std::shared_ptr<CConnection> FromHandle(const CConnectionHandle& handle, std::error_code& error)
{
  const auto connection = std::static_pointer_cast<IConnection>(handle.lock());
  error = connection ? std::error_code() : MakeError(websocketpp::error::bad_connection);
  return std::static_pointer_cast<CConnection>(connection);
}

}  // namespace

class CWebsocketPPWrapper::CEndpoint {
 public:
  CEndpoint() = default;
  CEndpoint(const CEndpoint&) = delete;
  CEndpoint& operator=(const CEndpoint&) = delete;

  // The network layer waits for a name lookup under way, which may take half a minute when the network is gone. A
  // thread of its own does so, since the process must be able to end meanwhile.
  ~CEndpoint()
  {
    if (!*isLookingUp) return;
    std::thread([last = std::move(client)]() mutable {
      pthread_setname_np(pthread_self(), kThreadName);
      last.reset();
    }).detach();
  }

  // Shared with the connections, which belong to it.
  std::shared_ptr<CClient> client = std::make_shared<CClient>();
  // The system's resolver may be busy: a connection to a name was begun and has not been seen to reach the server.
  const std::shared_ptr<std::atomic<bool>> isLookingUp = std::make_shared<std::atomic<bool>>(false);
};

CWebsocketPPWrapper::CWebsocketPPWrapper() : mEndpoint(std::make_shared<CEndpoint>()) {}

CWebsocketPPWrapper::~CWebsocketPPWrapper() = default;

void CWebsocketPPWrapper::clear_access_channels(uint32_t channels)
{
  mEndpoint->client->clear_access_channels(channels);
}

void CWebsocketPPWrapper::clear_error_channels(uint32_t channels) { mEndpoint->client->clear_error_channels(channels); }

void CWebsocketPPWrapper::init_asio() { mEndpoint->client->init_asio(); }

std::shared_ptr<IConnection> CWebsocketPPWrapper::get_con_from_hdl(const CConnectionHandle& handle,
                                                                   std::error_code& error)
{
  return FromHandle(handle, error);
}

std::shared_ptr<IConnection> CWebsocketPPWrapper::get_connection(const std::string& url, std::error_code& error)
{
  CClient::connection_ptr connection = mEndpoint->client->get_connection(url, error);
  if (error) return nullptr;
  return std::make_shared<CConnection>(mEndpoint->client, std::move(connection), mEndpoint->isLookingUp);
}

void CWebsocketPPWrapper::connect(const std::shared_ptr<IConnection>& connection)
{
  std::static_pointer_cast<CConnection>(connection)->Connect();
}

void CWebsocketPPWrapper::set_tls_init_handler(CTlsInitHandler handler)
{
  mEndpoint->client->set_tls_init_handler(
      [handler = std::move(handler)](const websocketpp::connection_hdl& handle) -> std::shared_ptr<CContext> {
        CTlsContext context;
        return handler(handle, context) ? context.Get() : nullptr;
      });
}

size_t CWebsocketPPWrapper::run()
{
  const size_t count = mEndpoint->client->run();
#ifdef FP_ECC
  // The engine keeps precomputed points for each thread and would not free them when the thread ends.
  wc_ecc_fp_free();
#endif
  return count;
}

void CWebsocketPPWrapper::stop() { mEndpoint->client->stop(); }

bool CWebsocketPPWrapper::stopped() const { return mEndpoint->client->stopped(); }

void CWebsocketPPWrapper::close(const CConnectionHandle& handle, uint16_t code, const std::string& reason)
{
  std::error_code error;
  close(handle, code, reason, error);
  if (error) throw std::system_error(error);
}

void CWebsocketPPWrapper::close(const CConnectionHandle& handle, uint16_t code, const std::string& reason,
                                std::error_code& error)
{
  if (const auto connection = FromHandle(handle, error)) connection->Close(code, reason, error);
}

void CWebsocketPPWrapper::send(const CConnectionHandle& handle, const std::string& payload, EOpcode opcode,
                               std::error_code& error)
{
  if (const auto connection = FromHandle(handle, error)) connection->Send(payload, opcode, error);
}

void CWebsocketPPWrapper::reset() { mEndpoint->client->reset(); }

}  // namespace websocketppwrapper
