#pragma once

#include <memory>

#include "src/components/iwebsocketppwrapper.h"

namespace websocketppwrapper {

// The websocket library's client endpoint over TLS.
//
// The library does not lock all that it shares between threads, so what other threads ask of a connection (close, send,
// ping) is carried out by the thread in `run`; the error code tells the state of the connection at the time of the
// call.
class CWebsocketPPWrapper : public IWebsocketPPWrapper {
 public:
  CWebsocketPPWrapper();
  // No thread may be in `run`.
  ~CWebsocketPPWrapper() override;
  CWebsocketPPWrapper(const CWebsocketPPWrapper&) = delete;
  CWebsocketPPWrapper& operator=(const CWebsocketPPWrapper&) = delete;

  void clear_access_channels(uint32_t channels) override;
  void clear_error_channels(uint32_t channels) override;
  void init_asio() override;
  std::shared_ptr<IConnection> get_con_from_hdl(const CConnectionHandle& handle, std::error_code& error) override;
  std::shared_ptr<IConnection> get_connection(const std::string& url, std::error_code& error) override;
  void connect(const std::shared_ptr<IConnection>& connection) override;
  void set_tls_init_handler(CTlsInitHandler handler) override;
  size_t run() override;
  void stop() override;
  bool stopped() const override;
  void close(const CConnectionHandle& handle, uint16_t code, const std::string& reason) override;
  void close(const CConnectionHandle& handle, uint16_t code, const std::string& reason,
             std::error_code& error) override;
  void send(const CConnectionHandle& handle, const std::string& payload, EOpcode opcode,
            std::error_code& error) override;
  void reset() override;

 private:
  class CEndpoint;

  const std::shared_ptr<CEndpoint> mEndpoint;
};

}  // namespace websocketppwrapper
