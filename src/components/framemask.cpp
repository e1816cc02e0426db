#include "src/components/framemask.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::string_view kMask = "****";
// Parts of the names of configuration keys whose values are secrets.
constexpr std::array<std::string_view, 5> kSecretKeys{"AuthorizationKey", "Password", "Psk", "ApiToken", "authKey"};
constexpr std::string_view kValueMember = "\"value\"";
// A solidus may be escaped in JSON.
constexpr std::array<std::string_view, 2> kSchemeEnds{"://", ":\\/\\/"};

// Where the JSON string that begins behind `begin` ends: at its closing quotation mark or at the end of the text.
size_t EndOfString(const std::string& text, size_t begin)
{
  size_t end = begin;
  while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
  return std::min(end, text.size());
}

void MaskValues(std::string& text)
{
  size_t position = text.find(kValueMember);
  while (position != std::string::npos) {
    position += kValueMember.size();
    const size_t colon = text.find_first_not_of(" \t\r\n", position);
    const size_t quote = colon == std::string::npos ? colon : text.find_first_not_of(" \t\r\n", colon + 1);
    if (quote != std::string::npos && text[colon] == ':' && text[quote] == '"') {
      text.replace(quote + 1, EndOfString(text, quote + 1) - quote - 1, kMask);
    }
    position = text.find(kValueMember, position);
  }
}

void MaskLocations(std::string& text, std::string_view schemeEnd)
{
  size_t position = text.find(schemeEnd);
  while (position != std::string::npos) {
    position += schemeEnd.size();
    const size_t end = EndOfString(text, position);
    const size_t colon = text.find(':', position);
    const size_t at = colon < end ? text.find('@', colon) : std::string::npos;
    if (at < end) text.replace(colon + 1, at - colon - 1, kMask);
    position = text.find(schemeEnd, position);
  }
}

}  // namespace

std::string MaskFrame(std::string_view frame)
{
  std::string text(frame);
  const bool namesSecret = std::any_of(kSecretKeys.begin(), kSecretKeys.end(),
                                       [&](std::string_view key) { return frame.find(key) != std::string_view::npos; });
  if (namesSecret) MaskValues(text);
  for (const std::string_view schemeEnd : kSchemeEnds) MaskLocations(text, schemeEnd);
  return text;
}
