#include "platform/toolbox/base64.h"

#include <algorithm>
#include <cstdint>

std::string CBase64String::Encode(std::string_view bytes)
{
  static constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t count = std::min<size_t>(3, bytes.size() - i);
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) {
      group = (group << 8U) | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (size_t k = 0; k < 4; ++k) {
      text += k <= count ? kAlphabet[(group >> (18U - 6U * k)) & 0x3FU] : '=';
    }
  }
  return text;
}
