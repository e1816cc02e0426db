#include "platform/toolbox/resolve.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "platform/iclogger/log.h"

namespace Toolbox {
namespace {

constexpr size_t kMaxDomain = 253;
constexpr size_t kMaxLabel = 63;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetterOrDigit(char c) { return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool IsAddress(const std::string& text, int family)
{
  std::array<unsigned char, sizeof(in6_addr)> address{};
  return inet_pton(family, text.c_str(), address.data()) == 1;
}

bool IsLabel(std::string_view label)
{
  return !label.empty() && label.size() <= kMaxLabel && IsLetterOrDigit(label.front()) &&
         IsLetterOrDigit(label.back()) &&
         std::all_of(label.begin(), label.end(), [](char c) { return c == '-' || IsLetterOrDigit(c); });
}

}  // namespace

bool ResolveHost(const std::string& host, bool isQuiet)
{
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int result = getaddrinfo(host.c_str(), nullptr, &hints, &list);
  if (result == 0) {
    freeaddrinfo(list);
    return true;
  }
  if (isQuiet) {
    LOG_DEBUG("Cannot resolve host {}: {}", host, gai_strerror(result));
  } else {
    LOG_WARNING("Cannot resolve host {}: {}", host, gai_strerror(result));
  }
  return false;
}

bool ValidateDomain(std::string_view domain)
{
  if (domain.find('\0') != std::string_view::npos) return false;
  const std::string text(domain);
  if (IsAddress(text, AF_INET) || IsAddress(text, AF_INET6)) return true;
  if (!domain.empty() && domain.back() == '.') domain.remove_suffix(1);
  if (domain.empty() || domain.size() > kMaxDomain) return false;
  std::string_view last;
  for (size_t begin = 0; begin <= domain.size();) {
    const size_t end = std::min(domain.find('.', begin), domain.size());
    last = domain.substr(begin, end - begin);
    if (!IsLabel(last)) return false;
    begin = end + 1;
  }
  return !std::all_of(last.begin(), last.end(), IsDigit);
}

}  // namespace Toolbox
