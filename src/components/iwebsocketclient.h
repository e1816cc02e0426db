#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "src/components/backofficeid.h"

class IHostInfo;

enum class EWebsocketStatus : uint8_t {
  EConnecting = 0,  // a connection is being made or waited for
  EOpen = 1,
  EClosing = 2,  // asked to close, no reconnect
  EClosed = 3,
  EFailed = 4,  // an attempt has failed; the next one follows
};

// A secure websocket to one backoffice that is kept alive for as long as it is asked for. It carries text frames and
// knows nothing of what is in them. Safe from any thread.
class IWebsocketClient {
 public:
  // Identifies one connection; it expires with it.
  using CConnectionHandle = std::weak_ptr<void>;
  using COnOpen = std::function<void(CConnectionHandle handle)>;
  // `isSuppressed`: attempts have failed for so long that the log is kept quiet.
  using COnFail = std::function<void(CConnectionHandle handle, bool isSuppressed)>;
  using COnClose = std::function<void(CConnectionHandle handle, bool willReconnect)>;
  using COnMessage = std::function<void(std::string_view text)>;

  virtual ~IWebsocketClient() = default;

  // Starts, or closes what there is and starts again. Returns at once; true when attempts to connect are under way.
  virtual bool Connect() = 0;
  // Closes for good, until the next Connect. `code` and `reason` (at most 123 bytes) go to the peer (RFC 6455 section
  // 7.4). When this returns no callback runs any more, unless it is called from a callback itself; the wait for the
  // peer's answer is bounded by about a second.
  virtual void Close(uint16_t code, const std::string& reason) = 0;
  // Sends one text frame on the open connection. False when there is none; true says that it was handed over to the
  // connection, not that the peer has it.
  virtual bool Send(const std::string& text) = 0;

  // The callbacks come on the websocket's own thread, one at a time, with no lock held. Any operation may be called
  // from them. A failed attempt whose end was brought about by Close is not reported.
  virtual void SetOnOpenCallback(COnOpen callback) = 0;
  virtual void SetOnFailCallback(COnFail callback) = 0;
  virtual void SetOnCloseCallback(COnClose callback) = 0;
  virtual void SetOnMessageCallback(COnMessage callback) = 0;

  // Selects the name in log lines and reports.
  virtual void SetBackofficeId(EBackofficeId id) = 0;

  virtual EWebsocketStatus GetStatus() const = 0;
  // Any status but EConnecting ends a wait between two attempts, and with it the attempts.
  virtual void SetStatus(EWebsocketStatus status) = 0;

  // Where this client connects to; changes take effect with the next attempt.
  virtual std::shared_ptr<IHostInfo> GetHostInfo() const = 0;
};
