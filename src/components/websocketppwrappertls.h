#pragma once

// The TLS engine behind ITlsContext and ITlsVerification. A part of websocketppwrapper.cpp, for that source alone: the
// engine's and the library's headers have been included before it.

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "src/components/iwebsocketppwrapper.h"

namespace websocketppwrapper {

using CContext = websocketpp::lib::asio::ssl::context;

// The engine's names for what its own numbers mean; it has none for these.
struct SVerifyError {
  int error;
  const char* text;
};
inline constexpr std::array<SVerifyError, 3> kVerifyErrors{{
    {13, "certificate is not yet valid"},
    {14, "certificate has expired"},
    {18, "self-signed certificate"},
}};

class CTlsVerification : public ITlsVerification {
 public:
  explicit CTlsVerification(X509_STORE_CTX* context) : mContext(context) {}

  int GetDepth() const override { return X509_STORE_CTX_get_error_depth(mContext); }
  int GetError() const override { return X509_STORE_CTX_get_error(mContext); }

  std::string GetErrorText() const override
  {
    const int error = GetError();
    const auto known = std::find_if(kVerifyErrors.begin(), kVerifyErrors.end(),
                                    [error](const SVerifyError& candidate) { return candidate.error == error; });
    if (known != kVerifyErrors.end()) return known->text;
    const char* text = X509_verify_cert_error_string(error);
    return text != nullptr ? text : "unknown error";
  }

  bool MatchesHost(const std::string& hostname) const override
  {
    X509* certificate = X509_STORE_CTX_get_current_cert(mContext);
    // Any flag makes the engine refuse.
    return certificate != nullptr &&
           wolfSSL_X509_check_host(certificate, hostname.c_str(), hostname.size(), 0, nullptr) == WOLFSSL_SUCCESS;
  }

 private:
  X509_STORE_CTX* const mContext;
};

// The engine would prepare itself with its first context, and does not expect two threads to make that one at once, as
// the links of two backoffices do.
inline bool PrepareEngine()
{
  static const bool kIsReady = wolfSSL_Init() == WOLFSSL_SUCCESS;
  return kIsReady;
}

class CTlsContext : public ITlsContext {
 public:
  // Throws std::system_error when the engine cannot give a context.
  CTlsContext() : mContext(MakeContext()) {}

  void SetOptions(const std::vector<ETlsOption>& options, std::error_code& error) override
  {
    CContext::options bits = 0;
    for (const ETlsOption option : options) bits |= ToBits(option);
    mContext->set_options(bits, error);
  }

  void SetVerifyPeer(CVerifyCallback callback, std::error_code& error) override
  {
    mContext->set_verify_mode(websocketpp::lib::asio::ssl::verify_peer, error);
    if (error) return;
    mContext->set_verify_callback(
        [callback = std::move(callback)](bool isPreverified, websocketpp::lib::asio::ssl::verify_context& context) {
          CTlsVerification verification(context.native_handle());
          return callback(isPreverified, verification);
        },
        error);
  }

  void SetCipherList(const std::string& list, std::error_code& error) override
  {
    error = SSL_CTX_set_cipher_list(mContext->native_handle(), list.c_str()) == WOLFSSL_SUCCESS
                ? std::error_code()
                : std::make_error_code(std::errc::invalid_argument);
  }

  void SetCurves(const std::string& list, std::error_code& error) override
  {
    error = wolfSSL_CTX_set1_curves_list(mContext->native_handle(), list.c_str()) == WOLFSSL_SUCCESS
                ? std::error_code()
                : std::make_error_code(std::errc::invalid_argument);
  }

  void LoadVerifyFile(const std::string& path, std::error_code& error) override
  {
    mContext->load_verify_file(path, error);
  }

  const std::shared_ptr<CContext>& Get() const { return mContext; }

 private:
  static std::shared_ptr<CContext> MakeContext()
  {
    if (!PrepareEngine()) throw std::system_error(std::make_error_code(std::errc::not_enough_memory), "TLS");
    return std::make_shared<CContext>(CContext::tls_client);
  }
  static CContext::options ToBits(ETlsOption option)
  {
    switch (option) {
      case ETlsOption::EDefaultWorkarounds:
        return CContext::default_workarounds;
      case ETlsOption::ESingleDhUse:
        return CContext::single_dh_use;
      case ETlsOption::ENoSslV2:
        return CContext::no_sslv2;
      case ETlsOption::ENoSslV3:
        return CContext::no_sslv3;
      case ETlsOption::ENoTlsV1:
        return CContext::no_tlsv1;
      case ETlsOption::ENoTlsV1_1:
        return CContext::no_tlsv1_1;
    }
    return 0;
  }

  const std::shared_ptr<CContext> mContext;
};

}  // namespace websocketppwrapper
