#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

#include "platform/toolbox/curlwrapper.h"
#include "platform/toolbox/urlcredentials.h"

namespace Toolbox {

// Limits of one transfer.
struct STransferLimits {
  std::chrono::seconds connectTimeout{30};  // name resolution, TCP and TLS handshake together
  std::chrono::seconds stallTimeout{60};    // without a byte in either direction
};

// One libcurl transfer, set up so that it can only do what a station wants: http, https, ftp, ftps and sftp, redirects
// to http and https alone (from https to https alone), certificates checked, no proxy or password file of the
// environment. Credentials go to the library by option, so they are in no URL.
class CTransfer {
 public:
  // `url` without a scheme is taken for https. `authorities`: the trusted certificates in PEM form.
  CTransfer(const std::string& url, const std::optional<SCredentials>& credentials, const std::string& authorities,
            const STransferLimits& limits);
  ~CTransfer();
  CTransfer(const CTransfer&) = delete;
  CTransfer& operator=(const CTransfer&) = delete;

  // Both leave `file` open and answer an empty text, or else say what went wrong, without a credential in it.
  std::string Download(std::FILE* file, CCurlWrapper& wrapper);
  std::string Upload(std::FILE* file, curl_off_t size, CCurlWrapper& wrapper);

 private:
  std::string Perform(CCurlWrapper& wrapper);
  std::string DescribeFailure(CURLcode code) const;

  CURL* const mHandle;
  const std::optional<SCredentials> mCredentials;
  curl_blob mAuthorities{};
  char mErrorText[CURL_ERROR_SIZE]{};
};

// The protocols of CTransfer that the installed library has, separated by commas.
std::string GetTransferProtocols();

}  // namespace Toolbox
