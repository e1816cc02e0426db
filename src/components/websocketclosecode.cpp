#include "src/components/websocketclosecode.h"

#include <algorithm>
#include <array>

namespace {

struct SCloseCode {
  uint16_t code;
  std::string_view name;
};

constexpr std::array<SCloseCode, 17> kCloseCodes{{
    {1000, "Normal close"},
    {WebsocketCloseCode::kGoingAway, "Going away"},
    {WebsocketCloseCode::kProtocolError, "Protocol error"},
    {1003, "Unsupported data"},
    {1005, "No status set"},
    {1006, "Abnormal close"},
    {1007, "Invalid payload"},
    {1008, "Policy violoation"},
    {1009, "Message too big"},
    {1010, "Extension required"},
    {1011, "Internal endpoint error"},
    {1012, "Service restart"},
    {1013, "Try again later"},
    {1014, "Bad gateway"},
    {1015, "TLS handshake failure"},
    {3000, "Generic subprotocol error"},
    {3001, "Invalid subprotocol data"},
}};

}  // namespace

std::string_view CloseCodeName(uint16_t code)
{
  const auto found = std::find_if(kCloseCodes.begin(), kCloseCodes.end(),
                                  [code](const SCloseCode& candidate) { return candidate.code == code; });
  return found == kCloseCodes.end() ? "Unknown" : found->name;
}
