#include "src/components/backofficeutils.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/iclogger/log.h"

namespace {

constexpr std::array<std::string_view, 5> kMutualKeys{"WebSocketPingInterval", "AuthorizationKey",
                                                      "WebSocketPongTimeout", "HeartbeatInterval", "SeccOcppUri"};

}  // namespace

std::string GetMutualKey(const std::string& key, EBackofficeId id)
{
  if (std::find(kMutualKeys.begin(), kMutualKeys.end(), key) == kMutualKeys.end()) {
    LOG_ERROR("Requsted Key is not a mutual key!");
    return key;
  }
  return id == EBackofficeId::EPrimary ? key : "Sbo" + key;
}
