#pragma once

#include <cstdint>
#include <string_view>

// What we close with ourselves.
namespace WebsocketCloseCode {

constexpr uint16_t kNormal = 1000;
constexpr uint16_t kGoingAway = 1001;
constexpr uint16_t kProtocolError = 1002;

}  // namespace WebsocketCloseCode

// The name of a websocket close code (RFC 6455 section 7.4) as log lines show it; "Unknown" for one without a name.
std::string_view CloseCodeName(uint16_t code);
