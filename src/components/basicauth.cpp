#include "src/components/basicauth.h"

#include <cstddef>
#include <string_view>

#include "platform/iclogger/log.h"
#include "platform/toolbox/base64.h"

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";
constexpr size_t kMaxDigits = 41;
constexpr size_t kMaxBytes = 20;
constexpr std::string_view kMask = "****";

uint8_t DigitValue(char digit)
{
  const size_t index = kHexDigits.find(digit);
  return static_cast<uint8_t>(index < 16 ? index : index - 6);
}

}  // namespace

bool CheckBasicAuthPassword(std::string& password, const std::string& name)
{
  const size_t digits = password.size();
  if (digits % 2 != 0) password.insert(0, 1, '0');
  if (password.find_first_not_of(kHexDigits) != std::string::npos) {
    LOG_ERROR("[{}] BasicAuthPassword does not conform to hex notation.", name);
    return false;
  }
  if (digits > kMaxDigits) {
    LOG_WARNING(
        "[{}] BasicAuthPasword has length of {} bytes, which is longer than the limit of {} bytes from the standard. "
        "Continue establishing the connection.",
        name, password.size() / 2, kMaxBytes);
  }
  return true;
}

std::string BuildBasicAuthHeader(const std::string& user, const std::string& password, const std::string& name)
{
  std::string credentials = user + ":";
  for (size_t i = 0; i + 1 < password.size(); i += 2) {
    credentials.push_back(static_cast<char>(DigitValue(password[i]) * 16 + DigitValue(password[i + 1])));
  }
  // Neither the password nor what it can be read from goes into a log.
  LOG_DEBUG("[{}] Creating basic auth header with user:password {}, result: {}", name, user + ":" + std::string(kMask),
            kMask);
  return CBase64String::Encode(credentials);
}
