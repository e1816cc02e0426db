#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/toolbox/curlwrapper.h"
#include "platform/toolbox/urlcredentials.h"

// Downloads and uploads of whole files. Each call blocks its thread until the transfer has ended.
//
// The scheme of the URL decides on the protocol: http, https, ftp, ftps and sftp, anything else fails; an URL without a
// scheme is taken for https. An http upload is a PUT. Credentials are sent by basic authentication or as the protocol's
// own login; they are never part of a log line. Failures are logged at error level and answered with false.
class IFileTransfer {
 public:
  virtual ~IFileTransfer() = default;

  // Fetches `url` into the file `path`, whose folder is made when missing and whose former content is lost. The file is
  // removed again unless the whole transfer succeeded.
  virtual bool Download(const std::string& url, const std::optional<Toolbox::SCredentials>& credentials,
                        const std::string& path) = 0;
  // As above; `transfer` ends it from another thread.
  virtual bool Download(const std::string& url, const std::optional<Toolbox::SCredentials>& credentials,
                        const std::string& path, Toolbox::CCurlWrapper& transfer) = 0;
  // Sends the file `path` to `url`, which names the file on the server.
  virtual bool Upload(const std::string& path, const std::string& url,
                      const std::optional<Toolbox::SCredentials>& credentials) = 0;
  // As above; `transfer` ends it from another thread.
  virtual bool Upload(const std::string& path, const std::string& url,
                      const std::optional<Toolbox::SCredentials>& credentials, Toolbox::CCurlWrapper& transfer) = 0;
};

class CFileTransfer : public IFileTransfer {
 public:
  struct SOptions {
    // Folders whose PEM files are the trusted certificate authorities; a folder may be missing.
    std::vector<std::string> trustDirectories{"/data/ssl/certs/", "/etc/ssl/certs/"};
    // Name resolution, TCP and TLS handshake together.
    std::chrono::seconds connectTimeout{30};
    // A transfer that moves no byte for so long has failed; there is no limit on the whole of it.
    std::chrono::seconds stallTimeout{60};
  };

  CFileTransfer();
  explicit CFileTransfer(SOptions options);

  bool Download(const std::string& url, const std::optional<Toolbox::SCredentials>& credentials,
                const std::string& path) override;
  bool Download(const std::string& url, const std::optional<Toolbox::SCredentials>& credentials,
                const std::string& path, Toolbox::CCurlWrapper& transfer) override;
  bool Upload(const std::string& path, const std::string& url,
              const std::optional<Toolbox::SCredentials>& credentials) override;
  bool Upload(const std::string& path, const std::string& url, const std::optional<Toolbox::SCredentials>& credentials,
              Toolbox::CCurlWrapper& transfer) override;

 private:
  const SOptions mOptions;
};
