#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

// The websocket library as the client sees it. No header of the library, of its network layer or of the TLS engine is
// needed to use these types, so that a client can be tested on a made-up transport.
namespace websocketppwrapper {

// Identifies one connection; expires with it.
using CConnectionHandle = std::weak_ptr<void>;

enum class EOpcode : uint8_t { EContinuation = 0, EText = 1, EBinary = 2 };

enum class EConnectionState : uint8_t { EConnecting = 0, EOpen = 1, EClosing = 2, EClosed = 3 };

inline const char* ConnectionStateName(EConnectionState state)
{
  switch (state) {
    case EConnectionState::EConnecting:
      return "connecting";
    case EConnectionState::EOpen:
      return "open";
    case EConnectionState::EClosing:
      return "closing";
    case EConnectionState::EClosed:
      return "closed";
  }
  return "unknown";
}

// Called on the thread that is in IWebsocketPPWrapper::run.
struct SConnectionHandlers {
  std::function<void(CConnectionHandle handle)> open;
  std::function<void(CConnectionHandle handle)> fail;
  std::function<void(CConnectionHandle handle)> close;
  std::function<void(CConnectionHandle handle, EOpcode opcode, const std::string& payload)> message;
  std::function<void(CConnectionHandle handle, const std::string& payload)> pongTimeout;
};

// One connection, from its making to its end. Except for Ping and GetState, which are safe from any thread, the
// operations belong to the thread that is in `run` (or, before that, to the one that made the connection).
class IConnection {
 public:
  virtual ~IConnection() = default;

  virtual CConnectionHandle GetHandle() = 0;

  // Before `connect`.
  virtual void SetHandlers(SConnectionHandlers handlers) = 0;
  // Time that a ping may stay unanswered; 0 switches the watch off.
  virtual void SetPongTimeout(std::chrono::milliseconds timeout) = 0;
  virtual void AddSubprotocol(const std::string& subprotocol, std::error_code& error) = 0;
  // Sets a header of the HTTP request.
  virtual void ReplaceHeader(const std::string& name, const std::string& value) = 0;

  // Queues a ping frame. With an unanswered ping under way its time-out goes on counting.
  virtual void Ping(const std::string& payload, std::error_code& error) = 0;
  virtual EConnectionState GetState() const = 0;

  // Close frames (RFC 6455 section 7.4). What this side has asked for holds, whether or not the peer answered.
  virtual uint16_t GetLocalCloseCode() const = 0;
  virtual std::string GetLocalCloseReason() const = 0;
  virtual uint16_t GetRemoteCloseCode() const = 0;
  virtual std::string GetRemoteCloseReason() const = 0;

  // Why the connection failed or ended.
  virtual int GetErrorCode() const = 0;
  // With the cause that the TLS engine gives, if it was that.
  virtual std::string GetErrorText() const = 0;
  // The server's answer to the upgrade request; 0 and empty before there is one.
  virtual int GetResponseCode() const = 0;
  virtual std::string GetResponseMessage() const = 0;
  virtual std::string GetResponseHeader(const std::string& name) const = 0;

  // Lets go of a connection in any state: the socket is closed at once and no handler runs any more. Not while `run`
  // is in progress.
  virtual void Drop() = 0;
};

// One certificate of the chain under check, valid during the verify callback.
class ITlsVerification {
 public:
  virtual ~ITlsVerification() = default;
  // 0 is the server's own certificate.
  virtual int GetDepth() const = 0;
  virtual int GetError() const = 0;
  virtual std::string GetErrorText() const = 0;
  // Whether the certificate at hand was issued for `hostname`, a name or an address (RFC 6125).
  virtual bool MatchesHost(const std::string& hostname) const = 0;
};

enum class ETlsOption : uint8_t {
  EDefaultWorkarounds,
  ESingleDhUse,
  ENoSslV2,
  ENoSslV3,
  ENoTlsV1,
  ENoTlsV1_1,
};

// What a connection's TLS is made with. A client's context with compression forbidden to begin with.
class ITlsContext {
 public:
  // Called for each certificate that the server sent, from the issuers down to the server's own. `isPreverified`: the
  // engine has found nothing wrong with it. False ends the handshake.
  using CVerifyCallback = std::function<bool(bool isPreverified, ITlsVerification& verification)>;

  virtual ~ITlsContext() = default;
  virtual void SetOptions(const std::vector<ETlsOption>& options, std::error_code& error) = 0;
  virtual void SetVerifyPeer(CVerifyCallback callback, std::error_code& error) = 0;
  // Unknown names are skipped. A list in which all are unknown is an error and leaves the list as it was.
  virtual void SetCipherList(const std::string& list, std::error_code& error) = 0;
  // Groups for the key exchange, the preferred one first, separated by colons.
  virtual void SetCurves(const std::string& list, std::error_code& error) = 0;
  // Trusts the certificates in a PEM file. An error means that none of them could be used.
  virtual void LoadVerifyFile(const std::string& path, std::error_code& error) = 0;
};

// Sets up the TLS context of a connection that is being made; with false the connection is not made.
using CTlsInitHandler = std::function<bool(CConnectionHandle handle, ITlsContext& context)>;

// Each operation does what the library's endpoint does under that name. `run` has one thread at a time; all others may
// be called from any thread.
class IWebsocketPPWrapper {
 public:
  virtual ~IWebsocketPPWrapper() = default;

  static constexpr uint32_t kAllChannels = 0xffffffff;

  virtual void clear_access_channels(uint32_t channels) = 0;
  virtual void clear_error_channels(uint32_t channels) = 0;
  virtual void init_asio() = 0;
  // Null with an error when the connection is gone.
  virtual std::shared_ptr<IConnection> get_con_from_hdl(const CConnectionHandle& handle, std::error_code& error) = 0;
  // Makes a connection, which lives as long as the result is held. Null with an error for a location that cannot be
  // read.
  virtual std::shared_ptr<IConnection> get_connection(const std::string& url, std::error_code& error) = 0;
  virtual void connect(const std::shared_ptr<IConnection>& connection) = 0;
  virtual void set_tls_init_handler(CTlsInitHandler handler) = 0;
  // Runs all handlers, until `stop` or until nothing is left to do. Returns the number of handlers run.
  virtual size_t run() = 0;
  virtual void stop() = 0;
  virtual bool stopped() const = 0;
  // Throws std::system_error.
  virtual void close(const CConnectionHandle& handle, uint16_t code, const std::string& reason) = 0;
  virtual void close(const CConnectionHandle& handle, uint16_t code, const std::string& reason,
                     std::error_code& error) = 0;
  virtual void send(const CConnectionHandle& handle, const std::string& payload, EOpcode opcode,
                    std::error_code& error) = 0;
  // Prepares for another `run` after a `stop`.
  virtual void reset() = 0;
};

}  // namespace websocketppwrapper
