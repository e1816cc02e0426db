// The least that can stand on the websocket library: connects to a central system and sends every text back. It is what
// the process is measured against; tests/bench/report.js starts it.
//
//   bench_tlsecho LOCATION CA-FILE

#include <cstdio>
#include <system_error>

#include "src/components/websocketppwrapper.h"

using namespace websocketppwrapper;

int main(int argc, char** argv)
{
  if (argc != 3) {
    std::fprintf(stderr, "usage: bench_tlsecho LOCATION CA-FILE\n");
    return 2;
  }
  const std::string authority = argv[2];
  CWebsocketPPWrapper endpoint;
  endpoint.clear_access_channels(IWebsocketPPWrapper::kAllChannels);
  endpoint.clear_error_channels(IWebsocketPPWrapper::kAllChannels);
  endpoint.init_asio();
  endpoint.set_tls_init_handler([&](const CConnectionHandle&, ITlsContext& context) {
    std::error_code error;
    context.SetVerifyPeer([](bool isPreverified, ITlsVerification&) { return isPreverified; }, error);
    // As the link has it, so that both compute the same.
    if (!error) context.SetCurves("X25519:P-256", error);
    if (!error) context.LoadVerifyFile(authority, error);
    return !error;
  });
  std::error_code error;
  const auto connection = endpoint.get_connection(argv[1], error);
  if (!connection) {
    std::fprintf(stderr, "%s: %s\n", argv[1], error.message().c_str());
    return 1;
  }
  bool wasOpen = false;
  SConnectionHandlers handlers;
  handlers.open = [&](const CConnectionHandle&) { wasOpen = true; };
  handlers.close = [](const CConnectionHandle&) {};
  handlers.pongTimeout = [](const CConnectionHandle&, const std::string&) {};
  handlers.message = [&](const CConnectionHandle& handle, EOpcode opcode, const std::string& payload) {
    std::error_code failed;
    endpoint.send(handle, payload, opcode, failed);
  };
  handlers.fail = [&](const CConnectionHandle&) {
    std::fprintf(stderr, "%s: %s\n", argv[1], connection->GetErrorText().c_str());
  };
  connection->SetHandlers(std::move(handlers));
  endpoint.connect(connection);
  endpoint.run();
  return wasOpen ? 0 : 1;
}
