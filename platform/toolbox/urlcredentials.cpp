#include "platform/toolbox/urlcredentials.h"

namespace Toolbox {
namespace {

const std::string kSchemeEnd = "://";

}  // namespace

// Written out because std::regex recurses once per character: a long location would end the process.
std::optional<SLocation> SplitCredentials(const std::string& location)
{
  if (location.find_first_of("\r\n") != std::string::npos) return std::nullopt;
  // The first group is greedy, so the last "://" counts.
  const size_t schemeEnd = location.rfind(kSchemeEnd);
  const size_t begin = schemeEnd == std::string::npos ? 0 : schemeEnd + kSchemeEnd.size();
  const size_t colon = location.find(':', begin);
  const size_t at = colon == std::string::npos ? colon : location.find('@', colon + 1);
  if (at == std::string::npos) return SLocation{location, std::nullopt};
  return SLocation{location.substr(0, begin) + location.substr(at + 1),
                   SCredentials{location.substr(begin, colon - begin), location.substr(colon + 1, at - colon - 1)}};
}

// Masks more than SplitCredentials takes out: a password may itself hold "://" or "@".
std::string MaskCredentials(const std::string& location)
{
  const size_t schemeEnd = location.find(kSchemeEnd);
  const size_t begin = schemeEnd == std::string::npos ? 0 : schemeEnd + kSchemeEnd.size();
  const size_t colon = location.find(':', begin);
  const size_t at = location.rfind('@');
  if (colon == std::string::npos || at == std::string::npos || at < colon) return location;
  return location.substr(0, colon + 1) + "****" + location.substr(at);
}

}  // namespace Toolbox
