#include "platform/toolbox/curlwrapper.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <string_view>

#include "platform/toolbox/curlhandle.h"
#include "platform/toolbox/resolve.h"

namespace Toolbox {
namespace {

// Letters, digits and the marks that RFC 3986 lets stand in a path.
bool IsPathCharacter(char c)
{
  static constexpr std::string_view kMarks = "-._~!$&'()*+,;=:@/";
  const auto byte = static_cast<unsigned char>(c);
  return (byte < 0x80 && std::isalnum(byte) != 0) || kMarks.find(c) != std::string_view::npos;
}

bool IsPath(std::string_view text)
{
  if (!text.empty() && text.front() != '/') return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      const auto isHex = [&](size_t at) {
        return at < text.size() && std::isxdigit(static_cast<unsigned char>(text[at])) != 0;
      };
      if (!isHex(i + 1) || !isHex(i + 2)) return false;
      i += 2;
    } else if (!IsPathCharacter(text[i])) {
      return false;
    }
  }
  return true;
}

bool IsHost(const std::string& authority)
{
  CUrlHandle url;
  // An empty port is legal in a URL, but nobody means it: the text is a scheme gone astray.
  if (authority.empty() || authority.back() == ':') return false;
  if (!url.Parse("https://" + authority + "/")) return false;
  if (url.Has(CURLUPART_USER) || url.Has(CURLUPART_PASSWORD) || url.Get(CURLUPART_PORT) == "0") return false;
  std::string host = url.Get(CURLUPART_HOST);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  return ValidateDomain(host);
}

}  // namespace

CCurlWrapper::CCurlWrapper() : mImpl(std::make_unique<CImpl>()) {}

CCurlWrapper::~CCurlWrapper() = default;

void CCurlWrapper::Abort() { mImpl->Abort(); }

bool CCurlWrapper::IsAborted() const { return mImpl->IsAborted(); }

bool CCurlWrapper::IsUrlValid(const std::string& url, EUrlPart part)
{
  static constexpr std::string_view kSchemeEnd = "://";
  const size_t schemeEnd = url.find(kSchemeEnd);
  const size_t begin = schemeEnd == std::string::npos ? 0 : schemeEnd + kSchemeEnd.size();
  const size_t end = std::min(url.find_first_of("/?#", begin), url.size());
  switch (part) {
    case EUrlPart::EHost:
      return IsHost(url.substr(begin, end - begin));
    case EUrlPart::EPath:
      return IsPath(std::string_view(url).substr(end));
  }
  return false;
}

}  // namespace Toolbox
