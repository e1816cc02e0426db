#include "platform/toolbox/filetransfer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "platform/iclogger/log.h"
#include "platform/toolbox/curltransfer.h"
#include "platform/toolbox/trustedcertificates.h"

using Toolbox::CCurlWrapper;
using Toolbox::CTransfer;
using Toolbox::MaskCredentials;
using Toolbox::SCredentials;

namespace {

struct SFileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using CFile = std::unique_ptr<std::FILE, SFileCloser>;

CFile Open(const std::string& path, int flags, const char* mode)
{
  constexpr mode_t kRights = 0640;
  const int handle = open(path.c_str(), flags | O_CLOEXEC, kRights);
  return CFile(handle < 0 ? nullptr : fdopen(handle, mode));
}

}  // namespace

CFileTransfer::CFileTransfer() : CFileTransfer(SOptions()) {}

CFileTransfer::CFileTransfer(SOptions options) : mOptions(std::move(options)) {}

bool CFileTransfer::Download(const std::string& url, const std::optional<SCredentials>& credentials,
                             const std::string& path)
{
  CCurlWrapper transfer;
  return Download(url, credentials, path, transfer);
}

bool CFileTransfer::Download(const std::string& url, const std::optional<SCredentials>& credentials,
                             const std::string& path, CCurlWrapper& transfer)
{
  LOG_ENTRY("CFileTransfer");
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  CFile file = Open(path, O_WRONLY | O_CREAT | O_TRUNC, "wb");
  if (!file) {
    LOG_ERROR("Cannot write {}: {}", path, std::strerror(errno));
    return false;
  }
  std::string failure;
  {
    CTransfer curl(url, credentials, Toolbox::ReadTrustedCertificates(mOptions.trustDirectories),
                   {mOptions.connectTimeout, mOptions.stallTimeout});
    failure = curl.Download(file.get(), transfer);
  }
  // The last bytes may fail to be written only now.
  if (std::fclose(file.release()) != 0 && failure.empty()) failure = std::strerror(errno);
  if (failure.empty()) return true;
  LOG_ERROR("Download of {} failed: {}", MaskCredentials(url), failure);
  std::filesystem::remove(path, error);
  return false;
}

bool CFileTransfer::Upload(const std::string& path, const std::string& url,
                           const std::optional<SCredentials>& credentials)
{
  CCurlWrapper transfer;
  return Upload(path, url, credentials, transfer);
}

bool CFileTransfer::Upload(const std::string& path, const std::string& url,
                           const std::optional<SCredentials>& credentials, CCurlWrapper& transfer)
{
  LOG_ENTRY("CFileTransfer");
  const CFile file = Open(path, O_RDONLY, "rb");
  struct stat status {};
  if (!file || fstat(fileno(file.get()), &status) != 0 || !S_ISREG(status.st_mode)) {
    LOG_ERROR("Cannot read {}: {}", path, std::strerror(errno));
    return false;
  }
  CTransfer curl(url, credentials, Toolbox::ReadTrustedCertificates(mOptions.trustDirectories),
                 {mOptions.connectTimeout, mOptions.stallTimeout});
  const std::string failure = curl.Upload(file.get(), status.st_size, transfer);
  if (failure.empty()) return true;
  LOG_ERROR("Upload of {} to {} failed: {}", path, MaskCredentials(url), failure);
  return false;
}
