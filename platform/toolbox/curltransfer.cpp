#include "platform/toolbox/curltransfer.h"

#include <array>
#include <string_view>

#include "platform/toolbox/curlhandle.h"

namespace Toolbox {
namespace {

constexpr long kMaxRedirects = 5;

bool StartsWith(const std::string& text, std::string_view start) { return text.compare(0, start.size(), start) == 0; }

size_t Write(char* data, size_t, size_t size, void* file)
{
  return std::fwrite(data, 1, size, static_cast<std::FILE*>(file));
}

size_t Read(char* data, size_t, size_t size, void* file)
{
  return std::fread(data, 1, size, static_cast<std::FILE*>(file));
}

// A server that answers before it has read everything makes the library start the upload again.
int Seek(void* file, curl_off_t offset, int origin)
{
  return fseeko(static_cast<std::FILE*>(file), offset, origin) == 0 ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

}  // namespace

std::string GetTransferProtocols()
{
  static constexpr std::array<std::string_view, 5> kWanted = {"http", "https", "ftp", "ftps", "sftp"};
  std::string list;
  for (const char* const* name = curl_version_info(CURLVERSION_NOW)->protocols; *name != nullptr; ++name) {
    for (const std::string_view wanted : kWanted) {
      if (wanted == *name) list += (list.empty() ? "" : ",") + std::string(wanted);
    }
  }
  return list;
}

CTransfer::CTransfer(const std::string& url, const std::optional<SCredentials>& credentials,
                     const std::string& authorities, const STransferLimits& limits)
    : mHandle((InitialiseCurl(), curl_easy_init())), mCredentials(credentials)
{
  curl_easy_setopt(mHandle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(mHandle, CURLOPT_DEFAULT_PROTOCOL, "https");
  curl_easy_setopt(mHandle, CURLOPT_PROTOCOLS_STR, GetTransferProtocols().c_str());
  const bool isPlain = StartsWith(url, "http://");
  curl_easy_setopt(mHandle, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(mHandle, CURLOPT_MAXREDIRS, kMaxRedirects);
  curl_easy_setopt(mHandle, CURLOPT_REDIR_PROTOCOLS_STR, isPlain ? "http,https" : "https");
  curl_easy_setopt(mHandle, CURLOPT_PROXY, "");
  curl_easy_setopt(mHandle, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  // Signals belong to the process, not to a library on one of its threads.
  curl_easy_setopt(mHandle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(mHandle, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(mHandle, CURLOPT_ERRORBUFFER, mErrorText);
  curl_easy_setopt(mHandle, CURLOPT_CONNECTTIMEOUT, static_cast<long>(limits.connectTimeout.count()));
  curl_easy_setopt(mHandle, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(mHandle, CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.stallTimeout.count()));
  curl_easy_setopt(mHandle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  curl_easy_setopt(mHandle, CURLOPT_CAINFO, nullptr);
  curl_easy_setopt(mHandle, CURLOPT_CAPATH, nullptr);
  if (!authorities.empty()) {
    // Copied, because the library makes it into a store only when it connects.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the library's record serves both directions
    mAuthorities = {const_cast<char*>(authorities.data()), authorities.size(), CURL_BLOB_COPY};
    curl_easy_setopt(mHandle, CURLOPT_CAINFO_BLOB, &mAuthorities);
  }
  if (mCredentials) {
    curl_easy_setopt(mHandle, CURLOPT_USERNAME, mCredentials->user.c_str());
    curl_easy_setopt(mHandle, CURLOPT_PASSWORD, mCredentials->password.c_str());
    curl_easy_setopt(mHandle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
  }
}

CTransfer::~CTransfer() { curl_easy_cleanup(mHandle); }

std::string CTransfer::Download(std::FILE* file, CCurlWrapper& wrapper)
{
  curl_easy_setopt(mHandle, CURLOPT_WRITEFUNCTION, Write);
  curl_easy_setopt(mHandle, CURLOPT_WRITEDATA, file);
  return Perform(wrapper);
}

std::string CTransfer::Upload(std::FILE* file, curl_off_t size, CCurlWrapper& wrapper)
{
  curl_easy_setopt(mHandle, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(mHandle, CURLOPT_INFILESIZE_LARGE, size);
  curl_easy_setopt(mHandle, CURLOPT_READFUNCTION, Read);
  curl_easy_setopt(mHandle, CURLOPT_READDATA, file);
  curl_easy_setopt(mHandle, CURLOPT_SEEKFUNCTION, Seek);
  curl_easy_setopt(mHandle, CURLOPT_SEEKDATA, file);
  // What the server says beside its status goes nowhere.
  curl_easy_setopt(
      mHandle, CURLOPT_WRITEFUNCTION,
      static_cast<curl_write_callback>([](char*, size_t, size_t count, void*) -> size_t { return count; }));
  return Perform(wrapper);
}

std::string CTransfer::Perform(CCurlWrapper& wrapper)
{
  const CURLcode code = wrapper.mImpl->Perform(mHandle);
  return code == CURLE_OK ? std::string() : DescribeFailure(code);
}

std::string CTransfer::DescribeFailure(CURLcode code) const
{
  if (code == CURLE_ABORTED_BY_CALLBACK) return "Aborted";
  std::string text = curl_easy_strerror(code);
  const std::string detail = mErrorText;
  // The library's own text may quote what a server sent, a redirect with credentials for instance.
  const bool isSafe =
      detail.find('@') == std::string::npos &&
      (!mCredentials || mCredentials->password.empty() || detail.find(mCredentials->password) == std::string::npos);
  if (!detail.empty() && isSafe) text += " (" + detail + ")";
  return text;
}

}  // namespace Toolbox
