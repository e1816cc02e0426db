#include "src/components/authorizationsource.h"

#include <fmt/format.h>

#include <array>

std::string AuthorizationSourceToString(int32_t source)
{
  static constexpr std::array<const char*, 8> kTexts{
      "Not authorized",      "RemoteStart operation", "Authorize operation",      "RemoteStart operation",
      "Authorize operation", "Authorization cache",   "Local authorization list", "AutoAuthorize",
  };
  if (source < 0 || static_cast<size_t>(source) >= kTexts.size()) return fmt::format("Unknown source: {}", source);
  return kTexts[static_cast<size_t>(source)];
}
