#pragma once

#include <string>
#include <string_view>

// Base64 with the standard alphabet and padding (RFC 4648, section 4).
class CBase64String {
 public:
  // Any bytes, zero included; the empty input gives the empty text. No line breaks.
  static std::string Encode(std::string_view bytes);
};
