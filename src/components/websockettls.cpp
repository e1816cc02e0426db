#include "src/components/websockettls.h"

#include <filesystem>
#include <set>
#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/ihostinfo.h"

using websocketppwrapper::ETlsOption;
using websocketppwrapper::ITlsContext;
using websocketppwrapper::ITlsVerification;

namespace {

constexpr const char* kCipherList =
    "TLS_AES_256_GCM_SHA384:TLS_AES_128_GCM_SHA256:TLS_CHACHA20_POLY1305_SHA256:"
    "ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-ECDSA-CHACHA20-POLY1305:"
    "ECDHE-RSA-AES256-GCM-SHA384:ECDHE-RSA-AES128-GCM-SHA256:ECDHE-RSA-CHACHA20-POLY1305:"
    "ECDHE-ECDSA-AES256-SHA384:ECDHE-ECDSA-AES128-SHA256:ECDHE-RSA-AES256-SHA384:ECDHE-RSA-AES128-SHA256:"
    "ECDHE-ECDSA-AES128-SHA:ECDHE-RSA-AES256-SHA:ECDHE-RSA-AES128-SHA:ECDHE-ECDSA-AES256-SHA:"
    "DHE-RSA-CHACHA20-POLY1305:ECDHE-ECDSA-DES-CBC3-SHA:ECDHE-RSA-DES-CBC3-SHA:"
    "ECDHE-ECDSA-CHACHA20-POLY1305-OLD:ECDHE-RSA-CHACHA20-POLY1305-OLD:DHE-RSA-CHACHA20-POLY1305-OLD:"
    "!ECDHE-ECDSA-RC4-SHA:!ECDHE-RSA-RC4-SHA";

// X25519 first: the engine keeps a cache of several megabytes for each thread that computes on P-256.
constexpr const char* kCurves = "X25519:P-256";

}  // namespace

CWebsocketTls::CWebsocketTls(std::shared_ptr<IHostInfo> hostInfo,
                             std::shared_ptr<IDiagnosticsClientHandler> diagnostics, STrustStores trustStores)
    : mHostInfo(std::move(hostInfo)), mDiagnostics(std::move(diagnostics)), mTrustStores(std::move(trustStores))
{}

bool CWebsocketTls::OnTlsInit(EBackofficeId id, ITlsContext& context)
{
  const std::string name = BackofficeName(id);
  std::error_code error;
  const auto check = [&] {
    if (error) LOG_ERROR("[{}] Error in TLS context setup: {}", name, error.message());
    return !error;
  };

  // First of all, and the one thing without which there is no connection.
  context.SetVerifyPeer(
      [this, id](bool isPreverified, ITlsVerification& verification) {
        return VerifyAdditionalCertificate(id, isPreverified, verification);
      },
      error);
  if (!check()) return false;

  context.SetOptions({ETlsOption::EDefaultWorkarounds, ETlsOption::ESingleDhUse, ETlsOption::ENoSslV2,
                      ETlsOption::ENoSslV3, ETlsOption::ENoTlsV1, ETlsOption::ENoTlsV1_1},
                     error);
  if (!check()) return false;

  context.SetCurves(kCurves, error);
  check();
  context.SetCipherList(kCipherList, error);
  if (error) LOG_ERROR("[{}] Error setting supported cipher list", name);

  LoadTrustStore(name, EStore::EPersistent, context);
  LoadTrustStore(name, EStore::EVolatile, context);
  return true;
}

// File by file: one bad certificate does not keep the others out, and an empty directory is seen.
void CWebsocketTls::LoadTrustStore(const std::string& name, EStore store, ITlsContext& context)
{
  const auto report = [&](const std::string& text) {
    switch (store) {
      case EStore::EPersistent:
        LOG_DEBUG("[{}] One or more certificate(s) in the persistent path have the following error: {}", name, text);
        break;
      case EStore::EVolatile:
        LOG_DEBUG("[{}] One or more certificate(s) in the volatile path have the following error: {}", name, text);
        break;
    }
  };

  const std::string& path = store == EStore::EPersistent ? mTrustStores.persistentPath : mTrustStores.volatilePath;
  std::error_code error;
  std::filesystem::directory_iterator entries(path, error);
  // The usual hash links name a file that is there already.
  std::set<std::filesystem::path> files;
  for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
    std::error_code entryError;
    if (!entries->is_regular_file(entryError)) {
      if (entryError) report(entries->path().string() + ": " + entryError.message());
      continue;
    }
    files.insert(std::filesystem::canonical(entries->path(), entryError));
  }
  if (error) report(path + ": " + error.message());

  size_t loaded = 0;
  for (const std::filesystem::path& file : files) {
    std::error_code fileError;
    context.LoadVerifyFile(file.string(), fileError);
    if (fileError) {
      report(file.string() + ": " + fileError.message());
    } else {
      ++loaded;
    }
  }
  LOG_DEBUG("[{}] {} trusted certificate file(s) loaded from {}", name, loaded, path);
}

bool CWebsocketTls::VerifyAdditionalCertificate(EBackofficeId id, bool isPreverified, ITlsVerification& verification)
{
  const std::string name = BackofficeName(id);
  if (!isPreverified) {
    const std::string text = verification.GetErrorText();
    const int error = verification.GetError();
    LOG_ERROR("[{}] TLS certificate verification failed. Depth: {}, error message: {} ({})", name,
              verification.GetDepth(), text, error);
    mDiagnostics->ReportWebsocketStatus(fmt::format("TLS verification failed: {} ({})", text, error), id);
    mDiagnostics->ReportSecurityEvent(fmt::format("[{}] TLS certificate verification failed", name));
    return false;
  }
  if (verification.GetDepth() != 0) return true;

  // The configured name, also when its address came from the local network.
  if (!verification.MatchesHost(mHostInfo->GetHostname())) {
    mDiagnostics->ReportSecurityEvent(fmt::format("[{}] Failed to verify hostname from TLS certificate", name));
    LOG_ERROR("[{}] Failed to verify hostname from TLS certificate.", name);
    mDiagnostics->ReportWebsocketStatus("TLS verification failed for hostname", id);
    return false;
  }
  LOG_INFO("[{}] TLS certificate and hostname(CN) verification passed.", name);
  return true;
}
