#pragma once

#include <memory>
#include <string>

#include "src/components/backofficeid.h"
#include "src/components/iwebsocketppwrapper.h"

class IDiagnosticsClientHandler;
class IHostInfo;

// The directories whose certificates are trusted.
struct STrustStores {
  std::string persistentPath{"/data/ssl/certs/"};
  std::string volatilePath{"/etc/ssl/certs/"};
};

// The security of the link: TLS 1.2 or 1.3, a chain that ends in a trust store, and a certificate that was issued for
// the configured host. Used on the websocket's thread.
class CWebsocketTls {
 public:
  CWebsocketTls(std::shared_ptr<IHostInfo> hostInfo, std::shared_ptr<IDiagnosticsClientHandler> diagnostics,
                STrustStores trustStores);

  // Sets up the context of a new connection. False when the server could not be verified with it.
  bool OnTlsInit(EBackofficeId id, websocketppwrapper::ITlsContext& context);
  // The verdict on one certificate of the chain; the last one, at depth 0, must also match the configured host.
  bool VerifyAdditionalCertificate(EBackofficeId id, bool isPreverified,
                                   websocketppwrapper::ITlsVerification& verification);

 private:
  enum class EStore { EPersistent, EVolatile };

  void LoadTrustStore(const std::string& name, EStore store, websocketppwrapper::ITlsContext& context);

  // Constant after construction.
  const std::shared_ptr<IHostInfo> mHostInfo;
  const std::shared_ptr<IDiagnosticsClientHandler> mDiagnostics;
  const STrustStores mTrustStores;
};
